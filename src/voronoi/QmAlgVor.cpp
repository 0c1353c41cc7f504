#include "voronoi/QmAlgVor.h"

#include "mesh/QmAttribut.h"
#include "query/QmAlgNeib.h"
#include "toolpath/QmIsoFile.h"
#include "voronoi/QmAlgVorData.h"
#include "voronoi/VorBrinDetail.h"
#include "voronoi/VorGeomDetail.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

// The driver: computing, reading and taking down a diagram, clearing its flags, adding the
// points of minimum width, and the text dump.
//
// Every walk here is bounded by lVorPasMax and reads links through null-safe helpers: the
// take-down of a failed construction runs on a map whose orbits need not close.

namespace
{
using BrinVor = QmAlgVor::BrinVor;
using AttrEdgeVor = QmAlgVor::AttrEdgeVor;
using edge = QmPstMesh::edge;
using Callback = bool (*)(void*, BrinVor*, bool);

BrinVor* sigma(BrinVor const* d) { return d->Alpha() != nullptr ? d->Alpha()->Phi() : nullptr; }

// GetPrec without its debug assertion: the take-down of an unfinished map must give up
// quietly where an orbit does not close. null then.
BrinVor* prec(BrinVor const* d)
{
    BrinVor const* v = d;
    for (long steps = 0; steps < lVorPasMax; ++steps)
    {
        BrinVor* s = sigma(v);
        if (s == nullptr)
            return nullptr;
        if (s == d)
            return v->Alpha();
        v = s;
    }
    return nullptr;
}

// Contour neighbour through QmAlgNeib::AttrEdge; null at an open end or where the link is
// missing (a failed construction may stop before every edge has one).
edge* nextIde(edge* e)
{
    if (e == nullptr)
        return nullptr;
    auto* n =
        static_cast<QmAlgNeib::AttrEdge*>(e->attributes.GetAttr(QmAlgNeib::AttrEdge::GetClassId()));
    return n != nullptr ? n->GetNextIde(e) : nullptr;
}

BrinVor* b2Of(edge* e)
{
    AttrEdgeVor* a = GetAttrEdgeVor(e);
    return a != nullptr ? a->GetB2() : nullptr;
}

// The start dart of a pocket: B2 of its first edge.
BrinVor* startOf(QmAlgVorData const* rec, long pocket) { return b2Of(rec->PocheIde[pocket]); }

// The first non-null B2 along the contour from the pocket's first edge, null if none.
BrinVor* firstB2Along(QmAlgVorData const* rec, long pocket)
{
    edge* first = rec->PocheIde[pocket];
    edge* e = first;
    for (long steps = 0; e != nullptr && steps < lVorPasMax; ++steps)
    {
        if (BrinVor* b = b2Of(e))
            return b;
        e = nextIde(e);
        if (e == first)
            break;
    }
    return nullptr;
}

bool sameBits(double a, double b) { return std::memcmp(&a, &b, sizeof a) == 0; }

// Depth first from b over the subtree beyond it, in Sigma order about each far vertex, with
// a stack of our own: a subtree can be as deep as the diagram. take(x) decides whether the
// arc of x is entered (and does its work on it); the walk goes on beyond x only then.
template <class Take> void visitSubtree(BrinVor* b, Take take)
{
    struct Frame
    {
        BrinVor* a; // Alpha of the dart entered: its Sigma orbit is walked
        BrinVor* cur;
        long steps;
    };
    std::vector<Frame> stack;
    auto enter = [&](BrinVor* x)
    {
        BrinVor* a = x->Alpha();
        if (a == nullptr || !take(x, a))
            return;
        stack.push_back({a, sigma(a), 0});
    };
    enter(b);
    while (!stack.empty())
    {
        Frame& f = stack.back();
        if (f.cur == nullptr || f.cur == f.a || f.steps >= lVorPasMax)
        {
            stack.pop_back();
            continue;
        }
        BrinVor* y = f.cur;
        f.cur = sigma(y);
        ++f.steps;
        enter(y);
    }
}

} // namespace

