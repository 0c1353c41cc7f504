#include "query/QmAlgNeib.h"
#include "voronoi/QmAlgVor.h"
#include "voronoi/VorBrinDetail.h"
#include "voronoi/VorGeomDetail.h"

#include <cassert>

long QmAlgVor::AttrEdgeVor::classId = 0;

namespace
{
using BrinVor = QmAlgVor::BrinVor;
using edge = QmPstMesh::edge;

// The contour neighbours of e through its QmAlgNeib::AttrEdge; null at an open end, for a
// null e, or (a breach asserted in debug builds) when e has no such attribute.
edge* nextIde(edge* e)
{
    if (e == nullptr)
        return nullptr;
    auto* n =
        static_cast<QmAlgNeib::AttrEdge*>(e->attributes.GetAttr(QmAlgNeib::AttrEdge::GetClassId()));
    assert(n != nullptr && "contour edge without QmAlgNeib::AttrEdge");
    return n != nullptr ? n->GetNextIde(e) : nullptr;
}

edge* prevIde(edge* e)
{
    if (e == nullptr)
        return nullptr;
    auto* n =
        static_cast<QmAlgNeib::AttrEdge*>(e->attributes.GetAttr(QmAlgNeib::AttrEdge::GetClassId()));
    assert(n != nullptr && "contour edge without QmAlgNeib::AttrEdge");
    return n != nullptr ? n->GetPrevIde(e) : nullptr;
}

// The AttrEdgeVor of a contour edge, which Compute guarantees.
QmAlgVor::AttrEdgeVor* attrOf(edge* e)
{
    QmAlgVor::AttrEdgeVor* a = GetAttrEdgeVor(e);
    assert(a != nullptr && "contour edge without AttrEdgeVor");
    return a;
}

// Reached the walk bound: the map is corrupt. Asserts in debug builds; release builds give
// up with the walk's documented failure value.
bool walkBoundHit(long steps)
{
    const bool hit = steps >= lVorPasMax;
    assert(!hit && "Phi/Sigma orbit does not close: corrupt map");
    return hit;
}

// The contour walk shared by FindNextB and FindPrevB. step gives the neighbouring edge,
// firstB/secondB the dart to take on it when the first is null, and brinStep the dart's own
// move along the contour.
template <typename Step, typename Take, typename BrinStep>
BrinVor* findB(edge* const e, BrinVor* b, Step step, Take take, BrinStep brinStep)
{
    assert(b != VorBrinFin());
    edge* cur = e;
    if (b != nullptr)
        b = brinStep(b);
    // Invariant: b is null and cur is the last edge looked at. The state (cur, null) fully
    // decides what follows, so coming back to e with no dart would repeat forever: a closed
    // contour without darts gives null. A chain that never comes back to e (edges that are
    // not one chain) is stopped by the step bound, also with null.
    for (long steps = 0; b == nullptr; ++steps)
    {
        if (steps >= lVorPasMax)
            return nullptr;
        edge* n = step(cur);
        if (n == nullptr)
            return VorBrinFin();
        cur = n;
        QmAlgVor::AttrEdgeVor* a = attrOf(cur);
        if (a == nullptr)
            return nullptr;
        b = take(a);
        if (b == nullptr && cur == e)
            return nullptr;
    }
    return b;
}
} // namespace

// Darts.

QmAlgVor::BrinVor::BrinVor(QmPstMesh::edge* const e, bool isEdge, bool extr)
{
    SetI(e, isEdge, extr);
}

BrinVor& QmAlgVor::BrinVor::operator=(BrinVor const& other)
{
    phi = other.phi;
    alpha = other.alpha;
    I = other.I;
    IsEdge = other.IsEdge;
    Extr = other.Extr;
    Sommet = other.Sommet;
    Flag = other.Flag;
    Sur = other.Sur;
    return *this;
}

