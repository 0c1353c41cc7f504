#include "mesh/QmAttribut.h"

#include "mesh/QmCtrAttribut.h"
#include "mesh/QmPstMesh.h"
#include "support/CountedAttr.h"

#include <gtest/gtest.h>
#include <vector>

namespace
{
using A = qmtest::CountedAttr<1>;
using B = qmtest::CountedAttr<2>;

// The ring read from head along next, checked against the prev links on the way.
std::vector<QmAttribut*> ring(QmCtrAttribut const& ctr)
{
    std::vector<QmAttribut*> out;
    QmAttribut* head = ctr.GetHead();
    if (head == nullptr)
        return out;
    QmAttribut* a = head;
    do
    {
        EXPECT_EQ(a->next->prev, a);
        out.push_back(a);
        a = a->next;
    } while (a != head && out.size() < 1000);
    return out;
}

// Exposes the protected class-number source.
struct Probe : QmAttribut
{
    static long Next() { return getNewClassId(); }
    long GetObjClassId() override { return 0; }
};
} // namespace

TEST(QmAttribut, ClassNumbersAreHandedOutOnceAndInOrder)
{
    const long a = A::GetClassId();
    A probe;
    EXPECT_EQ(probe.GetObjClassId(), a);
    EXPECT_GT(a, 0);
    const long n1 = Probe::Next();
    const long n2 = Probe::Next();
    EXPECT_EQ(n2, n1 + 1);
    EXPECT_GT(n1, a);
    // A class used nowhere else takes its number at first use, after the two above,
    // whichever of its two calls comes first. (A repeated run finds it numbered already.)
    static bool firstRun = true;
    qmtest::CountedAttr<3> late;
    if (firstRun)
        EXPECT_EQ(late.GetObjClassId(), n2 + 1);
    else
        EXPECT_LT(late.GetObjClassId(), n1);
    EXPECT_EQ(qmtest::CountedAttr<3>::GetClassId(), late.GetObjClassId());
    firstRun = false;
}

TEST(QmCtrAttribut, AddAtEndOrFront)
{
    QmCtrAttribut ctr;
    auto* a = new A(1);
    auto* b = new A(2);
    auto* c = new A(3);
    ctr.AddAttr(a, false);
    EXPECT_EQ(a->next, a);
    EXPECT_EQ(a->prev, a);
    ctr.AddAttr(b, false);
    ctr.AddAttr(c, true);
    EXPECT_EQ(ring(ctr), (std::vector<QmAttribut*>{c, a, b}));
    ctr.AddAttr(nullptr, true);
    EXPECT_EQ(ring(ctr).size(), 3u);
}

TEST(QmCtrAttribut, LookupsFollowTheRingAndStopAtHead)
{
    QmCtrAttribut ctr;
    EXPECT_EQ(ctr.GetAttr(A::GetClassId()), nullptr);
    auto* b0 = new B;
    auto* a1 = new A;
    auto* b1 = new B;
    auto* a2 = new A;
    for (QmAttribut* x : std::vector<QmAttribut*>{b0, a1, b1, a2})
        ctr.AddAttr(x, false);
    EXPECT_EQ(ctr.GetAttr(A::GetClassId()), a1);
    EXPECT_EQ(ctr.GetNextAttr(A::GetClassId(), a1), a2);
    EXPECT_EQ(ctr.GetNextAttr(A::GetClassId(), a2), nullptr) << "no wrap past head";
    EXPECT_EQ(ctr.GetNextAttr(B::GetClassId(), b1), nullptr) << "b0 is head, not after b1";
    EXPECT_EQ(ctr.GetNextAttr(A::GetClassId(), nullptr), nullptr);

    A stranger;
    QmCtrAttribut other;
    auto* lone = new A;
    other.AddAttr(lone, false);
    EXPECT_EQ(ctr.GetNextAttr(A::GetClassId(), &stranger), nullptr);
    EXPECT_EQ(ctr.GetNextAttr(A::GetClassId(), lone), nullptr);
    EXPECT_EQ(other.GetNextAttr(A::GetClassId(), lone), nullptr) << "alone in its ring";
}

