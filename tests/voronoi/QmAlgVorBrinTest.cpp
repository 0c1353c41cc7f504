#include "support/CountedAttr.h"
#include "support/VorHandMap.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/VorBrinDetail.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>
#include <tuple>
#include <vector>

using namespace qmtest;

namespace
{
using A = qmVorAccess;

std::vector<BrinVor*> SigmaOrbit(BrinVor* b)
{
    std::vector<BrinVor*> out;
    BrinVor* d = b;
    do
    {
        out.push_back(d);
        d = d->Sigma();
    } while (d != b && out.size() < 64);
    return out;
}

// Checked on every dart against a scan of all darts: Alpha an involution without fixed
// point, GetPrec and GetPrecAlpha the inverses of Phi, the steps along the tree, and one
// Phi orbit through all darts (a tree).
void ExpectTreeInvariants(VorHandMap const& m, std::string const& what)
{
    for (BrinVor* b : m.darts)
    {
        EXPECT_TRUE(b->Alpha()->Alpha() == b && b->Alpha() != b) << what;
        EXPECT_EQ(b->GetPrec(), m.PhiInverse(b)) << what;
        ASSERT_NE(b->GetPrecAlpha(), nullptr) << what;
        EXPECT_EQ(b->GetPrecAlpha()->Phi(), b->Alpha()) << what;
        EXPECT_EQ(AvanceGauche(b), b->Phi()) << what;
        EXPECT_EQ(AvanceDroite(b), m.PhiInverse(b->Alpha())->Alpha()) << what;
    }
    size_t n = 0;
    BrinVor* d = m.darts[0];
    do
    {
        d = d->Phi();
    } while (++n <= m.darts.size() && d != m.darts[0]);
    EXPECT_EQ(n, m.darts.size()) << what;
}

// V1 holds x, l1, l2 and V2 holds Alpha(x), m1, m2, in Sigma order; the other ends are
// leaves. Darts in m.darts: 0 x, 1 A(x), 2 l1, 3 A(l1), 4 l2, 5 A(l2), 6 m1, 7 A(m1), 8 m2,
// 9 A(m2). Pseudo-faces: [A(l2) x m1], [A(m1) m2], [A(m2) A(x) l1], [A(l1) l2].
struct Caterpillar
{
    VorHandMap m;
    BrinVor* x = m.Pair();
    BrinVor* l1 = m.Pair();
    BrinVor* l2 = m.Pair();
    BrinVor* m1 = m.Pair();
    BrinVor* m2 = m.Pair();
    Caterpillar()
    {
        VorHandMap::Star({x, l1, l2});
        VorHandMap::Star({x->Alpha(), m1, m2});
    }
};
} // namespace

TEST(QmAlgVorBrin, SingleArcVerticesAndContainers)
{
    CountedAttr<7301>::alive = 0;
    {
        VorHandMap m;
        BrinVor* b = m.Pair();
        BrinVor* a = b->Alpha();
        EXPECT_TRUE(b->Last() && a->Last() && b->Sigma() == b);
        EXPECT_EQ(b->GetPrecAlpha(), b);
        ExpectTreeInvariants(m, "single arc");

        EXPECT_EQ(b->GetD1(), 1.7e308);
        EXPECT_TRUE(IsInfini(b->GetPoint1()));
        EXPECT_FALSE(IsInfini(ZgVector2(1.7e308, 0.0)));
        EXPECT_FALSE(IsInfini(ZgVector2(0.0, 1.7e308)));

        // Only an exact zero at the far vertex marks the contour.
        m.Vertex(a, {1.0, 2.0}, 1e-30);
        EXPECT_EQ(b->GetD2(), 1e-30);
        EXPECT_FALSE(b->LastBord());
        A::SetD1(a, 0.0);
        A::SetPoint1(a, {3.0, 4.0});
        EXPECT_TRUE(b->LastBord() && !a->LastBord());
        EXPECT_TRUE(a->GetPoint1().x == 3.0 && a->GetPoint1().y == 4.0);

        b->AddAttr(new CountedAttr<7301>, false);
        a->AddSommetAttr(new CountedAttr<7301>, true);
        EXPECT_NE(b->GetAttr(CountedAttr<7301>::GetClassId()), nullptr);
        EXPECT_NE(a->GetSommetAttr(CountedAttr<7301>::GetClassId()), nullptr);
        EXPECT_EQ(a->GetAttr(CountedAttr<7301>::GetClassId()), nullptr);
    }
    EXPECT_EQ(CountedAttr<7301>::alive, 0) << "containers end with their dart and vertex";
}

