#include "query/QmAlgDistMin.h"

#include "build/QmAlgCreateMeshSolidStd.h"
#include "kernel/ZgDist.h"
#include "mesh/QmCacheMgr.h"
#include "support/SoupMesh.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <string>
#include <vector>

using qmtest::AddE;
using qmtest::AddF;
using qmtest::AddV;
using qmtest::Corners;
using qmtest::MeshPtr;
using qmtest::NewMesh;
using Ele = QmPstMesh::ele;
using Sol = QmAlgDistMin::Sol;
using Shape = std::vector<ZgVector3>;

namespace
{
QmPstMesh::TypeEle Mask(int m) { return static_cast<QmPstMesh::TypeEle>(m); }

// The kernel distance between two shapes of 1 to 3 corners, smaller shape first.
double Dist2(Shape const& a, Shape const& b)
{
    if (a.size() > b.size())
        return Dist2(b, a);
    double d = 0.0;
    if (a.size() == 1)
        b.size() == 1   ? ZgDist2MinPtPt(a[0], b[0], d, nullptr, nullptr)
        : b.size() == 2 ? ZgDist2MinPtSeg(a[0], b[0], b[1], d, nullptr, nullptr)
                        : ZgDist2MinPtTri(a[0], b[0], b[1], b[2], d, nullptr, nullptr);
    else if (a.size() == 2)
        b.size() == 2 ? ZgDist2MinSegSeg(a[0], a[1], b[0], b[1], d, nullptr, nullptr)
                      : ZgDist2MinSegTri(a[0], a[1], b[0], b[1], b[2], d, nullptr, nullptr);
    else
        ZgDist2MinTriTri(a[0], a[1], a[2], b[0], b[1], b[2], d, nullptr, nullptr);
    return d;
}

std::vector<Ele*> Elements(QmPstMesh& m, int mask)
{
    std::vector<Ele*> out;
    for (auto it = m.GetIterVertex(); (mask & 1) && !it.IsEnd(); it.Next())
        out.push_back(it.Get());
    for (auto it = m.GetIterEdge(); (mask & 2) && !it.IsEnd(); it.Next())
        out.push_back(it.Get());
    for (auto it = m.GetIterFace(); (mask & 4) && !it.IsEnd(); it.Next())
        out.push_back(it.Get());
    return out;
}

// A scan of every candidate pair: the least distance, the pair reaching it, and whether
// no other pair comes within a relative 1e-9.
struct Scan
{
    double best = ZgGetInfini();
    std::pair<Ele*, Ele*> argmin{nullptr, nullptr};
    std::vector<double> all;

    void Add(Shape const& qA, Ele* a, QmPstMesh& m, int mask, std::function<bool(Ele*)> keep)
    {
        for (Ele* b : Elements(m, mask))
            if (keep(b))
            {
                all.push_back(Dist2(qA, Corners(b)));
                if (all.back() < best)
                    best = all.back(), argmin = {a, b};
            }
    }
    bool IsUnique() const
    {
        return std::count_if(all.begin(), all.end(),
                             [&](double d) { return d <= best * (1 + 1e-9); }) == 1;
    }
};

void Query(QmAlgDistMin& alg, Shape const& q, QmPstMesh& m, int mask, Sol& sol, double bound)
{
    if (q.size() == 1)
        alg.DistMin(q[0], m, Mask(mask), sol, bound);
    else if (q.size() == 2)
        alg.DistMin(q[0], q[1], m, Mask(mask), sol, bound);
    else
        alg.DistMin(q[0], q[1], q[2], m, Mask(mask), sol, bound);
}

bool Close(double got, double want) { return std::abs(got - want) <= 1e-12 * want; }

// The answer against the scan; the witnesses on their shapes, at the distance found.
void CheckAnswer(Sol const& sol, Scan const& scan, Shape const& qA, std::string const& where)
{
    ASSERT_EQ(sol.found, scan.best < ZgGetInfini()) << where;
    if (!sol.found)
        return;
    ASSERT_TRUE(sol.eleA != nullptr && sol.eleB != nullptr) << where;
    EXPECT_TRUE(Close(sol.dist2, scan.best)) << where << ": " << sol.dist2 << " vs " << scan.best;
    EXPECT_TRUE(!scan.IsUnique() ||
                (sol.eleA == scan.argmin.first && sol.eleB == scan.argmin.second))
        << where;
    EXPECT_TRUE(sol.typeA == sol.eleA->GetType() && sol.typeB == sol.eleB->GetType()) << where;
    EXPECT_TRUE(Close((sol.ptA - sol.ptB).Length2(), sol.dist2)) << where;
    EXPECT_LE(Dist2({sol.ptA}, qA.empty() ? Corners(sol.eleA) : qA), 1e-20) << where;
    EXPECT_LE(Dist2({sol.ptB}, Corners(sol.eleB)), 1e-20) << where;
}

ZgVector3 RandomPoint(std::mt19937& rng, double r)
{
    std::uniform_real_distribution<double> u(-r, r);
    return {u(rng), u(rng), u(rng)};
}

// Records each call of the element filter and lets through what keep allows.
struct FilterLog
{
    std::vector<std::pair<QmPstMesh*, Ele*>> calls;
    std::function<bool(Ele*)> keep = [](Ele*) { return true; };

