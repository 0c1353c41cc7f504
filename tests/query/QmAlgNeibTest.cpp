#include "query/QmAlgNeib.h"

#include "build/QmAlgCreateMeshSolidStd.h"
#include "query/QmAlgNeibNumber.h"
#include "query/QmAlgNeibWalk.h"
#include "support/OwnedMesh.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <list>
#include <map>
#include <random>
#include <set>
#include <utility>
#include <vector>

namespace
{
using Mesh = QmPstMesh;
using Neib = QmAlgNeib;
using Nb = QmAlgNeibNumber;
using qmtest::AttrOf;
using qmtest::Edge;
using qmtest::Face;
using Slot = std::pair<Mesh::ele*, int>;
using Key = std::pair<Mesh::vertex*, Mesh::vertex*>;

Slot link(Mesh::face* f, int side)
{
    auto l = AttrOf<Neib::AttrFace>(f)->neib[side];
    return {l.f, l.num};
}
Slot link(Mesh::edge* e, int end)
{
    auto l = AttrOf<Neib::AttrEdge>(e)->neib[end];
    return {l.e, l.num};
}

long count(Mesh::face* f, int side) { return Nb::GetNbFaceBord(f, side); }
long count(Mesh::edge* e, int end) { return Nb::GetNbEdgeBord(e, end); }

// Brute force over one kind: the slots on each vertex pair as lists built the way the
// definition says (registered in walk order, each at the front; an entry links to the
// following one, the last to the first). Checks every link, that following links closes
// the ring after exactly its size, and the count against the ring's size.
template <typename T, int N> void checkRings(std::vector<T*> const& walk, unsigned seed)
{
    std::map<Key, std::list<Slot>> rings;
    // A face side stands on two vertices, an edge end on one.
    auto keyOf = [](T* x, int s) -> Key
    { return std::minmax(x->v[s], x->v[N == 3 ? (s + 1) % 3 : s]); };
    for (T* x : walk)
        for (int s = 0; s < N; ++s)
            rings[keyOf(x, s)].push_front({x, s});
    for (T* x : walk)
        for (int s = 0; s < N; ++s)
        {
            auto const& ring = rings[keyOf(x, s)];
            auto at = ++std::find(ring.begin(), ring.end(), Slot(x, s));
            EXPECT_EQ(link(x, s), at == ring.end() ? ring.front() : *at) << "seed " << seed;
            std::set<Slot> seen;
            Slot cur{x, s};
            for (size_t i = 0; i < ring.size();
                 ++i, cur = link(static_cast<T*>(cur.first), cur.second))
                seen.insert(cur);
            EXPECT_EQ(cur, Slot(x, s)) << "seed " << seed;
            EXPECT_EQ(seen.size(), ring.size()) << "seed " << seed;
            // An element standing twice in its ring (a repeated vertex) counts by pointer.
            std::set<Mesh::ele*> els;
            for (Slot r : ring)
                els.insert(r.first);
            const long want = std::min<long>(3, static_cast<long>(ring.size()));
            if (els.size() == ring.size())
            {
                EXPECT_EQ(count(x, s), want) << "seed " << seed;
            }
        }
}

std::pair<long, long> minMax(Mesh& m, int kinds)
{
    long mn = -1, mx = -1;
    Nb().GetNumMinMaxNeib(m, static_cast<Mesh::TypeEle>(kinds), mn, mx);
    return {mn, mx};
}
} // namespace