// Arcs added about a centre dart c: 'F' AddPrecFront puts Alpha(n) just after c in Sigma
// order, 'B' AddPrecBack just before, a digit k AddPrec of k arcs after c in reverse.
TEST(QmAlgVorBrin, InsertionsGiveTheSigmaOrderAndSommetWrites)
{
    for (std::string ops : {"FF", "FB", "BB", "FBF", "BFB", "1", "F2", "BF3"})
    {
        VorHandMap m;
        BrinVor* c = m.Pair();
        std::vector<BrinVor*> expected = {c};
        std::vector<BrinVor*> shared = {c}; // darts that must hold c's vertex
        std::vector<BrinVor*> without;      // new darts that must have none
        for (char op : ops)
        {
            if (op == 'F' || op == 'B')
            {
                BrinVor* n = m.Pair();
                op == 'F' ? A::AddPrecFront(c, n) : A::AddPrecBack(c, n);
                expected.insert(op == 'F' ? expected.begin() + 1 : expected.end(), n->Alpha());
                shared.push_back(n->Alpha());
                without.push_back(n);
                continue;
            }
            // AddPrec writes arr[0..count-2] themselves and Alpha(arr[count-1]).
            const long count = op - '0';
            std::vector<BrinVor*> arr;
            for (long i = 0; i < count; ++i)
                arr.push_back(m.Pair());
            A::AddPrec(c, arr.data(), count);
            for (long i = 0; i < count; ++i)
            {
                expected.insert(expected.begin() + 1 + i, arr[count - 1 - i]->Alpha());
                shared.push_back(i + 1 < count ? arr[i] : arr[i]->Alpha());
                without.push_back(i + 1 < count ? arr[i]->Alpha() : arr[i]);
            }
        }
        EXPECT_EQ(SigmaOrbit(c), expected) << ops;
        // The missing vertex is made once, with all values infinite.
        qmSommetVor* s = A::GetSommet(c);
        ASSERT_NE(s, nullptr) << ops;
        EXPECT_TRUE(IsInfini(s->Point) && s->D == VorInfini) << ops;
        for (BrinVor* d : shared)
            EXPECT_EQ(A::GetSommet(d), s) << ops;
        for (BrinVor* d : without)
            EXPECT_EQ(A::GetSommet(d), nullptr) << ops;
        ExpectTreeInvariants(m, ops);
    }
}

TEST(QmAlgVorBrin, TurningAboutAVertex)
{
    Caterpillar t;
    ExpectTreeInvariants(t.m, "caterpillar");
    EXPECT_EQ(AvanceGauche(t.x), t.m1);
    EXPECT_EQ(AvanceDroite(t.x), t.m2);

    t.x->FlagSigmaStar(false);
    for (BrinVor* d : t.m.darts)
        EXPECT_EQ(d->GetFlag(), (d == t.x || d == t.l1 || d == t.l2) ? 1 : 0);
    t.m1->FlagSigmaStar(true);
    for (BrinVor* d : {t.m1, t.m2, t.x->Alpha(), t.m1->Alpha(), t.m2->Alpha()})
        EXPECT_EQ(d->GetFlag(), 1);
    EXPECT_EQ(t.l1->Alpha()->GetFlag(), 0);

    // The predicate sees the orbit in Sigma order; SigmaStar stops at its first false.
    std::vector<BrinVor const*> seen;
    auto pred = [](BrinVor const* d, void* ctx)
    {
        auto* s = static_cast<std::vector<BrinVor const*>*>(ctx);
        s->push_back(d);
        return d->GetFlag() == 1;
    };
    EXPECT_TRUE(t.x->SigmaStar(pred, &seen));
    EXPECT_EQ(seen, (std::vector<BrinVor const*>{t.x, t.l1, t.l2}));
    t.l1->SetFlag(0);
    seen.clear();
    EXPECT_FALSE(t.x->SigmaStar(pred, &seen));
    EXPECT_EQ(seen.size(), 2u);
}

