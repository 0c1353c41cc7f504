#include "support/VorHandMap.h"
#include "voronoi/QmAlgVorData.h"
#include "voronoi/VorGeomDetail.h"

#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <tuple>
#include <vector>

using namespace qmtest;

namespace
{
using D = QmAlgVorData;
const ZgVector2 kInf(VorInfini, VorInfini);
const double kR3 = std::sqrt(3.0);

bool Near(ZgVector2 a, ZgVector2 b, double tol = 1e-9) { return (a - b).Length() <= tol; }
double Cross(ZgVector2 a, ZgVector2 b) { return a.x * b.y - a.y * b.x; }

struct Site
{
    VorEdge* e;
    bool isEdge;
    bool extr;
};

// Sites on one-edge open contours of their own, every box [-50, 50]^2, and arcs between
// them; Find keeps the crossing's point, dart and code.
struct Carte
{
    std::vector<std::unique_ptr<VorContour>> k;
    VorHandMap m;
    QmAlgVorData rec{nullptr, 0};
    ZgVector2 p;
    BrinVor* dart = nullptr;
    long code = 0;

    VorEdge* Edge(ZgVector2 a, ZgVector2 b)
    {
        k.push_back(std::make_unique<VorContour>(std::vector<ZgVector2>{a, b}, false, 100.0));
        k.back()->box = ZgBBox2({-50, -50}, {50, 50});
        return k.back()->e[0];
    }
    // The point a, free end of an edge leaving towards b; the segment a -> b.
    Site Point(ZgVector2 a, ZgVector2 b) { return {Edge(a, b), false, false}; }
    Site Segment(ZgVector2 a, ZgVector2 b) { return {Edge(a, b), true, false}; }
    void Box(ZgVector2 lo, ZgVector2 hi)
    {
        for (auto& c : k)
            c->box = ZgBBox2(lo, hi);
    }
    // s1 on the dart's own side; from o to e, or a dead end running off when e is infinite.
    BrinVor* Arc(Site s1, Site s2, ZgVector2 o, ZgVector2 e = kInf, double dEnd = 1.0)
    {
        BrinVor* b = m.Pair(s1.e, s1.isEdge, s1.extr, s2.e, s2.isEdge, s2.extr);
        m.Vertex(b, o, 1.0);
        if (!IsInfini(e))
            m.Vertex(b->Alpha(), e, dEnd);
        return b;
    }
    long Find(BrinVor* b, BrinVor* w)
    {
        return rec.FindCrossing(b, w, p, dart, code, AvanceGauche);
    }
};

// Point sites (5,0), (0,5), (-3,-4), all 5 from C = (0,0); their edges leave C behind.
struct Trois : Carte
{
    Site p1 = Point({5, 0}, {8, 0});
    Site p2 = Point({0, 5}, {0, 8});
    Site p3 = Point({-3, -4}, {-6, -8});
};

// Focus (0,2) over the directrix y = 0: y = 1 + x^2 / 4. (2,2) is 2 from G1 as well, and
// (-+2 sqrt 3, 4) are 4 from G2.
struct Para : Carte
{
    Site f = Point({0, 2}, {0, 1});
    Site s = Segment({-10, 0}, {10, 0});
    Site g1 = Point({4, 2}, {5, 3});
    Site g2 = Point({0, 6}, {0, 7});
};
} // namespace

TEST(VorCrossing, CrossSegmentsMeetsLinesNotSegments)
{
    std::mt19937 rng(4417);
    std::uniform_real_distribution<double> u(-10.0, 10.0);
    for (int i = 0; i < 200; ++i)
    {
        const ZgVector2 a1(u(rng), u(rng)), a2(u(rng), u(rng)), c1(u(rng), u(rng));
        const ZgVector2 c2(u(rng), u(rng)), da = a2 - a1, dc = c2 - c1;
        const double den = Cross(da, dc);
        if (std::fabs(den) < 1e-2 * da.Length() * dc.Length())
            continue;
        const ZgVector2 want = a1 + da * (Cross(c1 - a1, dc) / den); // Cramer
        ZgVector2 out;
        ASSERT_EQ(D::CrossSegments(a1, a2, c1, c2, out), 1) << "seed 4417 i=" << i;
        EXPECT_TRUE(Near(out, want, 1e-9 * (1 + want.Length()))) << "seed 4417 i=" << i;
    }
    ZgVector2 out(-7, -7);
    EXPECT_EQ(D::CrossSegments({0, 0}, {1, 1}, {0, 1}, {3, 4}, out), 0) << "parallel";
    EXPECT_EQ(D::CrossSegments({0, 0}, {1, 1}, {5, 5}, {-2, -2}, out), 2) << "collinear";
    EXPECT_TRUE(out.x == -7 && out.y == -7);
    EXPECT_EQ(D::CrossRays(0.5, {0, 0}, {1, 0}, {3, -1}, {0, 1}, out), 1);
    EXPECT_TRUE(Near(out, {3, 0}, 1e-12));
}

