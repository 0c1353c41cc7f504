// Cost of reading and welding a binary STL of about a million facets, and of writing it.
//
// The file is a latitude-longitude sphere whose vertices carry a little radial noise,
// written ring after ring as an exporter would. Two references are timed in the same run:
// a plain read of the file's bytes into memory, and an exact weld of those bytes through
// a hash table keyed on the float triple. The read under test is reported in seconds per
// million facets and as ratios to both references; peak memory comes from getrusage.

#include "build/QmStl.h"
#include "mesh/QmPstMesh.h"

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <malloc.h>
#include <random>
#include <string>
#include <sys/resource.h>
#include <unistd.h>
#include <unordered_map>
#include <vector>

namespace
{
constexpr int nbRing = 500;
constexpr int nbAround = 1000;

double peakRssMiB()
{
    struct rusage ru;
    getrusage(RUSAGE_SELF, &ru);
    return static_cast<double>(ru.ru_maxrss) / 1024.0; // ru_maxrss is in KiB on Linux
}

void putFloat(std::vector<unsigned char>& out, float f)
{
    std::uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    for (int i = 0; i < 4; ++i)
        out.push_back(static_cast<unsigned char>(u >> (8 * i)));
}

// A sphere of radius 50 with poles on z; each vertex is pushed along its radius by up to
// 1e-3, so no two rings are alike.
struct SphereFile
{
    std::string path;
    long nbFacet = 0;
    std::size_t nbByte = 0;

    SphereFile()
    {
        std::mt19937 rng(20240611);
        std::uniform_real_distribution<double> noise(-1e-3, 1e-3);
        std::vector<float> xyz;
        auto addPoint = [&](double theta, double phi)
        {
            const double r = 50.0 + noise(rng);
            xyz.push_back(static_cast<float>(r * std::sin(theta) * std::cos(phi)));
            xyz.push_back(static_cast<float>(r * std::sin(theta) * std::sin(phi)));
            xyz.push_back(static_cast<float>(r * std::cos(theta)));
        };
        const double pi = std::acos(-1.0);
        addPoint(0.0, 0.0);
        for (int i = 1; i < nbRing; ++i)
            for (int j = 0; j < nbAround; ++j)
                addPoint(pi * i / nbRing, 2.0 * pi * j / nbAround);
        addPoint(pi, 0.0);
        const int south = 1 + (nbRing - 1) * nbAround;
        auto ringVertex = [](int ring, int j) { return 1 + (ring - 1) * nbAround + j % nbAround; };

        std::vector<unsigned char> bytes(80, 0);
        const char title[] = "binary sphere for the STL benchmark";
        std::memcpy(bytes.data(), title, sizeof title);
        bytes.resize(84);
        auto addFacet = [&](int a, int b, int c)
        {
            float const* p[3] = {&xyz[3 * a], &xyz[3 * b], &xyz[3 * c]};
            const float u[3] = {p[1][0] - p[0][0], p[1][1] - p[0][1], p[1][2] - p[0][2]};
            const float v[3] = {p[2][0] - p[0][0], p[2][1] - p[0][1], p[2][2] - p[0][2]};
            float n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                          u[0] * v[1] - u[1] * v[0]};
            const float len = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
            for (float& c3 : n)
                putFloat(bytes, c3 / len);
            for (float const* q : p)
                for (int i = 0; i < 3; ++i)
                    putFloat(bytes, q[i]);
            bytes.push_back(0);
            bytes.push_back(0);
            ++nbFacet;
        };
        for (int j = 0; j < nbAround; ++j)
            addFacet(0, ringVertex(1, j), ringVertex(1, j + 1));
        for (int i = 1; i + 1 < nbRing; ++i)
            for (int j = 0; j < nbAround; ++j)
            {
                addFacet(ringVertex(i, j), ringVertex(i + 1, j), ringVertex(i + 1, j + 1));
                addFacet(ringVertex(i, j), ringVertex(i + 1, j + 1), ringVertex(i, j + 1));
            }
        for (int j = 0; j < nbAround; ++j)
            addFacet(ringVertex(nbRing - 1, j), south, ringVertex(nbRing - 1, j + 1));
        const auto count = static_cast<std::uint32_t>(nbFacet);
        for (int i = 0; i < 4; ++i)
            bytes[80 + i] = static_cast<unsigned char>(count >> (8 * i));
        nbByte = bytes.size();

        std::string pattern =
            (std::filesystem::temp_directory_path() / "qmstlbenchXXXXXX").string();
        const int fd = mkstemp(pattern.data());
        if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            std::abort();
        close(fd);
        path = pattern;
    }

    ~SphereFile() { std::remove(path.c_str()); }
};

SphereFile& sphereFile()
{
    static SphereFile file;
    return file;
}

std::vector<unsigned char> plainRead(std::string const& path)
{
    std::FILE* f = std::fopen(path.c_str(), "rb");
    std::fseek(f, 0, SEEK_END);
    const long size = std::ftell(f);
    std::fseek(f, 0, SEEK_SET);
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
    if (std::fread(bytes.data(), 1, bytes.size(), f) != bytes.size())
        std::abort();
    std::fclose(f);
    return bytes;
}

struct FloatTriple
{
    std::uint32_t bits[3];
    bool operator==(FloatTriple const& o) const
    {
        return bits[0] == o.bits[0] && bits[1] == o.bits[1] && bits[2] == o.bits[2];
    }
};

struct FloatTripleHash
{
    std::size_t operator()(FloatTriple const& t) const
    {
        std::uint64_t h = 0x9E3779B97F4A7C15ull;
        for (std::uint32_t b : t.bits)
            h = (h ^ b) * 0xBF58476D1CE4E5B9ull;
        return static_cast<std::size_t>(h ^ (h >> 31));
    }
};