TEST(QmAlgVorBrin, SetAllIFollowsOnePseudoFace)
{
    VorContour k({{0, 0}, {1, 0}, {2, 0}}, false);
    struct Case
    {
        int from;
        bool second; // SetAllI2
        std::vector<int> changed;
    };
    const Case cases[] = {{5, false, {5, 0, 6}}, {0, false, {0, 6}}, {6, false, {6}},
                          {9, false, {9, 1, 2}}, {1, true, {0, 5}},  {7, true, {6, 0, 5}},
                          {3, true, {2, 1, 9}},  {6, true, {7}}};
    for (Case const& c : cases)
    {
        Caterpillar t;
        auto& d = t.m.darts;
        for (BrinVor* b : d)
            A::SetI(b, k.e[0], false, false);
        c.second ? A::SetAllI2(d[c.from], k.e[1], true, true)
                 : A::SetAllI1(d[c.from], k.e[1], true, true);
        for (int i = 0; i < int(d.size()); ++i)
        {
            const bool changed = std::count(c.changed.begin(), c.changed.end(), i) == 1;
            EXPECT_EQ(d[i]->GetI1() == k.e[1] && d[i]->IsEdge1() && d[i]->GetExtr1(), changed)
                << "from " << c.from << (c.second ? " SetAllI2" : " SetAllI1") << ", dart " << i;
        }
    }
}

TEST(QmAlgVorBrin, StepsAlongAnOpenContour)
{
    VorContour k({{0, 0}, {1, 0}, {2, 1}, {3, 1}}, false);
    VorHandMap m;
    BrinVor* p0 = m.Pair();
    BrinVor* p1 = m.Pair();
    BrinVor* q1 = m.Pair();
    BrinVor* q2 = m.Pair();
    BrinVor* p2 = m.Pair();
    k.SetB(0, p0, p1);
    k.SetB(1, q1, q2);
    k.SetB(2, p2, nullptr);
    // (edge, isEdge, extr) on both sides; GetNextB reads Alpha's, GetPrevB the dart's own.
    struct Case
    {
        size_t edge;
        bool isEdge, extr;
        BrinVor *next, *prev;
    };
    const Case cases[] = {
        {0, true, true, q2, p0},
        {0, false, true, q1, p0},
        {0, true, false, p1, VorBrinFin()},
        {2, true, true, VorBrinFin(), p2},
        {2, true, false, nullptr, q1},
        {2, false, false, nullptr, q2},
    };
    for (Case const& c : cases)
    {
        BrinVor* b = m.Pair(k.e[c.edge], c.isEdge, c.extr, k.e[c.edge], c.isEdge, c.extr);
        EXPECT_EQ(b->GetNextB(), c.next) << "edge " << c.edge << " " << c.isEdge << c.extr;
        EXPECT_EQ(b->GetPrevB(), c.prev) << "edge " << c.edge << " " << c.isEdge << c.extr;
    }

    // The finds skip an edge without darts and pass the open end on.
    k.SetB(1, nullptr, nullptr);
    EXPECT_EQ(FindNextB(k.e[0], m.Pair(k.e[0], true, true, k.e[0], true, true)), p2);
    EXPECT_EQ(FindNextB(k.e[0], m.Pair(k.e[0], true, false, k.e[0], true, false)), p1);
    EXPECT_EQ(FindNextB(k.e[0], nullptr), p2);
    EXPECT_EQ(FindNextB(k.e[2], nullptr), VorBrinFin());
    EXPECT_EQ(FindNextB(k.e[2], m.Pair(k.e[2], true, true, k.e[2], true, true)), VorBrinFin());
    EXPECT_EQ(FindPrevB(k.e[2], m.Pair(k.e[2], true, false, k.e[2], true, false)), p1);
    EXPECT_EQ(FindPrevB(k.e[0], nullptr), VorBrinFin());
}