// In the order of the recursive definition.
void VorUnsetFlagArbre(QmAlgVor::BrinVor* b)
{
    if (b == nullptr)
        return;
    visitSubtree(b,
                 [](BrinVor* x, BrinVor* a)
                 {
                     if (x->GetFlag() == 0 && a->GetFlag() == 0)
                         return false;
                     x->SetFlag(0);
                     a->SetFlag(0);
                     return true;
                 });
}

namespace
{

// UnsetFlagArbre on the entry darts along each contour, from the pocket's start dart, or,
// when fromFirstB2, from the first B2 found along the contour (the dump's variant).
void unsetFlagPoches(QmAlgVorData const* rec, bool fromFirstB2)
{
    for (long i = 0; i < rec->NbPoches; ++i)
    {
        VorTourContour(fromFirstB2 ? firstB2Along(rec, i) : startOf(rec, i),
                       [](BrinVor* b)
                       {
                           VorUnsetFlagArbre(b);
                           return b->GetI2();
                       });
    }
}

// What a take-down has freed, given back to the pools only at its end. The walks of an
// unfinished map may come back to an arc they have already let go (an orbit that does not
// close, an entry dart whose arc never reached the contour): deferring keeps every such
// read on live memory, and no dart or vertex is given back twice.
struct VorRebut
{
    std::vector<BrinVor*> brins;
    std::vector<qmSommetVor*> sommets;

    void Release(QmAlgVorData* rec)
    {
        std::sort(brins.begin(), brins.end(), std::less<BrinVor*>());
        brins.erase(std::unique(brins.begin(), brins.end()), brins.end());
        std::sort(sommets.begin(), sommets.end(), std::less<qmSommetVor*>());
        sommets.erase(std::unique(sommets.begin(), sommets.end()), sommets.end());
        for (BrinVor* b : brins)
            rec->FreeBrin(b);
        for (qmSommetVor* s : sommets)
            rec->FreeSommet(s);
        brins.clear();
        sommets.clear();
    }
};

// The take-down in progress on this thread (FreePartial), which collects for its FreeFrom
// calls.
thread_local VorRebut* tlsRebut = nullptr;

void clearEntry(edge* e, bool extr)
{
    AttrEdgeVor* a = GetAttrEdgeVor(e);
    if (a == nullptr)
        return;
    if (extr)
        qmVorAccess::SetB2(a, nullptr);
    else
        qmVorAccess::SetB1(a, nullptr);
}
} // namespace

// Taking down an unfinished map.

void QmAlgVorData::FreePartial()
{
    VorRebut rebut;
    VorRebut* const outer = tlsRebut;
    tlsRebut = &rebut;
    unsetFlagPoches(this, false);
    for (long i = 0; i < NbPoches; ++i)
    {
        edge* first = PocheIde[i];
        edge* e = first;
        for (long steps = 0; e != nullptr && steps < lVorPasMax; ++steps)
        {
            if (AttrEdgeVor* a = GetAttrEdgeVor(e))
            {
                if (a->GetB1() != nullptr)
                    FreeFrom(a->GetB1()->Alpha());
                if (a->GetB2() != nullptr)
                    FreeFrom(a->GetB2()->Alpha());
            }
            e = nextIde(e);
            if (e == first)
                break;
        }
    }
    tlsRebut = outer;
    rebut.Release(this);
    // An entry whose arc was not reached through the contour (its far end lost during a
    // failed join) would still point into the map, now partly given back. Nothing may
    // lead into it: what is left is the pools' to destroy with the record.
    for (long i = 0; i < NbPoches; ++i)
    {
        if (PstMesh == nullptr || PstMesh[i] == nullptr)
            continue;
        for (QmPstMesh::iterEdge it = PstMesh[i]->GetIterEdge(); !it.IsEnd(); it.Next())
            if (AttrEdgeVor* a = GetAttrEdgeVor(it.Get()))
            {
                qmVorAccess::SetB1(a, nullptr);
                qmVorAccess::SetB2(a, nullptr);
            }
    }
}

