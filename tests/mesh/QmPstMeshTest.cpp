#include "mesh/QmPstMesh.h"

#include "mesh/QmAttribut.h"
#include "support/CountedAttr.h"

#include <functional>
#include <gtest/gtest.h>
#include <vector>

namespace
{
using Mesh = QmPstMesh;
using A = qmtest::CountedAttr<100>;

struct MeshFixture : ::testing::Test
{
    Mesh* mesh = Mesh::CreateMesh();
    Mesh::vertex* v[4] = {};

    void SetUp() override
    {
        for (int i = 0; i < 4; ++i)
            v[i] = mesh->AddVertex(ZgVector3(i, 2.0 * i, -i));
    }
    void TearDown() override { Mesh::DestroyMesh(mesh); }

    Mesh::edge* edge(int a, int b, long grp = 0)
    {
        Mesh::vertex* const e[2] = {v[a], v[b]};
        return mesh->AddEdge(e, grp);
    }
    Mesh::face* face(int a, int b, int c, long grp = 0)
    {
        Mesh::vertex* const f[3] = {v[a], v[b], v[c]};
        return mesh->AddFace(f, grp);
    }
};

template <typename It> std::vector<decltype(std::declval<It>().Get())> walk(It it)
{
    std::vector<decltype(it.Get())> out;
    for (; !it.IsEnd(); it.Next())
        out.push_back(it.Get());
    return out;
}
} // namespace

TEST_F(MeshFixture, ElementsReportTheirKind)
{
    Mesh::edge* e = edge(0, 1);
    Mesh::face* f = face(0, 1, 2);
    Mesh::ele* asEle[3] = {v[0], e, f};
    EXPECT_EQ(asEle[0]->GetType(), Mesh::typeVertex);
    EXPECT_EQ(asEle[1]->GetType(), Mesh::typeEdge);
    EXPECT_EQ(asEle[2]->GetType(), Mesh::typeFace);
    EXPECT_EQ(v[0]->mesh, mesh);
    EXPECT_EQ(f->mesh, mesh);
}

TEST_F(MeshFixture, RefsCountEveryVertexSlot)
{
    edge(0, 1);
    edge(0, 1);
    EXPECT_EQ(mesh->GetNbEdge(), 2);
    EXPECT_EQ(v[0]->refs, 2);
    EXPECT_EQ(v[1]->refs, 2);

    Mesh::edge* loop = edge(2, 2);
    EXPECT_EQ(v[2]->refs, 2);
    mesh->RemoveEdge(loop);
    EXPECT_EQ(v[2]->refs, 0);

    Mesh::face* f = face(1, 2, 3);
    EXPECT_EQ(v[1]->refs, 3);
    EXPECT_TRUE(mesh->RemoveFace(f));
    EXPECT_EQ(v[1]->refs, 2);
    EXPECT_EQ(v[2]->refs, 0);
    EXPECT_EQ(v[3]->refs, 0);
    EXPECT_EQ(mesh->GetNbVertex(), 4);
}

TEST_F(MeshFixture, VertexInUseCannotBeRemovedNorDropTheCache)
{
    Mesh::edge* e = edge(0, 1);
    ASSERT_NE(mesh->GetCache(), nullptr);
    EXPECT_FALSE(mesh->RemoveVertex(v[0]));
    EXPECT_EQ(mesh->GetNbVertex(), 4);
    EXPECT_TRUE(mesh->HasCache());
    mesh->RemoveEdge(e);
    EXPECT_TRUE(mesh->RemoveVertex(v[0]));
    EXPECT_EQ(mesh->GetNbVertex(), 3);
    EXPECT_FALSE(mesh->HasCache());
}

TEST_F(MeshFixture, EveryEditDropsTheCacheAndNothingElseDoes)
{
    Mesh::edge* e = edge(0, 1);
    Mesh::face* f = face(0, 1, 2);
    const std::vector<std::pair<const char*, std::function<void()>>> edits = {
        {"AddVertex", [&] { mesh->AddVertex(ZgVector3()); }},
        {"AddEdge", [&] { edge(2, 3); }},
        {"AddFace", [&] { face(1, 2, 3); }},
        {"SetVertexCoo", [&] { mesh->SetVertexCoo(v[3], ZgVector3(9, 9, 9)); }},
        {"SetEdgeGrp", [&] { mesh->SetEdgeGrp(e, 7); }},
        {"SwapEdge", [&] { mesh->SwapEdge(e); }},
        {"SetFaceGrp", [&] { mesh->SetFaceGrp(f, 7); }},
        {"SwapFace", [&] { mesh->SwapFace(f); }},
        {"RemoveVertex", [&] { mesh->RemoveVertex(mesh->AddVertex(ZgVector3())); }},
    };
    for (auto const& [name, edit] : edits)
    {
        ASSERT_NE(mesh->GetCache(), nullptr);
        edit();
        EXPECT_FALSE(mesh->HasCache()) << name;
    }

    A* attr = new A;
    const std::vector<std::pair<const char*, std::function<void()>>> reads = {
        {"SetTolerance", [&] { mesh->SetTolerance(0.5); }},
        {"AddEleAttr", [&] { mesh->AddEleAttr(v[0], attr, true); }},
        {"GetEleAttr", [&] { mesh->GetEleAttr(v[0], A::GetClassId()); }},
        {"RemoveEleAttr", [&] { mesh->RemoveEleAttr(v[0], attr); }},
        {"AddMeshAttr", [&] { mesh->AddMeshAttr(new A, false); }},
        {"RemoveMeshAllAttr", [&] { mesh->RemoveMeshAllAttr(); }},
        {"getters",
         [&]
         {
             ZgVector3 p;
             mesh->GetVertexCoo(v[0], p);
             Mesh::vertex* ev[3];
             mesh->GetEdgeVertex(e, ev);
             mesh->GetFaceVertex(f, ev);
             (void)mesh->GetFaceGrp(f);
             (void)mesh->GetEdgeGrp(e);
         }},
    };
    qmCache* cache = mesh->GetCache();
    for (auto const& [name, read] : reads)
    {
        read();
        EXPECT_EQ(mesh->GetCache(), cache) << name;
    }
    EXPECT_EQ(mesh->GetTolerance(), 0.5);
    // Each removal edits too; RemoveAll last.
    mesh->RemoveFace(f);
    EXPECT_FALSE(mesh->HasCache());
    mesh->GetCache();
    mesh->RemoveEdge(e);
    EXPECT_FALSE(mesh->HasCache());
    mesh->GetCache();
    mesh->RemoveAll();
    EXPECT_FALSE(mesh->HasCache());
}

