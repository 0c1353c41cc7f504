#include "voronoi/QmAlgVorAlgoParcours.h"

#include "mesh/QmPstMesh.h"
#include "voronoi/VorBrinDetail.h"

#include <list>

namespace
{
using BrinVor = QmAlgVor::BrinVor;

// The start dart of a pocket: B2 of its first edge, null when the pocket has none.
BrinVor* startOf(QmAlgVor const& vor, long pocket)
{
    QmAlgVor::AttrEdgeVor* a = GetAttrEdgeVor(vor.GetPocheIde(pocket));
    return a != nullptr ? a->GetB2() : nullptr;
}

// The two sites of b's arc belong to different contours, so the arc runs between two
// pockets. Sites are compared by the mesh that owns their edge: one mesh per pocket.
bool entrePoches(BrinVor const* b)
{
    QmPstMesh::edge const* e1 = b->GetI1();
    QmPstMesh::edge const* e2 = b->GetI2();
    return e1 != nullptr && e2 != nullptr && e1->mesh != e2->mesh;
}

// The common step of the depth-first walks. Turning about a's start vertex by Sigma
// meets every dart that leaves it; each one still unmarked (and between two pockets when
// entreSeuls) is marked with its Alpha, which keeps the arc from being pushed again from
// its other end, and pushed at the front.
BrinVor* avance(BrinVor* a, std::list<BrinVor*>& stack, bool& gap, bool entreSeuls)
{
    gap = true;
    BrinVor* d = a->Sigma();
    for (long steps = 0; d != a; ++steps)
    {
        // A turn that breaks or does not close is a corrupt map: stop turning.
        if (d == nullptr || d->Alpha() == nullptr || steps >= lVorPasMax)
            break;
        if (d->GetFlag() == 0 && (!entreSeuls || entrePoches(d)))
        {
            stack.push_front(d);
            d->SetFlag(1);
            d->Alpha()->SetFlag(1);
            gap = false;
        }
        d = d->Sigma();
    }
    if (stack.empty())
        return a;
    BrinVor* next = stack.front();
    stack.pop_front();
    return next;
}
} // namespace

bool QmAlgVorAlgoParcours::ParcoursFaces(QmAlgVor& vor, Callback cb, void* ctx)
{
    const long nb = vor.GetNbPoches();
    // Every pocket is checked before the first call, so that a refusal makes none.
    for (long i = 0; i < nb; ++i)
        if (vor.GetFerme(i) == 0 || startOf(vor, i) == nullptr)
            return false;
    for (long i = 0; i < nb; ++i)
    {
        BrinVor* b0 = startOf(vor, i);
        cb(ctx, b0, false);
        cb(ctx, b0, true);
        BrinVor* b = b0->Phi();
        for (long steps = 0; b != b0; ++steps)
        {
            if (b == nullptr || b->Alpha() == nullptr || steps >= lVorPasMax)
                return false;
            // Alpha(b) a dead end on the contour: b leaves a contour vertex, where the
            // boundary of the next cell begins. The tour runs on unbroken there, but the
            // pen-up opens each face as a path of its own.
            if (b->Alpha()->LastBord())
                cb(ctx, b, false);
            cb(ctx, b, true);
            b = b->Phi();
        }
    }
    return true;
}

bool QmAlgVorAlgoParcours::ParcoursPseudoFaces(QmAlgVor& vor, Callback cb, void* ctx)
{
    return VorParcoursPseudoFaces(vor, cb, ctx, false);
}

bool QmAlgVorAlgoParcours::ParcoursPseudoFacesSansFlag(QmAlgVor& vor, Callback cb, void* ctx)
{
    return VorParcoursPseudoFaces(vor, cb, ctx, true);
}

void QmAlgVorAlgoParcours::ParcoursPseudoRecursif(QmAlgVor& vor, Callback cb, void* ctx)
{
    if (vor.GetNbPoches() < 1)
        return;
    BrinVor* b = startOf(vor, 0);
    if (b == nullptr)
        return;
    std::list<BrinVor*> stack;
    bool gap = false;
    cb(ctx, b, false);
    // Ends without a bound of its own: a dart is pushed only while unmarked and is marked
    // when pushed, so each is taken at most once. The start dart stays unmarked, but its
    // start is a contour leaf that no turn visits.
    while (b != nullptr)
    {
        if (gap)
            cb(ctx, b, false);
        cb(ctx, b, true);
        BrinVor* a = b->Alpha();
        if (a == nullptr)
            break;
        BrinVor* next = NextOnPseudoRecursif(a, stack, gap);
        b = next == a ? nullptr : next;
    }
    vor.UnsetFlagAll();
}

void QmAlgVorAlgoParcours::ParcoursInterPoche(QmAlgVor& vor, Callback cb, void* ctx)
{
    if (vor.GetNbPoches() < 1)
        return;
    BrinVor* b0 = startOf(vor, 0);
    if (b0 == nullptr)
        return;
    // The walk stops at the first arc found; NextOnInterPoche, and the stack it would
    // need, are for a walk that goes on from there.
    BrinVor* b = b0;
    // One pocket alone has no arc between pockets: one full tour finds none and the walk
    // ends without a call rather than turning for ever.
    bool found = true;
    for (long steps = 0; !entrePoches(b); ++steps)
    {
        b = b->Phi();
        if (b == nullptr || b == b0 || steps >= lVorPasMax)
        {
            found = false;
            break;
        }
    }
    if (found)
    {
        cb(ctx, b, false);
        cb(ctx, b, true);
    }
    vor.UnsetFlagAll();
}

BrinVor* QmAlgVorAlgoParcours::NextOnPseudoRecursif(BrinVor* a, std::list<BrinVor*>& stack,
                                                    bool& gap)
{
    return avance(a, stack, gap, false);
}

BrinVor* QmAlgVorAlgoParcours::NextOnInterPoche(BrinVor* a, std::list<BrinVor*>& stack, bool& gap)
{
    return avance(a, stack, gap, true);
}