    static bool Cb(void* user, QmPstMesh* m, Ele* e)
    {
        auto* log = static_cast<FilterLog*>(user);
        log->calls.emplace_back(m, e);
        return log->keep(e);
    }
};
} // namespace

TEST(QmAlgDistMin, QueriesAgreeWithAScanOfEveryElement)
{
    std::mt19937 rng(2024);
    std::vector<std::pair<std::string, MeshPtr>> meshes;
    for (const char* name : {"sphere", "torus", "icosahedron and edges", "nasty soup",
                             "vertices only", "edges, no faces"})
        meshes.emplace_back(name, NewMesh());
    QmAlgCreateMeshSolidStd solids;
    solids.Sphere(*meshes[0].second, 1.0, 12, 8);
    solids.Torus(*meshes[1].second, 1.2, 0.4, 14, 7);
    QmPstMesh& ico = *meshes[2].second;
    solids.SphereIcosahedron(ico, 1.0, 2);
    for (auto it = ico.GetIterFace(); !it.IsEnd(); it.Next())
        AddE(ico, it.Get()->v[0], it.Get()->v[1]);
    qmtest::AddSoup(*meshes[3].second, rng, 40, 60, 120, 1.0, ZgVector3(), true);
    qmtest::AddSoup(*meshes[4].second, rng, 90, 0, 0, 1.0, ZgVector3(), false);
    qmtest::AddSoup(*meshes[5].second, rng, 0, 90, 0, 1.0, ZgVector3(), true);

    QmAlgDistMin alg;
    for (auto& [name, mesh] : meshes)
        for (int mask = 1; mask <= 7; ++mask)
            for (int i = 0; i < 30; ++i)
            {
                Shape q;
                for (int k = 0; k <= i % 3; ++k)
                    q.push_back(RandomPoint(rng, i % 2 == 0 ? 1.3 : 0.6));
                const std::string where = "seed 2024, " + name + ", mask " + std::to_string(mask) +
                                          ", query " + std::to_string(i);
                Scan scan;
                scan.Add(q, nullptr, *mesh, mask, [](Ele*) { return true; });
                scan.argmin.first = scan.argmin.second; // both sides name the element
                Sol sol;
                Query(alg, q, *mesh, mask, sol, 0.0);
                CheckAnswer(sol, scan, q, where);
                EXPECT_TRUE(sol.meshA == mesh.get() && sol.meshB == mesh.get()) << where;
                EXPECT_TRUE(sol.found || sol.dist2 == ZgGetInfini()) << where;
                if (!sol.found || scan.best == 0.0) // under zero there is no bound: 0.0 is none
                    continue;
                // Just under the answer, nothing; just over it, the same answer. Exactly on
                // it is shown on exact input below: a kernel witness may round an ulp
                // outside the query's box, and then the box test, not the element, decides.
                Sol under;
                Query(alg, q, *mesh, mask, under, scan.best * (1 - 1e-9));
                EXPECT_TRUE(!under.found && under.dist2 == scan.best * (1 - 1e-9)) << where;
                Sol over;
                Query(alg, q, *mesh, mask, over, sol.dist2 * (1 + 1e-9));
                EXPECT_TRUE(over.found && over.dist2 == sol.dist2) << where;
            }
    EXPECT_EQ(QmCacheMgr::GetNbCacheMru(), 10) << "13 trees asked for: evictions ran";
}

