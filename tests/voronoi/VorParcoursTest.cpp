#include "support/PocketCorpus.h"
#include "support/VorHandMap.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/QmAlgVorAlgoParcours.h"
#include "voronoi/VorBrinDetail.h"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <list>
#include <map>
#include <set>
#include <vector>

using namespace qmtest;

// The private steps of the depth-first walks, for maps built by hand.
struct qmVorParcoursAccess
{
    static BrinVor* NextOnPseudoRecursif(BrinVor* a, std::list<BrinVor*>& s, bool& gap)
    {
        return QmAlgVorAlgoParcours().NextOnPseudoRecursif(a, s, gap);
    }
    static BrinVor* NextOnInterPoche(BrinVor* a, std::list<BrinVor*>& s, bool& gap)
    {
        return QmAlgVorAlgoParcours().NextOnInterPoche(a, s, gap);
    }
};

namespace
{
struct Appel
{
    BrinVor* b;
    bool draw;
};

// Records every call; answers `reponse`, which the walks must ignore.
struct Trace
{
    std::vector<Appel> calls;
    bool reponse = true;
};

bool Record(void* ctx, BrinVor* b, bool draw)
{
    auto* t = static_cast<Trace*>(ctx);
    t->calls.push_back({b, draw});
    return t->reponse;
}

// The darts reachable from b0 through Alpha and Phi, found without following any tour.
std::set<BrinVor*> Closure(BrinVor* b0)
{
    std::set<BrinVor*> seen{b0};
    std::vector<BrinVor*> todo{b0};
    while (!todo.empty())
    {
        BrinVor* b = todo.back();
        todo.pop_back();
        for (BrinVor* n : {b->Alpha(), b->Phi()})
            if (n != nullptr && seen.insert(n).second)
                todo.push_back(n);
    }
    return seen;
}

BrinVor* Arc(BrinVor* b) { return std::min(b, b->Alpha(), std::less<BrinVor*>()); }

// Each arc of `all` drawn exactly once, by either of its darts.
::testing::AssertionResult EachArcOnce(std::vector<Appel> const& calls,
                                       std::set<BrinVor*> const& all)
{
    std::map<BrinVor*, int> drawn;
    for (Appel const& c : calls)
        if (c.draw)
            ++drawn[Arc(c.b)];
    for (BrinVor* b : all)
        if (drawn[Arc(b)] != 1)
            return ::testing::AssertionFailure() << "an arc drawn " << drawn[Arc(b)] << " times";
    if (drawn.size() * 2 != all.size())
        return ::testing::AssertionFailure() << "darts drawn outside the map";
    return ::testing::AssertionSuccess();
}

// The calls form paths: the first is a pen-up, each pen-up is followed by drawing the same
// dart, and a dart drawn where the previous one did not end (another qmSommetVor, or an
// end at infinity) has a pen-up before it. Counts the pen-ups and those breaks.
::testing::AssertionResult Paths(std::vector<Appel> const& calls, long& penUps, long& breaks)
{
    penUps = breaks = 0;
    if (calls.empty() || calls[0].draw)
        return ::testing::AssertionFailure() << "no pen-up first";
    BrinVor* prev = nullptr;
    for (size_t k = 0; k < calls.size(); ++k)
    {
        if (!calls[k].draw)
        {
            ++penUps;
            if (k + 1 == calls.size() || !calls[k + 1].draw || calls[k + 1].b != calls[k].b)
                return ::testing::AssertionFailure() << "pen-up " << k << " not followed";
            continue;
        }
        qmSommetVor* fin = prev != nullptr ? qmVorAccess::GetSommet(prev->Alpha()) : nullptr;
        if (prev != nullptr && (fin == nullptr || fin != qmVorAccess::GetSommet(calls[k].b)))
        {
            ++breaks;
            if (calls[k - 1].draw)
                return ::testing::AssertionFailure() << "path broken at call " << k;
        }
        prev = calls[k].b;
    }
    return ::testing::AssertionSuccess();
}

bool FlagsClear(std::set<BrinVor*> const& all)
{
    for (BrinVor* b : all)
        if (b->GetFlag() != 0)
            return false;
    return true;
}

struct Diagram
{
    PocketMesh pm;
    QmAlgVor vor;
    long ok;
    explicit Diagram(PocketShape const& s) : pm(s), ok(vor.Compute(nullptr, pm.raw, 1)) {}
    ~Diagram() { vor.Delete(pm.raw, 1); }
    BrinVor* Start() const { return GetAttrEdgeVor(vor.GetPocheIde(0))->GetB2(); }
};

std::vector<PocketShape> ClosedShapes()
{
    std::vector<PocketShape> out;
    for (auto const& family : {ConvexPolygons(), StarPolygons(), OrthogonalPolygons(),
                               RegularPolygons(), StraightVertexPolygons(), SlotsAndCombs()})
        for (PocketShape const& s : family)
            if (s.pts.size() <= 1000)
                out.push_back(s);
    return out;
}
} // namespace

