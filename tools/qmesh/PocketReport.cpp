#include "PocketReport.h"

#include "kernel/ZgVector2.h"
#include "kernel/ZgVector3.h"
#include "mesh/QmPstMesh.h"
#include "toolpath/QmIsoFile.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/QmVorGeom.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <ostream>
#include <string>
#include <unordered_set>
#include <vector>

namespace
{
using Brin = QmAlgVor::BrinVor;

// One chain of the file, in the file's order. A closed chain does not repeat its first
// point at the end.
struct Chain
{
    std::vector<ZgVector2> points;
    bool closed = false;
    long dropped = 0; // points equal to their predecessor, left out
};

ZgVector2 Planar(QmPstMesh::vertex const* v) { return {v->coo[0], v->coo[1]}; }

// QmReadIso adds the edges of a chain in file order, each from the vertex where the
// previous one ended, and never shares a vertex between chains: so a new chain begins
// exactly where an edge does not start at its predecessor's end.
std::vector<Chain> SplitChains(QmPstMesh& mesh)
{
    std::vector<QmPstMesh::edge*> edges;
    for (auto it = mesh.GetIterEdge(); !it.IsEnd(); it.Next())
        edges.push_back(it.Get());
    std::reverse(edges.begin(), edges.end()); // the walk runs newest first
    std::vector<Chain> chains;
    QmPstMesh::vertex const* first = nullptr;
    QmPstMesh::vertex const* end = nullptr;
    for (QmPstMesh::edge const* e : edges)
    {
        if (chains.empty() || e->v[0] != end)
        {
            chains.emplace_back();
            first = e->v[0];
            chains.back().points.push_back(Planar(first));
        }
        chains.back().points.push_back(Planar(e->v[1]));
        chains.back().closed = e->v[1] == first;
        end = e->v[1];
    }
    for (Chain& c : chains)
    {
        if (c.closed)
            c.points.pop_back(); // the first vertex again
        // QmReadIso closes a chain only on an exact return to its first point; one that
        // comes back within the coordinate tolerance was meant to close as well.
        else if (c.points.size() > 3 && c.points.back() == c.points.front())
        {
            c.points.pop_back();
            c.closed = true;
            ++c.dropped;
        }
        // A zero-length edge is a contour the diagram refuses; a repeated point in a file
        // means nothing, so it goes here rather than failing the whole pocket.
        std::vector<ZgVector2> kept;
        for (ZgVector2 const& p : c.points)
        {
            if (!kept.empty() && p == kept.back())
                ++c.dropped;
            else
                kept.push_back(p);
        }
        while (c.closed && kept.size() > 1 && kept.back() == kept.front())
        {
            kept.pop_back();
            ++c.dropped;
        }
        c.points.swap(kept);
    }
    return chains;
}

// Twice the signed area, positive counter-clockwise; an open chain counts as closed by
// the segment from its last point back to its first.
double SignedArea2(std::vector<ZgVector2> const& p)
{
    double a = 0.0;
    for (size_t i = 0; i < p.size(); ++i)
    {
        ZgVector2 const& q = p[(i + 1) % p.size()];
        a += p[i].x * q.y - q.x * p[i].y;
    }
    return a;
}

// A mesh holding the chain as one chain of edges at z = 0. The caller destroys it.
QmPstMesh* MakeChainMesh(Chain const& chain)
{
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    std::vector<QmPstMesh::vertex*> v;
    for (ZgVector2 const& p : chain.points)
        v.push_back(mesh->AddVertex(ZgVector3(p.x, p.y, 0.0)));
    const size_t nbEdge = chain.closed ? v.size() : v.size() - 1;
    for (size_t i = 0; i < nbEdge; ++i)
    {
        QmPstMesh::vertex* ends[2] = {v[i], v[(i + 1) % v.size()]};
        mesh->AddEdge(ends, 0);
    }
    return mesh;
}

// Reverses the direction of travel; a closed chain keeps its first point.
void Reverse(Chain& chain)
{
    auto from = chain.points.begin();
    if (chain.closed && !chain.points.empty())
        ++from;
    std::reverse(from, chain.points.end());
}

// A tour longer than this is a broken map, not a big one. A contour edge gives at most two
// sites (its segment and one end point), a planar Voronoi diagram of s sites has fewer than
// 3s arcs, each arc is two darts and AddMinPt splits an arc at most once; doubled again
// for slack.
long TourBound(long nbEdge)
{
    const long sites = 2 * (nbEdge + 2);
    const long arcs = 2 * (3 * sites); // after AddMinPt
    return 2 * (2 * arcs);             // slack, darts
}

// The entry dart of the first edge of pocket i that has one.
Brin* FirstDart(QmAlgVor& vor, long i)
{
    QmPstMesh& mesh = vor.GetPstMesh(i);
    QmPstMesh::edge* e = vor.GetPocheIde(i);
    for (long k = 0; k < vor.GetNbEdge(i) && e != nullptr; ++k)
    {
        auto* attr = static_cast<QmAlgVor::AttrEdgeVor*>(
            mesh.GetEleAttr(e, QmAlgVor::AttrEdgeVor::GetClassId()));
        if (attr == nullptr)
            return nullptr;
        Brin* b = attr->GetB2();
        if (b != nullptr && b != VorBrinFin())
            return b;
        e = attr->GetNextIde(e);
    }
    return nullptr;
}

// Darts in the Phi tour from start, appended to darts; false when a link is missing or
// the tour does not come back within bound.
bool AddTour(Brin* start, long bound, std::vector<Brin*>& darts)
{
    Brin* b = start;
    for (long n = 1; n <= bound; ++n)
    {
        if (b->Alpha() == nullptr || b->Phi() == nullptr)
            return false;
        darts.push_back(b);
        b = b->Phi();
        if (b == start)
            return true;
    }
    return false;
}

// Every dart of the diagram, from the outer pocket's tour, which passes the islands too once
// they are joined; a pocket whose start that tour did not pass adds its own. Empty when a
// tour is broken.
std::vector<Brin*> AllDarts(QmAlgVor& vor, long bound)
{
    std::vector<Brin*> darts;
    std::unordered_set<Brin*> seen;
    for (long i = 0; i < vor.GetNbPoches(); ++i)
    {
        Brin* start = FirstDart(vor, i);
        if (start == nullptr)
            return {};
        if (seen.count(start) != 0)
            continue;
        const size_t from = darts.size();
        if (!AddTour(start, bound, darts))
            return {};
        seen.insert(darts.begin() + static_cast<long>(from), darts.end());
    }
    return darts;
}

template <typename F> void ForTour(std::vector<Brin*> const& darts, F visit)
{
    for (Brin* b : darts)
        visit(b);
}

// The tours meet each arc twice, once through each dart: the dart at the lower address
// stands for the arc, so no mark is needed.
bool Represents(Brin const* b) { return std::less<Brin const*>()(b, b->Alpha()); }

bool IsInfiniteArc(Brin const* b)
{
    return IsInfini(b->GetPoint1()) || IsInfini(b->Alpha()->GetPoint1());
}

struct Counts
{
    long nbVertex = 0;
    long nbContour = 0;
    long nbInfini = 0;
    long nbArc = 0;
    long nbDroite = 0;
    long nbParabole = 0;
    long nbInfiniArc = 0;
    // The deepest vertex: the centre of the largest inscribed circle. maxD < 0 when no
    // vertex lies inside.
    double maxD = -1.0;
    ZgVector2 centre;
};

Counts CountDiagram(std::vector<Brin*> const& darts)
{
    Counts c;
    // A vertex is one Sigma orbit. Flag marks the orbits counted; the library's walks and
    // Delete expect every flag clear, so the second walk clears them all.
    ForTour(darts,
            [&c](Brin* b)
            {
                if (b->GetFlag() != 0)
                    return;
                b->FlagSigmaStar(false);
                ++c.nbVertex;
                const double d = b->GetD1();
                if (IsInfini(b->GetPoint1()))
                    ++c.nbInfini;
                else if (d == 0.0) // the contour's marker: assigned, never computed
                    ++c.nbContour;
                else if (d != VorInfini && d > c.maxD)
                {
                    c.maxD = d;
                    c.centre = b->GetPoint1();
                }
            });
    ForTour(darts, [](Brin* b) { b->SetFlag(0); });
    ForTour(darts,
            [&c](Brin* b)
            {
                if (!Represents(b))
                    return;
                ++c.nbArc;
                ++(b->IsDroite() ? c.nbDroite : c.nbParabole);
                c.nbInfiniArc += IsInfiniteArc(b) ? 1 : 0;
            });
    return c;
}

// --- SVG ------------------------------------------------------------------------------

bool Finite(ZgVector2 const& p)
{
    // VorInfini is finite as a double but is no coordinate.
    return std::isfinite(p.x) && std::isfinite(p.y) && std::fabs(p.x) < VorInfini &&
           std::fabs(p.y) < VorInfini;
}

std::string XmlText(std::string const& s)
{
    std::string r;
    for (char ch : s)
        r += ch == '<' ? "&lt;" : ch == '>' ? "&gt;" : ch == '&' ? "&amp;" : std::string(1, ch);
    return r;
}

std::string Num(double v)
{
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.6f", v);
    std::string s = buf;
    s.erase(s.find_last_not_of('0') + 1);
    if (s.back() == '.')
        s.pop_back();
    return s == "-0" ? "0" : s;
}

// SVG's y axis points down: y is negated so that the picture is not mirrored.
std::string Pt(ZgVector2 const& p) { return Num(p.x) + "," + Num(-p.y); }

// Clearance from narrow (blue) to wide (red), t in [0, 1].
std::string Ramp(double t)
{
    static const unsigned char stops[][3] = {{49, 54, 149},   {69, 117, 180},  {116, 173, 209},
                                             {171, 217, 233}, {254, 224, 144}, {253, 174, 97},
                                             {244, 109, 67},  {165, 0, 38}};
    const int last = static_cast<int>(sizeof stops / sizeof stops[0]) - 1;
    t = std::isfinite(t) ? std::min(1.0, std::max(0.0, t)) : 1.0;
    const int i = std::min(last - 1, static_cast<int>(t * last));
    const double f = t * last - i;
    char buf[8];
    int rgb[3];
    for (int k = 0; k < 3; ++k)
        rgb[k] = static_cast<int>(std::lround(stops[i][k] + f * (stops[i + 1][k] - stops[i][k])));
    std::snprintf(buf, sizeof buf, "#%02x%02x%02x", rgb[0], rgb[1], rgb[2]);
    return buf;
}

struct Box
{
    ZgVector2 lo{VorInfini, VorInfini};
    ZgVector2 hi{-VorInfini, -VorInfini};
    void Add(ZgVector2 const& p)
    {
        lo = {std::min(lo.x, p.x), std::min(lo.y, p.y)};
        hi = {std::max(hi.x, p.x), std::max(hi.y, p.y)};
    }
    double Diag() const { return (hi - lo).Length(); }
    void Grow(double m)
    {
        lo = lo - ZgVector2(m, m);
        hi = hi + ZgVector2(m, m);
    }
};

// The arc of b, both of whose vertices are finite: a line, or the exact quadratic Bezier
// of a parabola.
std::string FiniteArcPath(Brin const* b)
{
    if (!b->IsDroite())
    {
        ZgVector2 ctl[3];
        long count = 0;
        b->GetEquation(ctl, count);
        if (count == 3 && Finite(ctl[0]) && Finite(ctl[1]) && Finite(ctl[2]))
            return "M" + Pt(ctl[0]) + " Q" + Pt(ctl[1]) + " " + Pt(ctl[2]);
    }
    return "M" + Pt(b->GetPoint1()) + " L" + Pt(b->Alpha()->GetPoint1());
}

// An arc running off to infinity from the finite vertex of dart d, a dead end, taken far
// enough by XYtV to leave the clip box: a straight one to the length reach, a parabola
// over the span of its GetEquationV form, whose control point follows from three points
// of the Bezier (B(1/2) = P0/4 + C/2 + P2/4). Empty when it cannot be drawn.
std::string InfiniteArcPath(Brin const* d, double reach)
{
    if (!d->Last() || !Finite(d->GetPoint1()))
        return {};
    const ZgVector2 p0 = d->XYtV(0.0);
    if (d->IsDroite())
    {
        const ZgVector2 far = d->XYtV(reach);
        return Finite(far) ? "M" + Pt(p0) + " L" + Pt(far) : std::string();
    }
    const ZgVector2 mid = d->XYtV(0.5);
    const ZgVector2 p2 = d->XYtV(1.0);
    const ZgVector2 c = mid * 2.0 - (p0 + p2) * 0.5;
    if (!Finite(mid) || !Finite(p2) || !Finite(c))
        return {};
    return "M" + Pt(p0) + " Q" + Pt(c) + " " + Pt(p2);
}

bool WriteSvg(std::string const& path, std::string const& title, std::vector<Chain> const& contours,
              std::vector<Brin*> const& darts, Counts const& c)
{
    Box box;
    for (Chain const& contour : contours)
        for (ZgVector2 const& p : contour.points)
            box.Add(p);
    ForTour(darts,
            [&box](Brin* b)
            {
                if (Finite(b->GetPoint1()))
                    box.Add(b->GetPoint1());
            });
    const double diag = std::max(box.Diag(), 1e-9);
    Box clip = box;
    clip.Grow(c.nbInfiniArc > 0 ? 0.5 * diag : 0.0);
    Box view = clip;
    view.Grow(0.04 * clip.Diag());
    const ZgVector2 size = view.hi - view.lo;
    const double scale = 1000.0 / std::max(size.x, size.y);
    // One pixel of the picture at its nominal size, in model units: strokes are sized in
    // model units so that every renderer draws them alike.
    const double px = 1.0 / scale;

    std::ofstream svg(path);
    if (!svg)
        return false;
    svg << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << Num(size.x * scale)
        << "\" height=\"" << Num(size.y * scale) << "\" viewBox=\"" << Num(view.lo.x) << " "
        << Num(-view.hi.y) << " " << Num(size.x) << " " << Num(size.y) << "\">\n"
        << "<title>" << XmlText(title) << "</title>\n"
        << "<style>path, circle { stroke-linecap: round; stroke-linejoin: round }</style>\n"
        << "<defs><clipPath id=\"far\"><rect x=\"" << Num(clip.lo.x) << "\" y=\"" << Num(-clip.hi.y)
        << "\" width=\"" << Num(clip.hi.x - clip.lo.x) << "\" height=\""
        << Num(clip.hi.y - clip.lo.y) << "\"/></clipPath></defs>\n"
        << "<rect x=\"" << Num(view.lo.x) << "\" y=\"" << Num(-view.hi.y) << "\" width=\""
        << Num(size.x) << "\" height=\"" << Num(size.y) << "\" fill=\"white\"/>\n";

    // The outer contour and its islands as one path: the islands are holes in the fill.
    svg << "<path class=\"contour\" fill=\"#efefe8\" fill-rule=\"evenodd\" stroke=\"black\" "
        << "stroke-width=\"" << Num(3 * px) << "\" d=\"";
    for (Chain const& contour : contours)
    {
        for (size_t i = 0; i < contour.points.size(); ++i)
            svg << (i == 0 ? "M" : " L") << Pt(contour.points[i]);
        svg << (contour.closed ? " Z" : "");
    }
    svg << "\"/>\n";

    // One element per line and per arc, coloured by the mean clearance of its two ends.
    const double reach = (clip.hi - clip.lo).Length() + diag;
    svg << "<g fill=\"none\" stroke-width=\"" << Num(2 * px) << "\">\n";
    std::string far;
    ForTour(darts,
            [&](Brin* b)
            {
                if (!Represents(b))
                    return;
                if (!IsInfiniteArc(b))
                {
                    const double t = c.maxD > 0.0 ? 0.5 * (b->GetD1() + b->GetD2()) / c.maxD : 0.0;
                    svg << "<path class=\"arc\" stroke=\"" << Ramp(t) << "\" d=\""
                        << FiniteArcPath(b) << "\"/>\n";
                    return;
                }
                Brin const* d = IsInfini(b->GetPoint1()) ? b->Alpha() : b;
                const std::string arc = InfiniteArcPath(d, reach);
                if (!arc.empty())
                    far += "<path class=\"arc infinite\" d=\"" + arc + "\"/>\n";
            });
    svg << "</g>\n";
    if (!far.empty())
        svg << "<g fill=\"none\" stroke=\"#808080\" stroke-width=\"" << Num(2 * px)
            << "\" stroke-dasharray=\"" << Num(6 * px) << " " << Num(4 * px)
            << "\" clip-path=\"url(#far)\">\n"
            << far << "</g>\n";

    if (c.maxD > 0.0)
        svg << "<circle class=\"largest\" cx=\"" << Num(c.centre.x) << "\" cy=\""
            << Num(-c.centre.y) << "\" r=\"" << Num(c.maxD)
            << "\" fill=\"none\" stroke=\"#d01010\" stroke-width=\"" << Num(2 * px)
            << "\" stroke-dasharray=\"" << Num(8 * px) << " " << Num(4 * px) << "\"/>\n"
            << "<circle cx=\"" << Num(c.centre.x) << "\" cy=\"" << Num(-c.centre.y) << "\" r=\""
            << Num(3 * px) << "\" fill=\"#d01010\"/>\n";
    svg << "</svg>\n";
    return static_cast<bool>(svg);
}

// Everything a run holds, freed on every return path. Compute keeps the array of contour
// meshes by reference, so it lives here as long as the diagram; Delete is due after a
// failed Compute as well.
struct PocketRun
{
    QmPstMesh* file = QmPstMesh::CreateMesh();
    std::vector<QmPstMesh*> meshes;
    QmAlgVor vor;
    bool computed = false;