TEST(QmAlgDistMin, MeshSearchesAgreeWithAScanOfEveryVisiblePair)
{
    std::mt19937 rng(9);
    std::vector<MeshPtr> meshes;
    std::vector<QmPstMesh*> bs;
    std::map<Ele*, int> index;
    for (int k = 0; k < 5; ++k)
    {
        meshes.push_back(NewMesh());
        qmtest::AddSoup(*meshes.back(), rng, 15, 20, 30, k == 0 ? 1.0 : 0.5,
                        k == 0 ? ZgVector3() : RandomPoint(rng, 2.5), true);
        for (Ele* e : Elements(*meshes.back(), 7))
            index.emplace(e, static_cast<int>(index.size()));
        if (k > 0)
            bs.push_back(meshes.back().get());
    }
    QmPstMesh& a = *meshes[0];
    FilterLog log;
    log.keep = [&](Ele* e) { return index.at(e) % 5 != 0; };
    auto pairFilter = [](void* ix, QmPstMesh*, Ele* eA, QmPstMesh*, Ele* eB)
    {
        auto& i = *static_cast<std::map<Ele*, int>*>(ix);
        return (i.at(eA) + i.at(eB)) % 3 != 0;
    };
    QmAlgDistMin alg;
    alg.SetCbFiltre(FilterLog::Cb, &log);
    alg.SetCbFiltreAB(pairFilter, &index);
    for (int i = 0; i < 21; ++i)
    {
        const int maskA = 1 + i % 7;
        const int maskB = 1 + (i * 3) % 7;
        const std::string where =
            "seed 9, masks " + std::to_string(maskA) + " " + std::to_string(maskB);
        Scan all;
        QmPstMesh* nearest = nullptr;
        for (QmPstMesh* b : bs)
        {
            Scan s;
            for (Ele* eA : Elements(a, maskA))
                if (log.keep(eA))
                    s.Add(Corners(eA), eA, *b, maskB,
                          [&](Ele* eB)
                          { return log.keep(eB) && pairFilter(&index, &a, eA, b, eB); });
            Sol sol;
            alg.DistMin(a, Mask(maskA), *b, Mask(maskB), sol, 0.0);
            CheckAnswer(sol, s, {}, where);
            EXPECT_TRUE(sol.meshA == &a && sol.meshB == b) << where;
            nearest = s.best < all.best ? b : nearest;
            all.all.insert(all.all.end(), s.all.begin(), s.all.end());
            if (s.best < all.best)
                all.best = s.best, all.argmin = s.argmin;
        }
        Sol sol;
        alg.DistMin(a, Mask(maskA), 4, bs.data(), Mask(maskB), sol, 0.0);
        CheckAnswer(sol, all, {}, where + ", array");
        EXPECT_TRUE(!all.IsUnique() || sol.meshB == nearest) << where;
        if (all.best == 0.0)
            continue;
        Sol under;
        alg.DistMin(a, Mask(maskA), 4, bs.data(), Mask(maskB), under, all.best * (1 - 1e-9));
        EXPECT_FALSE(under.found) << where;
        Sol over;
        alg.DistMin(a, Mask(maskA), 4, bs.data(), Mask(maskB), over, sol.dist2 * (1 + 1e-9));
        EXPECT_TRUE(over.found && over.dist2 == sol.dist2) << where;
    }

    log.keep = [](Ele*) { return false; };
    Sol sol;
    alg.DistMin(ZgVector3(), a, Mask(7), sol, 0.0);
    EXPECT_FALSE(sol.found);
    alg.DistMin(a, Mask(7), 4, bs.data(), Mask(7), sol, 0.0);
    EXPECT_TRUE(!sol.found && sol.dist2 == ZgGetInfini());
}

