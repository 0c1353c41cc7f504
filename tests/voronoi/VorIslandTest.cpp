#include "support/PocketCorpus.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/QmAlgVorAlgoParcours.h"
#include "voronoi/QmAlgVorData.h"
#include "voronoi/VorBrinDetail.h"

#include <gtest/gtest.h>
#include <map>
#include <set>
#include <vector>

using namespace qmtest;
using BrinVor = QmAlgVor::BrinVor;

namespace
{
struct Joined
{
    PocketSet set;
    QmAlgVor vor;
    long ok;
    explicit Joined(std::vector<PocketShape> const& shapes)
        : set(shapes), ok(vor.Compute(nullptr, set.raw.data(), set.Count()))
    {
    }
    ~Joined() { vor.Delete(set.raw.data(), set.Count()); }
    BrinVor* Start(long i) const { return GetAttrEdgeVor(vor.GetPocheIde(i))->GetB2(); }
};

void ComputeAndValidate(std::vector<PocketShape> const& shapes)
{
    SCOPED_TRACE(shapes[0].name);
    {
        Joined j(shapes);
        ASSERT_EQ(j.ok, 1);
        EXPECT_TRUE(ValidateVor(j.vor, j.set.view));
    }
}

PocketShape Square(ZgVector2 lo, double side, bool island)
{
    std::vector<ZgVector2> p{
        lo, {lo.x, lo.y + side}, {lo.x + side, lo.y + side}, {lo.x + side, lo.y}};
    if (island)
        std::swap(p[1], p[3]);
    return {"square", p, true};
}

PocketShape Diamond(ZgVector2 c, double r)
{
    return {"diamond", {{c.x, c.y - r}, {c.x + r, c.y}, {c.x, c.y + r}, {c.x - r, c.y}}, true};
}

const PocketShape kOuter = Square({0, 0}, 100, false);
} // namespace

// Distances, the empty circle and the links, against the outer contour and every island,
// on squares and circles with 1, 2, 5 and 20 islands of four kinds.
TEST(VorIslands, RandomPocketsValidate)
{
    for (long count : {1L, 2L, 5L, 20L})
        for (bool round : {false, true})
            for (unsigned seed = 1; seed <= 4; ++seed)
                ComputeAndValidate(IslandPocket(count, round, seed * 7919 + 31 * count));
}

// The bridge's witnesses: an island corner facing a wall (vertex and edge inside), two
// parallel edges (the pair of segments is passed over for one with a vertex), an island
// corner facing another island's corner, gaps down to 1e-3 from the wall and between
// islands, and islands near a corner.
TEST(VorIslands, BridgeWitnessesAndTightGaps)
{
    ComputeAndValidate({kOuter, Diamond({50, 20}, 10)});
    ComputeAndValidate({kOuter, Square({40, 10}, 20, true)});
    ComputeAndValidate({kOuter, Diamond({30, 50}, 10), Diamond({60, 50}, 10)});
    ComputeAndValidate({kOuter, Diamond({50, 10.001}, 10)});
    ComputeAndValidate({kOuter, Square({20, 20}, 20, true), Square({40.001, 30}, 20, true)});
    ComputeAndValidate({kOuter, Square({0.5, 0.5}, 99, true)});
    // Near a corner, the bisector leaves the wall's cell through the far arc of the cell,
    // one that ends on the contour: the walker has to test it.
    ComputeAndValidate({kOuter, Diamond({15, 90}, 3)});
    ComputeAndValidate({kOuter, Diamond({15, 88}, 2)});
}

// The record keeps the length of each island's bridge: the true distance to the nearest
// contour of a lower index, which may be an island, measured here by hand.
TEST(VorIslands, BridgeLengthsToTheNearestEarlierContour)
{
    // A: a square 10 from the walls. B: a diamond 7 from A's right side and 12 from the floor.
    // C: a diamond 27 from the left wall and farther from A and B. D: a diamond whose top
    // corner faces C's bottom corner 2 below it; it is searched against C as well.
    Joined j({kOuter, Square({10, 10}, 10, true), Diamond({30, 15}, 3), Diamond({30, 60}, 3),
              Diamond({30, 52}, 3)});
    ASSERT_EQ(j.ok, 1);
    QmAlgVorData const* rec = qmVorAccess::GetData(j.vor);
    ASSERT_NE(rec, nullptr);
    EXPECT_NEAR(rec->DistPoche[1], 10.0, 1e-9);
    EXPECT_NEAR(rec->DistPoche[2], 7.0, 1e-9);
    EXPECT_NEAR(rec->DistPoche[3], 27.0, 1e-9);
    EXPECT_NEAR(rec->DistPoche[4], 2.0, 1e-9);
    for (long i = 0; i < j.set.Count(); ++i)
    {
        EXPECT_EQ(rec->BrinPoche[i], VorBrinFin()) << i;
        EXPECT_EQ(rec->BrinIle[i], VorBrinFin()) << i;
    }
    EXPECT_TRUE(ValidateVor(j.vor, j.set.view));
}

