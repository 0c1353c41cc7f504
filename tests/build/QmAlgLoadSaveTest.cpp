#include "build/QmAlgLoadSave.h"

#include "build/QmAlgCreateMeshSolidStd.h"
#include "build/QmStreamStdIO.h"
#include "support/CountedAttr.h"
#include "support/MemStream.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <string>
#include <unistd.h>
#include <vector>

namespace
{
using Mesh = QmPstMesh;
using qmtest::MemStream;

// Reads a little-endian int32 or float64 of the file, independently of the library.
std::int32_t i32(std::vector<unsigned char> const& b, size_t at)
{
    std::uint32_t u = 0;
    for (int i = 3; i >= 0; --i)
        u = (u << 8) | b.at(at + i);
    return static_cast<std::int32_t>(u);
}

double f64(std::vector<unsigned char> const& b, size_t at)
{
    std::uint64_t u = 0;
    for (int i = 7; i >= 0; --i)
        u = (u << 8) | b.at(at + i);
    double d;
    std::memcpy(&d, &u, 8);
    return d;
}

void put32(std::vector<unsigned char>& b, size_t at, std::int32_t v)
{
    for (int i = 0; i < 4; ++i)
        b.at(at + i) = static_cast<unsigned char>(static_cast<std::uint32_t>(v) >> (8 * i));
}

// A mesh flattened to walk order: coordinates as bit patterns, elements as vertex
// positions in the vertex walk, and groups.
struct Flat
{
    std::vector<std::uint64_t> coo;
    std::vector<std::vector<long>> edges;
    std::vector<std::vector<long>> faces;

    bool operator==(Flat const& o) const
    {
        return coo == o.coo && edges == o.edges && faces == o.faces;
    }
};

Flat flatten(Mesh& m, bool reversed = false)
{
    Flat f;
    std::vector<Mesh::vertex*> vs;
    for (auto it = m.GetIterVertex(); !it.IsEnd(); it.Next())
        vs.push_back(it.Get());
    std::vector<Mesh::edge*> es;
    for (auto it = m.GetIterEdge(); !it.IsEnd(); it.Next())
        es.push_back(it.Get());
    std::vector<Mesh::face*> fs;
    for (auto it = m.GetIterFace(); !it.IsEnd(); it.Next())
        fs.push_back(it.Get());
    if (reversed)
    {
        std::reverse(vs.begin(), vs.end());
        std::reverse(es.begin(), es.end());
        std::reverse(fs.begin(), fs.end());
    }
    std::map<Mesh::vertex*, long> num;
    for (Mesh::vertex* v : vs)
    {
        num[v] = static_cast<long>(num.size());
        for (double c : v->coo)
        {
            std::uint64_t u;
            std::memcpy(&u, &c, 8);
            f.coo.push_back(u);
        }
    }
    for (Mesh::edge* e : es)
        f.edges.push_back({num.at(e->v[0]), num.at(e->v[1]), e->grp});
    for (Mesh::face* x : fs)
        f.faces.push_back({num.at(x->v[0]), num.at(x->v[1]), num.at(x->v[2]), x->grp});
    return f;
}

struct LoadSave : ::testing::Test
{
    Mesh* mesh = Mesh::CreateMesh();
    Mesh* other = Mesh::CreateMesh();
    void TearDown() override
    {
        Mesh::DestroyMesh(mesh);
        Mesh::DestroyMesh(other);
    }

    std::vector<unsigned char> save(Mesh& m)
    {
        MemStream s;
        EXPECT_TRUE(QmAlgLoadSave().Save(m, s));
        return s.bytes;
    }

    // A mesh of every kind of element, a lonely vertex, odd groups and a repeated edge.
    void fillMixed(Mesh& m)
    {
        QmAlgCreateMeshSolidStd().Cube(m, 2, 3, 4, 2, 1, 3);
        Mesh::vertex* a = m.AddVertex(ZgVector3(0.1, -1e-300, 1e300));
        Mesh::vertex* b = m.AddVertex(ZgVector3(-0.0, 5, 6));
        m.AddVertex(ZgVector3(7, 8, 9));
        Mesh::vertex* const ab[2] = {a, b};
        m.AddEdge(ab, -2147483647L - 1);
        m.AddEdge(ab, 2147483647L);
        Mesh::vertex* const aab[3] = {a, a, b};
        m.AddFace(aab, -5);
    }
};
} // namespace

