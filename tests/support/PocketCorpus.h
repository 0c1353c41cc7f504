#pragma once

// Seeded families of pocket contours for the diagram tests, and the meshes that carry them.
// Closed shapes come out clockwise (the pocket on the right of each edge). Random values
// are drawn by hand from std::mt19937 outputs, whose sequence the standard fixes, so every
// platform gets the same shapes.

#include "kernel/ZgVector2.h"
#include "kernel/ZgVector3.h"
#include "mesh/QmPstMesh.h"
#include "support/OwnedMesh.h"
#include "support/VorValidator.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace qmtest
{
struct PocketShape
{
    std::string name;
    std::vector<ZgVector2> pts;
    bool closed = true;
};

// [0, 1) with 53 bits from two outputs.
inline double CorpusUnit(std::mt19937& rng)
{
    const std::uint32_t a = rng() >> 5;
    const std::uint32_t b = rng() >> 6;
    return (a * 67108864.0 + b) / 9007199254740992.0;
}

// An integer in [lo, hi].
inline long CorpusInt(std::mt19937& rng, long lo, long hi)
{
    return lo + static_cast<long>(CorpusUnit(rng) * static_cast<double>(hi - lo + 1));
}

inline double SignedArea(std::vector<ZgVector2> const& pts)
{
    double a = 0.0;
    for (size_t k = 0; k < pts.size(); ++k)
    {
        ZgVector2 const& p = pts[k];
        ZgVector2 const& q = pts[(k + 1) % pts.size()];
        a += p.x * q.y - q.x * p.y;
    }
    return a / 2.0;
}

// Whether the chain has no zero-length edge, no edge turning straight back onto the one
// before, and no two edges meeting other than consecutive ones at their shared point.
// Quadratic: for checking the corpus, not for large inputs.
inline bool IsSimple(PocketShape const& s)
{
    auto orient = [](ZgVector2 const& a, ZgVector2 const& b, ZgVector2 const& c)
    {
        const double v = (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
        return v > 0.0 ? 1 : v < 0.0 ? -1 : 0;
    };
    auto within = [](ZgVector2 const& a, ZgVector2 const& b, ZgVector2 const& p)
    {
        return std::min(a.x, b.x) <= p.x && p.x <= std::max(a.x, b.x) &&
               std::min(a.y, b.y) <= p.y && p.y <= std::max(a.y, b.y);
    };
    auto meet = [&](ZgVector2 const& a, ZgVector2 const& b, ZgVector2 const& c, ZgVector2 const& d)
    {
        const int o1 = orient(a, b, c), o2 = orient(a, b, d), o3 = orient(c, d, a),
                  o4 = orient(c, d, b);
        if (o1 * o2 < 0 && o3 * o4 < 0)
            return true;
        return (o1 == 0 && within(a, b, c)) || (o2 == 0 && within(a, b, d)) ||
               (o3 == 0 && within(c, d, a)) || (o4 == 0 && within(c, d, b));
    };
    const size_t n = s.pts.size();
    const size_t m = s.closed ? n : n - 1;
    auto at = [&](size_t k) { return s.pts[k % n]; };
    for (size_t i = 0; i < m; ++i)
    {
        const ZgVector2 a = at(i), b = at(i + 1);
        if (a.x == b.x && a.y == b.y)
            return false;
        for (size_t j = i + 1; j < m; ++j)
        {
            const ZgVector2 c = at(j), d = at(j + 1);
            const bool next = j == i + 1, prev = s.closed && i == 0 && j == m - 1;
            if (next || prev)
            {
                // Consecutive: only the shared point, unless the second folds back.
                const ZgVector2 p = next ? a : b, q = next ? d : c, o = next ? b : a;
                if (orient(p, o, q) == 0 &&
                    (q.x - o.x) * (p.x - o.x) + (q.y - o.y) * (p.y - o.y) > 0.0)
                    return false;
                continue;
            }
            if (meet(a, b, c, d))
                return false;
        }
    }
    return true;
}

inline PocketShape Clockwise(std::string name, std::vector<ZgVector2> pts)
{
    if (SignedArea(pts) > 0.0)
        std::reverse(pts.begin(), pts.end());
    return {std::move(name), std::move(pts), true};
}

inline std::string Named(char const* family, long n, unsigned seed)
{
    return std::string(family) + " n=" + std::to_string(n) + " seed=" + std::to_string(seed);
}

// Points on a random ellipse at jittered, strictly increasing angles.
inline std::vector<PocketShape> ConvexPolygons()
{
    std::vector<PocketShape> out;
    unsigned seed = 101;
    for (long n : {3, 4, 5, 6, 7, 9, 12, 20, 40, 100, 300, 1000})
    {
        std::mt19937 rng(seed);
        const double a = 50.0 * (0.3 + 0.7 * CorpusUnit(rng));
        const double b = 50.0 * (0.3 + 0.7 * CorpusUnit(rng));
        const double phi = 6.283185307179586 * CorpusUnit(rng);
        // One draw per statement: the order of evaluation of arguments is unspecified.
        const double cx = 20.0 * CorpusUnit(rng) - 10.0;
        const double cy = 20.0 * CorpusUnit(rng) - 10.0;
        const ZgVector2 c(cx, cy);
        std::vector<ZgVector2> pts;
        for (long i = 0; i < n; ++i)
        {
            const double t = 6.283185307179586 * (i + 0.1 + 0.8 * CorpusUnit(rng)) / n;
            const double x = a * std::cos(t), y = b * std::sin(t);
            pts.emplace_back(c.x + x * std::cos(phi) - y * std::sin(phi),
                             c.y + x * std::sin(phi) + y * std::cos(phi));
        }
        out.push_back(Clockwise(Named("convex", n, seed++), pts));
    }
    return out;
}

// Star-shaped about the origin: radii in [35, 100], angles jittered within their share of
// the turn, so the polygon is simple and most of its vertices are reflex or convex at random.
inline std::vector<PocketShape> StarPolygons()
{
    std::vector<PocketShape> out;
    std::vector<long> sizes{10, 17, 31, 64, 100, 316, 1000, 3162, 10000};
    sizes.insert(sizes.end(), 24, 40);
    sizes.insert(sizes.end(), 12, 200);
    unsigned seed = 201;
    for (long n : sizes)
    {
        std::mt19937 rng(seed);
        std::vector<ZgVector2> pts;
        for (long i = 0; i < n; ++i)
        {
            const double t = 6.283185307179586 * (i + 0.1 + 0.8 * CorpusUnit(rng)) / n;
            const double r = 100.0 * (0.35 + 0.65 * CorpusUnit(rng));
            pts.emplace_back(r * std::cos(t), r * std::sin(t));
        }
        out.push_back(Clockwise(Named("star", n, seed++), pts));
    }
    return out;
}

// x-monotone rectilinear polygons on integers: k columns of widths 1 to 5, each an interval
// [lo, hi] overlapping its neighbour's, with no two neighbours sharing a bound (so no
// straight vertex).
inline std::vector<PocketShape> OrthogonalPolygons()
{
    std::vector<PocketShape> out;
    std::vector<long> sizes{2, 3, 5, 8, 13, 30, 80, 250};
    sizes.insert(sizes.end(), 24, 10);
    sizes.insert(sizes.end(), 8, 40);
    unsigned seed = 301;
    for (long k : sizes)
    {
        std::mt19937 rng(seed);
        std::vector<long> x{0}, lo, hi;
        lo.push_back(CorpusInt(rng, 0, 20));
        hi.push_back(lo[0] + CorpusInt(rng, 1, 20));
        for (long i = 1; i < k; ++i)
        {
            const long l0 = lo.back(), h0 = hi.back();
            long l = l0 - 1, h = h0 + 1;
            for (int attempt = 0; attempt < 1000; ++attempt)
            {
                const long lt = CorpusInt(rng, 0, 39);
                const long ht = CorpusInt(rng, lt + 1, 40);
                if (lt != l0 && ht != h0 && std::max(lt, l0) < std::min(ht, h0))
                {
                    l = lt;
                    h = ht;
                    break;
                }
            }
            lo.push_back(l);
            hi.push_back(h);
        }
        for (long i = 0; i < k; ++i)
            x.push_back(x.back() + CorpusInt(rng, 1, 5));
        std::vector<ZgVector2> pts;
        pts.emplace_back(0.0, hi[0]);
        for (long i = 1; i < k; ++i)
        {
            pts.emplace_back(x[i], hi[i - 1]);
            pts.emplace_back(x[i], hi[i]);
        }
        pts.emplace_back(x[k], hi[k - 1]);
        pts.emplace_back(x[k], lo[k - 1]);
        for (long i = k - 1; i >= 1; --i)
        {
            pts.emplace_back(x[i], lo[i]);
            pts.emplace_back(x[i], lo[i - 1]);
        }
        pts.emplace_back(0.0, lo[0]);
        out.push_back(Clockwise(Named("orthogonal", k, seed++), pts));
    }
    // Small ones found by a scan of such polygons, where a wall, a corner and a reflex vertex
    // are exactly equidistant from one point.
    out.push_back(Clockwise("cross of a 6 x 1 and a 2 x 3 bar", {{0, 1},
                                                                 {2, 1},
                                                                 {2, 2},
                                                                 {4, 2},
                                                                 {4, 1},
                                                                 {6, 1},
                                                                 {6, 0},
                                                                 {4, 0},
                                                                 {4, -1},
                                                                 {2, -1},
                                                                 {2, 0},
                                                                 {0, 0}}));
    out.push_back(Clockwise("cross of an 8 x 1 and a 2 x 3 bar", {{0, 2},
                                                                  {3, 2},
                                                                  {3, 3},
                                                                  {5, 3},
                                                                  {5, 2},
                                                                  {8, 2},
                                                                  {8, 1},
                                                                  {5, 1},
                                                                  {5, 0},
                                                                  {3, 0},
                                                                  {3, 1},
                                                                  {0, 1}}));
    out.push_back(Clockwise("column of 2 x 6 with two arms", {{0, 3},
                                                              {1, 3},
                                                              {1, 6},
                                                              {3, 6},
                                                              {3, 5},
                                                              {5, 5},
                                                              {5, 4},
                                                              {3, 4},
                                                              {3, 0},
                                                              {1, 0},
                                                              {1, 1},
                                                              {0, 1}}));
    return out;
}

// Every vertex on one circle: the centre is a vertex of degree n.
inline std::vector<PocketShape> RegularPolygons()
{
    std::vector<PocketShape> out;
    for (long n = 3; n <= 64; ++n)
    {
        std::vector<ZgVector2> pts;
        for (long i = 0; i < n; ++i)
        {
            const double t = 0.3 - 6.283185307179586 * i / n;
            pts.emplace_back(3.0 + 50.0 * std::cos(t), -2.0 + 50.0 * std::sin(t));
        }
        out.push_back(Clockwise("regular n=" + std::to_string(n), pts));
    }
    return out;
}

// Simple open chains: a single edge, a bend either way, x-monotone random chains and an
// outward square spiral.
// Nearly regular polygons: every vertex moved by a relative amount eps in radius and angle,
// so the sites are generic but cocircular to within the library's length tolerance
// dZgZero, which the construction uses to merge crossings. Many inner vertices then lie
// within a few dZgZero of each other, and a crossing may be taken for its neighbour.
inline std::vector<PocketShape> NearCocircularPolygons()
{
    std::vector<PocketShape> out;
    struct NearRegular
    {
        long n;
        double eps;
        unsigned seed;
    };
    std::vector<NearRegular> near;
    unsigned next = 501;
    for (long n : {16, 64, 256})
        for (double eps : {1e-10, 1e-8, 1e-6})
            near.push_back({n, eps, next++});
    near.push_back({18, 1e-8, 20});
    near.push_back({22, 1e-8, 38});
    near.push_back({24, 1e-8, 2});
    for (NearRegular const& m : near)
    {
        std::mt19937 rng(m.seed);
        std::vector<ZgVector2> pts;
        for (long i = 0; i < m.n; ++i)
        {
            const double t = 6.283185307179586 * (i + m.eps * CorpusUnit(rng)) / m.n;
            const double r = 50.0 * (1.0 + m.eps * CorpusUnit(rng));
            pts.emplace_back(r * std::cos(t), r * std::sin(t));
        }
        std::ostringstream name;
        name << "near-regular eps=" << m.eps;
        out.push_back(Clockwise(Named(name.str().c_str(), m.n, m.seed), pts));
    }
    return out;
}

// The same construction well above the tolerance: an ordinary generic polygon.
inline std::vector<PocketShape> NearRegularPolygons()
{
    std::vector<PocketShape> out;
    unsigned seed = 601;
    for (long n : {16, 64, 256})
    {
        std::mt19937 rng(seed);
        std::vector<ZgVector2> pts;
        for (long i = 0; i < n; ++i)
        {
            const double t = 6.283185307179586 * (i + 1e-3 * CorpusUnit(rng)) / n;
            const double r = 50.0 * (1.0 + 1e-3 * CorpusUnit(rng));
            pts.emplace_back(r * std::cos(t), r * std::sin(t));
        }
        out.push_back(Clockwise(Named("near-regular eps=0.001", n, seed++), pts));
    }
    return out;
}

inline std::vector<PocketShape> OpenPolylines()
{
    std::vector<PocketShape> out;
    out.push_back({"open segment", {{0, 0}, {10, 0}}, false});
    out.push_back({"open bend right", {{0, 0}, {5, 5}, {10, 0}}, false});
    out.push_back({"open bend left", {{10, 0}, {5, 5}, {0, 0}}, false});
    unsigned seed = 401;
    for (long n : {3, 5, 10, 50, 300, 1000})
    {
        std::mt19937 rng(seed);
        std::vector<ZgVector2> pts;
        for (long i = 0; i < n; ++i)
        {
            const double x = 100.0 * (i + 0.2 + 0.6 * CorpusUnit(rng)) / n;
            pts.emplace_back(x, 30.0 * CorpusUnit(rng) - 15.0);
        }
        out.push_back({Named("open monotone", n, seed++), pts, false});
    }
    // Only the right side of an open chain is a site, so the chain must not turn its left
    // side towards its right one (a spiral would): the cups hold their pocket on the right.
    out.push_back({"open cup", {{10, 10}, {10, 0}, {0, 0}, {0, 8}}, false});
    out.push_back(
        {"open uneven cup", {{10, 12}, {10.5, 0.3}, {5.2, -0.4}, {0, 0}, {0.3, 9}}, false});
    return out;
}

// Regular polygons of radius 100 whose edges are cut into sub pieces, the inner cut points
// pushed out and in by delta alternately: vertices that turn by about 2 delta / (edge / sub)
// radians, below dZgZero yet not collinear within dZgZero, and both convex and reflex.
inline std::vector<PocketShape> NearlyStraightVertexPolygons()
{
    std::vector<PocketShape> out;
    for (long n : {3L, 5L, 12L, 40L})
        for (double delta : {3e-6, 1e-5, 3e-5, -1e-5})
            for (long sub : {2L, 3L, 7L})
            {
                std::vector<ZgVector2> pts;
                for (long k = 0; k < n; ++k)
                {
                    const double a0 = -6.283185307179586 * static_cast<double>(k) / n;
                    const double a1 = -6.283185307179586 * static_cast<double>(k + 1) / n;
                    const ZgVector2 p0{100 * std::cos(a0), 100 * std::sin(a0)};
                    const ZgVector2 d = ZgVector2{100 * std::cos(a1), 100 * std::sin(a1)} - p0;
                    const ZgVector2 dehors = ZgVector2{d.y, -d.x} / d.Length();
                    for (long j = 0; j < sub; ++j)
                    {
                        const double bosse = j == 0 ? 0.0 : (j % 2 == 1 ? delta : -delta);
                        pts.push_back(p0 + d * (static_cast<double>(j) / sub) + dehors * bosse);
                    }
                }
                std::ostringstream name;
                name << n << "-gon, edges in " << sub << ", turns of " << delta;
                out.push_back({name.str(), pts, true});
            }
    return out;
}

// Consecutive collinear edges on integer coordinates, so the straight angles are exact.
inline std::vector<PocketShape> StraightVertexPolygons()
{
    std::vector<PocketShape> out;
    out.push_back(Clockwise("square sides in thirds", {{0, 0},
                                                       {0, 4},
                                                       {0, 8},
                                                       {0, 12},
                                                       {4, 12},
                                                       {8, 12},
                                                       {12, 12},
                                                       {12, 8},
                                                       {12, 4},
                                                       {12, 0},
                                                       {8, 0},
                                                       {4, 0}}));
    out.push_back(
        Clockwise("triangle with midpoints", {{0, 0}, {0, 4}, {0, 8}, {4, 4}, {8, 0}, {4, 0}}));
    out.push_back(Clockwise(
        "L with split sides",
        {{0, 0}, {0, 10}, {0, 20}, {10, 20}, {10, 10}, {15, 10}, {20, 10}, {20, 0}, {10, 0}}));
    std::vector<ZgVector2> rect{{0, 0}, {0, 3}, {20, 3}, {20, 0}};
    for (int x = 19; x >= 1; --x)
        rect.emplace_back(x, 0);
    out.push_back(Clockwise("rectangle with 19 straight vertices", rect));
    out.push_back(Clockwise("straight vertex beside a reflex one",
                            {{0, 0}, {0, 10}, {5, 10}, {5, 5}, {7, 5}, {10, 5}, {10, 0}}));
    return out;
}

// Narrow deep channels of the pocket (slots out of a 100 x 40 rectangle) and thin walls
// standing into it (teeth of a comb, whose gaps are slots as well).
inline std::vector<PocketShape> SlotsAndCombs()
{
    std::vector<PocketShape> out;
    for (double w : {2.0, 0.5, 0.05, 0.005})
    {
        std::vector<ZgVector2> pts{{0, 0}, {0, 40}};
        for (double x : {20.0, 50.0, 80.0})
        {
            pts.emplace_back(x, 40);
            pts.emplace_back(x, 70);
            pts.emplace_back(x + w, 70);
            pts.emplace_back(x + w, 40);
        }
        pts.emplace_back(100, 40);
        pts.emplace_back(100, 0);
        out.push_back(Clockwise("slots width " + std::to_string(w), pts));
    }
    for (long teeth : {5, 40})
        for (double gap : {1.0, 0.1})
        {
            const double width = teeth * (1.0 + gap) + gap;
            std::vector<ZgVector2> pts{{0, 0}, {0, 40}, {width, 40}, {width, 0}};
            for (long t = teeth - 1; t >= 0; --t)
            {
                const double x0 = gap + t * (1.0 + gap);
                pts.emplace_back(x0 + 1.0, 0);
                pts.emplace_back(x0 + 1.0, 30);
                pts.emplace_back(x0, 30);
                pts.emplace_back(x0, 0);
            }
            out.push_back(Clockwise(
                "comb teeth=" + std::to_string(teeth) + " gap=" + std::to_string(gap), pts));
        }
    return out;
}

// Edges of 1e-3 beside edges of 1e3.
inline std::vector<PocketShape> ShortBesideLong()
{
    std::vector<PocketShape> out;
    out.push_back(Clockwise("chamfered corner",
                            {{0, 0}, {0, 1000}, {999.999, 1000}, {1000, 999.999}, {1000, 0}}));
    out.push_back(Clockwise(
        "step of 1e-3", {{0, 1e-3}, {0, 1000}, {1000, 1000}, {1000, 0}, {500, 0}, {500, 1e-3}}));
    out.push_back(Clockwise("bump of 1e-3 by 1e-3", {{0, 0},
                                                     {0, 1000},
                                                     {1000, 1000},
                                                     {1000, 0},
                                                     {500.001, 0},
                                                     {500.001, 0.001},
                                                     {500, 0.001},
                                                     {500, 0}}));
    std::vector<ZgVector2> poly;
    for (int i = 0; i < 40; ++i)
    {
        const double t = -6.283185307179586 * i / 40;
        const ZgVector2 p(1000.0 * std::cos(t), 1000.0 * std::sin(t));
        const double u = -6.283185307179586 * (i + 1) / 40, s = -6.283185307179586 * (i - 1) / 40;
        const ZgVector2 next(1000.0 * std::cos(u), 1000.0 * std::sin(u));
        const ZgVector2 prev(1000.0 * std::cos(s), 1000.0 * std::sin(s));
        poly.push_back(p + (prev - p) / (prev - p).Length() * 5e-4);
        poly.push_back(p + (next - p) / (next - p).Length() * 5e-4);
    }
    out.push_back(Clockwise("40-gon of radius 1e3 chamfered by 1e-3", poly));
    out.push_back({"open 1e3 and 1e-3", {{0, 0}, {1000, 0}, {1000, 1e-3}, {0, 500}}, false});
    return out;
}

// Contours the construction cannot take: Compute must fail cleanly on each.
inline std::vector<PocketShape> BadContours()
{
    std::vector<PocketShape> out;
    out.push_back({"zero-length edge", {{0, 0}, {0, 10}, {0, 10}, {10, 10}, {10, 0}}, true});
    out.push_back({"spike tip on the opposite edge",
                   {{0, 0}, {0, 10}, {10, 10}, {10, 0}, {6, 0}, {5, 10}, {4, 0}},
                   true});
    out.push_back(
        {"two vertices at one point", {{0, 0}, {0, 10}, {5, 5}, {10, 10}, {10, 0}, {5, 5}}, true});
    out.push_back({"figure eight", {{0, 0}, {0, 10}, {10, 0}, {10, 10}}, true});
    out.push_back({"folds back on itself", {{0, 0}, {0, 10}, {10, 10}, {10, 0}, {20, 0}}, true});
    out.push_back({"open chain crossing itself", {{0, 0}, {10, 0}, {5, 5}, {5, -5}}, false});
    return out;
}

// A contour as a mesh: one vertex per point at z = 0 (repeated points stay distinct
// vertices), edge k from point k to point k + 1 in that order. No attribute is hung.
inline VorContourView ContourMesh(QmPstMesh& mesh, PocketShape const& s)
{
    VorContourView c;
    c.pts = s.pts;
    c.closed = s.closed;
    std::vector<QmPstMesh::vertex*> v;
    for (ZgVector2 const& p : s.pts)
        v.push_back(mesh.AddVertex(ZgVector3(p.x, p.y, 0.0)));
    const size_t n = v.size();
    for (size_t k = 0; k + 1 < n || (s.closed && k < n); ++k)
        c.edges.push_back(Edge(mesh, v[k], v[(k + 1) % n]));
    return c;
}

struct PocketMesh
{
    OwnedMesh mesh = NewOwnedMesh();
    QmPstMesh* raw[1] = {nullptr};
    VorPocketView view;

    explicit PocketMesh(PocketShape const& s)
    {
        raw[0] = mesh.get();
        view.contours.push_back(ContourMesh(*mesh, s));
    }
};

// No edge of the pockets keeps a diagram attribute: what Delete must leave.
inline bool NoAttrEdgeVor(VorPocketView const& view)
{
    for (VorContourView const& c : view.contours)
        for (QmPstMesh::edge* e : c.edges)
            if (CountAttr<QmAlgVor::AttrEdgeVor>(e) != 0)
                return false;
    return true;
}

// A pocket with islands: one mesh per contour, the outer contour first.
struct PocketSet
{
    std::vector<OwnedMesh> meshes;
    std::vector<QmPstMesh*> raw;
    VorPocketView view;

    explicit PocketSet(std::vector<PocketShape> const& shapes)
    {
        for (PocketShape const& s : shapes)
        {
            meshes.push_back(NewOwnedMesh());
            raw.push_back(meshes.back().get());
            view.contours.push_back(ContourMesh(*raw.back(), s));
        }
    }
    long Count() const { return static_cast<long>(raw.size()); }
};

// An island of radius about r about c, counter-clockwise: a regular polygon (kind 0), a
// square (1), a random star (2) or an L (3), turned by a random angle.
inline PocketShape Island(long kind, ZgVector2 c, double r, std::mt19937& rng)
{
    const double deuxPi = 6.283185307179586;
    const double a0 = CorpusUnit(rng) * deuxPi;
    std::vector<ZgVector2> pts;
    if (kind == 0 || kind == 1 || kind == 2)
    {
        const long n = kind == 1 ? 4 : (kind == 0 ? CorpusInt(rng, 12, 32) : CorpusInt(rng, 8, 32));
        for (long i = 0; i < n; ++i)
        {
            const double a = a0 + deuxPi * static_cast<double>(i) / static_cast<double>(n);
            const double rr = kind == 2 ? r * (0.4 + 0.6 * CorpusUnit(rng)) : r;
            pts.push_back({c.x + rr * std::cos(a), c.y + rr * std::sin(a)});
        }
    }
    else
    {
        const double s = r / 1.5, ca = std::cos(a0), sa = std::sin(a0);
        for (ZgVector2 q :
             std::vector<ZgVector2>{{-1, -1}, {1, -1}, {1, 0}, {0, 0}, {0, 1}, {-1, 1}})
            pts.push_back({c.x + s * (ca * q.x - sa * q.y), c.y + s * (sa * q.x + ca * q.y)});
    }
    return {"island", pts, true};
}

// A 100 x 100 square (round: a 48-gon of radius 50) with up to `count` islands of mixed
// kinds placed at random at least 1 apart and from the outer contour.
inline std::vector<PocketShape> IslandPocket(long count, bool round, unsigned seed)
{
    std::mt19937 rng(seed);
    std::vector<PocketShape> out;
    std::vector<ZgVector2> outer;
    if (round)
        for (long i = 0; i < 48; ++i)
        {
            const double a = -6.283185307179586 * static_cast<double>(i) / 48.0;
            outer.push_back({50 + 50 * std::cos(a), 50 + 50 * std::sin(a)});
        }
    else
        outer = {{0, 0}, {0, 100}, {100, 100}, {100, 0}};
    out.push_back(
        {Named(round ? "islands in a circle" : "islands in a square", count, seed), outer, true});
    std::vector<std::pair<ZgVector2, double>> placed;
    for (long tries = 0; static_cast<long>(placed.size()) < count && tries < 5000; ++tries)
    {
        const double r = count <= 2   ? 5 + 15 * CorpusUnit(rng)
                         : count <= 5 ? 4 + 8 * CorpusUnit(rng)
                                      : 2 + 4 * CorpusUnit(rng);
        const ZgVector2 c{r + 2 + (96 - 2 * r) * CorpusUnit(rng),
                          r + 2 + (96 - 2 * r) * CorpusUnit(rng)};
        bool libre = !round || (c - ZgVector2{50, 50}).Length() + r <= 47;
        for (auto const& q : placed)
            libre = libre && (q.first - c).Length() >= q.second + r + 1.0;
        if (!libre)
            continue;
        placed.push_back({c, r});
        out.push_back(Island(CorpusInt(rng, 0, 3), c, r, rng));
    }
    return out;
}
} // namespace qmtest