void QmAlgVorData::FreeFrom(BrinVor* b)
{
    // The recursion of the definition, on a stack of frames: one per vertex being taken
    // down, deepest last. A vertex's Flag counts how many of its arcs' ends have been seen,
    // so an arc met from both ends is freed once, from the second.
    VorRebut local;
    VorRebut* rebut = tlsRebut != nullptr ? tlsRebut : &local;
    struct Frame
    {
        BrinVor* start;
        qmSommetVor* kept;
        BrinVor* cur; // next dart of the orbit to take down; null when the turn is over
    };
    std::vector<Frame> stack;
    long budget = lVorPasMax;

    auto bump = [](BrinVor* d)
    {
        if (d != nullptr && d->GetFlag() < 255)
            d->SetFlag(static_cast<unsigned char>(d->GetFlag() + 1));
    };
    // Steps 1 and 2: a vertex already dealt with only loses its reference; a new one has
    // every arc end about it counted and gets a frame.
    auto enter = [&](BrinVor* x)
    {
        if (x == nullptr)
            return;
        if (x->GetFlag() == 1)
        {
            qmVorAccess::SetSommet(x, nullptr);
            return;
        }
        BrinVor* v = x;
        do
        {
            bump(v);
            bump(v->Alpha());
            v = sigma(v);
        } while (v != nullptr && v != x && --budget > 0);
        stack.push_back({x, qmVorAccess::GetSommet(x), x});
    };

    enter(b);
    while (!stack.empty() && --budget > 0)
    {
        Frame& f = stack.back();
        BrinVor* d = f.cur;
        if (d == nullptr)
        {
            // Step 4.
            if (f.kept != nullptr)
                rebut->sommets.push_back(f.kept);
            stack.pop_back();
            continue;
        }
        BrinVor* a = d->Alpha();
        // The next dart is taken before this step touches d. The turn ends after a dart
        // left alone in its orbit, or on coming back to the start.
        BrinVor* next = sigma(d);
        f.cur = (next == d || next == f.start) ? nullptr : next;
        if (a == nullptr)
            continue;
        // A dead end off the contour (where an island's ring was opened) ends in a vertex
        // of its own that no walk from the contour enters.
        if (d->Last() && a->GetD1() != 0.0)
            if (qmSommetVor* s = qmVorAccess::GetSommet(a))
            {
                rebut->sommets.push_back(s);
                qmVorAccess::SetSommet(a, nullptr);
            }
        BrinVor* child = nullptr;
        if (!d->Last() && d->Phi() != nullptr && d->Phi()->GetFlag() == 0)
        {
            // Step 3.1, the far vertex is unvisited. Sketch, with s this vertex and t the
            // far one:  p -> d -> q  about s and  r -> a -> u  about t  become  p -> q  and
            // r -> u: the arc leaves both orbits before t is taken down.
            if (!a->Last())
                if (BrinVor* p = prec(d))
                    p->Phi() = a->Phi();
            if (BrinVor* p = prec(a))
                p->Phi() = d->Phi();
            qmVorAccess::SetSommet(d, nullptr);
            qmVorAccess::SetSommet(a, nullptr);
            child = d->Phi();
            rebut->brins.push_back(d);
            rebut->brins.push_back(a);
        }
        else if (d->GetFlag() != 1)
        {
            // Step 3.2: out of this orbit, and left hanging as a dead end from its other
            // end, which frees it.
            if (!a->Last())
            {
                if (BrinVor* p = prec(d))
                    p->Phi() = a->Phi();
                a->Phi() = d;
            }
            qmVorAccess::SetSommet(d, nullptr);
            d->SetFlag(1);
            a->SetFlag(1);
        }
        else
        {
            // Step 3.3: the last end of the arc to be seen.
            if (!d->Last())
            {
                if (BrinVor* p = prec(a))
                    p->Phi() = d->Phi();
            }
            else if (qmVorAccess::GetSommet(a) != nullptr &&
                     IsContourSommet(qmVorAccess::GetSommet(a)->D))
            {
                // The arc ends on the contour: its edges' entries go with it.
                clearEntry(d->GetI1(), d->GetExtr1());
                clearEntry(d->GetI2(), d->GetExtr2());
                rebut->sommets.push_back(qmVorAccess::GetSommet(a));
            }
            if (!a->Last())
                if (BrinVor* p = prec(d))
                    p->Phi() = a->Phi();
            rebut->brins.push_back(d);
            rebut->brins.push_back(a);
        }
        if (child != nullptr)
            enter(child);
    }
    if (rebut == &local)
        local.Release(this);
}