// The face cases (a lone triangle, two and three faces on a pair, repeated vertices)
// all come up in the soups below; here the edge walks that contours rely on.
TEST(QmAlgNeib, EdgeWalksAlongChainsAndRings)
{
    auto m = qmtest::NewOwnedMesh();
    auto v = qmtest::Vertices(*m, 8);
    // A square 0-1-2-3 directed one way, made in shuffled order; a polyline 4-5-6 and an
    // edge 7-6 meeting it head to head.
    Mesh::edge* sq[4];
    for (int i : {2, 0, 3, 1})
        sq[i] = Edge(*m, v[i], v[(i + 1) % 4]);
    Mesh::edge* pa = Edge(*m, v[4], v[5]);
    Mesh::edge* pb = Edge(*m, v[5], v[6]);
    Mesh::edge* hh = Edge(*m, v[7], v[6]);
    Neib().BuildAttrEdge(*m);
    for (int i = 0; i < 4; ++i) // so GetNextIde walks the whole ring
    {
        EXPECT_EQ(AttrOf<Neib::AttrEdge>(sq[i])->GetNextIde(sq[i]), sq[(i + 1) % 4]);
        EXPECT_EQ(AttrOf<Neib::AttrEdge>(sq[i])->GetPrevIde(sq[i]), sq[(i + 3) % 4]);
    }
    EXPECT_EQ(AttrOf<Neib::AttrEdge>(pa)->GetNextIde(pa), pb);
    EXPECT_EQ(AttrOf<Neib::AttrEdge>(pa)->GetPrevIde(pa), nullptr);
    EXPECT_EQ(AttrOf<Neib::AttrEdge>(pb)->GetNextIde(pb), hh);
    EXPECT_EQ(link(pb, 1), Slot(hh, 1)) << "end 1 to end 1: the walk turns back";
    EXPECT_EQ(Nb::GetNbEdgeBord(pa, 0), 1);
    EXPECT_EQ(Nb::GetNbEdgeBord(hh, 1), 2);
    auto bare = qmtest::NewOwnedMesh();
    auto bv = qmtest::Vertices(*bare, 2);
    EXPECT_EQ(Nb::GetNbEdgeBord(Edge(*bare, bv[0], bv[1]), 0), 0) << "no attribute";
}

// Few vertices, so duplicates, reversed copies, fans of three or more, repeated vertices
// and loop edges all occur; a second pass edits the mesh and rebuilds over old links.
TEST(QmAlgNeib, RandomSoupsMatchBruteForce)
{
    for (unsigned seed = 1; seed <= 60; ++seed)
    {
        std::mt19937 rng(seed);
        auto m = qmtest::NewOwnedMesh();
        auto v = qmtest::Vertices(*m, 3 + static_cast<int>(rng() % 5));
        auto pick = [&] { return v[rng() % v.size()]; };
        for (int i = static_cast<int>(rng() % 16); i > 0; --i)
            Face(*m, pick(), pick(), pick());
        for (int i = static_cast<int>(rng() % 16); i > 0; --i)
            Edge(*m, pick(), pick());
        Neib neib;
        for (int pass = 0; pass < 2; ++pass)
        {
            if (pass == 1 && m->GetNbFace() > 0)
                m->RemoveFace(m->GetIterFace().Get());
            Face(*m, pick(), pick(), pick());
            neib.BuildAttrFace(*m);
            neib.BuildAttrEdge(*m);
            checkRings<Mesh::face, 3>(qmtest::Walk<Mesh::face>(m->GetIterFace()), seed);
            checkRings<Mesh::edge, 2>(qmtest::Walk<Mesh::edge>(m->GetIterEdge()), seed);
        }
        auto fs = qmtest::Walk<Mesh::face>(m->GetIterFace());
        auto es = qmtest::Walk<Mesh::edge>(m->GetIterEdge());
        neib.BuildAttrVertex(*m, Mesh::typeFace);
        EXPECT_TRUE(AttrOf<Neib::AttrVertex>(v[0])->edges.empty());
        neib.BuildAttrVertex(*m, static_cast<Mesh::TypeEle>(6)); // twice: no doubling
        neib.BuildAttrVertex(*m, static_cast<Mesh::TypeEle>(6));
        for (Mesh::vertex* x : v)
        {
            // Oldest element first, and an element naming x twice stands twice.
            std::vector<Slot> wantF, wantE, gotF, gotE;
            for (auto f = fs.rbegin(); f != fs.rend(); ++f)
                for (int p = 2; p >= 0; --p)
                    if ((*f)->v[p] == x)
                        wantF.push_back({*f, p});
            for (auto e = es.rbegin(); e != es.rend(); ++e)
                for (int p = 1; p >= 0; --p)
                    if ((*e)->v[p] == x)
                        wantE.push_back({*e, p});
            for (auto l : AttrOf<Neib::AttrVertex>(x)->faces)
                gotF.push_back({l.f, l.num});
            for (auto l : AttrOf<Neib::AttrVertex>(x)->edges)
                gotE.push_back({l.e, l.num});
            EXPECT_EQ(gotF, wantF) << "seed " << seed;
            EXPECT_EQ(gotE, wantE) << "seed " << seed;
        }
    }
}