    PocketRun() = default;
    PocketRun(PocketRun const&) = delete;
    PocketRun& operator=(PocketRun const&) = delete;
    ~PocketRun()
    {
        if (computed)
            vor.Delete(meshes.data(), static_cast<long>(meshes.size()));
        for (QmPstMesh* m : meshes)
            QmPstMesh::DestroyMesh(m);
        QmPstMesh::DestroyMesh(file);
    }
};

std::string Fixed(double v)
{
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.6f", v);
    return buf;
}

bool CanWrite(std::string const& path)
{
    std::FILE* f = std::fopen(path.c_str(), "w");
    if (f == nullptr)
        return false;
    std::fclose(f);
    return true;
}
} // namespace

std::string RunPocket(PocketOptions const& options, std::ostream& out)
{
    PocketRun run;
    if (!QmReadIso(*run.file, options.input.c_str()))
        return "cannot read '" + options.input + "'";
    std::vector<Chain> chains = SplitChains(*run.file);
    if (chains.empty())
        return "no contour in '" + options.input + "' (no G1 line after a G0)";
    // One chain is the pocket, open or closed. With several, the closed ones make a pocket
    // with islands: the largest is the outer contour and the others are islands.
    std::vector<Chain> contours;
    long ignored = 0;
    if (chains.size() == 1)
        contours.push_back(chains.front());
    else
        for (Chain const& c : chains)
        {
            if (c.closed && c.points.size() >= 3)
                contours.push_back(c);
            else
                ++ignored;
        }
    if (contours.empty())
        return "no closed contour among the " + std::to_string(chains.size()) + " chains of '" +
               options.input + "'";
    size_t outer = 0;
    for (size_t i = 1; i < contours.size(); ++i)
        if (std::fabs(SignedArea2(contours[i].points)) >
            std::fabs(SignedArea2(contours[outer].points)))
            outer = i;
    std::rotate(contours.begin(), contours.begin() + static_cast<long>(outer),
                contours.begin() + static_cast<long>(outer) + 1);
    Chain& contour = contours.front();
    if (contour.points.size() < (contour.closed ? 3u : 2u))
        return "the contour in '" + options.input + "' has fewer distinct points than a " +
               (contour.closed ? "triangle" : "segment");

    // The diagram lies on the right of each edge: the outer contour runs clockwise and the
    // islands counter-clockwise.
    long reversed = 0;
    for (size_t i = 0; i < contours.size(); ++i)
        if ((SignedArea2(contours[i].points) > 0.0) == (i == 0))
        {
            Reverse(contours[i]);
            ++reversed;
        }
    long nbEdge = 0;
    long dropped = 0;
    for (Chain const& c : contours)
    {
        run.meshes.push_back(MakeChainMesh(c));
        nbEdge += run.meshes.back()->GetNbEdge();
        dropped += c.dropped;
    }

    out << options.input << ": contour of " << run.meshes[0]->GetNbEdge() << " edges, "
        << (contour.closed ? "closed" : "open");
    if (contours.size() > 1)
        out << ", " << contours.size() - 1 << " island(s), " << nbEdge << " edges in all";
    if (reversed > 0 && contours.size() == 1)
        out << ", reversed to run clockwise";
    else if (reversed > 0)
        out << ", " << reversed
            << " contour(s) reversed (outer clockwise, islands counter-clockwise)";
    if (dropped > 0)
        out << ", " << dropped << " repeated point(s) left out";
    out << "\n";
    if (ignored > 0)
        out << "  " << ignored << " open chain(s) ignored: islands must be closed\n";

    run.computed = true;
    if (run.vor.Compute(nullptr, run.meshes.data(), static_cast<long>(run.meshes.size())) != 1)
        return "cannot compute the diagram of '" + options.input +
               "': the construction refused this contour" +
               (contours.size() > 1 ? "s (do islands touch or cross?)" : "") +
               (contour.closed ? "" : " (it is open: end it on its first point to close it)");
    if (options.minPt)
        run.vor.AddMinPt();

    const std::vector<Brin*> darts = AllDarts(run.vor, TourBound(nbEdge));
    if (darts.empty())
        return "the diagram of '" + options.input + "' has no closed walk of its arcs";
    const Counts c = CountDiagram(darts);

    out << "diagram: " << c.nbVertex << " vertices, " << c.nbArc << " arcs\n"
        << "  vertices: " << c.nbContour << " on the contour, " << c.nbInfini << " at infinity, "
        << c.nbVertex - c.nbContour - c.nbInfini << " inside\n"
        << "  arcs: " << c.nbDroite << " straight, " << c.nbParabole << " parabolic, "
        << c.nbInfiniArc << " running to infinity\n";
    if (c.maxD > 0.0)
        out << "largest inscribed circle: radius " << Fixed(c.maxD) << " at (" << Fixed(c.centre.x)
            << ", " << Fixed(c.centre.y) << ")\n";
    else
        out << "no vertex inside the pocket\n";

    if (!options.svg.empty())
    {
        if (!WriteSvg(options.svg, "qmesh pocket " + options.input, contours, darts, c))
            return "cannot write '" + options.svg + "'";
        out << "picture: " << options.svg << "\n";
    }
    if (!options.iso.empty())
    {
        // The dump does not report a file it cannot open.
        if (!CanWrite(options.iso))
            return "cannot write '" + options.iso + "'";
        run.vor.qmAfficheVorMD(options.iso.c_str());
        out << "diagram as ISO text: " << options.iso << "\n";
    }
    return {};
}
