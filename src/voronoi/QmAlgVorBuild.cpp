#include "query/QmAlgNeib.h"
#include "voronoi/QmAlgVorData.h"
#include "voronoi/VorGeomDetail.h"
#include "voronoi/VorSegSweep.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace
{
// The record whose pool the darts' own insertions draw their vertices from on this thread.
thread_local QmAlgVorData* tlsRecord = nullptr;
} // namespace

qmSommetVor* VorNewSommet()
{
    return tlsRecord != nullptr ? tlsRecord->NewSommet() : new qmSommetVor;
}

VorSommetScope::VorSommetScope(QmAlgVorData* record) : previous(tlsRecord) { tlsRecord = record; }

VorSommetScope::~VorSommetScope() { tlsRecord = previous; }

// The record.

QmAlgVorData::QmAlgVorData(QmPstMesh** meshes, long count)
    : PstMesh(meshes), NbPoches(count), PocheIde(new edge*[count]), NbEdge(new long[count]),
      Ferme(new bool[count]), BrinPoche(new BrinVor*[count]), BrinIle(new BrinVor*[count]),
      DistPoche(new double[count])
{
    for (long i = 0; i < count; ++i)
    {
        PocheIde[i] = nullptr;
        NbEdge[i] = 0;
        Ferme[i] = false;
        BrinPoche[i] = nullptr;
        BrinIle[i] = nullptr;
        DistPoche[i] = VorInfini;
    }
}

QmAlgVorData::~QmAlgVorData()
{
    // What the take-down walks did not reach: nothing after a complete diagram, whatever a
    // failed join cut loose otherwise.
    Brins.Clear();
    Sommets.Clear();
}

QmAlgVor::BrinVor* QmAlgVorData::NewBrin(edge* e, bool isEdge, bool extr)
{
    return Brins.New([&](void* mem) { return qmVorAccess::ConstructBrin(mem, e, isEdge, extr); });
}

qmSommetVor* QmAlgVorData::NewSommet()
{
    return Sommets.New([](void* mem) { return new (mem) qmSommetVor; });
}

