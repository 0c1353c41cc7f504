#include "support/VorHandMap.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/VorBrinDetail.h"
#include "voronoi/VorGeomDetail.h"

#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <string>

using namespace qmtest;

namespace
{
using A = qmVorAccess;

double Cross(ZgVector2 const& a, ZgVector2 const& b) { return a.x * b.y - a.y * b.x; }

double Dist(ZgVector2 const& a, ZgVector2 const& b) { return (a - b).Length(); }

// A parabola written independently of the code: focus f at height p above the directrix
// through a with unit direction u, its foot h = a + u * sf, and n the unit normal towards
// the focus. X(s) = h + u s + n (p/2 + s^2 / 2p); X is quadratic in s, so the Bezier of any
// arc of it is X taken linearly in s between the arc's ends.
struct Parabole
{
    ZgVector2 a, u, n, h, f;
    double p;

    Parabole(ZgVector2 a0, double angle, double sf, double p0, bool leftOfDirectrix)
        : a(a0), u(std::cos(angle), std::sin(angle)), p(p0)
    {
        n = leftOfDirectrix ? ZgVector2(-u.y, u.x) : ZgVector2(u.y, -u.x);
        h = a + u * sf;
        f = h + n * p;
    }
    ZgVector2 X(double s) const { return h + u * s + n * (p / 2 + s * s / (2 * p)); }
    ZgVector2 Tangent(double s) const { return u + n * (s / p); }
    double DistDirectrice(ZgVector2 const& q) const { return std::fabs(Cross(u, q - a)); }
};

// The contour G -> F -> A -> B: the point site is F, the end of edge 0, and the segment
// site is edge 2, A -> B, on the directrix. The pair's first dart faces the point site
// when pointFirst, else the segment; its vertex is X(s0), its Alpha's X(s1).
struct ArcFixture
{
    Parabole par;
    VorContour k;
    VorHandMap m;
    BrinVor* b;

    ArcFixture(Parabole const& pp, double len, bool pointFirst)
        : par(pp), k({pp.f + ZgVector2(0.7, -1.3), pp.f, pp.a, pp.a + pp.u * len}, false)
    {
        b = pointFirst ? m.Pair(k.e[0], false, true, k.e[2], true, false)
                       : m.Pair(k.e[2], true, false, k.e[0], false, true);
    }
    void Ends(ZgVector2 const& p0, ZgVector2 const& p1)
    {
        m.Vertex(b, p0, Dist(p0, par.f));
        if (!IsInfini(p1))
            m.Vertex(b->Alpha(), p1, Dist(p1, par.f));
    }
};

std::string Seed(unsigned seed, int i)
{
    return "seed " + std::to_string(seed) + " case " + std::to_string(i);
}
} // namespace

TEST(QmAlgVorArc, IntersectDroitesMeetsOrReportsParallel)
{
    struct Case
    {
        ZgVector2 p1, p2, q1, q2;
        long meet;
        ZgVector2 at;
    };
    const Case cases[] = {
        {{0, 0}, {2, 2}, {0, 2}, {2, 0}, 1, {1, 1}},
        {{0, 0}, {1, 0}, {5, -3}, {5, 7}, 1, {5, 0}},
        {{0, 0}, {1, 0}, {0, 1}, {3, 1}, 0, {}},
        {{0, 0}, {1, 0}, {0, 1}, {1, 1 + 1e-12}, 0, {}}, // sine 1e-12: parallel
        {{0, 0}, {1, 0}, {0, 1}, {1, 1 + 1e-9}, 1, {-1e9, 0}},
        {{2, 2}, {2, 2}, {0, 0}, {1, 0}, 0, {}}, // no direction
        {{0, 0}, {1, 0}, {VorInfini, VorInfini}, {0, 1}, 0, {}},
    };
    for (size_t i = 0; i < std::size(cases); ++i)
    {
        Case const& c = cases[i];
        ZgVector2 out(-7, -7);
        EXPECT_EQ(IntersectDroites(c.p1, c.p2, c.q1, c.q2, out), c.meet) << "case " << i;
        const ZgVector2 want = c.meet ? c.at : ZgVector2(-7, -7);
        EXPECT_NEAR(out.x, want.x, 1e-6 * (1 + std::fabs(want.x))) << "case " << i;
        EXPECT_NEAR(out.y, want.y, 1e-9) << "case " << i;
    }
}