TEST(QmAlgVorBrin, FindOnAClosedContourTerminates)
{
    VorContour k({{0, 0}, {0, 1}, {1, 1}, {1, 0}}, true);
    VorHandMap m;
    BrinVor* d = m.Pair();
    BrinVor* d1 = m.Pair();
    for (size_t i = 0; i < 4; ++i)
    {
        k.SetB(2, nullptr, nullptr);
        EXPECT_EQ(FindNextB(k.e[i], nullptr), nullptr) << "no dart at all, from edge " << i;
        EXPECT_EQ(FindPrevB(k.e[i], nullptr), nullptr) << "no dart at all, from edge " << i;
        // One dart: found from everywhere, also from its own edge after a full lap.
        k.SetB(2, nullptr, d);
        EXPECT_EQ(FindNextB(k.e[i], nullptr), d) << "from edge " << i;
        EXPECT_EQ(FindPrevB(k.e[i], nullptr), d) << "from edge " << i;
    }
    // B1 before B2 going forward, B2 before B1 going back.
    k.SetB(2, d1, d);
    EXPECT_EQ(FindNextB(k.e[1], nullptr), d1);
    EXPECT_EQ(FindPrevB(k.e[3], nullptr), d);
}

TEST(QmAlgVorBrin, SitesContigusAndSidesOfArcs)
{
    VorContour k({{0, 0}, {0, 1}, {1, 1}}, true);
    struct Case
    {
        VorEdge* e1;
        bool isEdge1;
        VorEdge* e2;
        bool isEdge2;
        bool contigus;
    };
    const Case cases[] = {
        {k.e[0], true, k.e[0], false, true},  {k.e[0], false, k.e[1], false, true},
        {k.e[2], false, k.e[0], false, true}, {k.e[1], false, k.e[0], false, false},
        {k.e[0], true, k.e[1], false, false}, {k.e[0], false, k.e[1], true, false},
    };
    VorHandMap m;
    for (Case const& c : cases)
    {
        EXPECT_EQ(SitesContigus(c.e1, c.isEdge1, c.e2, c.isEdge2), c.contigus);
        // b has site 1 across it, n site 2 on its own side.
        BrinVor* b = m.Pair(k.e[1], true, false, c.e1, c.isEdge1, false);
        BrinVor* n = m.Pair(c.e2, c.isEdge2, false, k.e[1], true, false);
        EXPECT_EQ(b->ADroite(n), c.contigus);
        EXPECT_EQ(n->AGauche(b), c.contigus);
    }
}