namespace
{
using BrinVor = QmAlgVor::BrinVor;
using edge = QmPstMesh::edge;

constexpr double dVorDeuxPi = 6.283185307179586;
constexpr double dVorPi = 3.141592653589793;

QmAlgNeib::AttrEdge* neibOf(edge* e)
{
    return static_cast<QmAlgNeib::AttrEdge*>(
        e->attributes.GetAttr(QmAlgNeib::AttrEdge::GetClassId()));
}

edge* nextIde(edge* e) { return VorNextIde(e); }

edge* prevIde(edge* e)
{
    QmAlgNeib::AttrEdge* n = neibOf(e);
    return n != nullptr ? n->GetPrevIde(e) : nullptr;
}

edge* firstEdge(QmPstMesh* mesh)
{
    if (mesh == nullptr)
        return nullptr;
    QmPstMesh::iterEdge it = mesh->GetIterEdge();
    return it.IsEnd() ? nullptr : it.Get();
}

ZgVector2 dir(edge* e) { return VorCoo(e->v[1]) - VorCoo(e->v[0]); }

// The contour edges of a pocket in order, from its first edge; empty when the walk does
// not give exactly the pocket's edge count (edges that are not one chain).
std::vector<edge*> contourEdges(edge* first, long count)
{
    std::vector<edge*> out;
    edge* e = first;
    while (e != nullptr && static_cast<long>(out.size()) <= count)
    {
        out.push_back(e);
        e = nextIde(e);
        if (e == first)
            break;
    }
    if (static_cast<long>(out.size()) != count)
        out.clear();
    return out;
}

// Closest approach of segments ab and cd, squared: 0 when they cross.
double dist2SegSeg(ZgVector2 a, ZgVector2 b, ZgVector2 c, ZgVector2 d)
{
    auto orient = [](ZgVector2 p, ZgVector2 q, ZgVector2 r)
    {
        const double o = Cross2(q - p, r - p).y;
        return (o > 0.0) - (o < 0.0);
    };
    const int o1 = orient(a, b, c);
    const int o2 = orient(a, b, d);
    const int o3 = orient(c, d, a);
    const int o4 = orient(c, d, b);
    if (o1 * o2 < 0 && o3 * o4 < 0)
        return 0.0;
    auto ptSeg = [](ZgVector2 p, ZgVector2 s, ZgVector2 t)
    {
        const ZgVector2 u = t - s;
        const double l2 = Dot2(u, u);
        double k = l2 > 0.0 ? Dot2(p - s, u) / l2 : 0.0;
        k = std::min(1.0, std::max(0.0, k));
        const ZgVector2 f = s + u * k - p;
        return Dot2(f, f);
    };
    return std::min(std::min(ptSeg(a, c, d), ptSeg(b, c, d)),
                    std::min(ptSeg(c, a, b), ptSeg(d, a, b)));
}

struct Seg
{
    ZgVector2 a, b;
    long pocket, index, count;
    bool closed;
};

// Contours the construction can take: no edge shorter than dZgZero, no two edges nearer
// than dZgZero except neighbours at their shared vertex, and no neighbour folding back
// onto the other. Neighbours are left to the fold-back test; VorSegmentsClear compares
// the other pairs in O(n log n).
bool contoursPropres(std::vector<std::vector<edge*>> const& contours,
                     std::vector<bool> const& closed)
{
    std::vector<Seg> segs;
    for (size_t p = 0; p < contours.size(); ++p)
    {
        const long n = static_cast<long>(contours[p].size());
        for (long i = 0; i < n; ++i)
        {
            edge* e = contours[p][i];
            const ZgVector2 a = VorCoo(e->v[0]);
            const ZgVector2 b = VorCoo(e->v[1]);
            if (!(std::isfinite(a.x) && std::isfinite(a.y) && std::isfinite(b.x) &&
                  std::isfinite(b.y)) ||
                a == b)
                return false;
            segs.push_back({a, b, static_cast<long>(p), i, n, closed[p]});
        }
    }
    const double tol2 = dZgZero * dZgZero;
    size_t base = 0;
    for (size_t p = 0; p < contours.size(); ++p)
    {
        // Folding back: the far end of the next edge lies on this one, or this edge's start
        // on the next.
        const size_t n = contours[p].size();
        const size_t pairs = closed[p] ? n : n - 1;
        for (size_t i = 0; i < pairs; ++i)
        {
            Seg const& s = segs[base + i];
            Seg const& t = segs[base + (i + 1) % n];
            if (dist2SegSeg(t.b, t.b, s.a, s.b) <= tol2 || dist2SegSeg(s.a, s.a, t.a, t.b) <= tol2)
                return false;
        }
        base += n;
    }
    std::vector<VorSegment> sweep;
    sweep.reserve(segs.size());
    for (Seg const& s : segs)
        sweep.push_back({s.a, s.b, s.pocket, s.index, s.count, s.closed});
    return VorSegmentsClear(sweep, dZgZero);
}
} // namespace

// Construction driver.

QmPstMesh::edge* VorNextIde(QmPstMesh::edge* e)
{
    QmAlgNeib::AttrEdge* n = neibOf(e);
    return n != nullptr ? n->GetNextIde(e) : nullptr;
}

long QmAlgVorData::BuildDiagram(QmPstMesh** meshes, long count)
{
    for (long i = 0; i < count; ++i)
    {
        edge* first = firstEdge(meshes[i]);
        if (first == nullptr)
            return 0;
        if (neibOf(first) == nullptr)
            QmAlgNeib().BuildAttrEdge(*meshes[i]);
        CollectContour(i);
    }
    std::vector<std::vector<edge*>> contours;
    std::vector<bool> closed;
    for (long i = 0; i < count; ++i)
    {
        contours.push_back(contourEdges(PocheIde[i], NbEdge[i]));
        closed.push_back(Ferme[i]);
        if (contours.back().empty() || GetAttrEdgeVor(PocheIde[i]) == nullptr)
            return 0;
    }
    if (!contoursPropres(contours, closed))
        return 0;
    SetContourBox(0);
    for (long i = 0; i < count; ++i)
    {
        const long size = 2 * NbEdge[i] + 1;
        std::unique_ptr<VorSite[]> list(new VorSite[size]);
        for (long k = 0; k < size; ++k)
            list[k] = {VorSiteVide(), false};
        long n = 0;
        BuildSites(i, list.get(), n);
        FixVertexSites(list.get(), n);
        BuildSitePairs(list.get(), n);
        CloseSites(list.get(), n, Ferme[i]);
        MergeSites(list.get(), n);
        if (Echec)
            return 0;
        if (i == 0 && !CheckDiagram(1))
            return 0;
    }
    PropagateSites();
    if (NbPoches > 1 && !JoinIslands())
        return 0;
    FillDistances();
    return 1;
}