TEST(QmAlgVorArc, AxesDirectionsAndContourReads)
{
    VorContour k({{0, 0}, {4, 0}, {4, 3}, {8, 3}, {12, 3}}, false);
    VorHandMap m;
    BrinVor* b = m.Pair(k.e[0], true, true, k.e[1], true, false);
    EXPECT_EQ(b->GetAxe({1, -1}, {0, 0}, {2, 0}).y, -2.0) << "right of a->b";
    EXPECT_EQ(b->GetAxe({1, 1}, {0, 0}, {2, 0}).y, 2.0) << "left of a->b";
    EXPECT_EQ(b->GetAxe({9, 0}, {0, 0}, {2, 0}).y, 2.0) << "on the line: left";
    EXPECT_EQ(b->GetCoteAxe({9, 0}, {0, 0}, {2, 0}), 0);

    struct Case
    {
        BrinVor* d;
        ZgVector2 dir;
        char const* why;
    };
    BrinVor* ownEdge = m.Pair(k.e[0], false, true, k.e[0], true, false);
    const Case cases[] = {
        {b, {-1, 1}, "two segments: difference of the unit directions"},
        {m.Pair(k.e[2], true, false, k.e[3], true, false), {0, -4}, "collinear segments"},
        {m.Pair(k.e[0], false, false, k.e[1], false, true), {3, -4}, "two points (0,0) and (4,3)"},
        {m.Pair(k.e[1], true, false, k.e[0], false, false), {-3, 0}, "segment and a point"},
        {m.Pair(k.e[0], false, false, k.e[1], true, true), {-3, 0}, "point and a segment"},
        {ownEdge, {0, -4}, "point on its own edge"},
    };
    for (Case const& c : cases)
    {
        ZgVector2 dir;
        c.d->GetVectDir(dir);
        EXPECT_EQ(dir.x, c.dir.x) << c.why;
        EXPECT_EQ(dir.y, c.dir.y) << c.why;
    }
    // The same point-and-edge arc turned round when it comes back to the contour.
    m.Vertex(ownEdge->Alpha(), {2, 0}, 0.0);
    ZgVector2 dir;
    ownEdge->GetVectDir(dir);
    EXPECT_EQ(dir.y, 4.0);

    EXPECT_EQ(b->GetPtContour(true).x, 4.0);
    EXPECT_EQ(b->GetPtContour(false).y, 0.0);
    ZgVector2 start;
    const ZgVector2 seg = b->GetSegContour(false, start);
    EXPECT_TRUE(start.x == 4.0 && start.y == 0.0 && seg.x == 0.0 && seg.y == 3.0);
}

// Random parabolic arcs: the Bezier form is the parabola itself, with the ends exact and
// the control point on both end tangents. Both orders of the sites, and arcs from the apex.
TEST(QmAlgVorArc, ParabolicArcsLieOnTheParabola)
{
    const unsigned seed = 20240611;
    std::mt19937 rng(seed);
    std::uniform_real_distribution<double> uni(-1.0, 1.0);
    for (int i = 0; i < 60; ++i)
    {
        const Parabole par({5 * uni(rng), 5 * uni(rng)}, 3.2 * uni(rng), 2 * uni(rng),
                           1.75 + 1.25 * uni(rng), i % 2 == 0);
        const double s0 = i % 5 == 0 ? 0.0 : 6 * uni(rng);
        double s1 = 6 * uni(rng);
        if (std::fabs(s1 - s0) < 0.5)
            s1 = s0 + 0.5;
        ArcFixture fx(par, 1 + 2 * (uni(rng) + 1), i % 3 != 0);
        fx.Ends(par.X(s0), par.X(s1));
        BrinVor* b = fx.b;
        const std::string what = Seed(seed, i);
        ASSERT_FALSE(b->IsDroite()) << what;

        ZgVector2 f, pt, d;
        b->GetFoyerDirectrice(f, pt, d);
        EXPECT_EQ(f, par.f) << what;
        EXPECT_NEAR(Cross(par.u, d), 0.0, 1e-12 * d.Length()) << what;
        EXPECT_NEAR(par.DistDirectrice(pt), 0.0, 1e-12) << what;

        ZgVector2 out[3];
        long count = 0;
        b->GetEquation(out, count);
        ASSERT_EQ(count, 3) << what;
        const ZgVector2 p0 = par.X(s0);
        const ZgVector2 p1 = par.X(s1);
        EXPECT_TRUE(out[0].x == p0.x && out[0].y == p0.y) << what;
        EXPECT_TRUE(out[2].x == p1.x && out[2].y == p1.y) << what;
        const double scale = Dist(p0, p1);
        for (auto [s, q] : {std::pair{s0, p0}, std::pair{s1, p1}})
        {
            const ZgVector2 t = par.Tangent(s);
            EXPECT_NEAR(Cross(t / t.Length(), out[1] - q), 0.0, 1e-9 * scale) << what;
        }
        EXPECT_TRUE(b->XYt(0.0).x == p0.x && b->XYt(0.0).y == p0.y) << what;
        EXPECT_TRUE(b->XYt(1.0).x == p1.x && b->XYt(1.0).y == p1.y) << what;
        for (double t = 0.1; t < 0.95; t += 0.2)
        {
            const ZgVector2 q = b->XYt(t);
            const double r = Dist(q, par.f);
            EXPECT_NEAR(r, par.DistDirectrice(q), 1e-9 * r) << what << " t=" << t;
            EXPECT_NEAR(Dist(q, par.X(s0 + t * (s1 - s0))), 0.0, 1e-9 * scale)
                << what << " t=" << t;
        }
    }
}

