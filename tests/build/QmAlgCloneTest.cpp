#include "build/QmAlgClone.h"

#include "build/QmAlgMerge.h"
#include "build/QmAlgTransform.h"
#include "support/OwnedMesh.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <tuple>
#include <vector>

namespace
{
using Mesh = QmPstMesh;
using qmtest::AttrOf;
using qmtest::Edge;
using qmtest::Face;

Mesh::vertex* copyOf(Mesh::vertex* v) { return AttrOf<QmAlgClone::AttrVertex>(v)->clone; }

// A call as a callback saw it: the event and the two fields it reads.
using Call = std::tuple<std::string, void const*, void const*>;

template <int K> void onClone(void* data, void* arg)
{
    auto* a = static_cast<QmAlgClone*>(arg);
    void const* pair[][2] = {{a->meshSrc, a->meshDst},
                             {a->vertexSrc, a->vertexDst},
                             {a->edgeSrc, a->edgeDst},
                             {a->faceSrc, a->faceDst}};
    static const char* names[] = {"mesh", "vertex", "edge", "face"};
    static_cast<std::vector<Call>*>(data)->emplace_back(names[K], pair[K][0], pair[K][1]);
}

// A transform event: the mesh events note which of function and matrix is set; the
// vertex event notes the position still in the vertex and the new one.
struct Seen
{
    char what;
    ZgVector3 old, now;
    bool byFn = false, byMatrix = false;
};

template <char K> void onTransform(void* data, void* arg)
{
    auto* a = static_cast<QmAlgTransform*>(arg);
    Seen s{K, {}, {}, a->fnTransform != nullptr, a->matrix != nullptr};
    if (K == 'v')
    {
        s.old = ZgVector3(a->vertexCur->coo[0], a->vertexCur->coo[1], a->vertexCur->coo[2]);
        s.now = *a->cooNew;
    }
    static_cast<std::vector<Seen>*>(data)->push_back(s);
}

void shift(void* data, ZgVector3& p) { p = p + *static_cast<ZgVector3*>(data); }

ZgVector3 at(Mesh::vertex* v) { return ZgVector3(v->coo[0], v->coo[1], v->coo[2]); }

// The static lists are emptied after every test, pass or fail.
class QmAlgCloneCallbacks : public ::testing::Test
{
protected:
    void TearDown() override
    {
        for (QmCallbackList* l :
             {&QmAlgClone::CblCloneMeshBegin, &QmAlgClone::CblCloneMeshEnd,
              &QmAlgClone::CblCloneVertex, &QmAlgClone::CblCloneEdge, &QmAlgClone::CblCloneFace,
              &QmAlgTransform::CblTransformMeshBegin, &QmAlgTransform::CblTransformMeshEnd,
              &QmAlgTransform::CblTransformVertex})
            l->Clear();
    }
};

int shown[8]; // what the filters below were asked about, by element type
bool noEdge(void*, Mesh::ele* x) { return ++shown[x->GetType()], x->GetType() != Mesh::typeEdge; }
bool noVertex(void*, Mesh::ele* x)
{
    return ++shown[x->GetType()], x->GetType() != Mesh::typeVertex;
}
} // namespace

TEST(QmAlgClone, MasksAndFilters)
{
    auto src = qmtest::NewOwnedMesh();
    auto v = qmtest::Vertices(*src, 5); // v[4] is used by nothing
    Edge(*src, v[0], v[1], 7);
    Face(*src, v[0], v[1], v[2], 8);
    Face(*src, v[2], v[1], v[3], 9);
    auto counts = [&](int kinds, QmAlgClone::CbFiltre cb)
    {
        std::fill(shown, shown + 8, 0);
        auto dst = qmtest::NewOwnedMesh();
        QmAlgClone alg;
        alg.SetCbFiltre(cb, nullptr);
        alg.Clone(*src, *dst, static_cast<Mesh::TypeEle>(kinds));
        QmAttribut::RemoveAttrV(src.get(), QmAlgClone::AttrVertex::GetClassId());
        return std::vector<long>{dst->GetNbVertex(), dst->GetNbEdge(), dst->GetNbFace()};
    };
    using V = std::vector<long>;
    EXPECT_EQ(counts(2, nullptr), (V{2, 1, 0}));
    EXPECT_EQ(counts(4, nullptr), (V{4, 0, 2})) << "the unused vertex only with bit 1";
    EXPECT_EQ(counts(7, nullptr), (V{5, 1, 2})) << "edge and faces share the copies";
    EXPECT_EQ(counts(7, noEdge), (V{5, 0, 2}));
    // Rejected vertices still come with the faces, and the filter is not asked again.
    EXPECT_EQ(counts(7, noVertex), (V{4, 1, 2}));
    EXPECT_EQ(std::vector<int>(shown, shown + 5), (std::vector<int>{0, 5, 1, 0, 2}));

    QmAlgClone alg;
    QmAlgClone::CbFiltre cb = noEdge;
    void* data = &alg;
    alg.GetCbFiltre(cb, data);
    EXPECT_TRUE(cb == nullptr && data == nullptr);
}