// Computing and deleting.

long QmAlgVor::Compute(char const* /*unused*/, QmPstMesh** const meshes, long count)
{
    if (meshes == nullptr || count < 1)
        return 0;
    assert(data == nullptr && "Compute runs once per diagram");
    data = new QmAlgVorData(meshes, count);
    // The vertices that the darts' own insertions make come from the record's pool.
    VorSommetScope scope(data);
    if (data->BuildDiagram(meshes, count) > 0)
        return 1;
    data->FreePartial();
    return 0;
}

void QmAlgVor::Delete(QmPstMesh** const meshes, long count)
{
    QmAlgVorData* rec = data;
    QmPstMesh** ms = meshes;
    long n = count;
    if (rec != nullptr)
    {
        if (ms == nullptr)
        {
            ms = rec->PstMesh;
            n = rec->NbPoches;
        }
        VorSommetScope scope(rec);
        // First pass: the vertices. With islands every pocket lies on the first one's
        // tour, so a later pocket finds its start already marked; its darts go with the
        // first pocket's in the second pass, and it must not be walked again there.
        std::vector<char> dejaVu(static_cast<size_t>(rec->NbPoches), 0);
        for (long i = 0; i < rec->NbPoches; ++i)
        {
            BrinVor* b = startOf(rec, i);
            if (b == nullptr)
                continue;
            dejaVu[i] = b->GetFlag() == 1;
            BrinVor* d = b;
            for (long steps = 0; d != nullptr && steps < lVorPasMax; ++steps)
            {
                if (qmSommetVor* s = d->GetSommet())
                {
                    BrinVor* v = d;
                    for (long k = 0; v != nullptr && k < lVorPasMax; ++k)
                    {
                        v->SetSommet(nullptr);
                        v = sigma(v);
                        if (v == d)
                            break;
                    }
                    rec->FreeSommet(s);
                }
                d->SetFlag(1);
                d = d->Phi();
                if (d == b || (d != nullptr && d->GetFlag() == 1))
                    break;
            }
        }
        // Second pass: the darts, then the entries of the contour.
        for (long i = 0; i < rec->NbPoches; ++i)
        {
            BrinVor* b = startOf(rec, i);
            if (b != nullptr && dejaVu[i] == 0)
            {
                // Cut the tour just before b, whose start is a contour vertex: its only
                // predecessor is its own Alpha.
                if (b->Alpha() != nullptr)
                    b->Alpha()->Phi() = nullptr;
                BrinVor* d = b;
                for (long steps = 0; d != nullptr && steps < lVorPasMax; ++steps)
                {
                    BrinVor* next = d->Phi();
                    rec->FreeBrin(d);
                    d = next;
                }
            }
            edge* first = rec->PocheIde[i];
            edge* e = first;
            for (long steps = 0; e != nullptr && steps < lVorPasMax; ++steps)
            {
                if (AttrEdgeVor* a = GetAttrEdgeVor(e))
                {
                    qmVorAccess::SetB1(a, nullptr);
                    qmVorAccess::SetB2(a, nullptr);
                }
                e = nextIde(e);
                if (e == first)
                    break;
            }
        }
    }
    delete rec;
    data = nullptr;
    if (ms == nullptr)
        return;
    // The box is shared by every attribute of the diagram, and freed once, here. Without a
    // record it is not ours: another copy of this object has freed it, or none was made.
    if (rec != nullptr && n > 0 && ms[0] != nullptr)
    {
        QmPstMesh::iterEdge it = ms[0]->GetIterEdge();
        AttrEdgeVor* a = it.IsEnd() ? nullptr : GetAttrEdgeVor(it.Get());
        if (a != nullptr)
            delete a->GetPstMeshBox();
    }
    for (long i = 0; i < n; ++i)
        if (ms[i] != nullptr)
            QmAttribut::RemoveAttrE(ms[i], AttrEdgeVor::GetClassId());
}