bool QmAlgVor::BrinVor::operator==(BrinVor const& other) const
{
    return phi == other.phi && alpha == other.alpha && GetI1() == other.GetI1() &&
           GetI2() == other.GetI2() && IsEdge1() == other.IsEdge1() &&
           IsEdge2() == other.IsEdge2() && GetExtr1() == other.GetExtr1() &&
           GetExtr2() == other.GetExtr2() && GetD1() == other.GetD1();
}

bool QmAlgVor::BrinVor::LastBord() const { return Last() && IsContourSommet(GetD2()); }

void QmAlgVor::BrinVor::FlagSigmaStar(bool both)
{
    BrinVor* d = this;
    long steps = 0;
    do
    {
        d->Flag = 1;
        if (both)
            d->alphaRef().Flag = 1;
        d = d->Sigma();
    } while (d != this && d != nullptr && !walkBoundHit(++steps));
}

bool QmAlgVor::BrinVor::SigmaStar(bool (*pred)(BrinVor const*, void*), void* ctx) const
{
    BrinVor const* d = this;
    long steps = 0;
    do
    {
        if (!pred(d, ctx))
            return false;
        d = d->Sigma();
        if (d == nullptr || walkBoundHit(++steps))
            return false;
    } while (d != this);
    return true;
}

BrinVor* QmAlgVor::BrinVor::GetPrec() const
{
    // Turn about the start vertex until the dart whose Sigma is this one; its Alpha ends
    // here and runs on into this dart.
    BrinVor const* v = this;
    for (long steps = 0; v->Sigma() != this; ++steps)
    {
        v = v->Sigma();
        if (v == nullptr || walkBoundHit(steps))
            return nullptr;
    }
    return v->alpha;
}

BrinVor* QmAlgVor::BrinVor::GetPrecAlpha() const
{
    // Turn about the end vertex: each Alpha(Phi(v)) is the next dart arriving there.
    assert(phi != nullptr);
    BrinVor* v = phi->alpha;
    for (long steps = 0; v != nullptr && v->phi != alpha; ++steps)
    {
        if (v->phi == nullptr || walkBoundHit(steps))
            return nullptr;
        v = v->phi->alpha;
    }
    return v;
}

void QmAlgVor::BrinVor::SetAllI1(QmPstMesh::edge* const e, bool isEdge, bool extr)
{
    BrinVor* d = this;
    for (long steps = 0; d != nullptr && !walkBoundHit(steps); ++steps)
    {
        d->SetI(e, isEdge, extr);
        const bool last = d->Last();
        d = d->phi;
        if (last)
            return;
    }
}

void QmAlgVor::BrinVor::SetAllI2(QmPstMesh::edge* const e, bool isEdge, bool extr)
{
    // Backward along the pseudo-face that holds Alpha(this), down to its first dart (the
    // one that leaves a dead end).
    BrinVor* d = alpha;
    for (long steps = 0; d != nullptr && !walkBoundHit(steps); ++steps)
    {
        d->SetI(e, isEdge, extr);
        const bool alphaLast = d->alphaRef().Last();
        if (alphaLast)
            return;
        d = d->GetPrec();
    }
}

void QmAlgVor::BrinVor::AddPrecFront(BrinVor* n)
{
    // Sigma order at this vertex: this -> s   becomes   this -> Alpha(n) -> s.
    assert(n != nullptr && n->alpha != nullptr);
    n->phi = alphaRef().phi;
    alphaRef().phi = n->alpha;
    if (Sommet == nullptr)
        Sommet = VorNewSommet();
    n->alpha->Sommet = Sommet;
}

void QmAlgVor::BrinVor::AddPrecBack(BrinVor* n)
{
    // Sigma order at this vertex: p -> this   becomes   p -> Alpha(n) -> this.
    assert(n != nullptr && n->alpha != nullptr);
    BrinVor* prec = GetPrec();
    assert(prec != nullptr);
    if (prec == nullptr)
        return;
    prec->phi = n->alpha;
    n->phi = this;
    if (Sommet == nullptr)
        Sommet = VorNewSommet();
    n->alpha->Sommet = Sommet;
}

