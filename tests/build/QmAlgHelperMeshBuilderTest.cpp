#include "build/QmAlgHelperMeshBuilder.h"

#include "kernel/ZgTolerance.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace
{
using Mesh = QmPstMesh;

struct Builder : ::testing::Test
{
    Mesh* mesh = Mesh::CreateMesh();
    void TearDown() override { Mesh::DestroyMesh(mesh); }
};
} // namespace

TEST_F(Builder, PrecisionDefaultsToTheKernelZeroAndRoundTrips)
{
    QmAlgHelperMeshBuilder b(*mesh);
    EXPECT_EQ(b.GetPrecCoo(), ZgGetZero());
    for (double p : {0.0, 1e-9, 1e-3, 0.1, 0.3, 17.25, 1e6})
    {
        b.SetPrecCoo(p);
        // One subtraction, then one addition: exactly what the stored delta implies.
        EXPECT_EQ(b.GetPrecCoo(), ZgGetZero() + (p - ZgGetZero())) << p;
        EXPECT_NEAR(b.GetPrecCoo(), p, 1e-15 * std::max(1.0, p)) << p;
    }
}

TEST_F(Builder, WeldsWithinThePrecisionOnEveryAxis)
{
    QmAlgHelperMeshBuilder b(*mesh);
    b.SetPrecCoo(0.01);
    Mesh::vertex* v = b.FindOrCreateVertex(1.0, 2.0, 3.0);
    for (int axis = 0; axis < 3; ++axis)
        for (double d : {-0.0099, 0.0099, 0.005})
        {
            double c[3] = {1.0, 2.0, 3.0};
            c[axis] += d;
            EXPECT_EQ(b.FindOrCreateVertex(c[0], c[1], c[2]), v) << axis << " " << d;
        }
    EXPECT_EQ(mesh->GetNbVertex(), 1);
    for (int axis = 0; axis < 3; ++axis)
    {
        double c[3] = {1.0, 2.0, 3.0};
        c[axis] += 0.0102;
        EXPECT_NE(b.FindOrCreateVertex(c[0], c[1], c[2]), v) << axis;
    }
    EXPECT_EQ(mesh->GetNbVertex(), 4);
}

TEST_F(Builder, DefaultPrecisionSeparatesAtTwiceTheZero)
{
    // Stored keys carry a delta of 0 here, so two points weld within one dZgZero.
    QmAlgHelperMeshBuilder b(*mesh);
    Mesh::vertex* v = b.FindOrCreateVertex(0.5, 0.5, 0.5);
    EXPECT_EQ(b.FindOrCreateVertex(0.5 + 0.9e-6, 0.5, 0.5), v);
    EXPECT_NE(b.FindOrCreateVertex(0.5 + 1.1e-6, 0.5, 0.5), v);
}

TEST_F(Builder, CreateVertexAlwaysAddsAndTheIndexKeepsTheFirst)
{
    QmAlgHelperMeshBuilder b(*mesh);
    Mesh::vertex* first = b.CreateVertex(ZgVector3(1, 1, 1));
    Mesh::vertex* second = b.CreateVertex(ZgVector3(1, 1, 1));
    EXPECT_NE(first, second);
    EXPECT_EQ(mesh->GetNbVertex(), 2);
    EXPECT_EQ(b.FindVertex(ZgVector3(1, 1, 1)), first);
    EXPECT_EQ(b.FindVertex(ZgVector3(1, 1, 2)), nullptr);
}

TEST_F(Builder, SeesOnlyWhatItCreated)
{
    Mesh::vertex* old = mesh->AddVertex(ZgVector3(4, 4, 4));
    QmAlgHelperMeshBuilder b(*mesh);
    EXPECT_EQ(b.FindVertex(ZgVector3(4, 4, 4)), nullptr);
    Mesh::vertex* a = b.CreateVertex(ZgVector3(0, 0, 0));
    Mesh::vertex* const pair[2] = {old, a};
    mesh->AddEdge(pair, 0);
    EXPECT_EQ(b.FindEdge(old, a), nullptr);
}

