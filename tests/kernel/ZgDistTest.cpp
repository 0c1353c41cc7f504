#include "kernel/ZgDist.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

// The oracle shares nothing with the kernels' case analysis. Every shape here is the
// convex hull of its corners (a ray cut long enough to hold its nearest point), and the
// distance of two hulls is that of the origin to the hull of the corner differences: zero
// when a tetrahedron of differences holds the origin, otherwise the least distance to a
// triangle of differences, found by nested golden-section search over the triangle's
// parameters (the squared distance is convex in them, so the search converges).

namespace
{
using V = ZgVector3;

double D2(V const& p, V const& q) { return (p - q).Length2(); }

// The least value seen while narrowing on the minimum of a convex f over [lo, hi]: an
// upper bound attained at a point of the interval.
template <class F> double GoldenMin(F const& f, double lo, double hi, int iterations)
{
    const double r = (std::sqrt(5.0) - 1.0) / 2.0;
    double x1 = hi - r * (hi - lo);
    double x2 = lo + r * (hi - lo);
    double f1 = f(x1);
    double f2 = f(x2);
    double best = std::min({f(lo), f(hi), f1, f2});
    for (int i = 0; i < iterations; ++i)
    {
        if (f1 <= f2)
        {
            hi = x2, x2 = x1, f2 = f1;
            x1 = hi - r * (hi - lo), f1 = f(x1);
        }
        else
        {
            lo = x1, x1 = x2, f1 = f2;
            x2 = lo + r * (hi - lo), f2 = f(x2);
        }
        best = std::min({best, f1, f2});
    }
    return best;
}

double OraclePtTri(V const& p, V const& a, V const& b, V const& c, int iterations)
{
    return GoldenMin(
        [&](double u)
        {
            return GoldenMin([&](double v) { return D2(p, a + (b - a) * u + (c - a) * v); }, 0.0,
                             1.0 - u, iterations);
        },
        0.0, 1.0, iterations);
}

enum Kind
{
    kPoint,
    kSegment,
    kTriangle,
    kRay
};

// Corners; for a ray, the origin and the direction.
struct Shape
{
    Kind kind;
    std::vector<V> c;
};

// The corners whose hull is the shape, a ray cut at a length reaching past every point
// of `near` (its nearest point to any of them lies before that).
std::vector<V> Hull(Shape const& s, std::vector<V> const& near)
{
    if (s.kind != kRay)
        return s.c;
    const double len = s.c[1].Length();
    if (len == 0.0)
        return {s.c[0]};
    double reach = 0.0;
    for (V const& q : near)
        reach = std::max(reach, (q - s.c[0]).Length());
    return {s.c[0], s.c[0] + s.c[1] * (2.0 * reach / len + 1.0)};
}

double OnShape(Shape const& s, V const& w)
{
    const std::vector<V> h = Hull(s, {w});
    if (h.size() == 3)
        return OraclePtTri(w, h[0], h[1], h[2], 50);
    return GoldenMin([&](double u) { return D2(w, h[0] + (h.back() - h[0]) * u); }, 0.0, 1.0, 60);
}

double Volume(V const& a, V const& b, V const& c, V const& d)
{
    return ZgDot(b - a, ZgCross(c - a, d - a));
}

bool TetraHoldsOrigin(V const& a, V const& b, V const& c, V const& d)
{
    const double longest = std::max({D2(a, b), D2(a, c), D2(a, d), D2(b, c), D2(b, d), D2(c, d)});
    const double vol = Volume(a, b, c, d);
    // A flat tetrahedron is left to the triangles, which see it as well.
    if (std::fabs(vol) <= 1e-12 * longest * std::sqrt(longest))
        return false;
    const V o;
    const double w[4] = {Volume(o, b, c, d), Volume(a, o, c, d), Volume(a, b, o, d),
                         Volume(a, b, c, o)};
    return std::all_of(w, w + 4, [&](double x) { return x * vol >= 0.0; });
}

double OracleHullHull(std::vector<V> const& p, std::vector<V> const& q)
{
    std::vector<V> m;
    for (V const& x : p)
        for (V const& y : q)
            m.push_back(x - y);
    while (m.size() < 3)
        m.push_back(m.back());
    const size_t n = m.size();
    for (size_t i = 0; i < n; ++i)
        for (size_t j = i + 1; j < n; ++j)
            for (size_t k = j + 1; k < n; ++k)
                for (size_t l = k + 1; l < n; ++l)
                    if (TetraHoldsOrigin(m[i], m[j], m[k], m[l]))
                        return 0.0;
    double best = HUGE_VAL;
    for (size_t i = 0; i < n; ++i)
        for (size_t j = i + 1; j < n; ++j)
            for (size_t k = j + 1; k < n; ++k)
            {
                // For a unit u, no point of the triangle is nearer the origin than the
                // least of u . corner: a cheap bound to skip hopeless triangles.
                double bound = 0.0;
                for (V const* x : {&m[i], &m[j], &m[k]})
                {
                    const double len = x->Length();
                    if (len > 0.0)
                        bound = std::max(
                            bound,
                            std::min({ZgDot(m[i], *x), ZgDot(m[j], *x), ZgDot(m[k], *x)}) / len);
                }
                if (bound * bound < best)
                    best = std::min(best, OraclePtTri(V(), m[i], m[j], m[k], 40));
            }
    return best;
}

V Rand(std::mt19937& g)
{
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    const double x = u(g);
    const double y = u(g);
    return {x, y, u(g)};
}

double Uniform(std::mt19937& g, double lo, double hi)
{
    return std::uniform_real_distribution<double>(lo, hi)(g);
}

// A random shape, often degenerate: a zero-length segment or ray direction, a triangle
// with collinear, coincident or nearly collinear corners.
Shape Make(Kind kind, std::mt19937& g)
{
    const V a = Rand(g);
    V b = Rand(g);
    V c = Rand(g);
    const unsigned flavour = g() % 10;
    switch (kind)
    {
    case kPoint:
        return {kind, {a}};
    case kSegment:
        return {kind, {a, flavour == 0 ? a : b}};
    case kRay:
        return {kind, {a, flavour == 0 ? V() : b * Uniform(g, 0.2, 2.0)}};
    case kTriangle:
        if (flavour == 0)
            c = a + (b - a) * Uniform(g, -1.0, 2.0);
        else if (flavour == 1)
            c = b;
        else if (flavour == 2)
            b = c = a;
        else if (flavour == 3)
            c = a + (b - a) * Uniform(g, 0.0, 1.0) + Rand(g) * 1e-7;
        return {kind, {a, b, c}};
    }
    return {};
}

// A point of s, or of its line or plane.
V PointOf(Shape const& s, std::mt19937& g, double lo, double hi, V const& across)
{
    const double u = Uniform(g, lo, hi);
    const double v = Uniform(g, lo, hi - u);
    switch (s.kind)
    {
    case kPoint:
        return s.c[0] + across * u;
    case kSegment:
        return s.c[0] + (s.c[1] - s.c[0]) * u + across * v;
    case kRay:
        return s.c[0] + s.c[1] * (3.0 * u) + across * v;
    case kTriangle:
        return s.c[0] + (s.c[1] - s.c[0]) * u + (s.c[2] - s.c[0]) * v;
    }
    return {};
}

// A second shape related to the first: unrelated, passing through one of its points,
// lying in its line or plane, or in a parallel one.
Shape Relate(Kind kind, Shape const& first, std::mt19937& g)
{
    const unsigned relation = g() % 4;
    Shape s = Make(kind, g);
    if (relation == 1)
    {
        const V x = PointOf(first, g, 0.0, 1.0, V());
        const V r = Rand(g);
        const V r2 = Rand(g);
        switch (kind)
        {
        case kPoint:
            s.c = {x};
            break;
        case kSegment:
            s.c = {x + r, x - r * Uniform(g, 0.1, 2.0)};
            break;
        case kRay:
            s.c = {x + r, r * -Uniform(g, 0.2, 2.0)};
            break;
        case kTriangle:
        {
            const double k1 = Uniform(g, 0.1, 2.0);
            s.c = {x + r, x + r2, x - r * k1 - r2 * Uniform(g, 0.1, 2.0)};
            break;
        }
        }
    }
    else if (relation >= 2)
    {
        // Half the time collinear with the first shape when that is a segment or ray.
        const V across = g() % 2 == 0 ? V() : Rand(g);
        const V shift = relation == 3 ? Rand(g) * Uniform(g, 0.0, 0.5) : V();
        for (V& p : s.c)
            p = PointOf(first, g, -0.5, 1.5, across) + shift;
        if (kind == kRay)
            s.c[1] = PointOf(first, g, -0.5, 1.5, across) + shift - s.c[0];
    }
    return s;
}

struct Result
{
    double dist2 = NAN;
    V w1;
    V w2;
};

Result Run(Shape const& s, Shape const& t)
{
    Result r;
    const std::vector<V>& a = s.c;
    const std::vector<V>& b = t.c;
    if (s.kind == kPoint && t.kind == kSegment)
        ZgDist2MinPtSeg(a[0], b[0], b[1], r.dist2, &r.w1, &r.w2);
    else if (s.kind == kPoint && t.kind == kTriangle)
        ZgDist2MinPtTri(a[0], b[0], b[1], b[2], r.dist2, &r.w1, &r.w2);
    else if (s.kind == kPoint && t.kind == kRay)
        ZgDist2MinPtRay(a[0], b[0], b[1], r.dist2, &r.w1, &r.w2);
    else if (s.kind == kSegment && t.kind == kSegment)
        ZgDist2MinSegSeg(a[0], a[1], b[0], b[1], r.dist2, &r.w1, &r.w2);
    else if (s.kind == kSegment && t.kind == kTriangle)
        ZgDist2MinSegTri(a[0], a[1], b[0], b[1], b[2], r.dist2, &r.w1, &r.w2);
    else if (s.kind == kTriangle && t.kind == kTriangle)
        ZgDist2MinTriTri(a[0], a[1], a[2], b[0], b[1], b[2], r.dist2, &r.w1, &r.w2);
    else if (s.kind == kRay && t.kind == kSegment)
        ZgDist2MinRaySeg(a[0], a[1], b[0], b[1], r.dist2, &r.w1, &r.w2);
    else if (s.kind == kRay && t.kind == kTriangle)
        ZgDist2MinRayTri(a[0], a[1], b[0], b[1], b[2], r.dist2, &r.w1, &r.w2);
    return r;
}

// The kernel's value must match the oracle, and its witnesses must lie on their shapes
// and be as far apart as it says: so the value is both attained and minimal.
void CheckRandomPairs(Kind k1, Kind k2, unsigned count)
{
    for (unsigned seed = 1; seed <= count; ++seed)
    {
        std::mt19937 g(seed);
        Shape s;
        Shape t;
        // The related shape goes first or second, so both argument slots see relations.
        if (g() % 2 == 0)
            s = Make(k1, g), t = Relate(k2, s, g);
        else
            t = Make(k2, g), s = Relate(k1, t, g);
        const Result r = Run(s, t);
        const double oracle = OracleHullHull(Hull(s, t.c), Hull(t, s.c));
        const double tol = 1e-9 * std::max(oracle, r.dist2) + 1e-12;
        EXPECT_NEAR(r.dist2, oracle, tol) << "seed " << seed;
        EXPECT_NEAR(D2(r.w1, r.w2), r.dist2, tol) << "seed " << seed;
        EXPECT_LE(OnShape(s, r.w1), 1e-18) << "first witness off its shape, seed " << seed;
        EXPECT_LE(OnShape(t, r.w2), 1e-18) << "second witness off its shape, seed " << seed;
        if (::testing::Test::HasFailure())
            return;
    }
}
} // namespace