void QmAlgVorData::CollectContour(long pocket)
{
    QmPstMesh* mesh = PstMesh[pocket];
    NbEdge[pocket] = mesh->GetNbEdge();
    edge* s = firstEdge(mesh);
    edge* e = s;
    bool back = false;
    // Backward to the open start, or round to s; a chain longer than the mesh is no chain.
    for (long steps = 0; steps <= NbEdge[pocket]; ++steps)
    {
        edge* p = prevIde(e);
        if (p == nullptr)
            break;
        if (p == s)
        {
            back = true;
            break;
        }
        e = p;
    }
    Ferme[pocket] = back;
    PocheIde[pocket] = back ? s : e;
    if (GetAttrEdgeVor(s) != nullptr)
        return;
    edge* f = PocheIde[pocket];
    for (long steps = 0; f != nullptr && steps <= NbEdge[pocket]; ++steps)
    {
        if (GetAttrEdgeVor(f) == nullptr)
            mesh->AddEleAttr(f, new AttrEdgeVor, false);
        f = nextIde(f);
        if (f == PocheIde[pocket])
            break;
    }
}

void QmAlgVorData::SetContourBox(long pocket)
{
    ZgBBox2 b = ZgBBox2::Empty(0);
    edge* e = PocheIde[pocket];
    edge* last = e;
    for (long steps = 0; e != nullptr && steps < NbEdge[pocket]; ++steps)
    {
        b.Add(VorCoo(e->v[0]));
        last = e;
        e = nextIde(e);
        if (e == PocheIde[pocket])
            break;
    }
    if (!Ferme[pocket])
        b.Add(VorCoo(last->v[1]));
    auto* box = new ZgBBox2(b.min, b.max);
    const ZgVector2 size = b.max - b.min;
    const double diag = std::sqrt(size.x * size.x + size.y * size.y);
    for (long i = 0; i < NbPoches; ++i)
        for (QmPstMesh::iterEdge it = PstMesh[i]->GetIterEdge(); !it.IsEnd(); it.Next())
        {
            AttrEdgeVor* a = GetAttrEdgeVor(it.Get());
            if (a == nullptr)
                continue;
            qmVorAccess::SetPstMeshBox(a, box);
            qmVorAccess::SetPstMeshBoxDiag(a, diag);
        }
}

void QmAlgVorData::BuildSites(long pocket, VorSite* list, long& n)
{
    const long capacity = 2 * NbEdge[pocket] + 1;
    auto append = [&](edge* e, bool isEdge)
    {
        if (n < capacity)
            list[n++] = {e, isEdge};
    };
    edge* e = PocheIde[pocket];
    edge* f = nextIde(e);
    ZgVector2 din = dir(e);
    n = 0;
    const bool closed = Ferme[pocket];
    const long rounds = closed ? NbEdge[pocket] + 1 : NbEdge[pocket];
    if (!closed)
        append(e, false);
    for (long r = 1; r < rounds; ++r)
    {
        const ZgVector2 dout = dir(f);
        // The angle at the vertex between e and f, on the right of the contour.
        const double a = std::fmod(Polar(dout) + (dVorDeuxPi - Polar(-din)), dVorDeuxPi);
        append(e, true);
        if (a > dVorPi)
            append(e, false);
        e = f;
        f = nextIde(f);
        din = dout;
    }
    if (!closed)
    {
        append(e, true);
        append(e, false);
    }
}

void QmAlgVorData::FixVertexSites(VorSite* list, long n)
{
    for (long k = 1; k < n - 2; k += 2)
        if (!list[k + 1].IsEdge && list[k + 1].I == list[k].I)
            list[k + 1].I = list[k + 2].I;
}

void QmAlgVorData::BuildSitePairs(VorSite* list, long n)
{
    for (long k = 0; k < n - 1; k += 2)
        CreateSitePair(list[k].I, list[k].IsEdge, list[k + 1].I, list[k + 1].IsEdge);
}

void QmAlgVorData::CloseSites(VorSite* list, long& n, bool closed)
{
    if (!closed)
        return;
    if (n % 2 == 1)
    {
        list[n] = list[n - 1];
        ++n;
    }
    list[n] = {list[0].I, true};
    ++n;
}