// A chord of y = x^2 / 2p in a rotated frame, proper or mirrored, meets it at its two ends.
TEST(VorCrossing, CrossLineParaFindsBothEndsOfAChord)
{
    std::mt19937 rng(913);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    for (int i = 0; i < 100; ++i)
    {
        const double th = 3.2 * u(rng), p = 1.25 + 0.75 * u(rng);
        const ZgVector2 ox(std::cos(th), std::sin(th)), org(5 * u(rng), 5 * u(rng));
        const ZgVector2 oy = i % 2 ? PerpGauche(ox) : PerpDroite(ox);
        auto W = [&](double x) { return org + ox * x + oy * (x * x / (2 * p)); };
        const double x1 = 3 * u(rng), x2 = x1 + (u(rng) < 0 ? -1 : 1) * (2 + 1.5 * u(rng));
        ZgVector2 c[4];
        ASSERT_EQ(D::CrossLinePara(ox, oy, org, W(x1) * 0.7 + W(x2) * 0.3, W(x2), p, c), 2);
        const bool swap = (c[0] - W(x1)).Length() > (c[1] - W(x1)).Length();
        EXPECT_TRUE(Near(c[swap], W(x1)) && Near(c[!swap], W(x2))) << "seed 913 i=" << i;
        EXPECT_EQ(D::CrossLinePara(ox, oy, org, org - oy, org - oy + ox, p, c), 0);
    }
}

// Random arcs of a parabola run along the directrix's direction from X(s0) to X(s1): the
// points of the parabola between them are on the arc, the others not.
TEST(VorCrossing, OnCurvedArcTellsPointsOfTheParabolaBetweenItsEnds)
{
    std::mt19937 rng(2718);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    for (int i = 0; i < 40; ++i)
    {
        const double th = 3.2 * u(rng), p = 1.5 + u(rng), sf = 2 * u(rng);
        const ZgVector2 dir(std::cos(th), std::sin(th)), a0(3 * u(rng), 3 * u(rng));
        const ZgVector2 n = PerpDroite(dir), h = a0 + dir * sf, f = h + n * p;
        auto X = [&](double s) { return h + dir * s + n * (p / 2 + s * s / (2 * p)); };
        const double s0 = 4 * u(rng), s1 = s0 + 0.5 + 3 * (u(rng) + 1);
        Carte c;
        BrinVor* b = c.Arc(c.Segment(a0, a0 + dir * 3.0), c.Point(f, f + n), X(s0), X(s1));
        c.Box({-1e4, -1e4}, {1e4, 1e4});
        ZgVector2 ff, q, v;
        b->GetFoyerDirectrice(ff, q, v);
        ASSERT_GT(Dot2(v, dir), 0.0) << "the fixture's arc runs along its directrix";
        b->Phi() = b;
        EXPECT_EQ(D::OnCurvedArc(b, X(s0)), 3) << "seed 2718 i=" << i;
        EXPECT_EQ(D::OnCurvedArc(b, X(s1)), 0) << "seed 2718 i=" << i;
        for (double s = s0 - 3; s < s1 + 3; s += 0.25)
            if (std::fabs(s - s0) > 0.05 && std::fabs(s - s1) > 0.05)
            {
                EXPECT_EQ(D::OnCurvedArc(b, X(s)), s0 < s && s < s1 ? 1 : 0)
                    << "seed 2718 i=" << i << " s0=" << s0 << " s1=" << s1 << " s=" << s;
            }
        b->Phi() = b->Alpha();
        EXPECT_EQ(D::OnCurvedArc(b, X(s0)), 1) << "a dead end holds its origin";
        EXPECT_EQ(D::OnCurvedArc(b, X(s1 + 2)), 1) << "seed 2718 i=" << i;
        EXPECT_EQ(D::OnCurvedArc(b, X(s0 - 0.5)), 0) << "seed 2718 i=" << i;
    }
}