TEST(QmAlgClone, RandomMeshCopiedInReverseWalkOrder)
{
    for (unsigned seed = 1; seed <= 10; ++seed)
    {
        std::mt19937 rng(seed);
        auto src = qmtest::NewOwnedMesh();
        auto v = qmtest::Vertices(*src, 6);
        auto pick = [&] { return v[rng() % v.size()]; };
        for (int i = 0; i < 10; ++i)
        {
            Face(*src, pick(), pick(), pick(), static_cast<long>(rng() % 4));
            Edge(*src, pick(), pick(), static_cast<long>(rng() % 4));
        }
        auto dst = qmtest::NewOwnedMesh();
        QmAlgClone().Clone(*src, *dst, static_cast<Mesh::TypeEle>(7));
        auto sv = qmtest::Walk<Mesh::vertex>(src->GetIterVertex());
        auto dv = qmtest::Walk<Mesh::vertex>(dst->GetIterVertex());
        ASSERT_EQ(dv.size(), sv.size()) << "seed " << seed;
        for (size_t i = 0; i < sv.size(); ++i)
        {
            EXPECT_EQ(copyOf(sv[i]), dv[dv.size() - 1 - i]) << "seed " << seed;
            EXPECT_EQ(at(dv[dv.size() - 1 - i]), at(sv[i]));
            EXPECT_EQ(dv[dv.size() - 1 - i]->refs, sv[i]->refs) << "seed " << seed;
        }
        auto sf = qmtest::Walk<Mesh::face>(src->GetIterFace());
        auto df = qmtest::Walk<Mesh::face>(dst->GetIterFace());
        for (size_t i = 0; i < sf.size(); ++i)
        {
            Mesh::face* c = AttrOf<QmAlgClone::AttrFace>(sf[i])->clone;
            EXPECT_EQ(c, df.at(df.size() - 1 - i)) << "seed " << seed;
            EXPECT_EQ(c->grp, sf[i]->grp);
            for (int k = 0; k < 3; ++k)
                EXPECT_EQ(c->v[k], copyOf(sf[i]->v[k])) << "seed " << seed;
        }
        for (Mesh::edge* e : qmtest::Walk<Mesh::edge>(src->GetIterEdge()))
        {
            Mesh::edge* c = AttrOf<QmAlgClone::AttrEdge>(e)->clone;
            EXPECT_TRUE(c->grp == e->grp && c->v[0] == copyOf(e->v[0]) &&
                        c->v[1] == copyOf(e->v[1]))
                << "seed " << seed;
        }
    }
}

TEST(QmAlgClone, SecondVertexCloneShadowsTheFirst)
{
    auto src = qmtest::NewOwnedMesh();
    auto v = qmtest::Vertices(*src, 2);
    auto dst = qmtest::NewOwnedMesh();
    QmAlgClone alg;
    alg.Clone(*src, *dst, Mesh::typeVertex);
    Mesh::vertex* first = copyOf(v[1]);
    alg.Clone(*src, *dst, Mesh::typeVertex);
    EXPECT_EQ(dst->GetNbVertex(), 4);
    Mesh::edge* e = alg.Clone(Edge(*src, v[0], v[1]), *dst); // uses the newer copies
    EXPECT_EQ(dst->GetNbVertex(), 4);
    EXPECT_TRUE(e->v[1] == copyOf(v[1]) && e->v[1] != first);
    QmAttribut::RemoveAttrV(src.get(), QmAlgClone::AttrVertex::GetClassId());
    EXPECT_EQ(copyOf(v[1]), first);
}