TEST(VorParcoursFaces, EveryDartDrawnOncePenUpOnEachDartLeavingTheContour)
{
    for (PocketShape const& s : ClosedShapes())
    {
        SCOPED_TRACE(s.name);
        Diagram d(s);
        ASSERT_EQ(d.ok, 1);
        const std::set<BrinVor*> all = Closure(d.Start());
        // Marks play no part and are left alone; so is the callback's answer.
        for (BrinVor* b : all)
            b->SetFlag(1);
        Trace t;
        t.reponse = false;
        EXPECT_TRUE(QmAlgVorAlgoParcours().ParcoursFaces(d.vor, Record, &t));
        EXPECT_TRUE(
            std::all_of(all.begin(), all.end(), [](BrinVor* b) { return b->GetFlag() == 1; }));
        d.vor.UnsetFlagAll();

        std::map<BrinVor*, int> drawn, lifted;
        for (Appel const& c : t.calls)
            ++(c.draw ? drawn : lifted)[c.b];
        EXPECT_EQ(drawn.size(), all.size());
        for (BrinVor* b : all)
        {
            EXPECT_EQ(drawn[b], 1);
            // The contour's vertices carry a distance of exactly 0.
            EXPECT_EQ(lifted[b], b->GetD1() == 0.0 ? 1 : 0);
        }
        // The tour never breaks: each face is drawn whole, the pen-ups only mark where
        // one starts.
        long penUps = 0, breaks = 0;
        EXPECT_TRUE(Paths(t.calls, penUps, breaks));
        EXPECT_EQ(breaks, 0);
        ASSERT_FALSE(t.calls.empty());
        EXPECT_EQ(t.calls[0].b, d.Start());
    }
}

TEST(VorParcoursPseudoFaces, EachArcOncePenUpsExactlyWherePathsBreakFlagsClear)
{
    for (PocketShape const& s : ClosedShapes())
    {
        SCOPED_TRACE(s.name);
        Diagram d(s);
        ASSERT_EQ(d.ok, 1);
        const std::set<BrinVor*> all = Closure(d.Start());
        for (bool sansFlag : {false, true})
        {
            Trace t;
            QmAlgVorAlgoParcours p;
            EXPECT_TRUE(sansFlag ? p.ParcoursPseudoFacesSansFlag(d.vor, Record, &t)
                                 : p.ParcoursPseudoFaces(d.vor, Record, &t));
            EXPECT_TRUE(EachArcOnce(t.calls, all)) << sansFlag;
            // Every break announced, and no pen-up but the first where the path goes on.
            long penUps = 0, breaks = 0;
            EXPECT_TRUE(Paths(t.calls, penUps, breaks)) << sansFlag;
            EXPECT_EQ(penUps, breaks + 1) << sansFlag;
            EXPECT_TRUE(FlagsClear(all)) << sansFlag;
        }
    }
}

TEST(VorParcoursPseudoFaces, MarkedStartEndsOneWalkAndIsPassedOverByTheOther)
{
    Diagram d(ConvexPolygons()[4]);
    ASSERT_EQ(d.ok, 1);
    const std::set<BrinVor*> all = Closure(d.Start());
    d.Start()->SetFlag(1);
    d.Start()->Alpha()->SetFlag(1);
    Trace t;
    EXPECT_FALSE(QmAlgVorAlgoParcours().ParcoursPseudoFaces(d.vor, Record, &t));
    EXPECT_TRUE(t.calls.empty());
    EXPECT_EQ(d.Start()->GetFlag(), 1);
    EXPECT_EQ(d.Start()->Alpha()->GetFlag(), 1);
    EXPECT_TRUE(QmAlgVorAlgoParcours().ParcoursPseudoFacesSansFlag(d.vor, Record, &t));
    EXPECT_TRUE(t.calls.empty());
    EXPECT_TRUE(FlagsClear(all));
}