TEST(QmAlgVorBrin, IsDroiteEveryBranch)
{
    OwnedMesh mesh = NewOwnedMesh();
    auto vx = [&](double x, double y) { return mesh->AddVertex(ZgVector3(x, y, 0.0)); };
    QmPstMesh::vertex* b = vx(4, 0);
    QmPstMesh::vertex* k = vx(9, 9);
    VorEdge* s = Edge(*mesh, vx(0, 0), b);            // the segment, on y = 0
    VorEdge* w = Edge(*mesh, b, vx(5, 3));            // chained at b
    VorEdge* t = Edge(*mesh, vx(2, 3), vx(5, 5));     // starts off the line
    VorEdge* u = Edge(*mesh, vx(7, 0), vx(8, 2));     // starts on the line's prolongation
    VorEdge* n1 = Edge(*mesh, vx(7, 5e-7), vx(8, 2)); // within dZgZero of the line
    VorEdge* n2 = Edge(*mesh, vx(7, 1e-3), vx(8, 2)); // beyond it
    VorEdge* z = Edge(*mesh, k, vx(9, 9));            // zero length: no foot
    VorEdge* j = Edge(*mesh, k, vx(10, 9));           // starts at z's first vertex
    struct Case
    {
        VorEdge* pt;
        VorEdge* seg;
        bool segExtr, droite;
        char const* why;
    };
    // The point is always v[0] of its edge.
    const Case cases[] = {
        {w, s, false, true, "point is the segment's far end (identity first)"},
        {w, s, true, true, "point is the end the segment runs from"},
        {t, s, false, false, "point off the line: parabola"},
        {u, s, false, true, "point on the line's prolongation"},
        {n1, s, false, true, "point within dZgZero of the line"},
        {n2, s, false, false, "point just beyond dZgZero"},
        {s, s, true, true, "point of the segment's own edge"},
        {j, z, false, true, "shared end of a degenerate segment: fall-through"},
        {t, z, false, false, "degenerate segment, foreign point"},
    };
    VorHandMap m;
    for (Case const& c : cases)
    {
        EXPECT_EQ(m.Pair(c.pt, false, false, c.seg, true, c.segExtr)->IsDroite(), c.droite)
            << c.why;
        EXPECT_EQ(m.Pair(c.seg, true, c.segExtr, c.pt, false, false)->IsDroite(), c.droite)
            << c.why << " (mirrored)";
    }
    EXPECT_TRUE(m.Pair(t, false, false, u, false, true)->IsDroite()) << "two points";
    EXPECT_TRUE(m.Pair(t, true, false, u, true, false)->IsDroite()) << "two segments";
}

TEST(QmAlgVorBrin, TrueSitesAtThePseudoFaceEnds)
{
    VorContour k({{0, 0}, {1, 0}, {2, 1}, {3, 3}}, false);
    // SiteGauche reads the first dart of [A(l2) x m1], from anywhere on it.
    {
        Caterpillar t;
        for (BrinVor* d : t.m.darts)
            A::SetI(d, k.e[0], true, false);
        A::SetI(t.l2->Alpha(), k.e[2], false, true);
        for (BrinVor* from : {t.m1, t.x, t.l2->Alpha()})
        {
            VorEdge* e = nullptr;
            bool isEdge = true, extr = false;
            SiteGauche(from, &e, &isEdge, &extr);
            EXPECT_TRUE(e == k.e[2] && !isEdge && extr);
        }
    }
    // SiteDroite reads its dead end m1, which has (e0, isEdge, true), and the dart across,
    // (e1, acrossIsEdge, false), when the dead end stands on the contour (z).
    struct Case
    {
        bool isEdge, z, acrossIsEdge;
        VorEdge* e;
        bool extr;
        char const* why;
    };
    const Case cases[] = {
        {false, false, false, k.e[0], true, "point, far vertex off the contour"},
        {false, true, false, k.e[1], false, "point on the contour: read across"},
        {true, false, false, k.e[0], false, "segment seen from its far end"},
        {true, true, false, k.e[0], false, "segment on the contour, point across"},
        {true, true, true, k.e[0], true, "segment on the contour, segment across"},
    };
    for (Case const& c : cases)
    {
        Caterpillar t;
        A::SetI(t.m1, k.e[0], c.isEdge, true);
        A::SetI(t.m1->Alpha(), k.e[1], c.acrossIsEdge, false);
        t.m.Vertex(t.m1->Alpha(), {5, 5}, c.z ? 0.0 : 1.5);
        for (BrinVor* from : {t.l2->Alpha(), t.x, t.m1})
        {
            VorEdge* e = nullptr;
            bool isEdge = !c.isEdge, extr = !c.extr;
            SiteDroite(from, &e, &isEdge, &extr);
            EXPECT_TRUE(e == c.e && isEdge == c.isEdge && extr == c.extr) << c.why;
        }
    }
}