TEST(ZgDist, PointAgainstOracle)
{
    CheckRandomPairs(kPoint, kSegment, 1500);
    CheckRandomPairs(kPoint, kTriangle, 1500);
    CheckRandomPairs(kPoint, kRay, 1000);
}

TEST(ZgDist, SegmentAgainstOracle)
{
    CheckRandomPairs(kSegment, kSegment, 1500);
    CheckRandomPairs(kSegment, kTriangle, 1000);
}

TEST(ZgDist, TriangleAgainstOracle) { CheckRandomPairs(kTriangle, kTriangle, 500); }

TEST(ZgDist, RayAgainstOracle)
{
    CheckRandomPairs(kRay, kSegment, 1000);
    CheckRandomPairs(kRay, kTriangle, 1000);
}

TEST(ZgDist, HandWorkedCases)
{
    const V a(0, 0, 0), b(2, 0, 0), c(0, 2, 0);
    double d2 = -1;
    V w1, w2;

    ZgDist2MinPtTri(V(0.5, 0.5, 3), a, b, c, d2, &w1, &w2);
    EXPECT_DOUBLE_EQ(d2, 9.0);
    EXPECT_EQ(w2, V(0.5, 0.5, 0));
    // Beyond corner b: both edges at b point away from p.
    ZgDist2MinPtTri(V(3, -1, 1), a, b, c, d2, &w1, &w2);
    EXPECT_DOUBLE_EQ(d2, 3.0);
    EXPECT_EQ(w2, b);

    ZgDist2MinSegSeg(V(-1, 0, 0), V(1, 0, 0), V(0, -1, 2), V(0, 1, 2), d2, &w1, &w2);
    EXPECT_DOUBLE_EQ(d2, 4.0);
    EXPECT_EQ(w1, V(0, 0, 0));
    EXPECT_EQ(w2, V(0, 0, 2));
    ZgDist2MinSegSeg(V(0, 0, 0), V(2, 0, 0), V(1, 1, 0), V(3, 1, 0), d2, nullptr, nullptr);
    EXPECT_DOUBLE_EQ(d2, 1.0);

    ZgDist2MinSegTri(V(0.5, 0.5, -1), V(0.5, 0.5, 1), a, b, c, d2, &w1, &w2);
    EXPECT_LE(d2, 1e-30);
    EXPECT_EQ(w1, V(0.5, 0.5, 0));
    EXPECT_EQ(w2, V(0.5, 0.5, 0));
    ZgDist2MinTriTri(a, b, c, V(1, 1, 0), V(-1, 0.2, 0), V(0.3, -3, 0), d2, nullptr, nullptr);
    EXPECT_LE(d2, 1e-30);

    // A ray meets what lies ahead of it only.
    ZgDist2MinRayTri(V(0.5, 0.5, 5), V(0, 0, -3), a, b, c, d2, &w1, &w2);
    EXPECT_LE(d2, 1e-30);
    ZgDist2MinRayTri(V(0.5, 0.5, 5), V(0, 0, 3), a, b, c, d2, &w1, &w2);
    EXPECT_DOUBLE_EQ(d2, 25.0);
    EXPECT_EQ(w1, V(0.5, 0.5, 5));
    ZgDist2MinPtRay(V(1, 1, 0), V(0, 0, 0), V(-1, 0, 0), d2, &w1, &w2);
    EXPECT_DOUBLE_EQ(d2, 2.0);
    EXPECT_EQ(w2, V(0, 0, 0));
    ZgDist2MinRaySeg(V(0, 0, 0), V(0, 0, 0), V(1, -1, 0), V(1, 1, 0), d2, &w1, &w2);
    EXPECT_DOUBLE_EQ(d2, 1.0);
    EXPECT_EQ(w2, V(1, 0, 0));
}