TEST_F(MeshFixture, CacheFollowsTheActiveFlag)
{
    ASSERT_NE(mesh->GetCache(), nullptr);
    mesh->ActivateCache(false);
    EXPECT_FALSE(mesh->HasCache());
    EXPECT_EQ(mesh->GetCache(), nullptr);
    mesh->ActivateCache(true);
    EXPECT_NE(mesh->GetCache(), nullptr);
}

TEST_F(MeshFixture, SwapsExchangeTheFirstTwoVertices)
{
    Mesh::face* f = face(0, 1, 2);
    mesh->SwapFace(f);
    Mesh::vertex* fv[3];
    mesh->GetFaceVertex(f, fv);
    EXPECT_EQ(fv[0], v[1]);
    EXPECT_EQ(fv[1], v[0]);
    EXPECT_EQ(fv[2], v[2]);

    Mesh::edge* e = edge(2, 3, 11);
    mesh->SwapEdge(e);
    Mesh::vertex* ev[2];
    mesh->GetEdgeVertex(e, ev);
    EXPECT_EQ(ev[0], v[3]);
    EXPECT_EQ(ev[1], v[2]);
    EXPECT_EQ(mesh->GetEdgeGrp(e), 11);
}

TEST_F(MeshFixture, CoordinatesReadInTwoAndThreeDimensions)
{
    mesh->SetVertexCoo(v[3], ZgVector3(1.5, -2.5, 1e9));
    ZgVector2 p2(7, 7);
    mesh->GetVertexCoo(v[3], p2);
    EXPECT_EQ(p2.x, 1.5);
    EXPECT_EQ(p2.y, -2.5);
    ZgVector3 p3;
    mesh->GetVertexCoo(v[3], p3);
    EXPECT_EQ(p3.z, 1e9);
}

TEST_F(MeshFixture, WalksAreNewestFirstAndReuseFreedSlots)
{
    EXPECT_EQ(walk(mesh->GetIterVertex()), (std::vector<Mesh::vertex*>{v[3], v[2], v[1], v[0]}));
    ASSERT_TRUE(mesh->RemoveVertex(v[1]));
    Mesh::vertex* n = mesh->AddVertex(ZgVector3(5, 5, 5));
    EXPECT_EQ(n, v[1]);
    EXPECT_EQ(n->refs, 0);
    EXPECT_EQ(walk(mesh->GetIterVertex()), (std::vector<Mesh::vertex*>{n, v[3], v[2], v[0]}));
}

TEST_F(MeshFixture, RemoveAllEmptiesElementsButKeepsMeshState)
{
    edge(0, 1);
    face(1, 2, 3);
    A* meshAttr = new A(5);
    mesh->AddMeshAttr(meshAttr, false);
    mesh->AddEleAttr(v[0], new A, false);
    mesh->SetTolerance(0.25);
    mesh->ActivateCache(false);
    const int alive = A::alive;

    mesh->RemoveAll();
    EXPECT_EQ(mesh->GetNbVertex(), 0);
    EXPECT_EQ(mesh->GetNbEdge(), 0);
    EXPECT_EQ(mesh->GetNbFace(), 0);
    EXPECT_TRUE(mesh->GetIterFace().IsEnd());
    EXPECT_EQ(A::alive, alive - 1) << "the element's attribute goes with it";
    EXPECT_EQ(mesh->GetMeshAttr(A::GetClassId()), meshAttr);
    EXPECT_EQ(mesh->GetTolerance(), 0.25);
    EXPECT_EQ(mesh->GetCache(), nullptr);
    EXPECT_EQ(mesh->GetColVertex().GetNbBlock(), 0);
    // The mesh works afterwards, from a fresh block.
    mesh->AddVertex(ZgVector3());
    EXPECT_EQ(mesh->GetColVertex().GetBlockCurrent(), 512);
}

TEST(QmPstMesh, DestroyEndsEveryAttributeAndAcceptsNull)
{
    Mesh::DestroyMesh(nullptr);
    const int before = A::alive;
    Mesh* mesh = Mesh::CreateMesh();
    EXPECT_EQ(mesh->GetTolerance(), 0.0);
    EXPECT_FALSE(mesh->HasCache());
    Mesh::vertex* a = mesh->AddVertex(ZgVector3());
    Mesh::vertex* b = mesh->AddVertex(ZgVector3(1, 0, 0));
    Mesh::vertex* const ab[2] = {a, b};
    Mesh::edge* e = mesh->AddEdge(ab, 3);
    mesh->AddEleAttr(a, new A, true);
    mesh->AddEleAttr(e, new A, true);
    mesh->AddMeshAttr(new A, true);
    mesh->GetCache();
    EXPECT_EQ(A::alive, before + 3);
    Mesh::DestroyMesh(mesh);
    EXPECT_EQ(A::alive, before);
}
