// Cost of a pocket's diagram: QmAlgVor::Compute followed by Delete, on seeded clockwise
// polygons: random star-shaped ones of 1k, 10k and 100k edges (vertex k at angle
// -2 pi k / n, radius uniform in [500, 1000]) and a random x-monotone rectilinear one of
// 10k edges. When Boost was found at configure time, Boost.Polygon's segment Voronoi
// diagram (construct_voronoi, then the diagram's destruction) of the same edges runs beside
// it, so that one run gives both.
//
// Both read the same points: coordinates are made on a grid of 1e-4 units; qmesh takes
// them as doubles, Boost as 32-bit integers in grid units. The work differs: Boost builds
// the diagram of the segments and their end points over the whole plane, inside and
// outside the polygon, where qmesh builds the tree inside it only.
//
// Counters, from a first untimed run: peak_MiB, the most heap in use above the starting
// level from the start of the construction to the end of the destruction; kept_MiB, what
// the finished diagram holds. They count every allocation of the process through malloc,
// which this program wraps (glibc only, and not under a sanitizer, which wraps it itself).
// The contour mesh and its neighbourhood attributes are made before and not counted.

#include "kernel/ZgVector2.h"
#include "mesh/QmPstMesh.h"
#include "query/QmAlgNeib.h"
#include "voronoi/QmAlgVor.h"

#include <benchmark/benchmark.h>
#include <cmath>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#if defined(QMESH_BENCH_WITH_BOOST)
#include <boost/polygon/point_data.hpp>
#include <boost/polygon/segment_data.hpp>
#include <boost/polygon/voronoi.hpp>
#endif

#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer) ||                         \
    __has_feature(thread_sanitizer)
#define QM_BENCH_SANITIZED 1
#endif
#endif
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define QM_BENCH_SANITIZED 1
#endif
#if !defined(QM_BENCH_HEAP) // -DQM_BENCH_HEAP=0 times without the wrappers
#if defined(__GLIBC__) && !defined(QM_BENCH_SANITIZED)
#define QM_BENCH_HEAP 1
#else
#define QM_BENCH_HEAP 0
#endif
#endif

#if QM_BENCH_HEAP
#include <cerrno>
#include <malloc.h>

// The heap in use, as glibc's usable sizes of the blocks handed out. Signed: blocks that
// the loader made before these wrappers took over may come back through free, and only
// differences over a window are read.
namespace
{
long long heapNow = 0;
long long heapPeak = 0;

void Took(void* p)
{
    if (p == nullptr)
        return;
    heapNow += static_cast<long long>(malloc_usable_size(p));
    if (heapNow > heapPeak)
        heapPeak = heapNow;
}
} // namespace

extern "C"
{
    // glibc's own allocator, under the names it exports for wrappers like these.
    // NOLINTBEGIN(bugprone-reserved-identifier)
    void* __libc_malloc(size_t n);
    void* __libc_calloc(size_t n, size_t size);
    void* __libc_realloc(void* p, size_t n);
    void* __libc_memalign(size_t alignment, size_t n);
    void __libc_free(void* p);
    // NOLINTEND(bugprone-reserved-identifier)

    void* malloc(size_t n) noexcept
    {
        void* p = __libc_malloc(n);
        Took(p);
        return p;
    }
    void free(void* p) noexcept
    {
        if (p != nullptr)
            heapNow -= static_cast<long long>(malloc_usable_size(p));
        __libc_free(p);
    }
    void* calloc(size_t n, size_t size) noexcept
    {
        void* p = __libc_calloc(n, size);
        Took(p);
        return p;
    }
    void* realloc(void* p, size_t n) noexcept
    {
        const long long old = p != nullptr ? static_cast<long long>(malloc_usable_size(p)) : 0;
        void* q = __libc_realloc(p, n);
        // Null with n == 0 means p was freed; null otherwise means p is untouched.
        if (q != nullptr || n == 0)
            heapNow -= old;
        Took(q);
        return q;
    }
    void* memalign(size_t alignment, size_t n) noexcept
    {
        void* p = __libc_memalign(alignment, n);
        Took(p);
        return p;
    }
    void* aligned_alloc(size_t alignment, size_t n) noexcept { return memalign(alignment, n); }
    int posix_memalign(void** out, size_t alignment, size_t n) noexcept
    {
        if (alignment == 0 || (alignment & (alignment - 1)) != 0 || alignment % sizeof(void*) != 0)
            return EINVAL;
        void* p = memalign(alignment, n);
        if (p == nullptr)
            return ENOMEM;
        *out = p;
        return 0;
    }
}
#endif

