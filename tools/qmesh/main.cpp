// qmesh: the library from the command line, for trying it without writing C++.

#include "MeshReport.h"
#include "PocketReport.h"
#include "qmesh.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace
{
const char* const usage =
    "usage:\n"
    "  qmesh solid <icosphere|sphere|cylinder|torus|cube> [--name value ...] -o FILE\n"
    "  qmesh info FILE\n"
    "  qmesh convert IN OUT [--text-records]\n"
    "  qmesh distance FILE X Y Z [--mask M]   (M: 1 vertices, 2 edges, 4 faces; sums)\n"
    "  qmesh pocket FILE.iso [--svg OUT.svg] [--iso OUT.iso] [--minpt]\n"
    "  qmesh demo [--dir DIR] [--data DIR]\n"
    "  qmesh --version\n"
    "Files ending in .stl (any case) are STL; any other name is the native format.\n"
    "Parameters of `solid` carry the names of the library's arguments; `qmesh solid KIND\n"
    "--help` lists them with their defaults. `convert` writes binary STL records unless\n"
    "--text-records is given. `pocket` computes the medial axis of the pocket in an ISO\n"
    "file (one contour, or closed contours: the largest outer, the others islands), draws\n"
    "it as SVG and dumps it as ISO text; --minpt adds the narrowest points inside arcs as\n"
    "vertices.\n";

int fail(std::string const& message)
{
    std::cerr << "qmesh: " << message << "\n";
    return 2;
}

// One parameter of a solid: its name, default, and whether it is a count.
struct Param
{
    const char* name;
    double value;
    bool isCount;
};

struct SolidKind
{
    const char* name;
    std::vector<Param> params;
    void (*make)(QmPstMesh&, std::vector<Param> const&);
};

long count(std::vector<Param> const& p, size_t i) { return static_cast<long>(p[i].value); }

const std::vector<SolidKind>& solidKinds()
{
    static const std::vector<SolidKind> kinds = {
        {"icosphere",
         {{"radius", 1.0, false}, {"depth", 3, true}},
         [](QmPstMesh& m, std::vector<Param> const& p)
         { QmAlgCreateMeshSolidStd().SphereIcosahedron(m, p[0].value, count(p, 1)); }},
        {"sphere",
         {{"radius", 1.0, false}, {"nbMeridian", 24, true}, {"nbParallel", 12, true}},
         [](QmPstMesh& m, std::vector<Param> const& p)
         { QmAlgCreateMeshSolidStd().Sphere(m, p[0].value, count(p, 1), count(p, 2)); }},
        {"cylinder",
         {{"radiusBottom", 1.0, false},
          {"radiusTop", 1.0, false},
          {"height", 2.0, false},
          {"nbAround", 24, true},
          {"nbHeight", 4, true},
          {"nbRadial", 2, true}},
         [](QmPstMesh& m, std::vector<Param> const& p)
         {
             QmAlgCreateMeshSolidStd().Cylinder(m, p[0].value, p[1].value, p[2].value, count(p, 3),
                                                count(p, 4), count(p, 5));
         }},
        {"torus",
         {{"radiusMajor", 2.0, false},
          {"radiusMinor", 0.5, false},
          {"nbMajor", 32, true},
          {"nbMinor", 16, true}},
         [](QmPstMesh& m, std::vector<Param> const& p)
         { QmAlgCreateMeshSolidStd().Torus(m, p[0].value, p[1].value, count(p, 2), count(p, 3)); }},
        {"cube",
         {{"sizeX", 1.0, false},
          {"sizeY", 1.0, false},
          {"sizeZ", 1.0, false},
          {"nbX", 1, true},
          {"nbY", 1, true},
          {"nbZ", 1, true}},
         [](QmPstMesh& m, std::vector<Param> const& p)
         {
             QmAlgCreateMeshSolidStd().Cube(m, p[0].value, p[1].value, p[2].value, count(p, 3),
                                            count(p, 4), count(p, 5));
         }},
    };
    return kinds;
}

SolidKind const* findKind(std::string const& name)
{
    for (SolidKind const& k : solidKinds())
        if (name == k.name)
            return &k;
    return nullptr;
}

bool parseNumber(std::string const& text, double& value)
{
    char* end = nullptr;
    errno = 0;
    value = std::strtod(text.c_str(), &end);
    return !text.empty() && end != nullptr && *end == '\0' && errno == 0 && std::isfinite(value);
}

// Counts above these would take minutes or gigabytes; the library itself does not care.
bool countInRange(std::string const& kind, Param const& p)
{
    const double limit = kind == "icosphere" ? 9 : 20000;
    return p.value >= 1 && p.value <= limit && p.value == std::floor(p.value);
}

bool isStl(std::string const& path)
{
    if (path.size() < 4)
        return false;
    std::string ext = path.substr(path.size() - 4);
    for (char& c : ext)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return ext == ".stl";
}

bool saveMesh(QmPstMesh& mesh, std::string const& path, bool stlBinaryRecords = true)
{
    if (isStl(path))
        return QmWriteStl(mesh, path.c_str(), stlBinaryRecords, nullptr, nullptr);
    // The stream opens without truncating, so an older, longer file would keep its tail.
    std::remove(path.c_str());
    QmStreamStdIO file;
    if (!file.New(path.c_str()))
        return false;
    const bool ok = QmAlgLoadSave().Save(mesh, file);
    file.Close();
    return ok;
}

bool loadMesh(QmPstMesh& mesh, std::string const& path)
{
    if (isStl(path))
        return QmReadStl(mesh, path.c_str(), nullptr, nullptr);
    QmStreamStdIO file;
    if (!file.Open(path.c_str()))
        return false;
    const bool ok = QmAlgLoadSave().Load(mesh, file);
    file.Close();
    return ok;
}

void printFile(std::string const& path, QmPstMesh& mesh)
{
    std::cout << path << "\n";
    const MeshReport r = MakeReport(mesh);
    PrintReport(std::cout, r);
    if (isStl(path))
        std::cout << "  the weld joined " << 3 * r.nbFace << " face corners into " << r.nbVertex
                  << " vertices\n";
}

int cmdSolid(std::vector<std::string> const& args)
{
    if (args.empty())
        return fail("solid: which one? icosphere, sphere, cylinder, torus or cube\n" +
                    std::string(usage));
    SolidKind const* kind = findKind(args[0]);
    if (kind == nullptr)
        return fail("solid: unknown kind '" + args[0] +
                    "' (icosphere, sphere, cylinder, torus or cube)");
    std::vector<Param> params = kind->params;
    std::string out;
    for (size_t i = 1; i < args.size(); ++i)
    {
        std::string const& a = args[i];
        if (a == "--help")
        {
            std::cout << "qmesh solid " << kind->name << " parameters:\n";
            for (Param const& p : params)
                std::cout << "  --" << p.name << " " << p.value << "\n";
            return 0;
        }
        if (i + 1 == args.size())
            return fail("solid: " + a + " needs a value");
        std::string const& value = args[++i];
        if (a == "-o")
        {
            out = value;
            continue;
        }
        Param* target = nullptr;
        for (Param& p : params)
            if (a == std::string("--") + p.name)
                target = &p;
        if (target == nullptr)
            return fail("solid " + std::string(kind->name) + ": unknown parameter '" + a +
                        "' (see qmesh solid " + kind->name + " --help)");
        if (!parseNumber(value, target->value))
            return fail("solid: " + a + " takes a number, not '" + value + "'");
        if (target->isCount && !countInRange(kind->name, *target))
            return fail("solid: " + a + " must be a whole number from 1 to " +
                        (args[0] == "icosphere" ? "9" : "20000"));
    }
    if (out.empty())
        return fail("solid: no output file (-o FILE)");
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    kind->make(*mesh, params);
    const bool ok = saveMesh(*mesh, out);
    if (ok)
    {
        std::cout << kind->name << " written to " << out << "\n";
        PrintReport(std::cout, MakeReport(*mesh));
    }
    QmPstMesh::DestroyMesh(mesh);
    return ok ? 0 : fail("cannot write '" + out + "'");
}

int cmdInfo(std::vector<std::string> const& args)
{
    if (args.size() != 1)
        return fail("info: give exactly one file");
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    const bool ok = loadMesh(*mesh, args[0]);
    if (ok)
        printFile(args[0], *mesh);
    QmPstMesh::DestroyMesh(mesh);
    return ok ? 0 : fail("cannot read '" + args[0] + "'");
}

int cmdConvert(std::vector<std::string> const& args)
{
    std::vector<std::string> files;
    bool binaryRecords = true;
    for (std::string const& a : args)
    {
        if (a == "--text-records")
            binaryRecords = false;
        else if (!a.empty() && a[0] == '-')
            return fail("convert: unknown option '" + a + "'");
        else
            files.push_back(a);
    }
    if (files.size() != 2)
        return fail("convert: give an input and an output file");
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    const bool read = loadMesh(*mesh, files[0]);
    const bool written = read && saveMesh(*mesh, files[1], binaryRecords);
    if (written)
        printFile(files[1], *mesh);
    QmPstMesh::DestroyMesh(mesh);
    if (!read)
        return fail("cannot read '" + files[0] + "'");
    return written ? 0 : fail("cannot write '" + files[1] + "'");
}

int cmdDistance(std::vector<std::string> const& args)
{
    std::vector<std::string> pos;
    double mask = 7;
    for (size_t i = 0; i < args.size(); ++i)
    {
        if (args[i] == "--mask")
        {
            if (i + 1 == args.size() || !parseNumber(args[i + 1], mask) || mask < 1 || mask > 7 ||
                mask != std::floor(mask))
                return fail("distance: --mask takes a whole number from 1 to 7");
            ++i;
        }
        else
            pos.push_back(args[i]);
    }
    double xyz[3];
    if (pos.size() != 4)
        return fail("distance: give a file and the three coordinates of a point");
    for (int k = 0; k < 3; ++k)
        if (!parseNumber(pos[k + 1], xyz[k]))
            return fail("distance: '" + pos[k + 1] + "' is not a number");
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    if (!loadMesh(*mesh, pos[0]))
    {
        QmPstMesh::DestroyMesh(mesh);
        return fail("cannot read '" + pos[0] + "'");
    }
    QmAlgDistMin::Sol sol;
    QmAlgDistMin().DistMin(ZgVector3(xyz[0], xyz[1], xyz[2]), *mesh,
                           static_cast<QmPstMesh::TypeEle>(static_cast<int>(mask)), sol, 0.0);
    auto show = [](ZgVector3 const& p)
    {
        return "(" + std::to_string(p.x) + ", " + std::to_string(p.y) + ", " + std::to_string(p.z) +
               ")";
    };
    if (!sol.found)
        std::cout << "nothing of the kinds asked in " << pos[0] << "\n";
    else
    {
        std::vector<QmPstMesh::vertex*> corners;
        long grp = 0;
        const char* kind = "vertex";
        if (sol.typeB == QmPstMesh::typeVertex)
            corners.push_back(static_cast<QmPstMesh::vertex*>(sol.eleB));
        else if (sol.typeB == QmPstMesh::typeEdge)
        {
            auto* e = static_cast<QmPstMesh::edge*>(sol.eleB);
            corners.assign(e->v, e->v + 2);
            grp = e->grp;
            kind = "edge";
        }
        else
        {
            auto* f = static_cast<QmPstMesh::face*>(sol.eleB);
            corners.assign(f->v, f->v + 3);
            grp = f->grp;
            kind = "face";
        }
        std::cout << "nearest " << kind;
        if (sol.typeB != QmPstMesh::typeVertex)
            std::cout << " of group " << grp;
        std::cout << " on";
        for (QmPstMesh::vertex* v : corners)
            std::cout << " " << show(ZgVector3(v->coo[0], v->coo[1], v->coo[2]));
        std::cout << "\n  point   " << show(sol.ptA) << "\n  nearest " << show(sol.ptB)
                  << "\n  distance " << std::sqrt(sol.dist2) << " (squared " << sol.dist2 << ")\n";
    }
    QmPstMesh::DestroyMesh(mesh);
    return sol.found ? 0 : 1;
}

int cmdPocket(std::vector<std::string> const& args)
{
    PocketOptions options;
    for (size_t i = 0; i < args.size(); ++i)
    {
        std::string const& a = args[i];
        if (a == "--svg" || a == "--iso")
        {
            if (i + 1 == args.size())
                return fail("pocket: " + a + " needs an output file");
            (a == "--svg" ? options.svg : options.iso) = args[++i];
        }
        else if (a == "--minpt")
            options.minPt = true;
        else if (!a.empty() && a[0] == '-')
            return fail("pocket: unknown option '" + a + "'");
        else if (!options.input.empty())
            return fail("pocket: give one contour file");
        else
            options.input = a;
    }
    if (options.input.empty())
        return fail("pocket: give a contour file (ISO text: G0 then G1 lines)");
    const std::string error = RunPocket(options, std::cout);
    return error.empty() ? 0 : fail(error);
}

int cmdDemo(std::vector<std::string> const& args)
{
    std::string dir;
    std::string data = QMESH_EXAMPLES_DATA;
    for (size_t i = 0; i < args.size(); ++i)
    {
        if (args[i] == "--dir" && i + 1 < args.size())
            dir = args[++i];
        else if (args[i] == "--data" && i + 1 < args.size())
            data = args[++i];
        else
            return fail("demo: unknown argument '" + args[i] + "'");
    }
    if (dir.empty())
    {
        char tmpl[] = "/tmp/qmesh-demo-XXXXXX";
        if (mkdtemp(tmpl) == nullptr)
            return fail("demo: cannot make a temporary directory");
        dir = tmpl;
    }
    else if (mkdir(dir.c_str(), 0700) != 0 && errno != EEXIST)
        return fail("demo: cannot make directory '" + dir + "'");

    std::cout << "qmesh " << QmGetVersion() << " demo: each standard solid is made, saved in "
              << "the native format, loaded back and compared.\n";
    int failures = 0;
    for (SolidKind const& kind : solidKinds())
    {
        QmPstMesh* made = QmPstMesh::CreateMesh();
        kind.make(*made, kind.params);
        const std::string path = dir + "/" + kind.name + ".qm";
        QmPstMesh* loaded = QmPstMesh::CreateMesh();
        const bool ok = saveMesh(*made, path) && loadMesh(*loaded, path);
        const MeshReport a = MakeReport(*made);
        const MeshReport b = MakeReport(*loaded);
        const bool same =
            ok && a.nbVertex == b.nbVertex && a.nbFace == b.nbFace &&
            a.facesPerGroup == b.facesPerGroup &&
            std::fabs(a.signedVolume - b.signedVolume) <= 1e-12 * std::fabs(a.signedVolume);
        std::cout << "\n"
                  << kind.name << " -> " << path << (same ? "" : "  ** MISMATCH **") << "\n";
        PrintReport(std::cout, b);
        failures += same ? 0 : 1;
        QmPstMesh::DestroyMesh(made);
        QmPstMesh::DestroyMesh(loaded);
    }
    std::cout << "\n"
              << (failures == 0 ? "all solids round-tripped" : "round trip failed") << "; files in "
              << dir << "\n";

    // STL: a file made by another program, read and welded, then written in both forms.
    const std::string stlIn = data + "/bored_cube.stl";
    QmPstMesh* stl = QmPstMesh::CreateMesh();
    std::cout << "\nSTL from another program: ";
    if (QmReadStl(*stl, stlIn.c_str(), nullptr, nullptr) && stl->GetNbFace() > 0)
    {
        printFile(stlIn, *stl);
        const std::string binary = dir + "/bored_cube_binary_records.stl";
        const std::string text = dir + "/bored_cube_text_records.stl";
        const bool written = saveMesh(*stl, binary, true) && saveMesh(*stl, text, false);
        std::cout << (written ? "written again as " + binary + " and " + text
                              : std::string("  ** cannot write the STL files **"))
                  << "\n";
        failures += written ? 0 : 1;
    }
    else
    {
        std::cout << "cannot read " << stlIn << " (give the bundled data with --data DIR)\n";
        ++failures;
    }
    QmPstMesh::DestroyMesh(stl);

    // Two pockets, one with islands: their medial axes, drawn over the contours.
    for (char const* name : {"pocket", "pocket_islands"})
    {
        std::cout << "\nMedial axis of a pocket" << (name[6] == '_' ? " with islands" : "") << ": ";
        PocketOptions pocket;
        pocket.input = data + "/" + name + ".iso";
        pocket.svg = dir + "/" + name + ".svg";
        pocket.iso = dir + "/" + name + "_diagram.iso";
        const std::string error = RunPocket(pocket, std::cout);
        if (!error.empty())
        {
            std::cout << "  ** " << error << " **\n";
            ++failures;
        }
        else
            std::cout << "open " << pocket.svg << " in a browser to see it\n";
    }
    return failures == 0 ? 0 : 1;
}
} // namespace

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        std::cerr << usage;
        return 2;
    }
    const std::string cmd = argv[1];
    const std::vector<std::string> args(argv + 2, argv + argc);
    if (cmd == "solid")
        return cmdSolid(args);
    if (cmd == "info")
        return cmdInfo(args);
    if (cmd == "distance")
        return cmdDistance(args);
    if (cmd == "convert")
        return cmdConvert(args);
    if (cmd == "pocket")
        return cmdPocket(args);
    if (cmd == "demo")
        return cmdDemo(args);
    if (cmd == "--version")
    {
        std::cout << "qmesh " << QmGetVersion() << "\n";
        return 0;
    }
    if (cmd == "--help" || cmd == "help")
    {
        std::cout << usage;
        return 0;
    }
    return fail("unknown command '" + cmd + "'\n" + usage);
}