TEST(VorCrossing, ZonesOfSegmentsAndCorners)
{
    Carte c;
    const ZgVector2 p0(1, 1), p1(4, 3), nrm = PerpDroite(p1 - p0);
    const Site seg = c.Segment(p0, p1);
    BrinVor* a = c.Arc(seg, seg, {0, 0});
    EXPECT_TRUE(D::InZoneSite(a, false, p1 + nrm * 7.3)) << "on the end perpendicular";
    EXPECT_FALSE(D::InZoneSite(a, false, p1 + nrm * 7.3 + (p1 - p0) * 1e-4));
    EXPECT_FALSE(D::InZoneSite(a, false, p0 - (p1 - p0) * 1e-4));

    // The corner (0,0) of (-4,0) -> (0,0) -> (0,4), seen from either edge: its zone is the
    // quadrant x >= 0, y <= 0, outside both strips.
    VorContour k({{-4, 0}, {0, 0}, {0, 4}}, false);
    BrinVor* fromNext = c.m.Pair(k.e[1], false, false, k.e[1], true, false);
    BrinVor* fromPrev = c.m.Pair(k.e[0], false, true, k.e[1], true, false);
    const std::pair<ZgVector2, bool> pts[] = {
        {{1, -1}, true}, {{1, 1}, false}, {{-1, -1}, false}, {{0, -3}, true}, {{2, 0}, true}};
    for (auto [q, in] : pts)
    {
        EXPECT_EQ(D::InZoneSite(fromNext, false, q), in) << q.x << "," << q.y;
        EXPECT_EQ(D::InZoneSite(fromPrev, false, q), in) << q.x << "," << q.y;
    }
}

TEST(VorCrossing, StraightCrossingAtTheCircumcentre)
{
    Trois t;
    BrinVor* b = t.Arc(t.p1, t.p2, {-2, -2});
    BrinVor* bAtC = t.Arc(t.p1, t.p2, {0, 0});
    BrinVor* w = t.Arc(t.p3, t.p2, {-3, 1}, {3, -1}); // C inside
    BrinVor* w0 = t.Arc(t.p3, t.p2, {-3, 1}, {0, 0}); // C at its far end
    BrinVor* w1 = t.Arc(t.p3, t.p1, {0, 0});          // C at its origin
    w->Phi() = w1;
    w0->Phi() = w1;
    EXPECT_EQ(t.Find(b, w), 1);
    EXPECT_TRUE(t.code == 11 && t.dart == w && Near(t.p, {0, 0}, 1e-12));
    EXPECT_EQ(t.Find(b, w0), 4) << "found on the next arc, at its origin";
    EXPECT_TRUE(t.dart == w1 && Near(t.p, {0, 0}, 1e-12));
    EXPECT_EQ(t.Find(bAtC, w1), 4) << "the walker's test runs last";
    EXPECT_EQ(t.Find(bAtC, w), 3);
    double tt = 0;
    EXPECT_EQ(D::OnStraightArc(w0, {-4e-7, 1e-7}, tt), 0) << "the far end, within dZgZero";
    BrinVor* same = t.m.Pair(t.p2.e, false, false, t.p1.e, false, false); // no vertices
    EXPECT_EQ(t.Find(b, same), 2);
    EXPECT_TRUE(t.dart == same && IsInfini(t.p));

    const Site q1 = t.Point({6, 0}, {9, 0}), q2 = t.Point({1, 5}, {1, 8}); // y = x - 1
    const Site r1 = t.Point({6, 1}, {9, 1}), r2 = t.Point({1, 6}, {1, 9}); // y = x
    EXPECT_EQ(t.Find(b, t.Arc(q1, q2, {0, -1})), 0) << "parallel";
    EXPECT_EQ(t.Find(b, t.Arc(r1, r2, {1, 1})), 0) << "collinear";
    EXPECT_TRUE(t.dart == nullptr && IsInfini(t.p));
    const Site p3in = t.Point({-3, -4}, {0, 0}); // its edge's strip holds C
    EXPECT_EQ(t.Find(b, t.Arc(p3in, t.p2, {-3, 1})), 0) << "outside the walker's zone";

    // A flat but not empty box filters; degenerate ones let everything through.
    const std::tuple<ZgVector2, ZgVector2, long> boxes[] = {{{10, 10}, {11, 11}, 0},
                                                            {{3, -50}, {3, 50}, 0},
                                                            {{1, -50}, {-1, 50}, 1},
                                                            {{7, 7}, {7, 7}, 1}};
    for (auto [lo, hi, status] : boxes)
    {
        t.Box(lo, hi);
        EXPECT_EQ(t.Find(b, w), status) << lo.x << " " << hi.x;
    }
    for (auto& k : t.k)
        qmVorAccess::SetPstMeshBox(k->Attr(0), nullptr);
    EXPECT_EQ(t.Find(b, w), 1);
}

TEST(VorCrossing, StopDartsEndTheWalk)
{
    Trois t;
    BrinVor* b = t.Arc(t.p1, t.p2, {-2, -2});
    BrinVor* w = t.Arc(t.p3, t.p2, {-3, 1}, {3, -1});
    BrinVor* w0 = t.Arc(t.p3, t.p2, {-3, 1}, {-1.5, 0.5});  // stops short of C
    BrinVor* w1 = t.Arc(t.p3, t.p1, {-1, 2}, {3, -6}, 0.0); // ends on the contour
    w->Phi() = w1;
    w0->Phi() = w1;
    t.rec.StopDroite = w;
    t.rec.CoupeDroite = 3;
    EXPECT_EQ(t.Find(b, w), 0);
    EXPECT_TRUE(t.rec.StopDroite == nullptr && t.rec.CoupeDroite == 0);
    t.rec.StopGauche = w1;
    EXPECT_EQ(t.Find(b, w), 1);
    EXPECT_EQ(t.rec.StopGauche, nullptr) << "consumed in the pass that found the crossing";
    EXPECT_EQ(t.Find(b, w0), 1);
    EXPECT_EQ(t.dart, w1);
    // A pending cut does not keep the walker off an arc ending on the contour.
    t.rec.CoupeDroite = 1;
    EXPECT_EQ(t.Find(b, w0), 1);
    EXPECT_EQ(t.dart, w1);
}

