#include "support/PocketCorpus.h"
#include "support/VorHandMap.h"
#include "support/VorValidator.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/VorBrinDetail.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

using namespace qmtest;

namespace
{
bool Reports(::testing::AssertionResult const& r, char const* check)
{
    return !r && std::string(r.message()).find(check) != std::string::npos;
}

// Computes, validates and deletes each shape; the worst errors seen go to the test's
// properties (--gtest_output=xml) so that the margin under the tolerance stays visible.
void RunFamily(std::vector<PocketShape> const& shapes)
{
    double worstVertex = 0.0, worstArc = 0.0;
    for (PocketShape const& s : shapes)
    {
        SCOPED_TRACE(s.name);
        PocketMesh pm(s);
        QmAlgVor vor;
        const long ok = vor.Compute(nullptr, pm.raw, 1);
        EXPECT_EQ(ok, 1);
        if (ok == 1)
        {
            VorCheckStats stats;
            EXPECT_TRUE(ValidateVor(vor, pm.view, &stats));
            worstVertex = std::max(worstVertex, stats.maxVertexErr);
            worstArc = std::max(worstArc, stats.maxArcErr);
        }
        vor.Delete(pm.raw, 1);
        EXPECT_TRUE(NoAttrEdgeVor(pm.view));
    }
    std::ostringstream v, a;
    v << worstVertex;
    a << worstArc;
    ::testing::Test::RecordProperty("worst_vertex_error_per_diag", v.str());
    ::testing::Test::RecordProperty("worst_arc_error_per_diag", a.str());
}

// The medial axis of the clockwise square (0, 0) (0, 2) (2, 2) (2, 0), built by hand: dart
// d[k] runs from corner k (D 0) to the centre (D 1) between edges k - 1 and k.
struct HandSquare
{
    VorContour c{{{0, 0}, {0, 2}, {2, 2}, {2, 0}}, true};
    VorHandMap m;
    BrinVor* d[4] = {};
    VorPocketView view;

    HandSquare()
    {
        const ZgVector2 corner[4] = {{0, 0}, {0, 2}, {2, 2}, {2, 0}};
        for (int k = 0; k < 4; ++k)
        {
            d[k] = m.Pair(c.e[(k + 3) % 4], true, true, c.e[k], true, false);
            m.Vertex(d[k], corner[k], 0.0);
        }
        qmSommetVor* centre = m.Vertex(d[0]->Alpha(), {1, 1}, 1.0);
        for (int k = 1; k < 4; ++k)
            qmVorAccess::SetSommet(d[k]->Alpha(), centre);
        VorHandMap::Star({d[0]->Alpha(), d[3]->Alpha(), d[2]->Alpha(), d[1]->Alpha()});
        for (int k = 0; k < 4; ++k)
            c.SetB(k, d[k], d[(k + 1) % 4]);
        view.contours.push_back({{{0, 0}, {0, 2}, {2, 2}, {2, 0}}, true, c.e});
    }
    ::testing::AssertionResult Check() { return ValidateVorMap(c.e[0], view); }
};

QmAlgVor::AttrEdgeVor* VorAttr(QmPstMesh::edge* e) { return AttrOf<QmAlgVor::AttrEdgeVor>(e); }
} // namespace

TEST(VorCorpusValidator, AcceptsTheSquareByHandAndRejectsEachCorruption)
{
    EXPECT_TRUE(HandSquare().Check());
    {
        HandSquare h;
        qmVorAccess::SetD1(h.d[0]->Alpha(), 1.25);
        EXPECT_TRUE(Reports(h.Check(), "[vertex]"));
    }
    {
        HandSquare h;
        qmVorAccess::SetI(h.d[1]->Alpha(), h.c.e[3], true, false);
        EXPECT_TRUE(Reports(h.Check(), "[arc]"));
    }
    {
        HandSquare h;
        std::swap(h.d[0]->Phi(), h.d[2]->Phi());
        const auto r = h.Check();
        EXPECT_TRUE(Reports(r, "[phi]"));
        EXPECT_TRUE(Reports(r, "[sigma]"));
    }
    {
        HandSquare h;
        qmVorAccess::SetPoint1(h.d[2], {2, 1.5});
        EXPECT_TRUE(Reports(h.Check(), "[link]"));
        EXPECT_TRUE(Reports(h.Check(), "[vertex]"));
    }
    {
        HandSquare h;
        for (ZgVector2& p : h.view.contours[0].pts)
            p = p + ZgVector2(0.25, 0.0);
        EXPECT_TRUE(Reports(h.Check(), "[vertex]"));
    }
    {
        HandSquare h;
        h.d[3]->SetFlag(1);
        EXPECT_TRUE(Reports(h.Check(), "[flag]"));
    }
    {
        // Still equidistant from the same two sites, but each on the wrong side.
        HandSquare h;
        qmVorAccess::SetI(h.d[0], h.c.e[0], true, false);
        qmVorAccess::SetI(h.d[0]->Alpha(), h.c.e[3], true, true);
        EXPECT_TRUE(Reports(h.Check(), "not on its right"));
    }
    {
        // Corner 3 no longer on the contour: a leaf is missing and a dead end hangs inside.
        HandSquare h;
        qmVorAccess::SetD1(h.d[3], 0.5);
        EXPECT_TRUE(Reports(h.Check(), "[count]"));
    }
}