TEST(QmAlgVorArc, GetEquationFallbacks)
{
    const Parabole par({0, 0}, 0.0, 3.0, 2.0, true);
    // Both ends on the axis: both tangents are the directrix, parallel: the midpoint.
    {
        ArcFixture fx(par, 6.0, true);
        fx.Ends(par.X(0.0), par.h + par.n * 5.0);
        ZgVector2 out[3];
        long count = 0;
        fx.b->GetEquation(out, count);
        ASSERT_EQ(count, 3);
        EXPECT_EQ(out[1].x, 3.0);
        EXPECT_EQ(out[1].y, 3.0);
    }
    // Ends within dZgZero: three times the first vertex.
    {
        ArcFixture fx(par, 6.0, true);
        const ZgVector2 p0 = par.X(1.0);
        fx.Ends(p0, p0 + ZgVector2(4e-7, -3e-7));
        ZgVector2 out[3];
        long count = 0;
        fx.b->GetEquation(out, count);
        ASSERT_EQ(count, 3);
        for (ZgVector2 const& q : out)
            EXPECT_TRUE(q.x == p0.x && q.y == p0.y);
    }
}

// Dead ends, which may run off to infinity. A straight one runs on by length along its
// bisector; a parabolic one spans 8 parameters along the directrix's direction, which
// SiteDroite turns round when the segment site is read from the dart across.
TEST(QmAlgVorArc, DeadEndsRunOn)
{
    VorContour k({{0, 0}, {4, 0}, {4, 3}}, false);
    VorHandMap m;
    BrinVor* s = m.Pair(k.e[0], true, true, k.e[1], true, false);
    m.Vertex(s, {4, 0}, 0.0);
    for (double t : {0.5, 2.5})
    {
        const ZgVector2 q = s->XYtV(t);
        EXPECT_NEAR(Dist(q, {4, 0}), t, 1e-12);
        EXPECT_NEAR(q.y, 4.0 - q.x, 1e-12) << "equidistant from both edges' lines";
        const ZgVector2 c = A::XYtC(s, t);
        EXPECT_TRUE(c.x == q.x && c.y == q.y);
    }

    const Parabole par({1, -2}, 0.7, 0.5, 1.5, false);
    for (bool pointFirst : {true, false})
    {
        ArcFixture fx(par, 3.0, pointFirst);
        const double s0 = -1.25;
        fx.Ends(par.X(s0), {VorInfini, VorInfini});
        const double sq = s0 + (pointFirst ? -8.0 : 8.0) * par.p;
        for (double t = 0.0; t <= 1.0; t += 0.25)
            EXPECT_NEAR(Dist(fx.b->XYtV(t), par.X(s0 + t * (sq - s0))), 0.0, 1e-9 * 8 * par.p)
                << "pointFirst " << pointFirst << " t=" << t;
        // The whole-curve span: abscissae -8p and 8p about the apex, height 32.5p.
        ZgVector2 out[3];
        long count = 0;
        A::GetEquationC(fx.b, out, count);
        ASSERT_EQ(count, 3);
        EXPECT_NEAR(par.DistDirectrice(out[0]), 32.5 * par.p, 1e-9);
        EXPECT_NEAR(Dist(out[0], par.X(pointFirst ? 8 * par.p : -8 * par.p)), 0.0, 1e-9);
        EXPECT_NEAR(Dist(A::XYtC(fx.b, 0.5), par.X(0.0)), 0.0, 1e-9);
        A::GetEquationAffichage(fx.b, out, count);
        EXPECT_EQ(count, 0) << "nothing for a dead end";
    }
}

