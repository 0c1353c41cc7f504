#pragma once

// An independent check of a computed pocket diagram. It reads the map only through the
// public API of QmAlgVor and its darts and measures everything against its own geometry of
// the contours: it shares no code with the construction. Distances to the contour are exact
// (a tree of boxes over the edges, pruned only where it cannot hold a nearer edge), so large
// diagrams stay cheap.
//
// The checks, each named in the failure messages:
//   [link]   every edge carries an AttrEdgeVor sharing one box whose diagonal is that of
//            the outer contour; B1 (B2) of an edge starts at a contour vertex at the edge's
//            start (end).
//   [alpha]  Alpha is an involution without fixed point on every reachable dart.
//   [phi]    the Phi orbit from B2 of the first pocket's first edge visits every reachable
//            dart once and closes (each island's ring is opened at one point inside an
//            arc, where two dead ends meet); with an open contour, the map may be a forest and
//            every dart's orbit closes.
//   [sigma]  each Sigma orbit shares one vertex, and no vertex is shared by two orbits.
//   [flag]   no dart keeps a visit mark.
//   [vertex] a vertex of the contour (D == 0) stands exactly on a contour point; any other
//            vertex lies in the pocket, its D is the distance to the whole contour and to
//            the site of every dart about it.
//   [arc]    the two sites of an arc differ, each dart's own site lies on its right, and
//            at t = 1/4, 1/2, 3/4 the arc is equidistant from them, lies in the pocket, and
//            no contour point is closer.
//   [count]  the map is a tree (vertices = arcs + 1; arcs + trees for a forest), dead ends end on
//   the contour (or at
//            infinity for an open contour); for one closed contour, each convex or straight
//            vertex has one leaf and each reflex vertex two, so that the inner vertices
//            satisfy sum(degree - 2) = sites - 2.
// Every tolerance is 1e-9 times the diagonal of the outer contour's box, or the caller's
// floor where larger; points of parabolic arcs are allowed dZgZero (see CheckArcs).