TEST_F(LoadSave, EmptyMeshIsSixteenBytes)
{
    const std::vector<unsigned char> b = save(*mesh);
    ASSERT_EQ(b.size(), 16u);
    EXPECT_EQ(i32(b, 0), 1000);
    EXPECT_EQ(i32(b, 4), 0);
    EXPECT_EQ(i32(b, 8), 0);
    EXPECT_EQ(i32(b, 12), 0);
}

TEST_F(LoadSave, LayoutFieldByField)
{
    Mesh::vertex* a = mesh->AddVertex(ZgVector3(1.5, -2, 3e10));
    Mesh::vertex* b = mesh->AddVertex(ZgVector3(4, 5, 6));
    Mesh::vertex* const ba[2] = {b, a};
    mesh->AddEdge(ba, 77);
    MemStream s;
    ASSERT_TRUE(QmAlgLoadSave().Save(*mesh, s));
    ASSERT_EQ(s.bytes.size(), 16u + 48u + 12u);
    EXPECT_EQ(s.writeSizes, (std::vector<long>{4, 4, 4, 4, 24, 24, 8, 4}));
    // Newest first: b is vertex 0.
    EXPECT_EQ(i32(s.bytes, 4), 2);
    EXPECT_EQ(i32(s.bytes, 8), 1);
    EXPECT_EQ(f64(s.bytes, 16), 4.0);
    EXPECT_EQ(f64(s.bytes, 40), 1.5);
    EXPECT_EQ(f64(s.bytes, 48), -2.0);
    EXPECT_EQ(f64(s.bytes, 56), 3e10);
    EXPECT_EQ(i32(s.bytes, 64), 0);
    EXPECT_EQ(i32(s.bytes, 68), 1);
    EXPECT_EQ(i32(s.bytes, 72), 77);
    EXPECT_EQ(mesh->GetEleAttr(a, QmAlgLoadSave::AttrVertex::GetClassId()), nullptr)
        << "numbers are taken off after a good save";

    MemStream in(s.bytes);
    ASSERT_TRUE(QmAlgLoadSave().Load(*other, in));
    EXPECT_EQ(in.readSizes, (std::vector<long>{4, 4, 4, 4, 24, 24, 8, 4}));
}

TEST_F(LoadSave, FaceRecordSizesAndByteCountOfEverySolid)
{
    QmAlgCreateMeshSolidStd solids;
    solids.SphereIcosahedron(*mesh, 2.0, 3);
    solids.Sphere(*mesh, 1.0, 12, 7);
    solids.Cylinder(*mesh, 1.0, 0.5, 2.0, 10, 3, 2);
    solids.Torus(*mesh, 3.0, 1.0, 16, 8);
    solids.Cube(*mesh, 1, 2, 3, 2, 3, 4);
    MemStream s;
    ASSERT_TRUE(QmAlgLoadSave().Save(*mesh, s));
    EXPECT_EQ(static_cast<long>(s.bytes.size()),
              16 + 24 * mesh->GetNbVertex() + 12 * mesh->GetNbEdge() + 16 * mesh->GetNbFace());
    EXPECT_EQ(s.writeSizes.back(), 4);
    EXPECT_EQ(s.writeSizes[s.writeSizes.size() - 2], 12);
}

TEST_F(LoadSave, RoundTripReversesTheWalkOnceAndRestoresItTwice)
{
    fillMixed(*mesh);
    QmAlgCreateMeshSolidStd().Torus(*mesh, 2, 0.5, 9, 5);
    const Flat original = flatten(*mesh);

    MemStream s1(save(*mesh));
    ASSERT_TRUE(QmAlgLoadSave().Load(*other, s1));
    EXPECT_EQ(other->GetNbVertex(), mesh->GetNbVertex());
    EXPECT_TRUE(flatten(*other, /*reversed=*/true) == original);
    EXPECT_FALSE(flatten(*other) == original);

    MemStream s2(save(*other));
    ASSERT_TRUE(QmAlgLoadSave().Load(*mesh, s2));
    EXPECT_TRUE(flatten(*mesh) == original);

    // The loaded mesh is real: refs count its edges and faces again.
    long refs = 0;
    for (auto it = mesh->GetIterVertex(); !it.IsEnd(); it.Next())
        refs += it.Get()->refs;
    EXPECT_EQ(refs, 2 * mesh->GetNbEdge() + 3 * mesh->GetNbFace());
}