// Reading.

long QmAlgVor::GetNbPoches() const { return data != nullptr ? data->NbPoches : 0; }

QmPstMesh& QmAlgVor::GetPstMesh(long pocket) const
{
    assert(data != nullptr);
    return *data->PstMesh[pocket];
}

QmPstMesh::edge* QmAlgVor::GetPocheIde(long pocket) const
{
    return data != nullptr ? data->PocheIde[pocket] : nullptr;
}

long QmAlgVor::GetNbEdge(long pocket) const { return data != nullptr ? data->NbEdge[pocket] : 0; }

long QmAlgVor::GetFerme(long pocket) const
{
    return data != nullptr && data->Ferme[pocket] ? 1 : 0;
}

// Clearing flags.

void QmAlgVor::UnsetFlagAll()
{
    if (data == nullptr)
        return;
    for (long i = 0; i < data->NbPoches; ++i)
    {
        BrinVor* b = startOf(data, i);
        BrinVor* d = b;
        for (long steps = 0; d != nullptr && steps < lVorPasMax; ++steps)
        {
            d->SetFlag(0);
            d = d->Phi();
            if (d == b)
                break;
        }
    }
}

void QmAlgVor::UnsetFlag()
{
    if (data != nullptr)
        unsetFlagPoches(data, false);
}

void QmAlgVor::UnsetFlagArbre(BrinVor* b) { VorUnsetFlagArbre(b); }

// The tour of the arcs.

bool VorParcoursPseudoFaces(QmAlgVor& vor, Callback cb, void* ctx, bool sansFlag)
{
    const long nb = vor.GetNbPoches();
    for (long i = 0; i < nb; ++i)
        if (vor.GetFerme(i) == 0)
            return false;
    // Set after a stretch of arcs already taken (the way back along the tree): the next
    // new arc starts with a pen-up.
    bool gap = false;
    for (long i = 0; i < nb; ++i)
    {
        BrinVor* b0 = b2Of(vor.GetPocheIde(i));
        if (b0 == nullptr || b0->Alpha() == nullptr)
        {
            // A pocket without a start dart has no diagram: nothing stands to be walked.
            vor.UnsetFlagAll();
            return false;
        }
        if (b0->GetFlag() != 0)
        {
            if (sansFlag)
                continue;
            return false;
        }
        cb(ctx, b0, false);
        cb(ctx, b0, true);
        b0->SetFlag(1);
        b0->Alpha()->SetFlag(1);
        BrinVor* b = b0->Phi();
        for (long steps = 0; b != b0; ++steps)
        {
            if (b == nullptr || b->Alpha() == nullptr || steps >= lVorPasMax)
            {
                vor.UnsetFlagAll();
                return false;
            }
            if (b->GetFlag() != 0)
                gap = true;
            else
            {
                if (b->Alpha()->LastBord())
                {
                    cb(ctx, b, false);
                    cb(ctx, b, true);
                }
                else
                {
                    if (gap)
                        cb(ctx, b, false);
                    cb(ctx, b, true);
                }
                b->SetFlag(1);
                b->Alpha()->SetFlag(1);
                gap = false;
            }
            b = b->Phi();
        }
    }
    vor.UnsetFlagAll();
    return true;
}

bool QmAlgVor::ParcoursPseudoFaces(QmAlgVor& vor, bool (*cb)(void*, BrinVor*, bool), void* ctx)
{
    return VorParcoursPseudoFaces(vor, cb, ctx, false);
}

// Points of minimum width.