#include "kernel/ZgBBox2.h"
#include "kernel/ZgVector2.h"
#include "mesh/QmPstMesh.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/QmVorGeom.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <iomanip>
#include <limits>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace qmtest
{
// One contour as the test built it: edge k runs from pts[k] to pts[k + 1], the last back to
// pts[0] when closed; edges[k] is that edge of the mesh.
struct VorContourView
{
    std::vector<ZgVector2> pts;
    bool closed = true;
    std::vector<QmPstMesh::edge*> edges;
};

// The pockets of one diagram: contours[0] the outer contour, the others islands.
struct VorPocketView
{
    std::vector<VorContourView> contours;
};

// What the last validation saw; errors are relative to the box diagonal.
struct VorCheckStats
{
    long darts = 0;
    long vertices = 0;
    long innerVertices = 0;
    long finiteArcs = 0;
    double maxVertexErr = 0.0;
    double maxArcErr = 0.0;
    long failures = 0;
};

namespace vorcheck
{
using BrinVor = QmAlgVor::BrinVor;
using AttrEdgeVor = QmAlgVor::AttrEdgeVor;

inline double Cross(ZgVector2 const& a, ZgVector2 const& b) { return a.x * b.y - a.y * b.x; }
inline double Dot(ZgVector2 const& a, ZgVector2 const& b) { return a.x * b.x + a.y * b.y; }

inline double DistPointSeg(ZgVector2 const& p, ZgVector2 const& a, ZgVector2 const& b)
{
    const double abx = b.x - a.x, aby = b.y - a.y;
    const double len2 = abx * abx + aby * aby;
    double t = len2 > 0.0 ? ((p.x - a.x) * abx + (p.y - a.y) * aby) / len2 : 0.0;
    t = t < 0.0 ? 0.0 : t > 1.0 ? 1.0 : t;
    const double dx = p.x - (a.x + abx * t), dy = p.y - (a.y + aby * t);
    return std::sqrt(dx * dx + dy * dy);
}

struct Seg
{
    ZgVector2 a;
    ZgVector2 b;
};

// A bounding-volume tree over the segments: boxes split at the median of their longer side
// down to a few segments each. Queries are exact: a subtree is skipped only when its box
// cannot hold anything nearer.
class SegTree
{
public:
    explicit SegTree(std::vector<Seg> s) : segs(std::move(s))
    {
        if (!segs.empty())
            Build(0, segs.size());
    }

    // Distance from p to the nearest segment, or bound when none is nearer: a bound known
    // from the start (the distance to a site) prunes most of the tree at once.
    double Dist(ZgVector2 const& p, double bound = std::numeric_limits<double>::infinity()) const
    {
        double best2 = bound * bound;
        // Medians halve the segments at each level, and the stack holds at most one
        // sibling per level besides the pair just pushed.
        size_t stack[128];
        size_t top = 0;
        if (!nodes.empty())
            stack[top++] = 0;
        while (top > 0)
        {
            Node const& n = nodes[stack[--top]];
            if (BoxDist2(n, p) >= best2)
                continue;
            if (n.left == 0)
            {
                for (size_t k = n.begin; k < n.end; ++k)
                {
                    const double d = DistPointSeg(p, segs[k].a, segs[k].b);
                    if (d * d < best2)
                        best2 = d * d;
                }
                continue;
            }
            // The nearer child goes on top, so its segments tighten best2 first.
            const bool leftFirst = BoxDist2(nodes[n.left], p) <= BoxDist2(nodes[n.right], p);
            stack[top++] = leftFirst ? n.right : n.left;
            stack[top++] = leftFirst ? n.left : n.right;
        }
        return std::sqrt(best2);
    }

private:
    // A leaf has left == 0: the root is node 0 and never anyone's child.
    struct Node
    {
        ZgVector2 lo;
        ZgVector2 hi;
        size_t left = 0;
        size_t right = 0;
        size_t begin = 0;
        size_t end = 0;
    };

    static double BoxDist2(Node const& n, ZgVector2 const& p)
    {
        const double dx = p.x < n.lo.x ? n.lo.x - p.x : p.x > n.hi.x ? p.x - n.hi.x : 0.0;
        const double dy = p.y < n.lo.y ? n.lo.y - p.y : p.y > n.hi.y ? p.y - n.hi.y : 0.0;
        return dx * dx + dy * dy;
    }

    size_t Build(size_t begin, size_t end)
    {
        const size_t id = nodes.size();
        nodes.emplace_back();
        Node n;
        n.begin = begin;
        n.end = end;
        n.lo = segs[begin].a;
        n.hi = segs[begin].a;
        for (size_t k = begin; k < end; ++k)
            for (ZgVector2 const& q : {segs[k].a, segs[k].b})
            {
                n.lo = ZgVector2(std::min(n.lo.x, q.x), std::min(n.lo.y, q.y));
                n.hi = ZgVector2(std::max(n.hi.x, q.x), std::max(n.hi.y, q.y));
            }
        if (end - begin > 4)
        {
            const bool alongX = n.hi.x - n.lo.x >= n.hi.y - n.lo.y;
            auto mid = [alongX](Seg const& g) { return alongX ? g.a.x + g.b.x : g.a.y + g.b.y; };
            const size_t half = begin + (end - begin) / 2;
            std::nth_element(segs.begin() + static_cast<std::ptrdiff_t>(begin),
                             segs.begin() + static_cast<std::ptrdiff_t>(half),
                             segs.begin() + static_cast<std::ptrdiff_t>(end),
                             [&](Seg const& g, Seg const& h) { return mid(g) < mid(h); });
            n.left = Build(begin, half);
            n.right = Build(half, end);
        }
        nodes[id] = n;
        return id;
    }

    std::vector<Seg> segs;
    std::vector<Node> nodes;
};

// A site read from a dart: a segment (a, b) or the point a.
struct Site
{
    bool known = false;
    bool point = false;
    ZgVector2 a;
    ZgVector2 b;
    int contour = 0;
    int edge = 0;
    int vertex = 0; // of a point site: edge or edge + 1
};

inline double DistSite(ZgVector2 const& p, Site const& s)
{
    return s.point ? (p - s.a).Length() : DistPointSeg(p, s.a, s.b);
}

// The side of the line through p along dir on which site s lies: -1 right, 1 left, 0 when
// its nearest point is on the line. That happens for the normal of a segment at an end: the
// segment then lies on the side of its other end, while a point site there stays undecided.
inline int SideOf(Site const& s, ZgVector2 const& p, ZgVector2 const& dir)
{
    auto sign = [&](ZgVector2 const& q)
    {
        const ZgVector2 v = q - p;
        const double c = Cross(dir, v);
        return std::fabs(c) > 1e-6 * dir.Length() * v.Length() ? (c < 0.0 ? -1 : 1) : 0;
    };
    if (s.point)
        return sign(s.a);
    const ZgVector2 ab = s.b - s.a;
    const double t = std::min(1.0, std::max(0.0, Dot(p - s.a, ab) / ab.Length2()));
    const int r = sign(s.a + ab * t);
    if (r != 0)
        return r;
    return sign(s.a) != 0 ? sign(s.a) : sign(s.b);
}

inline bool SameSite(Site const& s, Site const& t)
{
    if (s.point != t.point)
        return false;
    auto eq = [](ZgVector2 const& u, ZgVector2 const& v) { return u.x == v.x && u.y == v.y; };
    return eq(s.a, t.a) && (s.point || eq(s.b, t.b));
}

inline QmAlgVor::AttrEdgeVor* EdgeAttr(QmPstMesh::edge* e)
{
    return static_cast<AttrEdgeVor*>(e->attributes.GetAttr(AttrEdgeVor::GetClassId()));
}

// A vertex read from a dart: none (at infinity, or never placed) or the identity of its
// shared record, told by the address of the vertex's attribute container.
inline void const* SommetKey(BrinVor const* b)
{
    if (b->GetD1() == VorInfini && IsInfini(b->GetPoint1()))
        return nullptr;
    return &b->GetSommetCtrAttribut();
}

inline std::string Pt(ZgVector2 const& p)
{
    std::ostringstream o;
    o << std::setprecision(17) << "(" << p.x << ", " << p.y << ")";
    return o.str();
}

class Checker
{
public:
    Checker(VorPocketView const& v, VorCheckStats& s, double tolFloor)
        : view(v), stats(s), tree(Segments(v))
    {
        ZgVector2 lo(std::numeric_limits<double>::max(), std::numeric_limits<double>::max());
        ZgVector2 hi = -lo;
        for (ZgVector2 const& p : view.contours.at(0).pts)
        {
            lo = ZgVector2(std::min(lo.x, p.x), std::min(lo.y, p.y));
            hi = ZgVector2(std::max(hi.x, p.x), std::max(hi.y, p.y));
        }
        diag = (hi - lo).Length();
        tol = std::max(1e-9 * diag, tolFloor);
        boxLo = lo - ZgVector2(tol, tol);
        boxHi = hi + ZgVector2(tol, tol);
        for (size_t c = 0; c < view.contours.size(); ++c)
        {
            VorContourView const& cv = view.contours[c];
            for (size_t k = 0; k < cv.edges.size(); ++k)
                edgeIndex[cv.edges[k]] = {static_cast<int>(c), static_cast<int>(k)};
            for (ZgVector2 const& p : cv.pts)
                contourPoints.insert({p.x, p.y});
        }
    }

    ::testing::AssertionResult Run(QmPstMesh::edge* firstEdge)
    {
        CheckLinks();
        BrinVor* start = nullptr;
        if (firstEdge == nullptr || EdgeAttr(firstEdge) == nullptr)
            Fail("phi", "the first edge has no AttrEdgeVor");
        else if (EdgeAttr(firstEdge)->GetB2() == nullptr ||
                 EdgeAttr(firstEdge)->GetB2() == VorBrinFin())
            Fail("phi", "B2 of the first edge is no dart: Delete would not reach the map");
        else
            start = EdgeAttr(firstEdge)->GetB2();
        if (start == nullptr && !seeds.empty())
            start = seeds[0];
        if (start == nullptr)
            return Finish();
        seeds.push_back(start);
        if (!Collect())
            return Finish();
        if (AllClosed())
            CheckPhi(start);
        else
            CheckPhiForest();
        CheckSigma();
        for (BrinVor* b : darts)
            if (b->GetFlag() != 0)
            {
                Fail("flag", "dart starting at " + Pt(b->GetPoint1()) + " keeps flag " +
                                 std::to_string(b->GetFlag()));
                break;
            }
        CheckVertices();
        CheckArcs();
        CheckCounts();
        return Finish();
    }

private:
    static std::vector<Seg> Segments(VorPocketView const& v)
    {
        std::vector<Seg> s;
        for (VorContourView const& cv : v.contours)
        {
            const size_t n = cv.pts.size();
            for (size_t k = 0; k + 1 < n || (cv.closed && k < n); ++k)
                s.push_back({cv.pts[k], cv.pts[(k + 1) % n]});
        }
        return s;
    }

    void Fail(char const* check, std::string const& what)
    {
        ++stats.failures;
        int& n = perCheck[check];
        if (++n <= 5)
            messages << "\n  [" << check << "] " << what;
        else if (n == 6)
            messages << "\n  [" << check << "] ... more";
    }

    ::testing::AssertionResult Finish()
    {
        if (stats.failures == 0)
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << stats.failures << " failures (" << stats.darts
                                             << " darts, tol " << tol << ")" << messages.str();
    }

    ZgVector2 ContourPoint(int c, int k) const
    {
        VorContourView const& cv = view.contours[static_cast<size_t>(c)];
        return cv.pts[static_cast<size_t>(k) % cv.pts.size()];
    }

    Site SiteOf(BrinVor const* b) const
    {
        Site s;
        auto it = edgeIndex.find(b->GetI1());
        if (it == edgeIndex.end())
            return s;
        s.known = true;
        s.point = !b->IsEdge1();
        s.contour = it->second.first;
        s.edge = it->second.second;
        s.vertex = s.edge + (b->GetExtr1() ? 1 : 0);
        const ZgVector2 p0 = ContourPoint(it->second.first, it->second.second);
        const ZgVector2 p1 = ContourPoint(it->second.first, it->second.second + 1);
        s.a = s.point && b->GetExtr1() ? p1 : p0;
        s.b = p1;
        return s;
    }

    // Whether p lies on the pocket's side of the contour, judged at its nearest contour
    // point, which the callers have checked to be on site s: the segment from p to that
    // point crosses no edge, so the side there is p's side. The pocket is on the right of
    // every edge; at a vertex, the side of the sum of the two edges' unit right normals.
    bool InPocket(ZgVector2 const& p, Site const& s) const
    {
        VorContourView const& cv = view.contours[static_cast<size_t>(s.contour)];
        if (!cv.closed)
            return true;
        size_t v = static_cast<size_t>(s.point ? s.vertex : s.edge);
        if (!s.point)
        {
            const ZgVector2 ab = s.b - s.a;
            const double t = Dot(p - s.a, ab);
            if (t > 0.0 && t < ab.Length2())
                return Cross(ab, p - s.a) < 0.0;
            v += t <= 0.0 ? 0 : 1;
        }
        const size_t n = cv.pts.size();
        const ZgVector2 cur = cv.pts[v % n];
        const ZgVector2 din = cur - cv.pts[(v + n - 1) % n];
        const ZgVector2 dout = cv.pts[(v + 1) % n] - cur;
        const ZgVector2 u =
            ZgVector2(din.y, -din.x) / din.Length() + ZgVector2(dout.y, -dout.x) / dout.Length();
        return Dot(p - cur, u) > 0.0;
    }

    void CheckLinks()
    {
        ZgBBox2* box = nullptr;
        for (VorContourView const& cv : view.contours)
            for (size_t k = 0; k < cv.edges.size(); ++k)
            {
                AttrEdgeVor* a = EdgeAttr(cv.edges[k]);
                if (a == nullptr)
                {
                    Fail("link", "edge " + std::to_string(k) + " has no AttrEdgeVor");
                    continue;
                }
                if (box == nullptr)
                    box = a->GetPstMeshBox();
                if (a->GetPstMeshBox() == nullptr || a->GetPstMeshBox() != box)
                    Fail("link", "edge " + std::to_string(k) + " does not share the one box");
                if (!(std::fabs(a->GetPstMeshBoxDiag() - diag) <= 1e-12 * diag))
                {
                    std::ostringstream o;
                    o << std::setprecision(17) << "edge " << k << " diagonal "
                      << a->GetPstMeshBoxDiag() << ", outer contour's " << diag;
                    Fail("link", o.str());
                }
                for (int end = 0; end < 2; ++end)
                {
                    BrinVor* b = a->GetB(end);
                    if (b == nullptr || b == VorBrinFin())
                        continue;
                    seeds.push_back(b);
                    const ZgVector2 p = cv.pts[(k + static_cast<size_t>(end)) % cv.pts.size()];
                    const ZgVector2 q = b->GetPoint1();
                    if (b->GetD1() != 0.0 || q.x != p.x || q.y != p.y)
                        Fail("link", "B" + std::to_string(end + 1) + " of edge " +
                                         std::to_string(k) + " starts at " + Pt(q) + " D " +
                                         std::to_string(b->GetD1()) + ", not at contour point " +
                                         Pt(p));
                }
            }
    }

    // Every dart reachable from the entry darts by Alpha and Phi. false when the map cannot
    // be walked further: a null link, or far more darts than the contours can hold.
    bool Collect()
    {
        size_t nbEdges = 0;
        for (VorContourView const& cv : view.contours)
            nbEdges += cv.edges.size();
        const size_t bound = 64 * (nbEdges + 4);
        std::vector<BrinVor*> todo;
        for (BrinVor* b : seeds)
            if (known.insert(b).second)
                todo.push_back(b);
        bool walkable = true;
        while (!todo.empty())
        {
            BrinVor* b = todo.back();
            todo.pop_back();
            darts.push_back(b);
            if (darts.size() > bound)
            {
                Fail("alpha", "more than " + std::to_string(bound) + " darts reachable");
                return false;
            }
            BrinVor* a = b->Alpha();
            if (a == nullptr || a == VorBrinFin() || a == b || a->Alpha() != b)
            {
                Fail("alpha", "dart starting at " + Pt(b->GetPoint1()) +
                                  (a == nullptr || a == VorBrinFin() ? ": no Alpha"
                                   : a == b                          ? ": Alpha is itself"
                                                                     : ": Alpha(Alpha) differs"));
                walkable = walkable && a != nullptr && a != VorBrinFin();
            }
            if (b->Phi() == nullptr || b->Phi() == VorBrinFin())
            {
                Fail("phi", "dart starting at " + Pt(b->GetPoint1()) + " has no Phi");
                walkable = false;
            }
            for (BrinVor* n : {a, b->Phi()})
                if (n != nullptr && n != VorBrinFin() && known.insert(n).second)
                    todo.push_back(n);
        }
        stats.darts = static_cast<long>(darts.size());
        return walkable;
    }

    void CheckPhi(BrinVor* start)
    {
        std::unordered_set<BrinVor*> seen;
        BrinVor* b = start;
        for (size_t step = 0; step <= darts.size(); ++step)
        {
            if (!seen.insert(b).second)
            {
                Fail("phi", "the orbit comes back to a dart at " + Pt(b->GetPoint1()) +
                                " before its start");
                return;
            }
            b = b->Phi();
            if (b == start)
                break;
        }
        if (b != start)
            Fail("phi",
                 "the orbit does not close within " + std::to_string(darts.size()) + " steps");
        else if (seen.size() != darts.size())
            Fail("phi", "the orbit visits " + std::to_string(seen.size()) + " of " +
                            std::to_string(darts.size()) + " reachable darts");
    }

    // The construction keeps no crossing outside the outer contour's box. A closed
    // contour's diagram lies in that box anyway; an open contour's cells are unbounded,
    // and beyond the box its arcs run on uncut, so the geometry is judged inside it only.
    bool Judged(ZgVector2 const& p) const
    {
        return AllClosed() ||
               (p.x >= boxLo.x && p.x <= boxHi.x && p.y >= boxLo.y && p.y <= boxHi.y);
    }

    bool AllClosed() const
    {
        for (VorContourView const& cv : view.contours)
            if (!cv.closed)
                return false;
        return true;
    }

    // An open contour's cells are unbounded and two neighbouring arcs may never meet (the
    // two normals at the ends of a lone segment), so its map is a forest: every dart lies
    // on one closed Phi orbit, one orbit per tree.
    void CheckPhiForest()
    {
        std::unordered_set<BrinVor*> seen;
        trees = 0;
        for (BrinVor* d : darts)
        {
            if (seen.count(d) != 0)
                continue;
            ++trees;
            BrinVor* b = d;
            size_t step = 0;
            for (; step <= darts.size(); ++step)
            {
                if (!seen.insert(b).second)
                {
                    Fail("phi", "an orbit comes back to a dart at " + Pt(b->GetPoint1()) +
                                    " before its start");
                    return;
                }
                b = b->Phi();
                if (b == d)
                    break;
            }
            if (b != d)
            {
                Fail("phi",
                     "an orbit does not close within " + std::to_string(darts.size()) + " steps");
                return;
            }
        }
    }

    void CheckSigma()
    {
        std::unordered_map<void const*, size_t> owner;
        for (BrinVor* b : darts)
        {
            if (orbitOf.count(b) != 0)
                continue;
            const size_t id = orbits.size();
            orbits.emplace_back();
            void const* key = SommetKey(b);
            BrinVor* d = b;
            bool closed = false;
            for (size_t step = 0; step < darts.size(); ++step)
            {
                if (!orbitOf.emplace(d, id).second)
                {
                    Fail("sigma", "orbit from " + Pt(b->GetPoint1()) +
                                      " runs into another orbit: Phi is not a permutation");
                    break;
                }
                orbits.back().push_back(d);
                if (SommetKey(d) != key)
                    Fail("sigma", "orbit from " + Pt(b->GetPoint1()) +
                                      " holds a dart starting at " + Pt(d->GetPoint1()) +
                                      " on another vertex");
                d = d->Sigma();
                if (d == b)
                {
                    closed = true;
                    break;
                }
            }
            if (!closed)
                Fail("sigma", "orbit from " + Pt(b->GetPoint1()) + " does not close");
            if (key != nullptr && !owner.emplace(key, id).second)
                Fail("sigma", "vertex at " + Pt(b->GetPoint1()) + " shared by two orbits");
        }
    }

    void CheckVertices()
    {
        for (std::vector<BrinVor*> const& o : orbits)
        {
            BrinVor const* b = o[0];
            const double d = b->GetD1();
            const ZgVector2 p = b->GetPoint1();
            if (SommetKey(b) == nullptr)
                continue;
            ++stats.vertices;
            if (d == 0.0)
            {
                if (contourPoints.count({p.x, p.y}) == 0)
                    Fail("vertex", "contour vertex " + Pt(p) + " is on no contour point");
                continue;
            }
            if (!Judged(p))
                continue;
            ++stats.innerVertices;
            if (d == VorInfini || IsInfini(p) || !std::isfinite(d) || !std::isfinite(p.x) ||
                !std::isfinite(p.y))
            {
                std::ostringstream m;
                m << std::setprecision(17) << "vertex " << Pt(p) << " D " << d
                  << ": placed or measured only in part";
                Fail("vertex", m.str());
                continue;
            }
            const double brute = tree.Dist(p);
            double err = std::fabs(d - brute);
            std::vector<Site> sites;
            for (BrinVor const* x : o)
            {
                sites.push_back(SiteOf(x));
                if (sites.back().known)
                    err = std::max(err, std::fabs(d - DistSite(p, sites.back())));
                else
                    err = std::numeric_limits<double>::infinity();
            }
            stats.maxVertexErr = std::max(stats.maxVertexErr, err / diag);
            if (err <= tol && !InPocket(p, sites[0]))
                Fail("vertex", "vertex " + Pt(p) + " lies outside the pocket");
            if (err <= tol)
                continue;
            std::ostringstream m;
            m << std::setprecision(17) << "vertex " << Pt(p) << " degree " << o.size() << " D " << d
              << ", contour distance " << brute << ", sites:";
            for (Site const& x : sites)
                if (!x.known)
                    m << " an edge of no contour";
                else
                    m << (x.point ? " point " : " segment ") << DistSite(p, x);
            m << "; error " << err / diag << " * diag";
            Fail("vertex", m.str());
        }
    }

    // Points of an arc at t = 1/4, 1/2, 3/4: by XYt between two vertices; for a dead end
    // running off to infinity, by XYtV from its vertex (a length for a straight arc).
    void CheckArcs()
    {
        std::unordered_set<BrinVor const*> done;
        for (BrinVor* b : darts)
        {
            BrinVor* a = b->Alpha();
            if (!done.insert(a).second)
                continue;
            done.insert(b);
            const Site s1 = SiteOf(b), s2 = SiteOf(a);
            if (!s1.known || !s2.known)
            {
                Fail("arc", "arc from " + Pt(b->GetPoint1()) + " carries an edge of no contour");
                continue;
            }
            if (SameSite(s1, s2))
            {
                Fail("arc", "arc from " + Pt(b->GetPoint1()) + " to " + Pt(a->GetPoint1()) +
                                " has the same site " + Pt(s1.a) + " on both sides");
                continue;
            }
            const bool f1 = SommetKey(b) != nullptr, f2 = SommetKey(a) != nullptr;
            if (!f1 && !f2)
                continue;
            BrinVor* from = f1 ? b : a;
            const bool finite = f1 && f2;
            stats.finiteArcs += finite ? 1 : 0;
            const double scale = from->IsDroite() ? diag : 1.0;
            auto at = [&](double t) { return finite ? from->XYt(t) : from->XYtV(t * scale); };
            // A dart's own site lies on its right: the Phi walk goes round each cell with
            // the cell on its right, as the contour does round the pocket.
            const ZgVector2 mid = at(0.5), dir = at(0.501) - at(0.499);
            const Site& own = from == b ? s1 : s2;
            const Site& other = from == b ? s2 : s1;
            if (Judged(mid) && dir.Length() > tol &&
                (SideOf(own, mid, dir) > 0 || SideOf(other, mid, dir) < 0))
                Fail("arc", "arc " + Pt(from->GetPoint1()) + " -> " +
                                Pt(from->Alpha()->GetPoint1()) +
                                ": the dart's own site is not on its right, or Alpha's not on "
                                "its left");
            // A parabola's points come from its quadratic Bezier form, whose end tangents
            // snap to the directrix when within dZgZero of it: those points may stray from
            // the true curve by that much, whatever the size of the pocket.
            const double arcTol = from->IsDroite() ? tol : std::max(tol, dZgZero);
            for (double t : {0.25, 0.5, 0.75})
            {
                const ZgVector2 p = at(t);
                if (!Judged(p))
                    continue;
                const double d1 = DistSite(p, s1), d2 = DistSite(p, s2);
                const double dc = tree.Dist(p, std::min(d1, d2));
                const double err = std::max(std::fabs(d1 - d2), std::min(d1, d2) - dc);
                stats.maxArcErr = std::max(stats.maxArcErr, err / diag);
                const bool inside = InPocket(p, d1 <= d2 ? s1 : s2);
                if (err <= arcTol && inside)
                    continue;
                std::ostringstream m;
                m << std::setprecision(17) << (from->IsDroite() ? "straight" : "parabolic")
                  << (finite ? "" : " infinite") << " arc " << Pt(from->GetPoint1()) << " -> "
                  << Pt(from->Alpha()->GetPoint1()) << " at t " << t << " " << Pt(p)
                  << (s1.point ? ": point " : ": segment ") << d1
                  << (s2.point ? ", point " : ", segment ") << d2 << ", contour " << dc
                  << (inside ? "" : ", outside the pocket") << "; error " << err / diag
                  << " * diag";
                Fail("arc", m.str());
                break;
            }
        }
    }

    void CheckCounts()
    {
        const long arcs = static_cast<long>(darts.size() / 2);
        if (static_cast<long>(orbits.size()) != arcs + trees)
            Fail("count", std::to_string(orbits.size()) + " vertices and " + std::to_string(arcs) +
                              " arcs: not " +
                              (trees == 1 ? std::string("a tree")
                                          : "a forest of " + std::to_string(trees) + " trees"));
        const bool allClosed = AllClosed();
        const long islands = static_cast<long>(view.contours.size()) - 1;
        std::map<std::pair<double, double>, long> openings;
        for (BrinVor const* b : darts)
            if (b->Last() && b->GetD2() != 0.0 && (allClosed || SommetKey(b->Alpha()) != nullptr))
            {
                const ZgVector2 e = b->Alpha()->GetPoint1();
                if (allClosed && islands > 0 && SommetKey(b->Alpha()) != nullptr)
                {
                    ++openings[{e.x, e.y}];
                    continue;
                }
                std::ostringstream m;
                m << std::setprecision(17) << "dead end " << Pt(b->GetPoint1()) << " -> " << Pt(e)
                  << " D " << b->GetD2() << " ends neither on the contour nor at infinity";
                Fail("count", m.str());
            }
        // Each island's ring is opened at one point inside an arc: two dead ends meet there.
        for (auto const& o : openings)
            if (o.second != 2)
                Fail("count", std::to_string(o.second) + " dead ends meet at " +
                                  Pt({o.first.first, o.first.second}) + " off the contour");
        if (static_cast<long>(openings.size()) != (allClosed ? islands : 0))
            Fail("count", std::to_string(openings.size()) + " rings opened for " +
                              std::to_string(islands) + " islands");
        if (view.contours.size() != 1 || !view.contours[0].closed)
            return;
        // A tree's inner vertices have sum(degree - 2) = leaves - 2; its leaves are the
        // contour vertices of the map, one per convex or straight vertex and two per reflex
        // one (the two normals bounding its point site), hence one per site.
        VorContourView const& cv = view.contours[0];
        const size_t n = cv.pts.size();
        std::map<std::pair<double, double>, long> leaves;
        long excess = 0;
        for (std::vector<BrinVor*> const& o : orbits)
        {
            BrinVor const* b = o[0];
            if (SommetKey(b) == nullptr)
                continue;
            if (b->GetD1() == 0.0)
            {
                ++leaves[{b->GetPoint1().x, b->GetPoint1().y}];
                if (o.size() != 1)
                    Fail("count", "contour vertex " + Pt(b->GetPoint1()) + " has degree " +
                                      std::to_string(o.size()));
            }
            else
                excess += static_cast<long>(o.size()) - 2;
        }
        long sites = 0;
        for (size_t k = 0; k < n; ++k)
        {
            const ZgVector2 p = cv.pts[k];
            const double turn = Cross(p - cv.pts[(k + n - 1) % n], cv.pts[(k + 1) % n] - p);
            const long want = turn > 0.0 ? 2 : 1;
            sites += want;
            const long got = leaves[{p.x, p.y}];
            if (got != want)
            {
                std::ostringstream m;
                m << std::setprecision(17) << "contour point " << k << " " << Pt(p) << " turn "
                  << turn << (want == 2 ? " (reflex)" : " (convex or straight)") << " has " << got
                  << " leaves, not " << want;
                Fail("count", m.str());
            }
        }
        if (excess != sites - 2)
            Fail("count", "inner vertices give sum(degree - 2) = " + std::to_string(excess) +
                              ", sites - 2 = " + std::to_string(sites - 2));
    }

    VorPocketView const& view;
    VorCheckStats& stats;
    SegTree tree;
    double diag = 0.0;
    double tol = 0.0;
    ZgVector2 boxLo, boxHi; // the outer contour's box, widened by tol
    std::unordered_map<QmPstMesh::edge const*, std::pair<int, int>> edgeIndex;
    std::set<std::pair<double, double>> contourPoints;
    std::vector<BrinVor*> seeds;
    std::unordered_set<BrinVor*> known;
    std::vector<BrinVor*> darts;
    std::vector<std::vector<BrinVor*>> orbits;
    long trees = 1; // Phi orbits; more than one only for an open contour
    std::unordered_map<BrinVor*, size_t> orbitOf;
    std::map<std::string, int> perCheck;
    std::ostringstream messages;
};
} // namespace vorcheck

// Checks the map reached from the AttrEdgeVor of firstEdge (its B2 starts the Phi orbit)
// against the contours. Works on maps built by hand as well as on computed ones.
inline ::testing::AssertionResult ValidateVorMap(QmPstMesh::edge* firstEdge,
                                                 VorPocketView const& view,
                                                 VorCheckStats* stats = nullptr,
                                                 double tolFloor = 0.0)
{
    VorCheckStats local;
    VorCheckStats& s = stats != nullptr ? *stats : local;
    s = VorCheckStats();
    return vorcheck::Checker(view, s, tolFloor).Run(firstEdge);
}

// Checks a computed diagram: the driver's record of the pockets against the view, then the
// map from GetPocheIde(0).
inline ::testing::AssertionResult ValidateVor(QmAlgVor& vor, VorPocketView const& view,
                                              VorCheckStats* stats = nullptr, double tolFloor = 0.0)
{
    const long n = static_cast<long>(view.contours.size());
    if (vor.GetNbPoches() != n)
        return ::testing::AssertionFailure()
               << "[link] " << vor.GetNbPoches() << " pockets, not " << n;
    for (long i = 0; i < n; ++i)
    {
        VorContourView const& cv = view.contours[static_cast<size_t>(i)];
        QmPstMesh::edge* first = vor.GetPocheIde(i);
        const bool known = std::find(cv.edges.begin(), cv.edges.end(), first) != cv.edges.end();
        const bool openStart = cv.closed || first == cv.edges.front();
        if (vor.GetFerme(i) != (cv.closed ? 1 : 0) ||
            vor.GetNbEdge(i) != static_cast<long>(cv.edges.size()) || !known || !openStart)
            return ::testing::AssertionFailure()
                   << "[link] pocket " << i << ": Ferme " << vor.GetFerme(i) << ", NbEdge "
                   << vor.GetNbEdge(i) << " of " << cv.edges.size()
                   << (known ? "" : ", first edge not in the contour")
                   << (openStart ? "" : ", first edge not the open start");
    }
    return ValidateVorMap(vor.GetPocheIde(0), view, stats, tolFloor);
}
} // namespace qmtest