TEST(QmAlgNeibWalk, MarkTwiceRemoveOnce)
{
    auto m = qmtest::NewOwnedMesh();
    auto v = qmtest::Vertices(*m, 3);
    Mesh::edge* e = Edge(*m, v[0], v[1]);
    Mesh::face* f = Face(*m, v[0], v[1], v[2]);
    EXPECT_FALSE(QmAlgNeibWalk::IsMark(e));
    for (int i = 0; i < 2; ++i)
    {
        QmAlgNeibWalk::Mark(e);
        QmAlgNeibWalk::Mark(f);
    }
    EXPECT_TRUE(QmAlgNeibWalk::IsMark(e) && QmAlgNeibWalk::IsMark(f));
    QmAttribut::RemoveAttrE(m.get(), QmAlgNeibWalk::AttrEdge::GetClassId());
    QmAttribut::RemoveAttrF(m.get(), QmAlgNeibWalk::AttrFace::GetClassId());
    EXPECT_FALSE(QmAlgNeibWalk::IsMark(e) || QmAlgNeibWalk::IsMark(f));
}

TEST(QmAlgNeibNumber, MinMaxOnClosedOpenAndNonManifoldMeshes)
{
    const std::pair<long, long> none{3, 0}, closed{2, 2}, open{1, 2}, nonManifold{1, 3};
    auto empty = qmtest::NewOwnedMesh();
    EXPECT_EQ(minMax(*empty, 6), none);
    QmAlgCreateMeshSolidStd solid;
    auto sphere = qmtest::NewOwnedMesh();
    solid.SphereIcosahedron(*sphere, 1.0, 2);
    auto torus = qmtest::NewOwnedMesh();
    solid.Torus(*torus, 3.0, 1.0, 12, 8);
    auto cone = qmtest::NewOwnedMesh();
    solid.Cylinder(*cone, 1.0, 0.5, 2.0, 10, 3, 2);
    for (Mesh* m : {sphere.get(), torus.get(), cone.get()})
        EXPECT_EQ(minMax(*m, 4), closed);

    auto cube = qmtest::NewOwnedMesh();
    solid.Cube(*cube, 2.0, 2.0, 2.0, 2, 2, 2);
    EXPECT_EQ(minMax(*cube, 7), closed) << "a solid has no edges: faces decide";
    Mesh::face* f = cube->GetIterFace().Get();
    EXPECT_EQ(f->attributes.GetHead(), nullptr) << "links built here are removed";
    Mesh::face* fin = Face(*cube, f->v[1], f->v[0], cube->AddVertex(ZgVector3(9, 9, 9)));
    EXPECT_EQ(minMax(*cube, 4), nonManifold);
    EXPECT_EQ(minMax(*cube, 2), none);
    cube->RemoveFace(fin);
    cube->RemoveFace(f);
    EXPECT_EQ(minMax(*cube, 4), open);

    // Edges: a closed square, then a tail at one corner (a free end and a junction).
    auto m = qmtest::NewOwnedMesh();
    auto v = qmtest::Vertices(*m, 5);
    for (int i = 0; i < 4; ++i)
        Edge(*m, v[i], v[(i + 1) % 4]);
    EXPECT_EQ(minMax(*m, 2), closed);
    Edge(*m, v[4], v[0]);
    EXPECT_EQ(minMax(*m, 2), nonManifold);

    // Face links the caller built stay. Edge links do not: the test for them looks for
    // the face class on an edge, so they are rebuilt over the caller's and removed.
    Mesh::face* t = Face(*m, v[0], v[1], v[2]);
    Neib().BuildAttrFace(*m);
    Neib().BuildAttrEdge(*m);
    minMax(*m, 6);
    EXPECT_NE(AttrOf<Neib::AttrFace>(t), nullptr);
    EXPECT_EQ(AttrOf<Neib::AttrEdge>(m->GetIterEdge().Get()), nullptr);
}