TEST_F(LoadSave, LoadReplacesElementsButKeepsMeshAttributes)
{
    using A = qmtest::CountedAttr<200>;
    QmAlgCreateMeshSolidStd().Cube(*other, 1, 1, 1, 1, 1, 1);
    const int before = A::alive;
    A* meshAttr = new A;
    other->AddMeshAttr(meshAttr, false);
    other->AddEleAttr(other->GetIterVertex().Get(), new A, false);

    fillMixed(*mesh);
    MemStream s(save(*mesh));
    ASSERT_TRUE(QmAlgLoadSave().Load(*other, s));
    EXPECT_EQ(A::alive, before + 1);
    EXPECT_EQ(other->GetMeshAttr(A::GetClassId()), meshAttr);
    EXPECT_EQ(other->GetNbFace(), mesh->GetNbFace());
}

TEST_F(LoadSave, WrongMagicFailsOnAnAlreadyEmptiedMesh)
{
    QmAlgCreateMeshSolidStd().Cube(*other, 1, 1, 1, 1, 1, 1);
    std::vector<unsigned char> b = save(*mesh);
    put32(b, 0, 999);
    MemStream s(b);
    EXPECT_FALSE(QmAlgLoadSave().Load(*other, s));
    EXPECT_EQ(other->GetNbVertex(), 0);
    EXPECT_EQ(other->GetNbFace(), 0);
}

TEST_F(LoadSave, EveryTruncationFailsAndKeepsWhatWasRead)
{
    fillMixed(*mesh);
    const std::vector<unsigned char> full = save(*mesh);
    const long nbV = mesh->GetNbVertex();
    const long nbE = mesh->GetNbEdge();
    const size_t edgeStart = 16 + 24 * nbV;
    const size_t faceStart = edgeStart + 12 * nbE;
    for (size_t len = 0; len < full.size(); ++len)
    {
        MemStream s(std::vector<unsigned char>(full.begin(), full.begin() + len));
        ASSERT_FALSE(QmAlgLoadSave().Load(*other, s)) << "length " << len;
        const long wholeVertices = len < 16 ? 0 : std::min<long>(nbV, (len - 16) / 24);
        EXPECT_EQ(other->GetNbVertex(), wholeVertices) << "length " << len;
        if (len >= faceStart)
        {
            EXPECT_EQ(other->GetNbEdge(), nbE) << "length " << len;
            EXPECT_EQ(other->GetNbFace(), static_cast<long>((len - faceStart) / 16));
        }
    }
    MemStream s(full);
    EXPECT_TRUE(QmAlgLoadSave().Load(*other, s));
}

TEST_F(LoadSave, BadNumbersAndCountsFail)
{
    fillMixed(*mesh);
    const std::vector<unsigned char> good = save(*mesh);
    const long nbV = mesh->GetNbVertex();
    const size_t edgeStart = 16 + 24 * nbV;
    const size_t faceStart = edgeStart + 12 * mesh->GetNbEdge();
    struct Case
    {
        const char* what;
        size_t at;
        std::int32_t value;
    };
    const Case cases[] = {
        {"edge number = V", edgeStart, static_cast<std::int32_t>(nbV)},
        {"edge number negative", edgeStart + 4, -1},
        {"face number huge", faceStart + 8, 2147483647},
        {"face number negative", faceStart, -2147483647 - 1},
        {"negative vertex count", 4, -3},
        {"negative face count", 12, -1},
        {"absurd vertex count", 4, 2147483647},
        {"absurd edge count", 8, 2147483647},
        {"absurd face count", 12, 2147483647},
    };
    for (Case const& c : cases)
    {
        std::vector<unsigned char> b = good;
        put32(b, c.at, c.value);
        MemStream s(b);
        EXPECT_FALSE(QmAlgLoadSave().Load(*other, s)) << c.what;
    }
}

