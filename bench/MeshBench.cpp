// Costs of the mesh core: the element pool and the builder's weld.

#include "build/QmAlgHelperMeshBuilder.h"
#include "mesh/QmPstMesh.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <random>
#include <vector>

namespace
{
constexpr long nbPool = 10'000'000;
constexpr long nbWeld = 3'000'000;

// Adds nbPool vertices, then removes them all, twice over: the second fill must reuse
// the slots of the first, so the block count after it is the one after the first.
void BM_AddRemoveVertices(benchmark::State& state)
{
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    std::vector<QmPstMesh::vertex*> vs(nbPool);
    int blocksFirst = 0;
    int blocksSecond = 0;
    for (auto _ : state)
    {
        for (int round = 0; round < 2; ++round)
        {
            for (long i = 0; i < nbPool; ++i)
                vs[i] = mesh->AddVertex(ZgVector3(i, 0, 0));
            (round == 0 ? blocksFirst : blocksSecond) = mesh->GetColVertex().GetNbBlock();
            for (long i = 0; i < nbPool; ++i)
                mesh->RemoveVertex(vs[i]);
        }
        benchmark::DoNotOptimize(mesh->GetNbVertex());
        mesh->RemoveAll();
    }
    state.SetItemsProcessed(state.iterations() * 4 * nbPool);
    state.counters["blocksFirstFill"] = blocksFirst;
    state.counters["blocksSecondFill"] = blocksSecond;
    QmPstMesh::DestroyMesh(mesh);
}
BENCHMARK(BM_AddRemoveVertices)->Unit(benchmark::kMillisecond)->Iterations(3);

std::vector<ZgVector3> randomPoints(long n, unsigned seed)
{
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> u(-100.0, 100.0);
    std::vector<ZgVector3> pts(n);
    for (ZgVector3& p : pts)
        p = ZgVector3(u(rng), u(rng), u(rng));
    return pts;
}

// Every point new: the index grows to nbWeld keys.
void BM_FindOrCreateVertexRandom(benchmark::State& state)
{
    const std::vector<ZgVector3> pts = randomPoints(nbWeld, 17);
    for (auto _ : state)
    {
        QmPstMesh* mesh = QmPstMesh::CreateMesh();
        {
            QmAlgHelperMeshBuilder b(*mesh);
            for (ZgVector3 const& p : pts)
                benchmark::DoNotOptimize(b.FindOrCreateVertex(p));
        }
        QmPstMesh::DestroyMesh(mesh);
    }
    state.SetItemsProcessed(state.iterations() * nbWeld);
}
BENCHMARK(BM_FindOrCreateVertexRandom)->Unit(benchmark::kMillisecond)->Iterations(3);

// Each of nbWeld / 6 places comes six times, jittered within the precision, in shuffled
// order, as the corners of a closed triangle soup do.
void BM_FindOrCreateVertexWelded(benchmark::State& state)
{
    const std::vector<ZgVector3> sites = randomPoints(nbWeld / 6, 18);
    std::vector<ZgVector3> pts;
    pts.reserve(nbWeld);
    std::mt19937_64 rng(19);
    std::uniform_real_distribution<double> jitter(-2e-7, 2e-7);
    for (int k = 0; k < 6; ++k)
        for (ZgVector3 const& s : sites)
            pts.push_back(s + ZgVector3(jitter(rng), jitter(rng), jitter(rng)));
    std::shuffle(pts.begin(), pts.end(), rng);
    long nbVertex = 0;
    for (auto _ : state)
    {
        QmPstMesh* mesh = QmPstMesh::CreateMesh();
        {
            QmAlgHelperMeshBuilder b(*mesh);
            for (ZgVector3 const& p : pts)
                benchmark::DoNotOptimize(b.FindOrCreateVertex(p));
        }
        nbVertex = mesh->GetNbVertex();
        QmPstMesh::DestroyMesh(mesh);
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(pts.size()));
    state.counters["vertices"] = static_cast<double>(nbVertex);
}
BENCHMARK(BM_FindOrCreateVertexWelded)->Unit(benchmark::kMillisecond)->Iterations(3);
} // namespace
