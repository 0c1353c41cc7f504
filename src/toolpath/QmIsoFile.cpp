#include "toolpath/QmIsoFile.h"

#include "build/QmAlgHelperMeshBuilder.h"
#include "kernel/ZgUtf16.h"
#include "kernel/ZgVector2.h"
#include "kernel/ZgVector3.h"
#include "mesh/QmAttribut.h"
#include "mesh/QmPstMesh.h"
#include "query/QmAlgNeib.h"
#include "voronoi/VorGeomDetail.h"

#include <cassert>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace
{
using vertex = QmPstMesh::vertex;
using edge = QmPstMesh::edge;

constexpr double pi = 3.141592653589793;
// The same 2 pi as Polar's, so that a turn straight ahead lands on pi exactly.
constexpr double deuxPi = 6.283185307179586;
// One degree in radians: a point whose turn is within it of straight is dropped.
constexpr double unDegre = 0.017453292519943295;
// Coordinates read by Scharge_SuperPTM are divided by this: a hook for a unit scale.
constexpr double isoUnit = 1.0;
// Larger than stdio's default: a contour of many points is many short lines.
constexpr std::size_t streamBuffer = std::size_t(1) << 16;

std::FILE* asFile(void const* file)
{
    assert(file != nullptr);
    return static_cast<std::FILE*>(const_cast<void*>(file));
}

// A directory opens for reading on POSIX systems and then fails every read: it counts as a
// file that cannot be opened.
std::FILE* openText(char const* path)
{
    if (path == nullptr)
        return nullptr;
    std::FILE* file = std::fopen(path, "r");
    if (file == nullptr)
        return nullptr;
    struct stat st;
    if (fstat(fileno(file), &st) != 0 || !S_ISREG(st.st_mode))
    {
        std::fclose(file);
        return nullptr;
    }
    std::setvbuf(file, nullptr, _IOFBF, streamBuffer);
    return file;
}

// scanf's white space: what a blank in a format skips.
bool isScanSpace(int c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

// Reads lines as fscanf(file, "%[^\n]\n", line) would, into a buffer that grows, so that no
// line length can overrun it. The line keeps NUL bytes, but the searches and parses that
// follow see it as a C string and stop at the first one.
//
// After a line the trailing blank of the format skips all white space, so the end-of-file
// flag is set as soon as no other character remains, and every line after the first
// starts with a character that is not white space. The one input the scan would not match,
// a newline as the very first character of the file, would leave a reader stuck on the
// same spot; it reads as an empty header line instead.
class LineScan
{
public:
    explicit LineScan(std::FILE* f) : file(f) {}

    // false when the input ended before a character: the scan's EOF result.
    bool Read(std::string& line)
    {
        int c = std::getc(file);
        if (c == EOF)
        {
            atEnd = true;
            return false;
        }
        line.clear();
        while (c != '\n' && c != EOF)
        {
            line.push_back(static_cast<char>(c));
            c = std::getc(file);
        }
        while (c != EOF && isScanSpace(c))
            c = std::getc(file);
        // A read error ends the input as the end of the file does: nothing more can come.
        if (c == EOF)
            atEnd = true;
        else
            std::ungetc(c, file);
        return true;
    }

    // The stream's end-of-file flag as the readers test it.
    bool AtEnd() const { return atEnd; }

private:
    std::FILE* file;
    bool atEnd = false;
};

bool contains(std::string const& line, char const* what)
{
    return std::strstr(line.c_str(), what) != nullptr;
}

// ---- Writing ----

void writeContour(std::FILE* file, QmPstMesh& mesh)
{
    auto it = mesh.GetIterEdge();
    if (it.IsEnd())
        return;
    const long classId = QmAlgNeib::AttrEdge::GetClassId();
    bool linked = false;
    for (auto e = mesh.GetIterEdge(); !e.IsEnd() && !linked; e.Next())
        linked = mesh.GetEleAttr(e.Get(), classId) != nullptr;
    if (!linked)
        QmAlgNeib().BuildAttrEdge(mesh);

    edge* e = it.Get();
    LSOM_Move(file, e->v[0]->coo[0], e->v[0]->coo[1]);
    LSOM_LineTo(file, e->v[1]->coo[0], e->v[1]->coo[1]);
    for (long k = 1; k < mesh.GetNbEdge(); ++k)
    {
        auto* attr = static_cast<QmAlgNeib::AttrEdge*>(mesh.GetEleAttr(e, classId));
        e = attr != nullptr ? attr->GetNextIde(e) : nullptr;
        if (e == nullptr)
            break;
        LSOM_LineTo(file, e->v[1]->coo[0], e->v[1]->coo[1]);
    }

    if (!linked)
        QmAttribut::RemoveAttrE(&mesh, classId);
}

// ---- Reading contours ----

struct IsoPoint
{
    double x = 0.0;
    double y = 0.0;
};

// One line's "%s X%lf Y%lf;" into word and p. Fields that do not parse keep what they held,
// as sscanf leaves them; a line without a word leaves all three. The word is taken whole,
// as an unbounded %s would take it, and the numbers are scanned after it.
void scanPoint(std::string const& line, std::string& word, IsoPoint& p)
{
    char const* s = line.c_str();
    while (isScanSpace(static_cast<unsigned char>(*s)))
        ++s;
    if (*s == '\0')
        return;
    char const* w = s;
    while (*s != '\0' && !isScanSpace(static_cast<unsigned char>(*s)))
        ++s;
    word.assign(w, s);
    std::sscanf(s, " X%lf Y%lf", &p.x, &p.y);
    p.x /= isoUnit;
    p.y /= isoUnit;
}

// The slot for point n. Slots persist from block to block, so a point that does not parse
// keeps what an earlier line put there; a slot never written holds 0.
IsoPoint& slot(std::vector<IsoPoint>& points, std::size_t n)
{
    if (n >= points.size())
        points.resize(n + 1);
    return points[n];
}

// Reads one contour into points[0, n). true when "M6" or a line whose word holds "G0"
// ends it (that G0 line is consumed and its point lost), false at the end of the input,
// the block so far being dropped.
bool readContourBlock(LineScan& in, std::string& line, std::vector<IsoPoint>& points,
                      std::size_t& n)
{
    std::string word;
    n = 0;
    if (!in.Read(line) || contains(line, "M6"))
        return false;
    scanPoint(line, word, slot(points, 0));
    n = 1;
    while (!in.AtEnd())
    {
        if (!in.Read(line))
            break;
        if (contains(line, "M6"))
            return true;
        scanPoint(line, word, slot(points, n));
        if (word.find("G0") != std::string::npos)
            return true;
        ++n;
    }
    return false;
}

// The corner test at c, coming from k and going to n: the turn is pi for straight ahead.
// A zero vector has no direction and makes no corner; Polar's NaN for a vector too short
// to measure fails the comparison the same way.
bool isCorner(IsoPoint const& k, IsoPoint const& c, IsoPoint const& n)
{
    const ZgVector2 a(c.x - k.x, c.y - k.y);
    const ZgVector2 b(n.x - c.x, n.y - c.y);
    if ((a.x == 0.0 && a.y == 0.0) || (b.x == 0.0 && b.y == 0.0))
        return false;
    const double turn = std::fmod(Polar(b) + (deuxPi - Polar(-a)), deuxPi);
    return std::fabs(turn - pi) > unDegre;
}

// Points p[0] to p[edges] (edges >= 1) become a chain of corners. reverse non-zero runs
// every edge from the newer vertex back to the older one.
void buildContourMesh(std::vector<IsoPoint> const& p, std::size_t edges, QmPstMesh& mesh,
                      long reverse)
{
    QmAlgHelperMeshBuilder builder(mesh);
    auto make = [&](IsoPoint const& q) { return builder.FindOrCreateVertex(q.x, q.y, 0.0); };

    // Exact: the writer prints a closed chain's start twice from one vertex, so its two
    // lines are the same text and read back to the same doubles.
    const bool closed = p[0].x == p[edges].x && p[0].y == p[edges].y;
    vertex* first;
    IsoPoint k;
    std::size_t start;
    if (!closed)
    {
        first = make(p[0]);
        k = p[0];
        start = 0;
    }
    else
    {
        const IsoPoint& from = isCorner(p[edges - 1], p[0], p[1]) ? p[0] : p[1];
        first = make(from);
        k = from;
        start = 1;
    }

    vertex* current = first;
    auto addEdge = [&](vertex* next)
    {
        if (reverse != 0)
            builder.CreateEdge(next, current, 0);
        else
            builder.CreateEdge(current, next, 0);
        current = next;
    };
    for (std::size_t i = start; i < edges; ++i)
        if (isCorner(k, p[i], p[i + 1]))
        {
            k = p[i];
            addEdge(make(p[i]));
        }
    addEdge(closed ? first : make(p[edges]));
}

// ---- Reading polylines ----

bool readIso(QmPstMesh& mesh, std::FILE* file)
{
    LineScan in(file);
    std::string line;
    in.Read(line);
    ZgVector3 point(0.0, 0.0, 0.0);
    ZgVector3 firstPoint;
    vertex* previous = nullptr;
    vertex* first = nullptr;
    while (!in.AtEnd())
    {
        if (!in.Read(line))
            break;
        if (contains(line, "M6"))
            continue;
        const bool move = contains(line, "G0");
        if (!move && !contains(line, "G1"))
            continue;
        std::sscanf(line.c_str(), move ? "G0 X%lf Y%lf Z%lf;" : "G1 X%lf Y%lf Z%lf;", &point.x,
                    &point.y, &point.z);
        // A feed with no chain before it has no vertex to start from: it starts one.
        if (move || previous == nullptr)
        {
            first = previous = mesh.AddVertex(point);
            firstPoint = point;
            continue;
        }
        // Exact, not within dZgZero: only a return to the start's very coordinates closes.
        const bool closes =
            point.x == firstPoint.x && point.y == firstPoint.y && point.z == firstPoint.z;
        vertex* v[2] = {previous, closes ? first : mesh.AddVertex(point)};
        mesh.AddEdge(v, 0);
        previous = v[1];
    }
    return true;
}
} // namespace

void LSOM_Move3D(void const* file, double x, double y, double z)
{
    std::fprintf(asFile(file), "G0 X%.5lf Y%.5lf Z%.5lf\n", x, y, z);
}

void LSOM_LineTo3D(void const* file, double x, double y, double z)
{
    std::fprintf(asFile(file), "G1 X%.5lf Y%.5lf Z%.5lf\n", x, y, z);
}

void LSOM_Move(void const* file, double x, double y)
{
    std::fprintf(asFile(file), "G0 X%.15lf Y%.15lf\n", x, y);
}

void LSOM_LineTo(void const* file, double x, double y)
{
    std::fprintf(asFile(file), "G1 X%.15lf Y%.15lf\n", x, y);
}

void LSOM_PutH(void const* file, double x, double y, double i, double j)
{
    std::fprintf(asFile(file), "G2 X%lf Y%lf I%lf J%lf\n", x, y, i, j);
}

void LSOM_PutT(void const* file, double x, double y, double i, double j)
{
    std::fprintf(asFile(file), "G3 X%lf Y%lf I%lf J%lf\n", x, y, i, j);
}

void Qmsauve_AllGcode_TestNext(char const* path, QmPstMesh** const meshes, long count, long which)
{
    assert(meshes != nullptr || (which < 0 && count <= 0));
    if (path == nullptr)
        return;
    std::FILE* file = std::fopen(path, "w");
    if (file == nullptr)
        return;
    std::fputs("(Iso File)\n", file);
    const long from = which < 0 ? 0 : which;
    const long to = which < 0 ? count : which + 1;
    for (long i = from; i < to; ++i)
    {
        assert(meshes[i] != nullptr);
        if (meshes[i] != nullptr)
            writeContour(file, *meshes[i]);
    }
    std::fputs("M6\n", file);
    std::fclose(file);
}

void Qmsauve_AllGcode_TestNext(char* path, QmPstMesh** const meshes, long count, long which)
{
    Qmsauve_AllGcode_TestNext(static_cast<char const*>(path), meshes, count, which);
}

void Scharge_SuperPTM(char const* path, QmPstMesh** const meshes, long& count)
{
    assert(meshes != nullptr);
    std::FILE* file = openText(path);
    if (file == nullptr)
        return;
    // Grows with the contour: no number of points overruns it.
    std::vector<IsoPoint> points;
    points.reserve(1024);
    LineScan in(file);
    std::string line;
    in.Read(line);
    count = 0;

    // A one-point block leaves its mesh in the slot that the next block takes over; that
    // mesh is nobody's, so it is destroyed rather than lost.
    QmPstMesh* leftover = nullptr;
    std::size_t n = 0;
    while (readContourBlock(in, line, points, n))
    {
        QmPstMesh::DestroyMesh(leftover);
        leftover = nullptr;
        QmPstMesh* mesh = QmPstMesh::CreateMesh();
        meshes[count] = mesh;
        if (n > 1)
        {
            const long index = count;
            ++count;
            buildContourMesh(points, n - 1, *mesh, index);
        }
        else
            leftover = mesh;
    }
    if (leftover != nullptr)
    {
        QmPstMesh::DestroyMesh(leftover);
        meshes[count] = nullptr;
    }
    std::fclose(file);
}

void Scharge_SuperPTM(char* path, QmPstMesh** const meshes, long& count)
{
    Scharge_SuperPTM(static_cast<char const*>(path), meshes, count);
}

bool QmReadIso(QmPstMesh& mesh, char const* path)
{
    std::FILE* file = openText(path);
    if (file == nullptr)
        return false;
    const bool ok = readIso(mesh, file);
    std::fclose(file);
    return ok;
}

bool QmReadIso(QmPstMesh& mesh, char* path)
{
    return QmReadIso(mesh, static_cast<char const*>(path));
}

bool QmReadIso(QmPstMesh& mesh, unsigned short const* path)
{
    std::string name;
    if (!ZgUtf16ToUtf8(path, name))
        return false;
    return QmReadIso(mesh, name.c_str());
}

bool QmReadIso(QmPstMesh& mesh, unsigned short* path)
{
    return QmReadIso(mesh, static_cast<unsigned short const*>(path));
}