namespace
{
// Ends of an arc closer than this are one point; distances closer than this are a tie.
constexpr double dVorArcNul = dVorZero;

// The clearance at b's start vertex is smallest about it: no neighbour off the contour is
// nearer the contour, and the vertex is not surrounded by contour ends alone.
bool IsMinLocal(BrinVor const* b)
{
    long total = 0;
    long bord = 0;
    BrinVor const* d = b;
    for (long steps = 0; steps < lVorPasMax; ++steps)
    {
        ++total;
        if (IsContourSommet(d->GetD2()))
            ++bord;
        else if (d->Alpha()->GetD1() < d->GetD1())
            return false;
        d = sigma(d);
        if (d == nullptr)
            return false;
        if (d == b)
            return bord != total;
    }
    return false;
}

double minPtDroitePoints(BrinVor const* b, ZgVector2 const& p1, ZgVector2 const& p2, double lo,
                         ZgVector2& point)
{
    const ZgVector2 s1 = b->GetPtContour(true);
    const ZgVector2 s2 = b->GetPtContour(false);
    const double r = (s1 - s2).Length() / 2.0;
    const ZgVector2 m = (s1 + s2) * 0.5;
    // An end is already the narrowest place.
    if (lo <= r)
        return VorInfini;
    if (m == p1 || m == p2)
        return VorInfini;
    // On the arc, the midpoint of the sites lies between its ends.
    if (!(Dot2(p1 - m, p2 - m) < 0.0))
        return VorInfini;
    point = m;
    return r;
}

double minPtParabole(BrinVor const* b, ZgVector2 const& p1, ZgVector2 const& p2, double d1,
                     double d2, ZgVector2& point)
{
    if ((p2 - p1).Length() < dVorArcNul && std::fabs(d1 - d2) < dVorArcNul)
        return VorInfini;
    ZgVector2 f;
    ZgVector2 a;
    ZgVector2 dir;
    b->GetFoyerDirectrice(f, a, dir);
    const double r = DistPtDte(f - a, dir) / 2.0;
    // From the focus towards the directrix.
    ZgVector2 n = -b->GetAxe(f, a, a + dir);
    const long c1 = CoteDroite(f, f + n, p1);
    const long c2 = CoteDroite(f, f + n, p2);
    // The apex lies strictly inside the arc only when the ends are on either side of the
    // axis.
    if (c1 == 0 || c2 == 0 || c1 == c2)
        return VorInfini;
    n /= n.Length();
    point = f + n * r;
    return r;
}

// The clearance at the interior minimum of b's arc, its place in point; VorInfini when the
// arc has none (the narrowest place is an end).
double MinPtArc(BrinVor const* b, ZgVector2& point)
{
    const double d1 = b->GetD1();
    const double d2 = b->GetD2();
    const double lo = std::min(d1, d2);
    const ZgVector2 p1 = b->GetPoint1();
    const ZgVector2 p2 = b->Alpha()->GetPoint1();
    if (!b->IsDroite())
        return minPtParabole(b, p1, p2, d1, d2, point);
    if (!b->IsEdge1() && !b->IsEdge2())
    {
        if ((p2 - p1).Length() < dVorArcNul)
        {
            point = (p1 + p2) * 0.5;
            return d1;
        }
        return minPtDroitePoints(b, p1, p2, lo, point);
    }
    if (b->IsEdge1() && b->IsEdge2())
    {
        // Between two parallel segments the clearance is the same all along: the middle
        // stands for it where both ends are local minima.
        if (std::fabs(d1 - d2) < dVorArcNul && IsMinLocal(b) && IsMinLocal(b->Alpha()))
        {
            point = (p1 + p2) * 0.5;
            return d1;
        }
        return VorInfini;
    }
    return VorInfini;
}

// The walk's callback, the record as context. Only arcs that are drawn are looked at.
bool AddMinPtArc(void* ctx, BrinVor* b, bool draw)
{
    if (!draw)
        return true;
    auto* rec = static_cast<QmAlgVorData*>(ctx);
    ZgVector2 point;
    const double d = MinPtArc(b, point);
    if (sameBits(d, VorInfini))
        return true;
    BrinVor* p = b->GetPrec();
    if (p == nullptr)
        return true;
    BrinVor* n = rec->NewBrinPair(b->GetI1(), b->IsEdge1(), b->GetExtr1(), b->GetI2(), b->IsEdge2(),
                                  b->GetExtr2());
    BrinVor* na = n->Alpha();
    // The arc s -b-> t is split at the new vertex m:  s -n-> m -b-> t, and on the other
    // side  t -Alpha(b)-> m -Alpha(n)-> s.
    p->Phi() = n;
    na->Phi() = b->Alpha()->Phi();
    b->Alpha()->Phi() = na;
    n->Phi() = b;
    qmVorAccess::SetSommet(n, qmVorAccess::GetSommet(b));
    qmSommetVor* m = rec->NewSommet();
    m->Point = point;
    m->D = d;
    qmVorAccess::SetSommet(b, m);
    qmVorAccess::SetSommet(na, m);
    // The tour is past the new arc's place: marked, it is not taken up again.
    n->SetFlag(1);
    na->SetFlag(1);
    return true;
}
} // namespace

