#pragma once

// Helpers for tests of triangle files: scratch directories, raw bytes, standard binary STL
// composed by hand, and measures of a mesh taken from its faces alone.

#include "mesh/QmPstMesh.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace qmtest
{
// tests/data, from the environment the test runner sets, else next to this file.
inline std::string StlDataDir()
{
    if (char const* env = std::getenv("QMESH_TEST_DATA"))
        return env;
    return (std::filesystem::path(__FILE__).parent_path().parent_path() / "data").string();
}

// A fresh directory under the system's temporary directory, removed with all it holds.
class ScratchDir
{
public:
    ScratchDir()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "qmtestXXXXXX").string();
        if (mkdtemp(pattern.data()) != nullptr)
            dir = pattern;
    }
    ~ScratchDir()
    {
        std::error_code ec;
        if (!dir.empty())
            std::filesystem::remove_all(dir, ec);
    }
    ScratchDir(ScratchDir const&) = delete;
    ScratchDir& operator=(ScratchDir const&) = delete;

    std::string Path(std::string const& name) const { return dir + "/" + name; }
    bool Ok() const { return !dir.empty(); }

private:
    std::string dir;
};

inline std::string ReadBytes(std::string const& path)
{
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

inline void WriteBytes(std::string const& path, std::string const& bytes)
{
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

inline void AppendUint32(std::string& s, std::uint32_t u)
{
    for (int i = 0; i < 4; ++i)
        s += static_cast<char>((u >> (8 * i)) & 0xFF);
}

inline void AppendFloat(std::string& s, float f)
{
    std::uint32_t u;
    std::memcpy(&u, &f, sizeof u);
    AppendUint32(s, u);
}

inline float FloatAt(std::string const& s, std::size_t at)
{
    std::uint32_t u = 0;
    for (int i = 0; i < 4; ++i)
        u |= static_cast<std::uint32_t>(static_cast<unsigned char>(s[at + i])) << (8 * i);
    float f;
    std::memcpy(&f, &u, sizeof f);
    return f;
}

// Normal, then three corners.
using Facet = std::array<float, 12>;

// The usual binary layout: 80-byte header, a count, 50-byte records.
inline std::string BinaryStl(std::vector<Facet> const& facets, std::uint32_t count,
                             std::string header = "binary made by a test")
{
    header.resize(80, '\0');
    std::string s = header;
    AppendUint32(s, count);
    for (Facet const& f : facets)
    {
        for (float x : f)
            AppendFloat(s, x);
        s += std::string(2, '\0');
    }
    return s;
}

inline QmPstMesh::face* AddTriangle(QmPstMesh& mesh, ZgVector3 const& a, ZgVector3 const& b,
                                    ZgVector3 const& c)
{
    QmPstMesh::vertex* const v[3] = {mesh.AddVertex(a), mesh.AddVertex(b), mesh.AddVertex(c)};
    return mesh.AddFace(v, 0);
}

// A closed torus about z, n sections of m sides, oriented outward, its coordinates rounded
// to multiples of snap when snap > 0.
inline void MakeTorus(QmPstMesh& mesh, double major, double minor, int n, int m, double snap)
{
    const double pi = std::acos(-1.0);
    auto round = [snap](double x) { return snap > 0.0 ? snap * std::round(x / snap) : x; };
    std::vector<QmPstMesh::vertex*> vs;
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < m; ++j)
        {
            const double u = 2.0 * pi * i / n;
            const double w = 2.0 * pi * j / m;
            const double rho = major + minor * std::cos(w);
            vs.push_back(mesh.AddVertex(ZgVector3(
                round(rho * std::cos(u)), round(rho * std::sin(u)), round(minor * std::sin(w)))));
        }
    auto at = [&](int i, int j) { return vs[(i % n) * m + (j % m)]; };
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < m; ++j)
        {
            QmPstMesh::vertex* const f0[3] = {at(i, j), at(i + 1, j), at(i + 1, j + 1)};
            QmPstMesh::vertex* const f1[3] = {at(i, j), at(i + 1, j + 1), at(i, j + 1)};
            mesh.AddFace(f0, 0);
            mesh.AddFace(f1, 0);
        }
}

using Corner = std::array<float, 3>;
using Triangle = std::array<Corner, 3>;

// Each face as float corners, turned so that its least corner comes first: orientation
// is kept, the starting corner is not.
inline std::vector<Triangle> TrianglesOf(QmPstMesh& mesh)
{
    std::vector<Triangle> out;
    for (auto it = mesh.GetIterFace(); !it.IsEnd(); it.Next())
    {
        Triangle t;
        for (int k = 0; k < 3; ++k)
            for (int i = 0; i < 3; ++i)
                t[k][i] = static_cast<float>(it.Get()->v[k]->coo[i]);
        std::rotate(t.begin(), std::min_element(t.begin(), t.end()), t.end());
        out.push_back(t);
    }
    std::sort(out.begin(), out.end());
    return out;
}

// Sum of the signed tetrahedra from the origin: the enclosed volume of a closed, outward
// oriented surface.
inline double SignedVolume(QmPstMesh& mesh)
{
    double vol = 0.0;
    for (auto it = mesh.GetIterFace(); !it.IsEnd(); it.Next())
    {
        double const* a = it.Get()->v[0]->coo;
        double const* b = it.Get()->v[1]->coo;
        double const* c = it.Get()->v[2]->coo;
        vol += (a[0] * (b[1] * c[2] - b[2] * c[1]) - a[1] * (b[0] * c[2] - b[2] * c[0]) +
                a[2] * (b[0] * c[1] - b[1] * c[0])) /
               6.0;
    }
    return vol;
}

// Edges as the faces imply them. Closed and consistently oriented means that on every
// edge as many faces run one way as the other.
struct EdgeCensus
{
    long nbEdge = 0;
    std::map<int, long> edgesByFaceCount;
    bool balanced = true;
};

inline EdgeCensus CensusOf(QmPstMesh& mesh)
{
    std::map<std::pair<QmPstMesh::vertex*, QmPstMesh::vertex*>, std::pair<int, int>> edges;
    for (auto it = mesh.GetIterFace(); !it.IsEnd(); it.Next())
        for (int k = 0; k < 3; ++k)
        {
            QmPstMesh::vertex* a = it.Get()->v[k];
            QmPstMesh::vertex* b = it.Get()->v[(k + 1) % 3];
            auto& e = edges[std::minmax(a, b)];
            (a < b ? e.first : e.second) += 1;
        }
    EdgeCensus c;
    c.nbEdge = static_cast<long>(edges.size());
    for (auto const& e : edges)
    {
        ++c.edgesByFaceCount[e.second.first + e.second.second];
        c.balanced = c.balanced && e.second.first == e.second.second;
    }
    return c;
}
} // namespace qmtest