// Islands that cross or touch the outer contour or one another are refused, and nothing of
// the diagram is left on the edges.
TEST(VorIslands, TouchingOrCrossingIslandsFailCleanly)
{
    const std::vector<std::vector<PocketShape>> bad = {
        {kOuter, Diamond({50, 5}, 10)},
        {kOuter, Diamond({50, 10}, 10)},
        {kOuter, Square({20, 20}, 20, true), Square({30, 30}, 20, true)},
        {kOuter, Diamond({30, 50}, 10), Diamond({50, 50}, 10)},
    };
    for (auto const& shapes : bad)
    {
        PocketSet set(shapes);
        QmAlgVor vor;
        EXPECT_EQ(vor.Compute(nullptr, set.raw.data(), set.Count()), 0);
        vor.Delete(set.raw.data(), set.Count());
        EXPECT_TRUE(NoAttrEdgeVor(set.view));
    }
}

namespace
{
struct Appel
{
    BrinVor* b;
    bool draw;
};

bool Record(void* ctx, BrinVor* b, bool draw)
{
    static_cast<std::vector<Appel>*>(ctx)->push_back({b, draw});
    return false;
}

// Every dart of every pocket's tour, found by walking the tours.
std::set<BrinVor*> AllDarts(Joined const& j)
{
    std::set<BrinVor*> all;
    for (long i = 0; i < j.set.Count(); ++i)
    {
        BrinVor* b = j.Start(i);
        do
        {
            all.insert(b);
            b = b->Phi();
        } while (b != j.Start(i) && all.size() < 1000000);
    }
    return all;
}

::testing::AssertionResult EachArcOnce(std::vector<Appel> const& calls,
                                       std::set<BrinVor*> const& all)
{
    std::map<BrinVor*, int> drawn;
    for (Appel const& c : calls)
        if (c.draw)
            ++drawn[std::min(c.b, c.b->Alpha())];
    for (BrinVor* b : all)
        if (drawn[std::min(b, b->Alpha())] != 1)
            return ::testing::AssertionFailure()
                   << "an arc drawn " << drawn[std::min(b, b->Alpha())] << " times";
    if (drawn.size() * 2 != all.size())
        return ::testing::AssertionFailure()
               << drawn.size() << " arcs drawn, map has " << all.size() / 2;
    return ::testing::AssertionSuccess();
}

bool FlagsClear(std::set<BrinVor*> const& all)
{
    for (BrinVor* b : all)
        if (b->GetFlag() != 0)
            return false;
    return true;
}
} // namespace

TEST(VorIslandWalks, EveryWalkCoversTheJoinedMapAndClearsItsFlags)
{
    Joined j(IslandPocket(5, false, 42));
    ASSERT_EQ(j.ok, 1);
    const std::set<BrinVor*> all = AllDarts(j);
    QmAlgVorAlgoParcours p;

    // One tour passes every pocket: ParcoursFaces, which marks nothing, gives it whole from
    // each pocket's start; the marking walk stops at the first island's start, marked by
    // the outer pocket's tour, and leaves the marks; the other takes each arc once.
    std::vector<Appel> faces;
    EXPECT_TRUE(p.ParcoursFaces(j.vor, Record, &faces));
    std::map<BrinVor*, int> drawn;
    for (Appel const& c : faces)
        drawn[c.b] += c.draw;
    EXPECT_EQ(drawn.size(), all.size());
    for (auto const& d : drawn)
        EXPECT_EQ(d.second, j.set.Count());

    std::vector<Appel> pseudo;
    EXPECT_FALSE(p.ParcoursPseudoFaces(j.vor, Record, &pseudo));
    EXPECT_TRUE(EachArcOnce(pseudo, all));
    EXPECT_EQ(j.Start(1)->GetFlag(), 1);
    j.vor.UnsetFlagAll();
    EXPECT_TRUE(FlagsClear(all));

    std::vector<Appel> sansFlag;
    EXPECT_TRUE(p.ParcoursPseudoFacesSansFlag(j.vor, Record, &sansFlag));
    EXPECT_TRUE(EachArcOnce(sansFlag, all));
    EXPECT_TRUE(FlagsClear(all));

    // Depth first over a tree, a path ends only at a leaf: one pen-up per leaf but the
    // start's. The leaves are the contour's and the two ends where each ring was opened.
    std::vector<Appel> recursif;
    p.ParcoursPseudoRecursif(j.vor, Record, &recursif);
    EXPECT_TRUE(EachArcOnce(recursif, all));
    EXPECT_TRUE(FlagsClear(all));
    std::map<qmSommetVor*, long> degree;
    for (BrinVor* b : all)
        ++degree[qmVorAccess::GetSommet(b)];
    long leaves = 0, penUps = 0;
    for (auto const& v : degree)
        leaves += v.second == 1;
    for (Appel const& c : recursif)
        penUps += !c.draw;
    EXPECT_EQ(degree.size(), all.size() / 2 + 1) << "not a tree";
    EXPECT_EQ(penUps, leaves - 1);

    // The first arc of the outer pocket's tour between two pockets, alone.
    std::vector<Appel> inter;
    p.ParcoursInterPoche(j.vor, Record, &inter);
    ASSERT_EQ(inter.size(), 2u);
    EXPECT_FALSE(inter[0].draw);
    EXPECT_TRUE(inter[1].draw);
    EXPECT_EQ(inter[0].b, inter[1].b);
    EXPECT_NE(inter[1].b->GetI1()->mesh, inter[1].b->GetI2()->mesh);
    BrinVor* b = j.Start(0);
    while (b->GetI1()->mesh == b->GetI2()->mesh)
        b = b->Phi();
    EXPECT_EQ(inter[1].b, b);
    EXPECT_TRUE(FlagsClear(all));
}