TEST_F(Builder, EdgesAreFoundInEitherDirectionAndKeepTheirOwn)
{
    QmAlgHelperMeshBuilder b(*mesh);
    Mesh::vertex* a = b.CreateVertex(0, 0, 0);
    Mesh::vertex* c = b.CreateVertex(1, 0, 0);
    EXPECT_EQ(b.CreateEdge(a, a, 0), nullptr);
    EXPECT_EQ(b.FindOrCreateEdge(c, c, 0), nullptr);
    EXPECT_EQ(mesh->GetNbEdge(), 0);

    Mesh::edge* e = b.CreateEdge(a, c, 9);
    EXPECT_EQ(b.FindEdge(c, a), e);
    EXPECT_EQ(b.FindOrCreateEdge(c, a, 1), e);
    EXPECT_EQ(e->v[0], a);
    EXPECT_EQ(e->v[1], c);
    EXPECT_EQ(e->grp, 9);

    Mesh::edge* twin = b.CreateEdge(c, a, 2);
    EXPECT_NE(twin, e);
    EXPECT_EQ(mesh->GetNbEdge(), 2);
    EXPECT_EQ(b.FindEdge(a, c), e) << "the index keeps the first";
}

TEST_F(Builder, FacesAreFoundInAnyOrderOfTheirVertices)
{
    QmAlgHelperMeshBuilder b(*mesh);
    Mesh::vertex* v[3] = {b.CreateVertex(0, 0, 0), b.CreateVertex(1, 0, 0),
                          b.CreateVertex(0, 1, 0)};
    Mesh::face* f = b.CreateFace(v[0], v[1], v[2], 4);
    int perm[3] = {0, 1, 2};
    do
    {
        EXPECT_EQ(b.FindFace(v[perm[0]], v[perm[1]], v[perm[2]]), f);
        EXPECT_EQ(b.FindOrCreateFace(v[perm[0]], v[perm[1]], v[perm[2]], 1), f);
    } while (std::next_permutation(perm, perm + 3));
    EXPECT_EQ(mesh->GetNbFace(), 1);
    EXPECT_EQ(f->v[0], v[0]);
    EXPECT_EQ(f->v[2], v[2]);

    EXPECT_EQ(b.CreateFace(v[0], v[1], v[0], 0), nullptr);
    EXPECT_EQ(b.CreateFace(v[2], v[2], v[1], 0), nullptr);
    EXPECT_EQ(b.FindOrCreateFace(v[1], v[0], v[0], 0), nullptr);
    EXPECT_EQ(mesh->GetNbFace(), 1);
}

TEST_F(Builder, RandomWeldAgreesWithAGridOracle)
{
    // Points drawn on a coarse lattice and jittered well inside the precision: each
    // lattice site must become exactly one vertex, whatever the insertion order.
    std::mt19937 rng(4242);
    std::uniform_int_distribution<int> site(0, 9);
    std::uniform_real_distribution<double> jitter(-0.004, 0.004);
    QmAlgHelperMeshBuilder b(*mesh);
    b.SetPrecCoo(0.01);
    std::vector<Mesh::vertex*> bySite(1000, nullptr);
    for (int i = 0; i < 20000; ++i)
    {
        const int s[3] = {site(rng), site(rng), site(rng)};
        Mesh::vertex* v =
            b.FindOrCreateVertex(s[0] + jitter(rng), s[1] + jitter(rng), s[2] + jitter(rng));
        Mesh::vertex*& expected = bySite[s[0] * 100 + s[1] * 10 + s[2]];
        if (expected == nullptr)
            expected = v;
        ASSERT_EQ(v, expected) << "seed 4242, i=" << i;
    }
    EXPECT_EQ(mesh->GetNbVertex(), 1000);
}