namespace
{
struct CallLog
{
    std::vector<std::string> calls;
    QmAlgLoadSave* seen = nullptr;
    Mesh* mesh = nullptr;
};

template <int Tag> void logCall(void* data, void* arg)
{
    auto* log = static_cast<CallLog*>(data);
    auto* alg = static_cast<QmAlgLoadSave*>(arg);
    static const char* names[] = {"saveBegin", "saveEnd", "loadBegin", "loadEnd"};
    log->calls.push_back(names[Tag]);
    log->seen = alg;
    log->mesh = alg->mesh;
}

struct Callbacks : LoadSave
{
    CallLog log;
    void SetUp() override
    {
        QmAlgLoadSave::CblSaveMeshBegin.Add(logCall<0>, &log);
        QmAlgLoadSave::CblSaveMeshEnd.Add(logCall<1>, &log);
        QmAlgLoadSave::CblLoadMeshBegin.Add(logCall<2>, &log);
        QmAlgLoadSave::CblLoadMeshEnd.Add(logCall<3>, &log);
    }
    void TearDown() override
    {
        QmAlgLoadSave::CblSaveMeshBegin.Remove(logCall<0>, &log);
        QmAlgLoadSave::CblSaveMeshEnd.Remove(logCall<1>, &log);
        QmAlgLoadSave::CblLoadMeshBegin.Remove(logCall<2>, &log);
        QmAlgLoadSave::CblLoadMeshEnd.Remove(logCall<3>, &log);
        LoadSave::TearDown();
    }
};
} // namespace

TEST_F(Callbacks, BeginAndEndSeeTheRunOnSuccessOnly)
{
    fillMixed(*mesh);
    QmAlgLoadSave alg;
    MemStream s;
    ASSERT_TRUE(alg.Save(*mesh, s));
    EXPECT_EQ(log.calls, (std::vector<std::string>{"saveBegin", "saveEnd"}));
    EXPECT_EQ(log.seen, &alg);
    EXPECT_EQ(log.mesh, mesh);

    log.calls.clear();
    MemStream bad;
    bad.writeLimit = 100;
    ASSERT_FALSE(alg.Save(*mesh, bad));
    EXPECT_EQ(log.calls, (std::vector<std::string>{"saveBegin"}));
    long numbered = 0;
    for (auto it = mesh->GetIterVertex(); !it.IsEnd(); it.Next())
        numbered += mesh->GetEleAttr(it.Get(), QmAlgLoadSave::AttrVertex::GetClassId()) != nullptr;
    EXPECT_EQ(numbered, mesh->GetNbVertex()) << "a failed save leaves its numbers behind";

    log.calls.clear();
    MemStream in(s.bytes);
    ASSERT_TRUE(alg.Load(*other, in));
    EXPECT_EQ(log.calls, (std::vector<std::string>{"loadBegin", "loadEnd"}));
    EXPECT_EQ(log.mesh, other);

    log.calls.clear();
    MemStream cut(std::vector<unsigned char>(s.bytes.begin(), s.bytes.begin() + 40));
    ASSERT_FALSE(alg.Load(*other, cut));
    EXPECT_EQ(log.calls, (std::vector<std::string>{"loadBegin"}));
}

TEST_F(LoadSave, FilesKeepTheirOldTailAndWideNamesWork)
{
    char tmpl[] = "/tmp/qmesh-loadsave-XXXXXX";
    const int fd = mkstemp(tmpl);
    ASSERT_NE(fd, -1);
    ::close(fd);
    const std::string path = tmpl;
    {
        std::ofstream out(path, std::ios::binary);
        out << std::string(100000, 'x');
    }
    fillMixed(*mesh);
    std::vector<unsigned short> wide(path.begin(), path.end());
    wide.push_back(0);
    QmStreamStdIO file;
    ASSERT_TRUE(file.New(wide.data()));
    ASSERT_TRUE(QmAlgLoadSave().Save(*mesh, file));
    EXPECT_TRUE(file.Close());
    const long size = static_cast<long>(save(*mesh).size());
    std::ifstream in(path, std::ios::binary | std::ios::ate);
    const long onDisk = static_cast<long>(in.tellg());
    ASSERT_LT(size, 100000);
    EXPECT_EQ(onDisk, 100000L) << "no truncation";

    QmStreamStdIO reader;
    ASSERT_TRUE(reader.Open(path.c_str()));
    EXPECT_TRUE(QmAlgLoadSave().Load(*other, reader));
    reader.Close();
    EXPECT_TRUE(flatten(*other, true) == flatten(*mesh));
    std::remove(path.c_str());

    QmStreamStdIO missing;
    EXPECT_FALSE(missing.Open("/nonexistent-dir/none.qm"));
    EXPECT_FALSE(missing.Open(static_cast<unsigned short const*>(nullptr)));
}