namespace
{
// Heap above the level at construction: the peak since then and the present amount.
class HeapWindow
{
public:
#if QM_BENCH_HEAP
    HeapWindow() : base(heapNow) { heapPeak = heapNow; }
    long long Peak() const { return heapPeak - base; }
    long long Now() const { return heapNow - base; }

private:
    long long base;
#else
    long long Peak() const { return 0; }
    long long Now() const { return 0; }
#endif
};

// In MiB, since the console shows 1024-based counters with the same suffixes as
// 1000-based ones.
void SetHeapCounters(benchmark::State& state, long long peak, long long kept)
{
    if (!QM_BENCH_HEAP)
        return;
    const double mib = 1024.0 * 1024.0;
    state.counters["peak_MiB"] = static_cast<double>(peak) / mib;
    state.counters["kept_MiB"] = static_cast<double>(kept) / mib;
}

enum Shape
{
    star = 0,
    orthogonal = 1
};

// Grid points per model unit.
constexpr double grid = 1e4;

// A closed polygon on the grid, clockwise, the first vertex not repeated.
using Polygon = std::vector<std::pair<std::int32_t, std::int32_t>>;

// Sorted angles and positive radii make a simple polygon, star-shaped about the origin.
// Rounding moves a vertex by under 1e-4 units, far less than the gap between neighbouring
// rays at radius 500 even for 100k vertices (0.03 units), so it stays simple.
Polygon Star(long n, unsigned seed)
{
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> radius(500.0, 1000.0);
    const double pi = std::acos(-1.0);
    Polygon p;
    p.reserve(n);
    for (long k = 0; k < n; ++k)
    {
        const double a = -2.0 * pi * static_cast<double>(k) / static_cast<double>(n);
        const double r = radius(rng);
        p.emplace_back(static_cast<std::int32_t>(std::lround(r * std::cos(a) * grid)),
                       static_cast<std::int32_t>(std::lround(r * std::sin(a) * grid)));
    }
    return p;
}

// Columns of random width 1 to 4 units under a staircase top in [600, 1000] and over a
// staircase bottom in [0, 400]: x-monotone, so simple. Neighbouring columns differ in
// height, so no two consecutive edges are collinear. 4 vertices per column.
Polygon Orthogonal(long nbEdge, unsigned seed)
{
    std::mt19937_64 rng(seed);
    std::uniform_int_distribution<int> width(1, 4);
    std::uniform_int_distribution<int> top(600, 1000);
    std::uniform_int_distribution<int> bottom(0, 400);
    const long m = nbEdge / 4;
    std::vector<int> x(m + 1, 0);
    std::vector<int> ht(m);
    std::vector<int> hb(m);
    for (long i = 0; i < m; ++i)
    {
        x[i + 1] = x[i] + width(rng);
        do
            ht[i] = top(rng);
        while (i > 0 && ht[i] == ht[i - 1]);
        do
            hb[i] = bottom(rng);
        while (i > 0 && hb[i] == hb[i - 1]);
    }
    Polygon p;
    auto add = [&p](int px, int py)
    { p.emplace_back(static_cast<std::int32_t>(px * grid), static_cast<std::int32_t>(py * grid)); };
    // Clockwise: the top from left to right, then the bottom from right to left.
    add(x[0], ht[0]);
    for (long i = 1; i < m; ++i)
    {
        add(x[i], ht[i - 1]);
        add(x[i], ht[i]);
    }
    add(x[m], ht[m - 1]);
    add(x[m], hb[m - 1]);
    for (long i = m - 1; i > 0; --i)
    {
        add(x[i], hb[i]);
        add(x[i], hb[i - 1]);
    }
    add(x[0], hb[0]);
    return p;
}

Polygon const& GetPolygon(Shape shape, long n)
{
    static std::map<std::pair<int, long>, Polygon> made;
    Polygon& p = made[{shape, n}];
    if (p.empty())
        p = shape == star ? Star(n, 20240611u + static_cast<unsigned>(n)) : Orthogonal(n, 4711u);
    return p;
}

// The contour as one closed chain of edges, with its neighbourhood attributes already
// built, so that no Compute spends time on them. Kept for the whole process.
QmPstMesh* GetMesh(Shape shape, long n)
{
    static std::map<std::pair<int, long>, QmPstMesh*> made;
    QmPstMesh*& mesh = made[{shape, n}];
    if (mesh != nullptr)
        return mesh;
    Polygon const& p = GetPolygon(shape, n);
    mesh = QmPstMesh::CreateMesh();
    std::vector<QmPstMesh::vertex*> v;
    v.reserve(p.size());
    for (auto const& q : p)
        v.push_back(mesh->AddVertex(ZgVector3(q.first / grid, q.second / grid, 0.0)));
    for (size_t i = 0; i < v.size(); ++i)
    {
        QmPstMesh::vertex* ends[2] = {v[i], v[(i + 1) % v.size()]};
        mesh->AddEdge(ends, 0);
    }
    QmAlgNeib().BuildAttrEdge(*mesh);
    return mesh;
}

void BM_QmAlgVor(benchmark::State& state, Shape shape, long n)
{
    QmPstMesh* meshes[1] = {GetMesh(shape, n)};
    long ok = 0;
    long long peak = 0;
    long long kept = 0;
    {
        HeapWindow w;
        QmAlgVor vor;
        ok = vor.Compute(nullptr, meshes, 1);
        kept = w.Now();
        vor.Delete(meshes, 1);
        peak = w.Peak();
    }
    if (ok != 1)
    {
        state.SkipWithError("Compute failed on this polygon");
        return;
    }
    for (auto _ : state)
    {
        QmAlgVor vor;
        benchmark::DoNotOptimize(vor.Compute(nullptr, meshes, 1));
        vor.Delete(meshes, 1);
    }
    state.SetItemsProcessed(state.iterations() * n);
    SetHeapCounters(state, peak, kept);
}

#if defined(QMESH_BENCH_WITH_BOOST)
using BoostPoint = boost::polygon::point_data<std::int32_t>;
using BoostSegment = boost::polygon::segment_data<std::int32_t>;

std::vector<BoostSegment> const& GetSegments(Shape shape, long n)
{
    static std::map<std::pair<int, long>, std::vector<BoostSegment>> made;
    std::vector<BoostSegment>& s = made[{shape, n}];
    if (!s.empty())
        return s;
    Polygon const& p = GetPolygon(shape, n);
    for (size_t i = 0; i < p.size(); ++i)
    {
        auto const& a = p[i];
        auto const& b = p[(i + 1) % p.size()];
        s.emplace_back(BoostPoint(a.first, a.second), BoostPoint(b.first, b.second));
    }
    return s;
}

void BM_BoostVoronoi(benchmark::State& state, Shape shape, long n)
{
    std::vector<BoostSegment> const& segments = GetSegments(shape, n);
    long long peak = 0;
    long long kept = 0;
    {
        HeapWindow w;
        {
            boost::polygon::voronoi_diagram<double> vd;
            boost::polygon::construct_voronoi(segments.begin(), segments.end(), &vd);
            kept = w.Now();
        }
        peak = w.Peak();
    }
    for (auto _ : state)
    {
        boost::polygon::voronoi_diagram<double> vd;
        boost::polygon::construct_voronoi(segments.begin(), segments.end(), &vd);
        benchmark::DoNotOptimize(vd.num_edges());
    }
    state.SetItemsProcessed(state.iterations() * n);
    SetHeapCounters(state, peak, kept);
}
#endif

// A square pocket of side 1000 with k islands on a grid, each a regular m-gon turned by a
// seeded angle with a radius of a third of the grid step: the outer contour first, then
// the islands, all with their neighbourhood attributes built. Kept for the whole process.
std::vector<QmPstMesh*> const& GetIslandPocket(long k, long m)
{
    static std::map<std::pair<long, long>, std::vector<QmPstMesh*>> made;
    std::vector<QmPstMesh*>& meshes = made[{k, m}];
    if (!meshes.empty())
        return meshes;
    auto chain = [&meshes](std::vector<ZgVector2> const& pts)
    {
        QmPstMesh* mesh = QmPstMesh::CreateMesh();
        std::vector<QmPstMesh::vertex*> v;
        for (ZgVector2 const& q : pts)
            v.push_back(mesh->AddVertex(ZgVector3(q.x, q.y, 0.0)));
        for (size_t i = 0; i < v.size(); ++i)
        {
            QmPstMesh::vertex* ends[2] = {v[i], v[(i + 1) % v.size()]};
            mesh->AddEdge(ends, 0);
        }
        QmAlgNeib().BuildAttrEdge(*mesh);
        meshes.push_back(mesh);
    };
    chain({{0, 0}, {0, 1000}, {1000, 1000}, {1000, 0}});
    const long side = static_cast<long>(std::ceil(std::sqrt(static_cast<double>(k))));
    const double step = 1000.0 / static_cast<double>(side);
    std::mt19937 rng(977u + static_cast<unsigned>(k * m));
    std::uniform_real_distribution<double> turn(0.0, 6.283185307179586);
    for (long i = 0; i < k; ++i)
    {
        const double cx = step * (0.5 + static_cast<double>(i % side));
        const double cy = step * (0.5 + static_cast<double>(i / side));
        const double a0 = turn(rng);
        std::vector<ZgVector2> pts;
        for (long j = 0; j < m; ++j)
        {
            const double a =
                a0 + 6.283185307179586 * static_cast<double>(j) / static_cast<double>(m);
            pts.push_back({cx + step / 3.0 * std::cos(a), cy + step / 3.0 * std::sin(a)});
        }
        chain(pts); // counter-clockwise: an island
    }
    return meshes;
}

void BM_QmAlgVorIslands(benchmark::State& state, long k, long m)
{
    std::vector<QmPstMesh*> meshes = GetIslandPocket(k, m);
    const long count = static_cast<long>(meshes.size());
    long ok = 0;
    long long peak = 0;
    long long kept = 0;
    {
        HeapWindow w;
        QmAlgVor vor;
        ok = vor.Compute(nullptr, meshes.data(), count);
        kept = w.Now();
        vor.Delete(meshes.data(), count);
        peak = w.Peak();
    }
    if (ok != 1)
    {
        state.SkipWithError("Compute failed on this pocket");
        return;
    }
    for (auto _ : state)
    {
        QmAlgVor vor;
        benchmark::DoNotOptimize(vor.Compute(nullptr, meshes.data(), count));
        vor.Delete(meshes.data(), count);
    }
    state.SetItemsProcessed(state.iterations() * (4 + k * m));
    SetHeapCounters(state, peak, kept);
}

// Each case once for qmesh and, next to it, once for Boost.
const int registered = []
{
    const std::pair<Shape, long> cases[] = {
        {star, 1000}, {star, 10000}, {star, 100000}, {orthogonal, 10000}};
    for (auto const& c : cases)
    {
        const std::string name =
            std::string(c.first == star ? "star" : "orthogonal") + "/" + std::to_string(c.second);
        benchmark::RegisterBenchmark(("qmesh/" + name).c_str(), BM_QmAlgVor, c.first, c.second)
            ->Unit(benchmark::kMillisecond);
#if defined(QMESH_BENCH_WITH_BOOST)
        benchmark::RegisterBenchmark(("boost/" + name).c_str(), BM_BoostVoronoi, c.first, c.second)
            ->Unit(benchmark::kMillisecond);
#endif
    }
    for (auto const& c :
         {std::make_pair(5L, 64L), std::make_pair(50L, 64L), std::make_pair(500L, 16L)})
        benchmark::RegisterBenchmark(
            ("qmesh/islands/" + std::to_string(c.first) + "x" + std::to_string(c.second)).c_str(),
            BM_QmAlgVorIslands, c.first, c.second)
            ->Unit(benchmark::kMillisecond);
    return 0;
}();
} // namespace