void QmAlgVor::BrinVor::AddPrec(BrinVor** arr, long count)
{
    // Sigma order at this vertex: this -> s   becomes
    // this -> Alpha(arr[count-1]) -> ... -> Alpha(arr[0]) -> s.
    assert(arr != nullptr && count >= 1);
    if (arr == nullptr || count < 1)
        return;
    if (Sommet == nullptr)
        Sommet = VorNewSommet();
    arr[0]->phi = alphaRef().phi;
    for (long i = 1; i < count; ++i)
    {
        arr[i]->phi = arr[i - 1]->alpha;
        // The dart itself, not its Alpha: the construction relies on this and sets the
        // vertices at the new darts' starts afterwards.
        arr[i - 1]->Sommet = Sommet;
    }
    alphaRef().phi = arr[count - 1]->alpha;
    arr[count - 1]->alpha->Sommet = Sommet;
}

BrinVor* QmAlgVor::BrinVor::GetNextB() const
{
    edge* e = GetI2();
    QmAlgVor::AttrEdgeVor* a = attrOf(e);
    if (a == nullptr)
        return nullptr;
    if (!GetExtr2())
        return a->GetB2();
    edge* n = a->GetNextIde(e);
    if (n == nullptr)
        return VorBrinFin();
    QmAlgVor::AttrEdgeVor* an = attrOf(n);
    if (an == nullptr)
        return nullptr;
    return IsEdge2() ? an->GetB2() : an->GetB1();
}

BrinVor* QmAlgVor::BrinVor::GetPrevB() const
{
    edge* e = GetI1();
    QmAlgVor::AttrEdgeVor* a = attrOf(e);
    if (a == nullptr)
        return nullptr;
    if (GetExtr1())
        return a->GetB1();
    edge* p = a->GetPrevIde(e);
    if (p == nullptr)
        return VorBrinFin();
    QmAlgVor::AttrEdgeVor* ap = attrOf(p);
    if (ap == nullptr)
        return nullptr;
    return IsEdge1() ? ap->GetB1() : ap->GetB2();
}

bool QmAlgVor::BrinVor::ADroite(BrinVor const* c) const
{
    return SitesContigus(GetI2(), IsEdge2(), c->GetI1(), c->IsEdge1());
}

bool QmAlgVor::BrinVor::AGauche(BrinVor const* c) const
{
    return SitesContigus(c->GetI2(), c->IsEdge2(), GetI1(), IsEdge1());
}

bool QmAlgVor::BrinVor::IsDroite() const
{
    // A parabola needs a point site facing a segment site whose line misses the point.
    // Vertex identity is tested before any arithmetic: two edges chained at the point give
    // a straight arc (the edge's normal) whatever the coordinates.
    edge* const e1 = GetI1();
    edge* const e2 = GetI2();
    const bool isEdge1 = IsEdge1();
    const bool isEdge2 = IsEdge2();
    if (e1 == e2)
        return true;
    if (!isEdge1 && isEdge2)
    {
        const bool extr1 = GetExtr1();
        const bool extr2 = GetExtr2();
        QmPstMesh::vertex* const pt = e1->v[extr1];
        if (pt == e2->v[!extr2])
            return true;
        if (IsPtOnDroite(VorCoo(e2->v[extr2]), VorCoo(e2->v[!extr2]), VorCoo(pt)))
            return true;
        if (pt != e2->v[0] && pt != e2->v[1])
            return false;
    }
    else if (isEdge1 && !isEdge2)
    {
        const bool extr1 = GetExtr1();
        const bool extr2 = GetExtr2();
        QmPstMesh::vertex* const pt = e2->v[extr2];
        if (e1->v[!extr1] == pt)
            return true;
        if (IsPtOnDroite(VorCoo(e1->v[extr1]), VorCoo(e1->v[!extr1]), VorCoo(pt)))
            return true;
        if (pt != e1->v[0] && pt != e1->v[1])
            return false;
    }
    // Two points, two segments, or a point at an end of the segment.
    return true;
}