TEST(ZgDist, Boxes)
{
    auto boxOf = [](V const& p, V const& q)
    {
        return ZgBBox3(V(std::min(p.x, q.x), std::min(p.y, q.y), std::min(p.z, q.z)),
                       V(std::max(p.x, q.x), std::max(p.y, q.y), std::max(p.z, q.z)));
    };
    for (unsigned seed = 1; seed <= 200; ++seed)
    {
        std::mt19937 g(seed);
        const V p = Rand(g) * 3.0;
        const V q = Rand(g);
        const ZgBBox3 box = boxOf(q, Rand(g));
        // A box is the hull of its 8 corners.
        std::vector<V> corners;
        for (int k = 0; k < 8; ++k)
            corners.push_back(V(k & 1 ? box.max.x : box.min.x, k & 2 ? box.max.y : box.min.y,
                                k & 4 ? box.max.z : box.min.z));
        double d2 = -1;
        ZgDist2MinPtBox(p, box, d2);
        EXPECT_NEAR(d2, OracleHullHull({p}, corners), 1e-9 * d2 + 1e-12) << "seed " << seed;

        // Two boxes are as far apart as the origin is from the box of their differences.
        const V s = Rand(g) * 2.0;
        const ZgBBox3 other = boxOf(s, Rand(g));
        double expected = -1;
        ZgDist2MinPtBox(V(), ZgBBox3(box.min - other.max, box.max - other.min), expected);
        ZgDist2MinBoxBox(box, other, d2);
        EXPECT_NEAR(d2, expected, 1e-12) << "seed " << seed;
    }
    double d2 = -1;
    ZgDist2MinBoxBox(ZgBBox3(V(0, 0, 0), V(1, 1, 1)), ZgBBox3(V(1, 1, 1), V(2, 3, 4)), d2);
    EXPECT_EQ(d2, 0.0);
    ZgDist2MinBoxBox(ZgBBox3(V(0, 0, 0), V(1, 1, 1)), ZgBBox3(V(2, 3, -4), V(3, 3, -3)), d2);
    EXPECT_DOUBLE_EQ(d2, 1.0 + 4.0 + 9.0);
}