void QmAlgVorData::MergeSites(VorSite* list, long n)
{
    // Blocks of two into four at 1, 5, 9, ...; of four into eight at 3, 11, ...; and so on.
    long start = 1;
    long step = 4;
    while (start < n - 1)
    {
        for (long i = start; i < n - 1; i += step)
        {
            const long j = (i + 1) % n;
            BrinVor* b = nullptr;
            BrinVor* right = nullptr;
            BrinVor* left = nullptr;
            long mode = 0;
            FindMergeStart(list[i].I, list[i].IsEdge, list[j].I, list[j].IsEdge, b, right, left,
                           mode);
            if (b == nullptr)
            {
                Echec = true;
                return;
            }
            MergeChains(b, right, left, mode);
            if (Echec)
                return;
        }
        start = step - 1;
        step *= 2;
    }
}

void QmAlgVorData::FindMergeStart(edge* e1, bool f1, edge* e2, bool f2, BrinVor*& start,
                                  BrinVor*& right, BrinVor*& left, long& mode)
{
    AttrEdgeVor* a1 = GetAttrEdgeVor(e1);
    AttrEdgeVor* a2 = GetAttrEdgeVor(e2);
    auto b1Of = [](edge* e)
    {
        AttrEdgeVor* a = e != nullptr ? GetAttrEdgeVor(e) : nullptr;
        return a != nullptr ? a->GetB1() : nullptr;
    };
    auto b2Of = [](edge* e)
    {
        AttrEdgeVor* a = e != nullptr ? GetAttrEdgeVor(e) : nullptr;
        return a != nullptr ? a->GetB2() : nullptr;
    };
    start = right = left = nullptr;
    mode = 0;
    if (e1 == e2 && !f1 && f2)
    {
        start = a1->GetB1() != nullptr ? a1->GetB1() : CreateSitePair(e1, f1, e2, f2);
        right = b2Of(prevIde(e1));
        left = a2->GetB2();
        mode = 1;
    }
    else if (e1 == e2 && f1 && !f2)
    {
        start = a2->GetB2() != nullptr ? a2->GetB2() : CreateSitePair(e1, f1, e2, f2);
        right = a1->GetB1();
        left = b1Of(nextIde(e2));
        mode = 2;
    }
    else
    {
        start = CreateSitePair(e1, f1, e2, f2);
        if (f1 && f2)
        {
            right = a1->GetB1();
            left = a2->GetB2();
        }
        else if (!f1 && f2)
        {
            right = a1->GetB2();
            left = a2->GetB2();
            mode = 1;
        }
        else if (f1 && !f2)
        {
            right = a1->GetB1();
            left = a2->GetB1();
            mode = 2;
        }
    }
}

BrinVor* QmAlgVorData::CreateSitePair(edge* e1, bool f1, edge* e2, bool f2)
{
    BrinVor* b = nullptr;
    QmPstMesh::vertex* at = nullptr;
    if (f1 && f2)
    {
        b = NewBrinPair(e1, true, true, e2, true, false);
        at = e1->v[1];
        qmVorAccess::SetB2(GetAttrEdgeVor(e1), b);
        qmVorAccess::SetB1(GetAttrEdgeVor(e2), b);
    }
    else if (f1)
    {
        b = NewBrinPair(e1, true, true, e1, false, true);
        at = e1->v[1];
        qmVorAccess::SetB2(GetAttrEdgeVor(e1), b);
    }
    else if (f2)
    {
        b = NewBrinPair(e2, false, false, e2, true, false);
        at = e2->v[0];
        qmVorAccess::SetB1(GetAttrEdgeVor(e2), b);
    }
    else
        return nullptr;
    qmSommetVor* s = NewSommet();
    s->D = 0.0;
    s->Point = VorCoo(at);
    qmVorAccess::SetSommet(b, s);
    return b;
}

BrinVor* QmAlgVorData::NewBrinPair(edge* e1, bool isEdge1, bool extr1, edge* e2, bool isEdge2,
                                   bool extr2)
{
    BrinVor* a = NewBrin(e1, isEdge1, extr1);
    BrinVor* b = NewBrin(e2, isEdge2, extr2);
    a->Alpha() = b;
    a->Phi() = b;
    b->Alpha() = a;
    b->Phi() = a;
    if (Nouveaux != nullptr)
    {
        Nouveaux->push_back(e1);
        Nouveaux->push_back(e2);
    }
    return a;
}

void QmAlgVorData::PropagateSites()
{
    for (long i = 0; i < NbPoches; ++i)
        PropagateSites(i);
}