// Edge attribute.

QmAlgVor::AttrEdgeVor::~AttrEdgeVor()
{
    box = nullptr;
    diag = VorInfini;
}

QmPstMesh::edge* QmAlgVor::AttrEdgeVor::GetPrevIde(QmPstMesh::edge* const e) const
{
    return prevIde(e);
}

QmPstMesh::edge* QmAlgVor::AttrEdgeVor::GetNextIde(QmPstMesh::edge* const e) const
{
    return nextIde(e);
}

// Free functions.

QmAlgVor::BrinVor* FindNextB(QmPstMesh::edge* const e, QmAlgVor::BrinVor* b)
{
    return findB(
        e, b, nextIde,
        [](QmAlgVor::AttrEdgeVor* a) { return a->GetB1() != nullptr ? a->GetB1() : a->GetB2(); },
        [](BrinVor* d) { return d->GetNextB(); });
}

QmAlgVor::BrinVor* FindPrevB(QmPstMesh::edge* const e, QmAlgVor::BrinVor* b)
{
    return findB(
        e, b, prevIde,
        [](QmAlgVor::AttrEdgeVor* a) { return a->GetB2() != nullptr ? a->GetB2() : a->GetB1(); },
        [](BrinVor* d) { return d->GetPrevB(); });
}

ZgBBox2* GetPstMeshBox(QmAlgVor::BrinVor const* b)
{
    QmAlgVor::AttrEdgeVor* a = attrOf(b->GetI1());
    return a != nullptr ? a->GetPstMeshBox() : nullptr;
}

double GetPstMeshBoxDiag(QmAlgVor::BrinVor const* b)
{
    QmAlgVor::AttrEdgeVor* a = attrOf(b->GetI1());
    return a != nullptr ? a->GetPstMeshBoxDiag() : VorInfini;
}

QmAlgVor::BrinVor* AvanceDroite(QmAlgVor::BrinVor* b)
{
    BrinVor* p = b->GetPrecAlpha();
    return p != nullptr ? p->Alpha() : nullptr;
}

QmAlgVor::BrinVor* AvanceGauche(QmAlgVor::BrinVor* b) { return b->Phi(); }

// Sites.

bool SitesContigus(QmPstMesh::edge* e1, bool isEdge1, QmPstMesh::edge* e2, bool isEdge2)
{
    if (e1 == e2)
        return true;
    // No next edge is no edge: the end of an open contour follows nothing.
    return !isEdge1 && !isEdge2 && e2 != nullptr && nextIde(e1) == e2;
}

void SiteGauche(QmAlgVor::BrinVor const* b, QmPstMesh::edge** e, bool* isEdge, bool* extr)
{
    // A dart whose site was propagated and not changed since holds the first dart's site.
    for (long steps = 0; !b->Alpha()->Last() && !qmVorAccess::SiteSur(b) && !walkBoundHit(steps);
         ++steps)
    {
        BrinVor const* p = b->GetPrec();
        if (p == nullptr)
            break;
        b = p;
    }
    *e = b->GetI1();
    *isEdge = b->IsEdge1();
    *extr = b->GetExtr1();
}

void SiteDroite(QmAlgVor::BrinVor const* a, QmPstMesh::edge** e, bool* isEdge, bool* extr)
{
    for (long steps = 0; !a->Last() && a->Phi() != nullptr && !walkBoundHit(steps); ++steps)
        a = a->Phi();
    BrinVor const* across = a->Alpha();
    *isEdge = a->IsEdge1();
    // The dead end stands on the contour: the site's end is read from the dart across it.
    const bool z = IsContourSommet(across->GetD1());
    if (!*isEdge)
    {
        BrinVor const* from = z ? across : a;
        *extr = from->GetExtr1();
        *e = from->GetI1();
        return;
    }
    *e = a->GetI1();
    if (z)
        *extr = across->IsEdge1() ? !across->GetExtr1() : across->GetExtr1();
    else
        *extr = !a->GetExtr1();
}