TEST(QmAlgDistMin, TiesVisitOrderAndBoundsFollowTheDocumentedRules)
{
    QmAlgDistMin alg;
    Sol sol;
    // A vertex and an edge at one distance: the edge, tested later, stands.
    MeshPtr m = NewMesh();
    QmPstMesh::vertex* a = AddV(*m, 0, 0, 0);
    QmPstMesh::edge* e = AddE(*m, a, AddV(*m, 1, 0, 0));
    alg.DistMin(ZgVector3(-1, 0.5, 0), *m, Mask(7), sol, 0.0);
    EXPECT_TRUE(sol.found && sol.eleB == e && sol.typeB == 2 && sol.dist2 == 1.25);
    alg.DistMin(ZgVector3(-1, 0.5, 0), *m, Mask(1), sol, 0.0);
    EXPECT_TRUE(sol.eleB == a && sol.eleA == a && sol.typeA == 1);

    // Vertices at x = 0, 1, 10: the root cuts at 5, leaving {1, 0} on the left, which splits
    // into 1 (left) and 0 (right). At 0.4 the left box is nearer, and in it 0; 1 is then
    // too far. At 0.5 both are at 0.25: right (0) first, then left (1), which stands.
    MeshPtr line = NewMesh();
    Ele* v0 = AddV(*line, 0, 0, 0);
    Ele* v1 = AddV(*line, 1, 0, 0);
    AddV(*line, 10, 0, 0);
    FilterLog log;
    alg.SetCbFiltre(FilterLog::Cb, &log);
    alg.DistMin(ZgVector3(0.4, 0, 0), *line, Mask(1), sol, 0.0);
    alg.DistMin(ZgVector3(0.4, 0, 0), ZgVector3(0.4, 1, 0), *line, Mask(1), sol, 0.0);
    alg.DistMin(ZgVector3(0.5, 0, 0), *line, Mask(1), sol, 0.0);
    const std::vector<std::pair<QmPstMesh*, Ele*>> seen = {
        {line.get(), v0}, {line.get(), v0}, {line.get(), v0}, {line.get(), v1}};
    EXPECT_EQ(log.calls, seen);
    EXPECT_EQ(sol.eleB, v1);
    alg.SetCbFiltre(nullptr, nullptr);

    // Exact input: 25 from each query to the face, accepted at a bound of exactly 25.
    MeshPtr flat = NewMesh();
    QmPstMesh::vertex* c = AddV(*flat, 0, 0, 0);
    AddF(*flat, c, AddV(*flat, 4, 0, 0), AddV(*flat, 0, 4, 0));
    alg.DistMin(ZgVector3(1, 1, 5), *flat, Mask(5), sol, 25.0);
    EXPECT_TRUE(sol.found && sol.dist2 == 25.0 && sol.typeB == 4);
    alg.DistMin(ZgVector3(1, 1, 5), ZgVector3(1, 1, 8), *flat, Mask(4), sol, 25.0);
    EXPECT_TRUE(sol.found && sol.dist2 == 25.0);
    alg.DistMin(ZgVector3(1, 1, 5), {2, 1, 5}, {1, 2, 5}, *flat, Mask(4), sol, 25.0);
    EXPECT_TRUE(sol.found && sol.dist2 == 25.0);
    alg.DistMin(ZgVector3(1, 1, 5), *flat, Mask(4), sol, 24.0);
    EXPECT_TRUE(!sol.found && sol.dist2 == 24.0);
    alg.DistMin(ZgVector3(1, 1, 5), *flat, Mask(4), sol, -1.0);
    EXPECT_FALSE(sol.found);
    // A point on a corner: exactly zero, both witnesses the corner.
    alg.DistMin(ZgVector3(0, 0, 0), *flat, Mask(4), sol, 0.0);
    EXPECT_TRUE(sol.dist2 == 0.0 && sol.ptB.x == 0.0 && sol.ptB.y == 0.0 && sol.ptB.z == 0.0);
}