void QmAlgVor::AddMinPt()
{
    if (data == nullptr)
        return;
    VorSommetScope scope(data);
    ParcoursPseudoFaces(*this, AddMinPtArc, data);
}

// The dump.

namespace
{
// 1/3 in steps while t <= 1: 0, 1/3, 2/3 and 1 (the third sum rounds to 1.0 exactly).
template <typename Point> void lignesT(std::FILE* file, Point point)
{
    for (double t = 0.0; t <= 1.0; t += 1.0 / 3)
    {
        const ZgVector2 p = point(t);
        LSOM_LineTo(file, p.x, p.y);
    }
}

void DumpArc(std::FILE* file, BrinVor const* b)
{
    const ZgVector2 p = b->GetPoint1();
    LSOM_Move(file, p.x, p.y);
    if (b->Last() && !IsContourSommet(b->Alpha()->GetD1()))
    {
        // Off to infinity: a short stretch of its line or parabola.
        lignesT(file, [b](double t) { return b->XYtV(t); });
        return;
    }
    if (b->IsDroite())
    {
        const ZgVector2 q = b->Alpha()->GetPoint1();
        LSOM_LineTo(file, q.x, q.y);
        return;
    }
    if (p == b->Alpha()->GetPoint1())
    {
        LSOM_LineTo(file, p.x, p.y);
        return;
    }
    lignesT(file, [b](double t) { return b->XYt(t); });
}

// The arc of b, then the subtree beyond it, each arc once.
void DumpTree(std::FILE* file, BrinVor* b)
{
    visitSubtree(b,
                 [file](BrinVor* x, BrinVor* a)
                 {
                     if (x->GetFlag() + a->GetFlag() >= 1)
                         return false;
                     DumpArc(file, x);
                     x->SetFlag(1);
                     a->SetFlag(1);
                     return true;
                 });
}

// Empty: negative beyond dZgZero in a coordinate, or a point within dZgZero in both.
bool boiteVide(ZgBBox2 const& box)
{
    const ZgVector2 size = box.max - box.min;
    if (size.x < -dZgZero || size.y < -dZgZero)
        return true;
    return std::fabs(size.x) <= dZgZero && std::fabs(size.y) <= dZgZero;
}
} // namespace

void QmAlgVor::qmAfficheVorMD(char const* path)
{
    if (path == nullptr)
        return;
    std::FILE* file = std::fopen(path, "w");
    if (file == nullptr)
        return;
    std::fputs("(Iso File)\n", file);
    if (data == nullptr)
    {
        std::fclose(file);
        return;
    }
    AttrEdgeVor* attr = GetAttrEdgeVor(data->PocheIde[0]);
    ZgBBox2 const* box = attr != nullptr ? attr->GetPstMeshBox() : nullptr;
    if (box != nullptr && !boiteVide(*box))
    {
        LSOM_Move(file, box->min.x, box->min.y);
        LSOM_LineTo(file, box->max.x, box->min.y);
        LSOM_LineTo(file, box->max.x, box->max.y);
        LSOM_LineTo(file, box->min.x, box->max.y);
        LSOM_LineTo(file, box->min.x, box->min.y);
    }
    for (long i = 0; i < data->NbPoches; ++i)
    {
        BrinVor* first = firstB2Along(data, i);
        BrinVor* b = first;
        for (long steps = 0; b != nullptr && steps < lVorPasMax; ++steps)
        {
            DumpTree(file, b);
            b = FindNextB(b->GetI2(), b);
            if (b == first || b == VorBrinFin())
                break;
        }
    }
    std::fclose(file);
    unsetFlagPoches(data, true);
}