// The reference weld: the file's bytes into memory, then every corner through a hash table
// on its exact bits, giving a vertex array and a face array of indices.
std::size_t hashWeld(std::string const& path, std::vector<float>& vertices,
                     std::vector<std::uint32_t>& faces)
{
    const std::vector<unsigned char> bytes = plainRead(path);
    const std::size_t nbRecord = (bytes.size() - 84) / 50;
    std::unordered_map<FloatTriple, std::uint32_t, FloatTripleHash> index;
    index.reserve(nbRecord / 2);
    vertices.clear();
    faces.clear();
    faces.reserve(3 * nbRecord);
    for (std::size_t r = 0; r < nbRecord; ++r)
    {
        unsigned char const* rec = bytes.data() + 84 + 50 * r + 12;
        for (int k = 0; k < 3; ++k)
        {
            FloatTriple key;
            std::memcpy(key.bits, rec + 12 * k, 12);
            auto [it, added] = index.try_emplace(key, static_cast<std::uint32_t>(index.size()));
            if (added)
            {
                float xyz[3];
                std::memcpy(xyz, key.bits, 12);
                vertices.insert(vertices.end(), xyz, xyz + 3);
            }
            faces.push_back(it->second);
        }
    }
    return index.size();
}

double seconds(std::chrono::steady_clock::time_point t0)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

// Best time of one read and weld by the library into a fresh mesh.
double timeRead(std::string const& path, long& nbVertex, long& nbFace)
{
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    const auto t0 = std::chrono::steady_clock::now();
    if (!QmReadStl(*mesh, path.c_str(), nullptr, nullptr))
        std::abort();
    const double t = seconds(t0);
    nbVertex = mesh->GetNbVertex();
    nbFace = mesh->GetNbFace();
    QmPstMesh::DestroyMesh(mesh);
    return t;
}

double timeHashWeld(std::string const& path, std::size_t& nbVertex)
{
    std::vector<float> vs;
    std::vector<std::uint32_t> fs;
    const auto t0 = std::chrono::steady_clock::now();
    nbVertex = hashWeld(path, vs, fs);
    return seconds(t0);
}

// The read under test and the references, timed in turn in each iteration, in the same
// process and on the same file; the best of each is compared, so that a burst of load on
// a shared machine does not fall on one side only. Each is timed twice: cold, after freed
// memory went back to the system, so that it pays for every page it touches as a program
// reading one file would; and warm, at once again, reusing the heap its first run left.
void BM_ReadStlBinary(benchmark::State& state)
{
    SphereFile& file = sphereFile();
    double best = 1e300;
    double bestWarm = 1e300;
    double bestPlain = 1e300;
    double bestHash = 1e300;
    double bestHashWarm = 1e300;
    long nbVertex = 0;
    long nbFace = 0;
    std::size_t nbHashVertex = 0;
    for (auto _ : state)
    {
        state.PauseTiming();
        malloc_trim(0);
        state.ResumeTiming();
        best = std::min(best, timeRead(file.path, nbVertex, nbFace));
        state.PauseTiming();
        bestWarm = std::min(bestWarm, timeRead(file.path, nbVertex, nbFace));
        malloc_trim(0);
        auto t0 = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(plainRead(file.path).data());
        bestPlain = std::min(bestPlain, seconds(t0));
        malloc_trim(0);
        bestHash = std::min(bestHash, timeHashWeld(file.path, nbHashVertex));
        bestHashWarm = std::min(bestHashWarm, timeHashWeld(file.path, nbHashVertex));
        state.ResumeTiming();
    }
    const double peak = peakRssMiB();
    const double mega = static_cast<double>(file.nbFacet) / 1e6;
    state.counters["facets"] = static_cast<double>(file.nbFacet);
    state.counters["faces"] = static_cast<double>(nbFace);
    state.counters["vertices"] = static_cast<double>(nbVertex);
    state.counters["hashVertices"] = static_cast<double>(nbHashVertex);
    state.counters["sPerMFacet"] = best / mega;
    state.counters["sPerMFacetWarm"] = bestWarm / mega;
    state.counters["hashWeldSPerMFacet"] = bestHash / mega;
    state.counters["hashWeldSPerMFacetWarm"] = bestHashWarm / mega;
    state.counters["plainReadSPerMFacet"] = bestPlain / mega;
    state.counters["ratioToHashWeld"] = best / bestHash;
    state.counters["ratioToHashWeldWarm"] = bestWarm / bestHashWarm;
    state.counters["ratioToPlainRead"] = best / bestPlain;
    state.counters["peakRssMiB"] = peak;
    state.counters["fileMiB"] = static_cast<double>(file.nbByte) / (1024.0 * 1024.0);
}
BENCHMARK(BM_ReadStlBinary)->Unit(benchmark::kMillisecond)->Iterations(5)->UseRealTime();

// Writes the welded sphere back in both forms.
void BM_WriteStl(benchmark::State& state)
{
    const bool binaryRecords = state.range(0) != 0;
    SphereFile& file = sphereFile();
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    if (!QmReadStl(*mesh, file.path.c_str(), nullptr, nullptr))
        std::abort();
    const std::string out = file.path + (binaryRecords ? ".bin" : ".txt");
    for (auto _ : state)
        if (!QmWriteStl(*mesh, out.c_str(), binaryRecords, nullptr, nullptr))
            std::abort();
    state.counters["sPerMFacet"] = benchmark::Counter(
        static_cast<double>(mesh->GetNbFace()) / 1e6,
        benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["peakRssMiB"] = peakRssMiB();
    std::remove(out.c_str());
    QmPstMesh::DestroyMesh(mesh);
}
BENCHMARK(BM_WriteStl)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();
} // namespace