// A hand-worked display form: focus (0, 1), directrix y = 0 given by the edge (0,0)-(2,0)
// of length 2, arc from the apex (0, 0.5) to (2, 2.5). The display feet divide by |D| = 2:
// from the directrix point (2, 0) with D = (-2, 0), the apex's foot is (-2, 0), while
// (2, 2.5) keeps its true foot (2, 0) and so its true tangent (1, 2).
TEST(QmAlgVorArc, DisplayFormDividesByTheDirectrixLength)
{
    const Parabole par({0, 0}, 0.0, 0.0, 1.0, true);
    ArcFixture fx(par, 2.0, true);
    fx.Ends({0, 0.5}, {2, 2.5});
    // Another arc at the far vertex, so that the arc is not a dead end.
    A::AddPrecFront(fx.b->Alpha(), fx.m.Pair());
    ASSERT_FALSE(fx.b->Last());

    ZgVector2 out[3];
    long count = 0;
    fx.b->GetEquation(out, count);
    EXPECT_NEAR(out[1].x, 1.0, 1e-12) << "true tangents meet at (1, 0.5)";
    EXPECT_NEAR(out[1].y, 0.5, 1e-12);

    const ZgVector2 u1 = ZgVector2(-2, -0.5) / std::sqrt(4.25);
    const ZgVector2 t0 = u1 + ZgVector2(0, 1);
    // (2, 2.5) + v (1, 2) = (0, 0.5) + w t0
    const double w = 2.0 / (2.0 * t0.x - t0.y);
    const ZgVector2 c = ZgVector2(0, 0.5) + t0 * w;
    A::GetEquationAffichage(fx.b, out, count);
    ASSERT_EQ(count, 3);
    EXPECT_NEAR(out[1].x, c.x, 1e-12);
    EXPECT_NEAR(out[1].y, c.y, 1e-12);
    const ZgVector2 mid = A::XYtAffichage(fx.b, 0.5);
    EXPECT_NEAR(mid.x, 0.25 * 0 + 0.5 * c.x + 0.25 * 2, 1e-12);
}

TEST(QmAlgVorArc, ParaPrecAndGetPtParamOnKnownArcs)
{
    // X taken linearly in s over [s0, s1] = [-2, 6]: the midpoint of the step [0, 1/n]
    // stands (s1 - s0)^2 / (8 p n^2) = 8 / n^2 off its chord.
    const Parabole par({0, 0}, 0.3, 1.0, 1.0, true);
    ArcFixture fx(par, 4.0, true);
    fx.Ends(par.X(-2.0), par.X(6.0));
    const double dev1 = 8.0;
    struct Case
    {
        double tol;
        long n;
    };
    for (Case c :
         {Case{2 * dev1, 1}, Case{0.3 * dev1, 2}, Case{0.1 * dev1, 4}, Case{1.5e-3 * dev1, 32}})
    {
        EXPECT_EQ(fx.b->ParaPrec(c.tol, 0), c.n) << "tol " << c.tol;
        EXPECT_EQ(fx.b->ParaPrec(c.tol, 12345), c.n) << "the count argument is ignored";
    }
    EXPECT_EQ(fx.b->ParaPrec(1e-200, 0), 1L << 30) << "a tol whose square underflows";

    EXPECT_EQ(fx.b->GetPtParam(par.X(6.0), 1e-7), 1.0);
    EXPECT_EQ(fx.b->GetPtParam(par.X(6.0), 0.0), 1.0);
    EXPECT_EQ(fx.b->GetPtParam(par.X(-2.0) + ZgVector2(1e-8, 0), 1e-7), 0.0);
    // X(2.4), at t = 0.55, is nearer the start (4.5 away) than the far end (15.5): the first
    // halving keeps [0, 0.5] and the bisection ends on that bound, as documented.
    EXPECT_NEAR(fx.b->GetPtParam(par.X(2.4), 1e-7), 0.5, 1e-10);
    // On an arc symmetric about the apex the distance does fall towards the point.
    ArcFixture sym(par, 4.0, true);
    sym.Ends(par.X(-3.0), par.X(3.0));
    for (double t : {0.3, 0.55, 0.9})
    {
        const ZgVector2 p = par.X(-3.0 + 6.0 * t);
        const double found = sym.b->GetPtParam(p, 1e-7);
        EXPECT_LE(Dist(sym.b->XYt(found), p), 1e-7) << "t=" << t;
        EXPECT_NEAR(found, t, 1e-6) << "t=" << t;
    }

    // A straight arc never deviates from its chord.
    VorContour k({{0, 0}, {4, 0}, {4, 3}}, false);
    VorHandMap m;
    BrinVor* s = m.Pair(k.e[0], true, true, k.e[1], true, false);
    m.Vertex(s, {4, 0}, 0.0);
    m.Vertex(s->Alpha(), {2, 2}, 2.0);
    EXPECT_EQ(s->ParaPrec(1e-9, 0), 1);
    EXPECT_NEAR(s->GetPtParam({3, 1}, 1e-9), 0.5, 1e-9);
}