TEST(QmAlgDistMin, PairDescentDividesTheLargerBoxAndBOnATie)
{
    // A: a1 (-1, 0, 0), a2 (1, 0, 0); B: b1 (0, -1, 1), b2 (0, 1, 1). Every pair is at 3
    // and both boxes have size 2, so B is divided first: its children (b2 left, b1 right)
    // are equally far, so b1 first; against b1, A is divided the same way: a1, then a2.
    // Then b2 with a1, a2. Dividing A first would give a1 b1, a1 b2, a2 b1, a2 b2.
    // Each leaf pair calls the filter on A's element, on B's, then the pair filter.
    MeshPtr a = NewMesh();
    MeshPtr b = NewMesh();
    Ele* a1 = AddV(*a, -1, 0, 0);
    Ele* a2 = AddV(*a, 1, 0, 0);
    Ele* b1 = AddV(*b, 0, -1, 1);
    Ele* b2 = AddV(*b, 0, 1, 1);
    FilterLog log;
    QmAlgDistMin alg;
    alg.SetCbFiltre(FilterLog::Cb, &log);
    alg.SetCbFiltreAB(
        [](void* user, QmPstMesh*, Ele*, QmPstMesh*, Ele*)
        {
            static_cast<FilterLog*>(user)->calls.emplace_back(nullptr, nullptr);
            return true;
        },
        &log);
    Sol sol;
    alg.DistMin(*a, Mask(1), *b, Mask(1), sol, 0.0);
    std::vector<std::pair<QmPstMesh*, Ele*>> expected;
    for (auto [eA, eB] : {std::pair{a1, b1}, {a2, b1}, {a1, b2}, {a2, b2}})
        for (std::pair<QmPstMesh*, Ele*> call : {std::pair{a.get(), eA}, {b.get(), eB}, {}})
            expected.push_back(call);
    EXPECT_EQ(log.calls, expected);
    EXPECT_TRUE(sol.eleA == a2 && sol.eleB == b2 && sol.dist2 == 3.0) << "the last tie stands";
    // At a bound of exactly 3 the pair counts; a filter's false ends the leaf pair at once.
    QmPstMesh* arr[] = {b.get()};
    alg.DistMin(*a, Mask(1), 1, arr, Mask(1), sol, 3.0);
    EXPECT_TRUE(sol.found && sol.dist2 == 3.0);
    log = FilterLog{{}, [](Ele*) { return false; }};
    alg.DistMin(*a, Mask(1), *b, Mask(1), sol, 3.0);
    EXPECT_TRUE(!sol.found && log.calls.size() == 4) << "one call per leaf pair";
}

TEST(QmAlgDistMin, MeshArrayRunStopsAtTheDocumentedPoints)
{
    // Single vertices on the x axis: a box distance is the true distance x^2.
    auto at = [](double x2)
    {
        MeshPtr m = NewMesh();
        AddV(*m, std::sqrt(x2), 0, 0);
        return m;
    };
    MeshPtr a = at(0.0);
    MeshPtr b1 = at(1.0);
    MeshPtr within = at(1.0 + 0.5e-6); // less dZgZero: under the best, so visited
    MeshPtr beyond = at(1.0 + 2e-6);   // less dZgZero: over the best, so the run ends
    MeshPtr later = at(4.0);
    FilterLog log;
    QmAlgDistMin alg;
    alg.SetCbFiltre(FilterLog::Cb, &log);
    QmPstMesh* arr[] = {later.get(), beyond.get(), within.get(), b1.get()};
    Sol sol;
    alg.DistMin(*a, Mask(1), 4, arr, Mask(1), sol, 0.0);
    EXPECT_TRUE(sol.found && sol.meshB == b1.get() && sol.meshA == a.get());
    std::vector<QmPstMesh*> seen;
    for (auto const& call : log.calls)
        seen.push_back(call.first);
    EXPECT_EQ(seen, (std::vector<QmPstMesh*>{a.get(), b1.get(), a.get(), within.get()}));

    // A first exact contact ends the run, though the next box is nearer than dZgZero.
    MeshPtr touching = at(0.0);
    MeshPtr close = at(1e-8);
    QmPstMesh* arr2[] = {close.get(), touching.get()};
    log.calls.clear();
    alg.DistMin(*a, Mask(1), 2, arr2, Mask(1), sol, 0.0);
    EXPECT_TRUE(sol.found && sol.dist2 == 0.0 && sol.meshB == touching.get());
    EXPECT_EQ(log.calls.size(), 2u);

    // No mesh: nothing found, dist2 the bound or the search's infinity.
    alg.DistMin(*a, Mask(1), 0, nullptr, Mask(1), sol, 0.0);
    EXPECT_TRUE(!sol.found && sol.dist2 == ZgGetInfini());
    alg.DistMin(*a, Mask(1), 0, nullptr, Mask(1), sol, 2.5);
    EXPECT_TRUE(!sol.found && sol.dist2 == 2.5);
}