TEST(VorCorpusValidator, RejectsAComputedSquareAlteredThroughThePublicApi)
{
    PocketMesh pm(Clockwise("square", {{0, 0}, {0, 10}, {10, 10}, {10, 0}}));
    QmAlgVor vor;
    ASSERT_EQ(vor.Compute(nullptr, pm.raw, 1), 1);
    EXPECT_TRUE(ValidateVor(vor, pm.view));

    VorPocketView moved = pm.view;
    for (ZgVector2& p : moved.contours[0].pts)
        p = p * 1.5;
    EXPECT_TRUE(Reports(ValidateVor(vor, moved), "[vertex]"));

    BrinVor* b = VorAttr(vor.GetPocheIde(0))->GetB2();
    BrinVor* c = b->Phi()->Phi();
    std::swap(b->Phi(), c->Phi());
    EXPECT_TRUE(Reports(ValidateVor(vor, pm.view), "[phi]"));
    std::swap(b->Phi(), c->Phi());

    vor.Delete(pm.raw, 1);
    EXPECT_TRUE(NoAttrEdgeVor(pm.view));
}

TEST(VorCorpus, ConvexPolygons) { RunFamily(ConvexPolygons()); }
TEST(VorCorpus, StarPolygons) { RunFamily(StarPolygons()); }
TEST(VorCorpus, OrthogonalPolygons) { RunFamily(OrthogonalPolygons()); }
TEST(VorCorpus, RegularPolygons)
{
    RunFamily(RegularPolygons());
    RunFamily(NearRegularPolygons());
}

// Sites cocircular to within dZgZero: the construction may merge neighbouring crossings,
// or give up. Either it fails cleanly, or its diagram holds to a few times that tolerance.
TEST(VorCorpus, NearlyCocircularPolygonsFailCleanlyOrHoldToTheTolerance)
{
    for (PocketShape const& s : NearCocircularPolygons())
    {
        SCOPED_TRACE(s.name);
        PocketMesh pm(s);
        QmAlgVor vor;
        const long ok = vor.Compute(nullptr, pm.raw, 1);
        EXPECT_TRUE(ok == 0 || ok == 1);
        if (ok == 1)
        {
            EXPECT_TRUE(ValidateVor(vor, pm.view, nullptr, 10.0 * dZgZero));
        }
        vor.Delete(pm.raw, 1);
        EXPECT_TRUE(NoAttrEdgeVor(pm.view));
    }
}
TEST(VorCorpus, OpenPolylines) { RunFamily(OpenPolylines()); }
TEST(VorCorpus, StraightVertices) { RunFamily(StraightVertexPolygons()); }
// Turns below dZgZero: the arc leaving such a vertex has a direction shorter than dZgZero.
TEST(VorCorpus, NearlyStraightVertices) { RunFamily(NearlyStraightVertexPolygons()); }
TEST(VorCorpus, SlotsAndCombs) { RunFamily(SlotsAndCombs()); }
TEST(VorCorpus, ShortEdgesBesideLongOnes) { RunFamily(ShortBesideLong()); }

TEST(VorCorpus, BadContoursFailCleanly)
{
    for (PocketShape const& s : BadContours())
    {
        SCOPED_TRACE(s.name);
        PocketMesh pm(s);
        QmAlgVor vor;
        EXPECT_EQ(vor.Compute(nullptr, pm.raw, 1), 0);
        vor.Delete(pm.raw, 1);
        EXPECT_TRUE(NoAttrEdgeVor(pm.view));
    }
}

// The corpus itself: every good shape is simple and its closed ones run clockwise, every
// bad one is not simple, so a failure above is the diagram's and not the input's.
TEST(VorCorpus, GoodShapesAreSimpleAndBadOnesAreNot)
{
    for (auto const& family :
         {ConvexPolygons(), StarPolygons(), OrthogonalPolygons(), RegularPolygons(),
          NearRegularPolygons(), NearCocircularPolygons(), OpenPolylines(),
          StraightVertexPolygons(), SlotsAndCombs(), ShortBesideLong()})
        for (PocketShape const& s : family)
        {
            if (s.pts.size() <= 2000)
            {
                EXPECT_TRUE(IsSimple(s)) << s.name;
            }
            if (s.closed)
            {
                EXPECT_LT(SignedArea(s.pts), 0.0) << s.name;
            }
        }
    for (PocketShape const& s : BadContours())
        EXPECT_FALSE(IsSimple(s)) << s.name;
}
