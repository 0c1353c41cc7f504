// Costs of QmAlgDistMin on the lazily built cache trees: the first query on a fresh mesh,
// 100k point queries near the surface and 100k in the bounding box, under the default
// limits (10 trees, 11 levels) and under QmCacheMgr(10, 30); and, for scale, a scan of
// every face of the smallest mesh.
//
// Meshes: a sphere (2 nbMeridian (nbParallel - 1) faces) and a torus (2 nbMajor nbMinor
// faces) of exactly 10k, 100k and 1M faces, radius 1 and radii 1 / 0.3. Every run starts
// from a fresh cache. "cold" times the queries on the tree as they build it; "warm" runs the
// same queries once untimed first, so only the descent is timed. Counters: queries per
// second, the cache's accounted bytes after the run (GetActualSize) and nodes at rest.

#include "build/QmAlgCreateMeshSolidStd.h"
#include "kernel/ZgDist.h"
#include "mesh/QmCacheMgr.h"
#include "mesh/QmPstMesh.h"
#include "mesh/qmCache.h"
#include "mesh/qmCacheNode.h"
#include "query/QmAlgDistMin.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <map>
#include <memory>
#include <random>
#include <vector>

namespace
{
constexpr int nbQuery = 100'000;
constexpr int nbQueryScan = 2'000;
constexpr double torusMajor = 1.0;
constexpr double torusMinor = 0.3;
const double pi = std::acos(-1.0);

enum Solid
{
    sphere = 0,
    torus = 1
};
enum Where
{
    nearSurface = 0,
    inBox = 1
};
enum Limits
{
    defaults = 0,
    raised = 1
};

// Built once per process: the 1M-face meshes take seconds to weld.
QmPstMesh* GetMesh(Solid solid, long nbFace)
{
    static std::map<std::pair<int, long>, QmPstMesh*> made;
    QmPstMesh*& m = made[{solid, nbFace}];
    if (m != nullptr)
        return m;
    m = QmPstMesh::CreateMesh();
    QmAlgCreateMeshSolidStd solids;
    const long n = nbFace == 10'000 ? 100 : nbFace == 100'000 ? 250 : 1000;
    if (solid == sphere)
        solids.Sphere(*m, 1.0, n, nbFace / (2 * n) + 1);
    else
        solids.Torus(*m, torusMajor, torusMinor, n, nbFace / (2 * n));
    return m;
}

// Near the surface: a point of the exact surface moved along its normal by up to 1% of the
// size. In the box: uniform in the bounding box.
std::vector<ZgVector3> Queries(Solid solid, Where where, int n, unsigned seed)
{
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    std::uniform_real_distribution<double> angle(0.0, 2.0 * pi);
    std::vector<ZgVector3> out(n);
    for (ZgVector3& p : out)
    {
        if (where == inBox)
        {
            const double r = solid == sphere ? 1.0 : torusMajor + torusMinor;
            p = ZgVector3(u(rng) * r, u(rng) * r, u(rng) * (solid == sphere ? 1.0 : torusMinor));
        }
        else if (solid == sphere)
        {
            ZgVector3 d(u(rng), u(rng), u(rng));
            while (d.Length2() > 1.0 || d.Length2() < 1e-6)
                d = ZgVector3(u(rng), u(rng), u(rng));
            p = d / d.Length() * (1.0 + 0.01 * u(rng));
        }
        else
        {
            const double a = angle(rng);
            const double b = angle(rng);
            const double r = torusMinor * (1.0 + 0.03 * u(rng));
            p = ZgVector3((torusMajor + r * std::cos(b)) * std::cos(a),
                          (torusMajor + r * std::cos(b)) * std::sin(a), r * std::sin(b));
        }
    }
    return out;
}

long CountNodes(qmCacheNode const* n)
{
    return n == nullptr ? 0 : 1 + CountNodes(n->left) + CountNodes(n->right);
}

void RunQueries(QmPstMesh& mesh, std::vector<ZgVector3> const& pts)
{
    QmAlgDistMin alg;
    QmAlgDistMin::Sol sol;
    for (ZgVector3 const& p : pts)
    {
        alg.DistMin(p, mesh, QmPstMesh::typeFace, sol, 0.0);
        benchmark::DoNotOptimize(sol.dist2);
    }
}

// Args: solid, faces, where, limits, warm.
void BM_Queries(benchmark::State& state)
{
    const auto solid = static_cast<Solid>(state.range(0));
    QmPstMesh* mesh = GetMesh(solid, state.range(1));
    const auto where = static_cast<Where>(state.range(2));
    const std::vector<ZgVector3> pts = Queries(solid, where, nbQuery, 1234);
    std::unique_ptr<QmCacheMgr> limits;
    if (state.range(3) == raised)
        limits = std::make_unique<QmCacheMgr>(10, 30);
    for (auto _ : state)
    {
        state.PauseTiming();
        mesh->InvalidCache();
        if (state.range(4) != 0)
            RunQueries(*mesh, pts);
        state.ResumeTiming();
        RunQueries(*mesh, pts);
    }
    state.counters["queries/s"] = benchmark::Counter(static_cast<double>(nbQuery),
                                                     benchmark::Counter::kIsIterationInvariantRate);
    state.counters["ramBytes"] = static_cast<double>(QmCacheMgr::GetActualSize());
    state.counters["nodes"] = static_cast<double>(CountNodes(mesh->GetCache()->faceTree));
    mesh->InvalidCache();
}

// The first query on a fresh mesh: the root box over all faces, and the splits down its
// path.
void BM_FirstQuery(benchmark::State& state)
{
    QmPstMesh* mesh = GetMesh(static_cast<Solid>(state.range(0)), state.range(1));
    const std::vector<ZgVector3> pts =
        Queries(static_cast<Solid>(state.range(0)), nearSurface, 1, 99);
    for (auto _ : state)
    {
        state.PauseTiming();
        mesh->InvalidCache();
        state.ResumeTiming();
        RunQueries(*mesh, pts);
    }
    state.counters["ramBytes"] = static_cast<double>(QmCacheMgr::GetActualSize());
    mesh->InvalidCache();
}

void OpenAll(qmCacheNode* n)
{
    if (n->IsLeaf())
        return;
    qmCacheNode* l = n->GetLeft();
    qmCacheNode* r = n->GetRight();
    OpenAll(l);
    OpenAll(r);
    l->Release();
    r->Release();
}

// The whole tree opened down to single faces, for comparison with structures that are
// built in full before their first query.
void BM_FullBuild(benchmark::State& state)
{
    QmPstMesh* mesh = GetMesh(static_cast<Solid>(state.range(0)), state.range(1));
    QmCacheMgr limits(10, 64);
    for (auto _ : state)
    {
        state.PauseTiming();
        mesh->InvalidCache();
        state.ResumeTiming();
        qmCacheNode* root = mesh->GetCache()->GetFaceTree();
        OpenAll(root);
        root->Release();
    }
    state.counters["ramBytes"] = static_cast<double>(QmCacheMgr::GetActualSize());
    mesh->InvalidCache();
}

// Every face against every query: what the tree saves.
void BM_Scan(benchmark::State& state)
{
    const auto solid = static_cast<Solid>(state.range(0));
    QmPstMesh* mesh = GetMesh(solid, 10'000);
    const std::vector<ZgVector3> pts =
        Queries(solid, static_cast<Where>(state.range(1)), nbQueryScan, 1234);
    for (auto _ : state)
        for (ZgVector3 const& p : pts)
        {
            double best = ZgGetInfini();
            for (auto it = mesh->GetIterFace(); !it.IsEnd(); it.Next())
            {
                QmPstMesh::vertex* const* v = it.Get()->v;
                double d = 0.0;
                ZgDist2MinPtTri(p, ZgVector3(v[0]->coo[0], v[0]->coo[1], v[0]->coo[2]),
                                ZgVector3(v[1]->coo[0], v[1]->coo[1], v[1]->coo[2]),
                                ZgVector3(v[2]->coo[0], v[2]->coo[1], v[2]->coo[2]), d, nullptr,
                                nullptr);
                best = std::min(best, d);
            }
            benchmark::DoNotOptimize(best);
        }
    state.counters["queries/s"] = benchmark::Counter(static_cast<double>(nbQueryScan),
                                                     benchmark::Counter::kIsIterationInvariantRate);
}

void QueryArgs(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"solid", "faces", "inBox", "raised", "warm"});
    for (int solid : {sphere, torus})
        for (long faces : {10'000L, 100'000L, 1'000'000L})
            for (int where : {nearSurface, inBox})
                for (int limits : {defaults, raised})
                    for (int warm : {0, 1})
                        b->Args({solid, faces, where, limits, warm});
}

void SizeArgs(benchmark::internal::Benchmark* b)
{
    b->ArgNames({"solid", "faces"});
    for (int solid : {sphere, torus})
        for (long faces : {10'000L, 100'000L, 1'000'000L})
            b->Args({solid, faces});
}
} // namespace

BENCHMARK(BM_FirstQuery)->Apply(SizeArgs)->Unit(benchmark::kMillisecond)->Iterations(5);
BENCHMARK(BM_FullBuild)->Apply(SizeArgs)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_Queries)->Apply(QueryArgs)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_Scan)
    ->ArgNames({"solid", "inBox"})
    ->Args({sphere, nearSurface})
    ->Args({sphere, inBox})
    ->Args({torus, nearSurface})
    ->Args({torus, inBox})
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);