TEST(QmCtrAttribut, RemovalDeletesAndRelinks)
{
    const int before = A::alive;
    QmCtrAttribut ctr;
    auto* a = new A;
    auto* b = new A;
    auto* c = new A;
    ctr.AddAttr(a, false);
    ctr.AddAttr(b, false);
    ctr.AddAttr(c, false);
    ctr.RemoveAttr(a);
    EXPECT_EQ(ring(ctr), (std::vector<QmAttribut*>{b, c}));
    ctr.RemoveAttr(c);
    EXPECT_EQ(ring(ctr), (std::vector<QmAttribut*>{b}));
    ctr.RemoveAttr(nullptr);
    ctr.RemoveAttr(b);
    EXPECT_EQ(ctr.GetHead(), nullptr);
    EXPECT_EQ(A::alive, before);
}

TEST(QmCtrAttribut, RemoveClassTakesEveryMatchWherever)
{
    const int beforeA = A::alive;
    const int beforeB = B::alive;
    QmCtrAttribut ctr;
    // Matches at the head, in a run, in the middle and at the end.
    std::vector<QmAttribut*> order = {new A, new A, new B, new A, new A, new B, new A};
    for (QmAttribut* x : order)
        ctr.AddAttr(x, false);
    ctr.RemoveClassAttr(A::GetClassId());
    EXPECT_EQ(ring(ctr), (std::vector<QmAttribut*>{order[2], order[5]}));
    EXPECT_EQ(A::alive, beforeA);

    ctr.RemoveClassAttr(B::GetClassId());
    EXPECT_EQ(ctr.GetHead(), nullptr);
    EXPECT_EQ(B::alive, beforeB);
    ctr.RemoveClassAttr(B::GetClassId());
}

TEST(QmCtrAttribut, DestructionAndRemoveAllDeleteEverything)
{
    const int before = A::alive;
    {
        QmCtrAttribut ctr;
        for (int i = 0; i < 5; ++i)
            ctr.AddAttr(new A, i % 2 == 0);
        EXPECT_EQ(A::alive, before + 5);
    }
    EXPECT_EQ(A::alive, before);
    QmCtrAttribut ctr;
    ctr.AddAttr(new A, false);
    ctr.RemoveAllAttr();
    EXPECT_EQ(ctr.GetHead(), nullptr);
    EXPECT_EQ(A::alive, before);
}

TEST(QmAttribut, RemoveAttrVTakesOnlyTheFirstOfTheClass)
{
    QmPstMesh* mesh = QmPstMesh::CreateMesh();
    QmPstMesh::vertex* v = mesh->AddVertex(ZgVector3());
    QmPstMesh::vertex* w = mesh->AddVertex(ZgVector3(1, 1, 1));
    QmPstMesh::vertex* const vw[2] = {v, w};
    QmPstMesh::vertex* const vwv[3] = {v, w, v};
    QmPstMesh::edge* e = mesh->AddEdge(vw, 0);
    QmPstMesh::face* f = mesh->AddFace(vwv, 0);
    auto* first = new A(1);
    auto* second = new A(2);
    mesh->AddEleAttr(v, second, false);
    mesh->AddEleAttr(v, first, true);
    mesh->AddEleAttr(v, new B, false);
    mesh->AddEleAttr(e, new A, false);
    mesh->AddEleAttr(f, new A, false);

    QmAttribut::RemoveAttrV(mesh, A::GetClassId());
    EXPECT_EQ(mesh->GetEleAttr(v, A::GetClassId()), second);
    EXPECT_NE(mesh->GetEleAttr(v, B::GetClassId()), nullptr);
    EXPECT_NE(mesh->GetEleAttr(e, A::GetClassId()), nullptr) << "edges untouched";
    QmAttribut::RemoveAttrE(mesh, A::GetClassId());
    EXPECT_EQ(mesh->GetEleAttr(e, A::GetClassId()), nullptr);
    QmAttribut::RemoveAttrF(mesh, A::GetClassId());
    EXPECT_EQ(mesh->GetEleAttr(f, A::GetClassId()), nullptr);
    EXPECT_EQ(mesh->GetEleAttr(v, A::GetClassId()), second);
    QmPstMesh::DestroyMesh(mesh);
}