// Depth first, a path breaks only after a dead end and never at a vertex with an arc left
// to take. Every vertex but the start's is reached once, by one arc; so in a tree each leaf
// other than the start is the end of one path, and the paths are the leaves less one plus
// the first: one pen-up per leaf besides the start. Leaves are counted here as vertices
// (qmSommetVor) left by one dart, plus the ends at infinity (darts without a vertex).
TEST(VorParcoursPseudoRecursif, EachArcOnceOnePenUpPerLeafClosedAndOpen)
{
    std::vector<PocketShape> shapes = ClosedShapes();
    for (PocketShape const& s : OpenPolylines())
        shapes.push_back(s);
    for (PocketShape const& s : shapes)
    {
        SCOPED_TRACE(s.name);
        Diagram d(s);
        ASSERT_EQ(d.ok, 1);
        const std::set<BrinVor*> all = Closure(d.Start());
        std::map<qmSommetVor*, long> degree;
        long infinis = 0;
        for (BrinVor* b : all)
            if (qmVorAccess::GetSommet(b) != nullptr)
                ++degree[qmVorAccess::GetSommet(b)];
            else
                ++infinis;
        long leaves = infinis;
        for (auto const& v : degree)
            leaves += v.second == 1;
        // The count above holds for a tree only.
        ASSERT_EQ(static_cast<long>(degree.size()) + infinis,
                  static_cast<long>(all.size()) / 2 + 1);

        Trace t;
        QmAlgVorAlgoParcours().ParcoursPseudoRecursif(d.vor, Record, &t);
        EXPECT_TRUE(EachArcOnce(t.calls, all));
        long penUps = 0, breaks = 0;
        EXPECT_TRUE(Paths(t.calls, penUps, breaks));
        EXPECT_EQ(penUps, breaks + 1);
        EXPECT_EQ(penUps, leaves - 1);
        EXPECT_TRUE(FlagsClear(all));

        if (!s.closed)
        {
            Trace none;
            QmAlgVorAlgoParcours p;
            EXPECT_FALSE(p.ParcoursFaces(d.vor, Record, &none));
            EXPECT_FALSE(p.ParcoursPseudoFaces(d.vor, Record, &none));
            EXPECT_FALSE(p.ParcoursPseudoFacesSansFlag(d.vor, Record, &none));
            EXPECT_TRUE(none.calls.empty());
            EXPECT_TRUE(FlagsClear(all));
        }
    }
}

TEST(VorParcoursInterPoche, OnePocketAloneGivesNoCall)
{
    Diagram d(ConvexPolygons()[4]);
    ASSERT_EQ(d.ok, 1);
    Trace t;
    QmAlgVorAlgoParcours().ParcoursInterPoche(d.vor, Record, &t);
    EXPECT_TRUE(t.calls.empty());
    EXPECT_TRUE(FlagsClear(Closure(d.Start())));
}

TEST(VorParcours, NoDiagramNoCall)
{
    // A failed construction leaves its pocket without a start dart; a diagram never
    // computed has no pocket at all.
    Diagram bad(BadContours()[0]);
    ASSERT_EQ(bad.ok, 0);
    QmAlgVor empty;
    for (QmAlgVor* v : {&bad.vor, &empty})
    {
        Trace t;
        QmAlgVorAlgoParcours p;
        EXPECT_EQ(p.ParcoursFaces(*v, Record, &t), v == &empty);
        EXPECT_EQ(p.ParcoursPseudoFaces(*v, Record, &t), v == &empty);
        EXPECT_EQ(p.ParcoursPseudoFacesSansFlag(*v, Record, &t), v == &empty);
        p.ParcoursPseudoRecursif(*v, Record, &t);
        p.ParcoursInterPoche(*v, Record, &t);
        EXPECT_TRUE(t.calls.empty());
    }
}

TEST(VorParcoursNext, PushesTheTurnLastFoundFirstAndFiltersArcsBetweenPockets)
{
    // Four darts leave one vertex, in Sigma order a, d1, d2, d3. d1 lies between two edges
    // of pocket A, d2 and d3 between A and B.
    VorContour A({{0, 0}, {0, 10}, {10, 10}, {10, 0}}, true);
    VorContour B({{4, 4}, {6, 4}, {6, 6}}, true);
    for (bool inter : {false, true})
    {
        VorHandMap m;
        BrinVor* a = m.Pair(A.e[0], true, false, A.e[1], true, false);
        BrinVor* d1 = m.Pair(A.e[1], true, false, A.e[2], true, false);
        BrinVor* d2 = m.Pair(A.e[2], true, false, B.e[0], true, false);
        BrinVor* d3 = m.Pair(B.e[1], true, false, A.e[3], true, false);
        VorHandMap::Star({a, d1, d2, d3});
        auto next = [&](std::list<BrinVor*>& s, bool& gap)
        {
            return inter ? qmVorParcoursAccess::NextOnInterPoche(a, s, gap)
                         : qmVorParcoursAccess::NextOnPseudoRecursif(a, s, gap);
        };
        std::list<BrinVor*> stack;
        bool gap = true;
        EXPECT_EQ(next(stack, gap), d3) << inter;
        EXPECT_FALSE(gap);
        EXPECT_EQ(stack, (inter ? std::list<BrinVor*>{d2} : std::list<BrinVor*>{d2, d1}));
        for (BrinVor* x : {d1, d2, d3})
        {
            const int marked = inter && x == d1 ? 0 : 1;
            EXPECT_EQ(x->GetFlag(), marked) << inter;
            EXPECT_EQ(x->Alpha()->GetFlag(), marked) << inter;
        }
        EXPECT_EQ(a->GetFlag(), 0);
        // Nothing new about the vertex: the rest of the stack, then a itself.
        EXPECT_EQ(next(stack, gap), d2);
        EXPECT_TRUE(gap);
        if (!inter)
        {
            EXPECT_EQ(next(stack, gap), d1);
        }
        EXPECT_EQ(next(stack, gap), a);
        EXPECT_TRUE(gap);
    }
}