// The pseudo-faces of one pocket's sites: those that start at its contour darts.
void QmAlgVorData::PropagateSites(long pocket)
{
    AttrEdgeVor* a = GetAttrEdgeVor(PocheIde[pocket]);
    VorTourContour(a != nullptr ? a->GetB2() : nullptr,
                   [](BrinVor* b)
                   {
                       // Only the first dart of a pseudo-face was given its site by the joins.
                       BrinVor* x = b;
                       for (long k = 0; x != nullptr && !x->Last() && k < lVorPasMax; ++k)
                       {
                           qmVorAccess::SetISur(x, b->GetI1(), b->IsEdge1(), b->GetExtr1());
                           x = x->Phi();
                       }
                       return b->GetI2();
                   });
}

// The Phi tour of one closed pocket comes back to its start with no dead end off the
// contour. The tour never meets a dart twice before its start, so it needs no marks: a
// tour longer than the darts there are has lost its way.
bool QmAlgVorData::CheckPocket(long pocket) const
{
    AttrEdgeVor* a = GetAttrEdgeVor(PocheIde[pocket]);
    BrinVor* first = a != nullptr ? a->GetB2() : nullptr;
    if (first == nullptr || first == VorBrinFin())
        return false;
    const size_t borne = Brins.Count();
    BrinVor* b = first;
    for (size_t steps = 0; steps <= borne; ++steps)
    {
        if (b == nullptr || (b->Last() && !b->LastBord()))
            return false;
        b = b->Phi();
        if (b == first)
            return true;
    }
    return false;
}

bool QmAlgVorData::CheckDiagram(long count)
{
    for (long i = 0; i < count && i < NbPoches; ++i)
    {
        if (count != 1 && BrinIle[i] != VorBrinFin())
            continue;
        AttrEdgeVor* a = GetAttrEdgeVor(PocheIde[i]);
        BrinVor* first = a != nullptr ? a->GetB2() : nullptr;
        if (first == nullptr)
            continue;
        // Inside a closed contour a dead end off the contour is an arc to infinity: some
        // join did not close. An open contour's cells are unbounded, so its diagram keeps
        // arcs to infinity; there only a dead end at a vertex off the contour is wrong.
        const bool ferme = Ferme[i];
        BrinVor* b = first;
        for (long steps = 0;; ++steps)
        {
            if (b == nullptr || steps >= lVorPasMax)
                return false;
            if (b->Last() && !b->LastBord() && (ferme || !IsInfini(b->Alpha()->GetPoint1())))
                return false;
            b->SetFlag(1);
            b = b->Phi();
            if (b == first || (b != nullptr && b->GetFlag() == 1))
                break;
        }
    }
    UnsetFlag(count == 1 ? 1 : NbPoches);
    return true;
}

void QmAlgVorData::FillDistances()
{
    for (long i = 0; i < NbPoches; ++i)
    {
        AttrEdgeVor* a = GetAttrEdgeVor(PocheIde[i]);
        VorTourContour(
            a != nullptr ? a->GetB2() : nullptr,
            [](BrinVor* b)
            {
                BrinVor* x = b;
                if (!x->Last())
                {
                    x = x->Phi();
                    for (long k = 0; k < lVorPasMax; ++k)
                    {
                        if (x->GetD1() == VorInfini && qmVorAccess::GetSommet(x) != nullptr)
                            qmVorAccess::SetD1(x, DistToSite(x));
                        x = x->Phi();
                        if (IsContourSommet(x->GetD1()) || qmVorAccess::GetSommet(x) == nullptr)
                            break;
                    }
                }
                return IsContourSommet(x->GetD1()) ? b->GetI2() : b->GetI1();
            });
    }
}

double QmAlgVorData::DistToSite(BrinVor* b)
{
    const ZgVector2 p = b->GetPoint1();
    if (!b->IsEdge1())
        return (p - VorCoo(b->GetI1()->v[b->GetExtr1()])).Length();
    if (!b->IsEdge2())
        return (p - VorCoo(b->GetI2()->v[b->GetExtr2()])).Length();
    const ZgVector2 p0 = VorCoo(b->GetI1()->v[0]);
    const ZgVector2 p1 = VorCoo(b->GetI1()->v[1]);
    return DistPtDte(p - p0, p1 - p0);
}

// Clearing flags.

void QmAlgVorData::UnsetFlagArbre(BrinVor* b) { VorUnsetFlagArbre(b); }

void QmAlgVorData::UnsetFlag(long count)
{
    for (long i = 0; i < count && i < NbPoches; ++i)
    {
        AttrEdgeVor* a = GetAttrEdgeVor(PocheIde[i]);
        VorTourContour(a != nullptr ? a->GetB2() : nullptr,
                       [](BrinVor* b)
                       {
                           VorUnsetFlagArbre(b);
                           return b->GetI2();
                       });
    }
}
