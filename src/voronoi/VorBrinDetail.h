#pragma once

// Private helpers of the diagram's map, shared by the darts, the arcs, the construction
// and the tests. Not installed, not exported.

#include "kernel/ZgVector2.h"
#include "mesh/QmPstMesh.h"
#include "voronoi/QmAlgVor.h"

#include <new>

// Steps allowed to a walk about a vertex, along a pseudo-face or along a contour. A true
// orbit is far shorter than any diagram that fits in memory would need; a walk that gets
// here is on a corrupt map (asserted in debug builds) or a malformed chain of edges, and
// gives up the documented way.
constexpr long lVorPasMax = 1L << 24;

// 0.0 marks a vertex of the contour: it is assigned, never computed, so == is right here
// and only here.
inline bool IsContourSommet(double d) { return d == 0.0; }

// The planar position of a contour vertex; z is dropped.
inline ZgVector2 VorCoo(QmPstMesh::vertex const* v) { return {v->coo[0], v->coo[1]}; }

// The edge's AttrEdgeVor; null when e is null or has none.
inline QmAlgVor::AttrEdgeVor* GetAttrEdgeVor(QmPstMesh::edge* e)
{
    if (e == nullptr)
        return nullptr;
    return static_cast<QmAlgVor::AttrEdgeVor*>(
        e->attributes.GetAttr(QmAlgVor::AttrEdgeVor::GetClassId()));
}

// The darts that stand on a pocket's contour, one after another from first: each is handed
// to step, which answers the site to go on by (FindNextB's edge). Ends back at first, past
// an open contour's end, where no dart follows, or after lVorPasMax darts.
template <typename Step> void VorTourContour(QmAlgVor::BrinVor* first, Step step)
{
    QmAlgVor::BrinVor* b = first;
    for (long steps = 0; b != nullptr && steps < lVorPasMax; ++steps)
    {
        b = FindNextB(step(b), b);
        if (b == first || b == VorBrinFin())
            break;
    }
}

// Two sites follow each other along the contour: the same edge, or two point sites
// where e2 is the next contour edge of e1 (their shared vertex).
bool SitesContigus(QmPstMesh::edge* e1, bool isEdge1, QmPstMesh::edge* e2, bool isEdge2);

// The true site on b's own side, read at the first dart of its pseudo-face: walk back by
// GetPrec while Alpha is not a dead end. All three outputs are written.
void SiteGauche(QmAlgVor::BrinVor const* b, QmPstMesh::edge** e, bool* isEdge, bool* extr);
// The true site on the side of a, normally the Alpha of the dart in question, read at the
// dead end that closes a's pseudo-face. Where that dead end stands on the contour
// (its Alpha's distance is exactly 0.0), the end is read from the dart across it; a
// segment seen from its far end is oriented the other way. All three outputs are written.
void SiteDroite(QmAlgVor::BrinVor const* a, QmPstMesh::edge** e, bool* isEdge, bool* extr);

// A new vertex for the darts' own insertions: from the pool of the diagram being built or
// edited on this thread (see VorSommetScope), else from the heap, as for maps built by hand.
qmSommetVor* VorNewSommet();

// The tour of ParcoursPseudoFaces. Arcs are marked as they are taken either way; with
// sansFlag a pocket whose start dart is marked already (an island joined to the first
// pocket's tree) is passed over instead of ending the walk.
bool VorParcoursPseudoFaces(QmAlgVor& vor, bool (*cb)(void*, QmAlgVor::BrinVor*, bool), void* ctx,
                            bool sansFlag);

// The private operations of the darts and of AttrEdgeVor, for the construction code
// outside QmAlgVor and for the tests that build maps by hand. A dart made here is freed
// here; linking it into a pair and a map is the caller's business.
struct qmVorAccess
{
    using BrinVor = QmAlgVor::BrinVor;
    using AttrEdgeVor = QmAlgVor::AttrEdgeVor;
    using edge = QmPstMesh::edge;

    static BrinVor* NewBrin(edge* e, bool isEdge, bool extr)
    {
        return new BrinVor(e, isEdge, extr);
    }
    static void DeleteBrin(BrinVor* b) { delete b; }
    // For pooled darts: construct in raw memory, destroy without freeing it.
    static BrinVor* ConstructBrin(void* mem, edge* e, bool isEdge, bool extr)
    {
        return new (mem) BrinVor(e, isEdge, extr);
    }
    static void DestroyBrin(BrinVor* b) { b->~BrinVor(); }
    static QmAlgVorData* GetData(QmAlgVor const& vor) { return vor.data; }

    static void SetI(BrinVor* b, edge* e, bool isEdge, bool extr) { b->SetI(e, isEdge, extr); }
    // SetI by the propagation of sites: the dart then holds its pseudo-face's site.
    static void SetISur(BrinVor* b, edge* e, bool isEdge, bool extr)
    {
        b->SetI(e, isEdge, extr);
        b->Sur = true;
    }
    static bool SiteSur(BrinVor const* b) { return b->Sur; }
    // After the site of b changes, the darts after it on its pseudo-face no longer hold
    // their pseudo-face's site for sure.
    static void Mefiance(BrinVor* b)
    {
        for (long k = 0; b != nullptr && k < lVorPasMax; ++k)
        {
            b->Sur = false;
            if (b->Last())
                break;
            b = b->Phi();
        }
    }
    static void SetExtr1(BrinVor* b, bool extr) { b->SetExtr1(extr); }
    static void SetExtr2(BrinVor* b, bool extr) { b->SetExtr2(extr); }
    static void SetD1(BrinVor* b, double d) { b->SetD1(d); }
    static void SetPoint1(BrinVor* b, ZgVector2 const& p) { b->SetPoint1(p); }
    static qmSommetVor* GetSommet(BrinVor const* b) { return b->GetSommet(); }
    static void SetSommet(BrinVor* b, qmSommetVor* s) { b->SetSommet(s); }
    static void SetAllI1(BrinVor* b, edge* e, bool isEdge, bool extr)
    {
        b->SetAllI1(e, isEdge, extr);
    }
    static void SetAllI2(BrinVor* b, edge* e, bool isEdge, bool extr)
    {
        b->SetAllI2(e, isEdge, extr);
    }
    static void AddPrecFront(BrinVor* b, BrinVor* n) { b->AddPrecFront(n); }
    static void AddPrecBack(BrinVor* b, BrinVor* n) { b->AddPrecBack(n); }
    static void AddPrec(BrinVor* b, BrinVor** arr, long count) { b->AddPrec(arr, count); }

    static void GetEquationV(BrinVor const* b, ZgVector2* out, long& count)
    {
        b->GetEquationV(out, count);
    }
    static void GetEquationC(BrinVor const* b, ZgVector2* out, long& count)
    {
        b->GetEquationC(out, count);
    }
    static void GetEquationAffichage(BrinVor const* b, ZgVector2* out, long& count)
    {
        b->GetEquationAffichage(out, count);
    }
    static ZgVector2 XYtAffichage(BrinVor const* b, double t) { return b->XYtAffichage(t); }
    static ZgVector2 XYtC(BrinVor const* b, double t) { return b->XYtC(t); }

    static void SetPstMeshBox(AttrEdgeVor* a, ZgBBox2* box) { a->SetPstMeshBox(box); }
    static void SetPstMeshBoxDiag(AttrEdgeVor* a, double d) { a->SetPstMeshBoxDiag(d); }
    static void SetB1(AttrEdgeVor* a, BrinVor const* b) { a->SetB1(b); }
    static void SetB2(AttrEdgeVor* a, BrinVor const* b) { a->SetB2(b); }
};