TEST_F(QmAlgCloneCallbacks, CloneEventsReadTheirFieldPairs)
{
    std::vector<Call> calls;
    QmAlgClone::CblCloneMeshBegin.Add(onClone<0>, &calls);
    QmAlgClone::CblCloneVertex.Add(onClone<1>, &calls);
    QmAlgClone::CblCloneEdge.Add(onClone<2>, &calls);
    QmAlgClone::CblCloneFace.Add(onClone<3>, &calls);
    QmAlgClone::CblCloneMeshEnd.Add(onClone<0>, &calls);
    auto src = qmtest::NewOwnedMesh();
    auto v = qmtest::Vertices(*src, 3);
    Mesh::face* f = Face(*src, v[0], v[1], v[2]);
    Mesh::edge* e = Edge(*src, v[2], v[0]);
    auto dst = qmtest::NewOwnedMesh();
    QmAlgClone().Clone(*src, *dst, static_cast<Mesh::TypeEle>(6));
    // Edges before faces; each vertex reported just before its first user.
    std::vector<Call> want = {
        {"mesh", src.get(), dst.get()}, {"vertex", v[2], copyOf(v[2])},
        {"vertex", v[0], copyOf(v[0])}, {"edge", e, AttrOf<QmAlgClone::AttrEdge>(e)->clone},
        {"vertex", v[1], copyOf(v[1])}, {"face", f, AttrOf<QmAlgClone::AttrFace>(f)->clone},
        {"mesh", src.get(), dst.get()}};
    EXPECT_EQ(calls, want);
}

TEST_F(QmAlgCloneCallbacks, TransformByFunctionAndMatrixFiresInOrder)
{
    std::vector<Seen> seen;
    QmAlgTransform::CblTransformMeshBegin.Add(onTransform<'b'>, &seen);
    QmAlgTransform::CblTransformVertex.Add(onTransform<'v'>, &seen);
    QmAlgTransform::CblTransformMeshEnd.Add(onTransform<'e'>, &seen);
    auto m = qmtest::NewOwnedMesh();
    Mesh::vertex* a = m->AddVertex(ZgVector3(1, 0, 0));
    Mesh::vertex* b = m->AddVertex(ZgVector3(0, 2, 5));
    ZgVector3 d(10, 20, 30);
    QmAlgTransform alg;
    alg.Transform(*m, shift, &d);
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_TRUE(seen[0].what == 'b' && seen[0].byFn && !seen[0].byMatrix);
    EXPECT_TRUE(seen[1].old == ZgVector3(0, 2, 5) && seen[1].now == ZgVector3(10, 22, 35))
        << "newest vertex first, seen before its move";
    EXPECT_EQ(seen[2].old, ZgVector3(1, 0, 0));
    EXPECT_EQ(seen[3].what, 'e');

    // A quarter turn about z, then a shift: (x, y, z) -> (1 - y, 1 + x, 1 + z).
    seen.clear();
    const ZgMatrix4x4 mat = ZgMatrix4x4::Rotate(std::acos(-1.0) / 2, ZgVector3(0, 0, 1)) *
                            ZgMatrix4x4::Translate(1, 1, 1);
    m->GetCache();
    ASSERT_TRUE(m->HasCache());
    alg.Transform(*m, mat);
    EXPECT_FALSE(m->HasCache());
    ASSERT_EQ(seen.size(), 4u);
    EXPECT_TRUE(!seen[0].byFn && seen[0].byMatrix && alg.matrix == &mat);
    EXPECT_EQ(at(a), ZgVector3(-19, 12, 31));
    EXPECT_EQ(at(b), ZgVector3(-21, 11, 36));

    seen.clear();
    alg.Transform(a, ZgVector3(4, 5, 6)); // a single move: the vertex event only
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_TRUE(seen[0].old == ZgVector3(-19, 12, 31) && at(a) == ZgVector3(4, 5, 6));
    seen.clear();
    alg.Transform(*m, shift, &d); // a run by function after one by matrix clears it
    EXPECT_TRUE(seen.at(0).byFn && !seen.at(0).byMatrix);
}

TEST(QmAlgMerge, MergeEdgeIsReservedAndChangesNothing)
{
    auto m = qmtest::NewOwnedMesh();
    auto v = qmtest::Vertices(*m, 3);
    Mesh::edge* a = Edge(*m, v[0], v[1]);
    Mesh::edge* b = Edge(*m, v[1], v[2]);
    EXPECT_EQ(QmAlgMerge().MergeEdge(a, b), nullptr);
    EXPECT_EQ(QmAlgMerge().MergeEdge(nullptr, nullptr), nullptr);
    EXPECT_TRUE(m->GetNbEdge() == 2 && a->v[1] == v[1] && b->v[0] == v[1]);
}