TEST(VorCrossing, StraightAgainstParabola)
{
    Para t;
    BrinVor* par = t.Arc(t.s, t.f, {-4, 5}); // runs towards +x
    EXPECT_EQ(t.Find(t.Arc(t.f, t.g1, {2, 5}), par), 1);
    EXPECT_TRUE(t.code == 12 && t.dart == par && Near(t.p, {2, 2}));
    // y = 4 along +x meets the parabola twice: the first along the bisector is taken.
    BrinVor* fg2 = t.Arc(t.f, t.g2, {-5, 4});
    EXPECT_EQ(t.Find(fg2, par), 1);
    EXPECT_TRUE(Near(t.p, {-2 * kR3, 4}));
    EXPECT_EQ(t.Find(par, fg2), 1);
    EXPECT_TRUE(t.code == 21 && Near(t.p, {-2 * kR3, 4}));
    // One candidate at the walker's origin: case 21 then chooses nothing.
    EXPECT_EQ(t.Find(par, t.Arc(t.f, t.g2, {-2 * kR3, 4})), 2);
    EXPECT_TRUE(t.dart == nullptr && IsInfini(t.p));
}

TEST(VorCrossing, ParabolasWithOneFocusOrOneDirectrix)
{
    Carte c;
    const Site f = c.Point({0, 0}, {0, -0.5});
    const Site below = c.Segment({-10, -1}, {10, -1}), lower = c.Segment({-10, -3}, {10, -3});
    BrinVor* a = c.Arc(below, f, {-3, 4});
    ZgVector2 cd[4];
    long n = -1;
    EXPECT_EQ(D::CrossCurvedCurved(a, c.Arc(lower, f, {0, -1.5}), cd, n), 0);
    EXPECT_EQ(n, 0);
    // Directrices y = -1 and y = 3 about the focus: (-+sqrt 3, 1) is 2 from all three.
    ASSERT_EQ(D::CrossCurvedCurved(a, c.Arc(c.Segment({-10, 3}, {10, 3}), f, {0, 1.5}), cd, n), 2);
    EXPECT_TRUE(Near(cd[0], {-kR3, 1}) || Near(cd[1], {-kR3, 1}));
    EXPECT_TRUE(Near(cd[0], {kR3, 1}) || Near(cd[1], {kR3, 1}));
    // Foci (-2,2) and (2,2) over y = 0: (0,2).
    const Site ground = c.Segment({-10, 0}, {10, 0});
    BrinVor* a1 = c.Arc(ground, c.Point({-2, 2}, {-3, 2}), {-2, 1});
    ASSERT_EQ(D::CrossCurvedCurved(a1, c.Arc(ground, c.Point({2, 2}, {3, 2}), {2, 1}), cd, n), 1);
    EXPECT_TRUE(Near(cd[0], {0, 2}));
    // The same two sites on both parabolas: no arithmetic at all.
    BrinVor* back = c.m.Pair(f.e, false, false, below.e, true, false);
    EXPECT_EQ(c.Find(back, c.m.Pair(below.e, true, false, f.e, false, false)), 2);
}

TEST(VorCrossing, ChooseOnArcTiesAndInfinitePoints)
{
    Para t;
    BrinVor* b = t.Arc(t.f, t.g2, {-5, 4});
    EXPECT_EQ(D::ChooseOnArc(b, {-3, 4}, {-7, 4}), 2);
    EXPECT_EQ(D::ChooseOnArc(b, kInf, kInf), 1);
    EXPECT_EQ(D::ChooseOnArc(b, {1, 4}, kInf), 0);
    // On the parabola from its summit: feet 2 either side tie, and the tie goes to pb.
    BrinVor* par = t.Arc(t.s, t.f, {0, 1});
    const ZgVector2 right(2, 2), left(-2, 2), further(4, 5);
    EXPECT_EQ(D::ChooseOnArc(par, right, further), 0);
    EXPECT_EQ(D::ChooseOnArc(par, further, right), 1);
    EXPECT_EQ(D::ChooseOnArc(par, right, left), 1);
    EXPECT_EQ(D::ChooseOnArc(par, left, right), 1);
}