TEST(QmAlgVorBrin, AttrEdgeVorFieldsAndCopies)
{
    AttrEdgeVor fresh;
    EXPECT_NE(fresh.GetObjClassId(), 0);
    EXPECT_EQ(fresh.GetObjClassId(), AttrEdgeVor::GetClassId());
    EXPECT_TRUE(fresh.GetPstMeshBox() == nullptr && fresh.GetPstMeshBoxDiag() == VorInfini);
    EXPECT_TRUE(fresh.GetB1() == nullptr && fresh.GetB2() == nullptr);

    VorContour k({{0, 0}, {3, 0}, {3, 4}}, false);
    VorHandMap m;
    BrinVor* b1 = m.Pair(k.e[1], true, false, k.e[0], true, true);
    BrinVor* b2 = m.Pair();
    k.SetB(1, b1, b2);
    EXPECT_TRUE(k.Attr(1)->GetB(0) == b1 && k.Attr(1)->GetB(5) == b2);
    fresh = *k.Attr(1);
    AttrEdgeVor copy(fresh);
    EXPECT_TRUE(copy.GetPstMeshBox() == &k.box && copy.GetPstMeshBoxDiag() == 5.0);
    EXPECT_TRUE(copy.GetB1() == b1 && copy.GetB2() == b2);
    EXPECT_TRUE(GetPstMeshBox(b1) == &k.box && GetPstMeshBoxDiag(b1) == 5.0);

    // The neighbours depend on the edge asked about, not on the attribute.
    EXPECT_EQ(fresh.GetNextIde(k.e[0]), k.e[1]);
    EXPECT_EQ(fresh.GetPrevIde(k.e[1]), k.e[0]);
    EXPECT_EQ(fresh.GetNextIde(k.e[1]), nullptr);
    EXPECT_EQ(fresh.GetPrevIde(k.e[0]), nullptr);
}

TEST(QmAlgVorBrin, AssignmentAndEquality)
{
    VorContour k({{0, 0}, {1, 0}, {2, 1}}, false);
    VorHandMap m;
    BrinVor* b = m.Pair(k.e[0], true, true, k.e[1], false, false);
    BrinVor* c = m.Pair(k.e[1], false, false, k.e[0], true, true);
    m.Vertex(b, {1, 1}, 2.0);
    b->SetFlag(3);
    c->AddAttr(new CountedAttr<7303>, false);
    *c = *b;
    EXPECT_TRUE(c->Phi() == b->Phi() && c->Alpha() == b->Alpha() && c->GetFlag() == 3);
    EXPECT_TRUE(A::GetSommet(c) == A::GetSommet(b) && c->GetI1() == k.e[0]);
    EXPECT_TRUE(c->IsEdge1() && c->GetExtr1());
    EXPECT_NE(c->GetAttr(CountedAttr<7303>::GetClassId()), nullptr) << "the container stays";
    EXPECT_TRUE(*c == *b);

    // Flag and the Sommet pointer play no part; the site and D, exactly, do.
    c->SetFlag(0);
    m.Vertex(c, {7, 7}, 2.0);
    EXPECT_TRUE(*c == *b);
    A::SetD1(c, 2.0 + 1e-15);
    EXPECT_FALSE(*c == *b);
    A::SetD1(c, 2.0);
    for (auto [e, isEdge, extr] :
         {std::tuple{k.e[1], true, true}, {k.e[0], false, true}, {k.e[0], true, false}})
    {
        A::SetI(c, e, isEdge, extr);
        EXPECT_FALSE(*c == *b);
    }
    A::SetI(c, k.e[0], true, true);
    A::SetExtr2(c, true);
    EXPECT_TRUE(b->GetExtr2() && *c == *b) << "SetExtr2 writes through the shared Alpha";
}

TEST(QmAlgVorBrinDeathTest, CorruptOrbitStopsAtTheBound)
{
    // The Sigma walk from a falls into the loop b -> c -> b and never comes back to a.
    VorHandMap m;
    BrinVor* a = m.Pair();
    BrinVor* b = m.Pair();
    BrinVor* c = m.Pair();
    a->Sigma() = b;
    b->Sigma() = c;
    c->Sigma() = b;
    [[maybe_unused]] BrinVor* prec = a;
    EXPECT_DEBUG_DEATH(prec = a->GetPrec(), "corrupt map");
#ifdef NDEBUG
    EXPECT_EQ(prec, nullptr);
#endif
}
