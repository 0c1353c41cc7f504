#include "kernel/ZgVector2.h"
#include "query/QmAlgDistMin.h"
#include "voronoi/QmAlgVorData.h"
#include "voronoi/QmVorGeom.h"
#include "voronoi/VorGeomDetail.h"

#include <algorithm>
#include <cmath>
#include <unordered_map>
#include <vector>

namespace
{
using BrinVor = QmAlgVor::BrinVor;
using edge = QmPstMesh::edge;

// The pairs a search for a bridge is not to give again. The search itself only ever adds
// pairs of two segment sites, a handful per island, so a vector is plenty.
struct PairesExclues
{
    std::vector<QmPstMesh::ele*> eleA;
    std::vector<QmPstMesh::ele*> eleB;

    bool Empty() const { return eleA.empty(); }
    void Clear()
    {
        eleA.clear();
        eleB.clear();
    }
};

ZgVector2 Plan(ZgVector3 const& p) { return {p.x, p.y}; }

ZgVector2 Unitaire(ZgVector2 const& v)
{
    const double l = v.Length();
    return l > 0.0 ? v / l : v;
}

double Cross(ZgVector2 const& a, ZgVector2 const& b) { return Cross2(a, b).x; }

// Where the bridge has to reach the contour: the site of a dart by its stored fields.
bool SiteSegment(BrinVor const* b) { return b->IsEdge1(); }

ZgVector2 VectDir(BrinVor const* b)
{
    ZgVector2 d;
    b->GetVectDir(d);
    return d;
}
} // namespace

bool QmAlgVorData::JoinIslands()
{
    for (long i = 0; i < NbPoches; ++i)
    {
        DistPoche[i] = VorInfini;
        BrinPoche[i] = nullptr;
        BrinIle[i] = nullptr;
    }
    BrinPoche[0] = VorBrinFin();
    BrinIle[0] = VorBrinFin();
    StopDroite = nullptr;
    StopGauche = nullptr;
    // A join touches the cells of the island and of the sites its ring runs beside, not the
    // whole map: its sites are propagated and its tour checked on those pockets only, and
    // the whole map is checked once at the end. So k islands cost no k passes over the map.
    std::unordered_map<QmPstMesh const*, long> pocheDe;
    for (long i = 0; i < NbPoches; ++i)
        pocheDe[PocheIde[i]->mesh] = i;
    std::vector<edge*> nouveaux;
    std::vector<long> touchees;
    for (long k = 0; k + 1 < NbPoches; ++k)
    {
        ZgVector2 p;
        const long j = NextIsland(k + 1, p);
        // Pocket 0 is joined already: no bridge was found, and there is nothing to join.
        if (j <= 0 || BrinPoche[j] == nullptr || BrinIle[j] == nullptr)
            return false;
        BrinVor* start = nullptr;
        BrinVor* left = nullptr;
        BrinVor* right = nullptr;
        nouveaux.clear();
        Nouveaux = &nouveaux;
        BridgeIsland(j, p, start, left, right);
        if (start == nullptr)
        {
            Nouveaux = nullptr;
            return false;
        }
        qmVorAccess::SetPoint1(start, p);
        CoupeDroite = 1;
        CoupeGauche = 1;
        MergeChains(start, right, left, 0);
        Nouveaux = nullptr;
        if (Echec)
            return false;
        touchees.assign(1, j);
        for (edge* e : nouveaux)
        {
            auto it = e != nullptr ? pocheDe.find(e->mesh) : pocheDe.end();
            if (it != pocheDe.end())
                touchees.push_back(it->second);
        }
        std::sort(touchees.begin(), touchees.end());
        touchees.erase(std::unique(touchees.begin(), touchees.end()), touchees.end());
        for (long i : touchees)
            PropagateSites(i);
        BrinPoche[j] = VorBrinFin();
        BrinIle[j] = VorBrinFin();
        StopDroite = nullptr;
        StopGauche = nullptr;
        // A cut that the walk never needed must not act on the next join's first steps.
        CoupeDroite = 0;
        CoupeGauche = 0;
        if (!CheckPocket(j))
            return false;
    }
    // Each join leaves a closed ring of arcs about its island, and with it a tour of its
    // own between the island and the ring. Once every tour checks, each ring is opened so
    // that the first pocket's tour passes every dart.
    return CheckDiagram(NbPoches) && OuvreAnneaux();
}

// A ring is opened in the middle of one of its arcs, between the island's tour and a tour
// already merged into the first pocket's: the arc becomes two dead ends that meet at that
// point, each keeping its sites, so every pseudo-face still lies along one cell and the
// geometry is unchanged. Islands are taken in index order; one whose ring borders only
// tours not merged yet waits for a later pass.
bool QmAlgVorData::OuvreAnneaux()
{
    const size_t borne = Brins.Count() + 1;
    std::vector<BrinVor*> marques;
    auto marque = [&marques](BrinVor* d)
    {
        if (d->GetFlag() == 0)
        {
            d->SetFlag(1);
            marques.push_back(d);
        }
    };
    // Appends the tour from b0 to out; false when it does not close within the darts there
    // are.
    auto tour = [borne](BrinVor* b0, std::vector<BrinVor*>& out)
    {
        BrinVor* b = b0;
        for (size_t n = 0; n < borne; ++n)
        {
            out.push_back(b);
            b = b->Phi();
            if (b == b0)
                return true;
        }
        return false;
    };
    std::vector<BrinVor*> face;
    bool ok = tour(GetAttrEdgeVor(PocheIde[0])->GetB2(), face);
    for (BrinVor* d : face)
        marque(d);
    std::vector<bool> ouverte(static_cast<size_t>(NbPoches), false);
    ouverte[0] = true;
    for (bool progres = true; ok && progres;)
    {
        progres = false;
        for (long j = 1; ok && j < NbPoches; ++j)
        {
            BrinVor* b0 = GetAttrEdgeVor(PocheIde[j])->GetB2();
            if (ouverte[static_cast<size_t>(j)] || b0 == nullptr)
                continue;
            if (b0->GetFlag() != 0)
            {
                ouverte[static_cast<size_t>(j)] = true;
                continue;
            }
            face.clear();
            ok = tour(b0, face);
            BrinVor* arc = nullptr;
            for (size_t k = 0; ok && arc == nullptr && k < face.size(); ++k)
            {
                BrinVor* d = face[k];
                if (d->Alpha()->GetFlag() != 0 && !d->Last() && !d->Alpha()->Last() &&
                    !IsInfini(d->GetPoint1()) && !IsInfini(d->Alpha()->GetPoint1()))
                    arc = d;
            }
            if (arc == nullptr)
                continue;
            CoupeArc(arc);
            for (BrinVor* d : face)
                marque(d);
            marque(arc->Phi());
            ouverte[static_cast<size_t>(j)] = true;
            progres = true;
        }
    }
    for (BrinVor* d : marques)
        d->SetFlag(0);
    for (long j = 0; ok && j < NbPoches; ++j)
        ok = ouverte[static_cast<size_t>(j)];
    return ok;
}

void QmAlgVorData::CoupeArc(BrinVor* a)
{
    // a runs from u to w. Before: p1 -> a -> x at w, p2 -> Alpha(a) -> y at u. After: a runs
    // from u to m and turns back along Alpha(a) to u and y; a new pair c runs from w to m
    // and back to x, taking Alpha(a)'s place in the turn about w.
    BrinVor* retour = a->Alpha();
    BrinVor* x = a->Phi();
    BrinVor* p2 = retour->GetPrec();
    const ZgVector2 m = a->XYt(0.5);
    BrinVor* c = NewBrinPair(retour->GetI1(), retour->IsEdge1(), retour->GetExtr1(), a->GetI1(),
                             a->IsEdge1(), a->GetExtr1());
    qmVorAccess::SetSommet(c, qmVorAccess::GetSommet(retour));
    if (p2 != nullptr)
        p2->Phi() = c;
    c->Alpha()->Phi() = x;
    c->Phi() = c->Alpha();
    a->Phi() = retour;
    for (BrinVor* fin : {retour, c->Alpha()})
    {
        qmVorAccess::SetSommet(fin, NewSommet());
        qmVorAccess::SetPoint1(fin, m);
        qmVorAccess::SetD1(fin, DistToSite(fin));
    }
}

long QmAlgVorData::NextIsland(long island, ZgVector2& p)
{
    PairesExclues exclues;
    QmAlgDistMin dm;
    dm.SetCbFiltreAB(IslandPairFilter, &exclues);
    std::vector<QmPstMesh*> meshes(static_cast<size_t>(NbPoches));
    long aretes = 0;
    for (long i = 0; i < NbPoches; ++i)
    {
        meshes[static_cast<size_t>(i)] = PocheIde[i]->mesh;
        aretes += NbEdge[i];
    }
    QmPstMesh& ile = *meshes[static_cast<size_t>(island)];
    const auto types = static_cast<QmPstMesh::TypeEle>(QmPstMesh::typeVertex | QmPstMesh::typeEdge);
    // Each pass either takes a pair and ends, or excludes one more pair of segment sites,
    // of which there are at most as many as pairs of vertices at a convex corner on both
    // sides: the bound only guards against a search that keeps giving the same answer.
    const long maxPasses = 2 * aretes + 16;
    for (long pass = 0; pass < maxPasses; ++pass)
    {
        QmAlgDistMin::Sol sol;
        dm.DistMin(ile, types, static_cast<int>(island), meshes.data(), types, sol, 0.0);
        if (!sol.found)
            break;
        BrinVor* brinA = nullptr;
        BrinVor* brinB = nullptr;
        bool inA = false;
        bool inB = false;
        SolToBrins(sol, brinA, inA, brinB, inB);
        if (brinA == nullptr || brinB == nullptr || (SiteSegment(brinA) && SiteSegment(brinB)))
        {
            // Two segment sites (or a witness with no dart): their bisector cannot carry
            // the bridge's first arc. Look further.
            exclues.eleA.push_back(sol.eleA);
            exclues.eleB.push_back(sol.eleB);
            continue;
        }
        const double limite =
            DistPoche[island] == VorInfini ? VorInfini : DistPoche[island] * DistPoche[island];
        if (sol.dist2 < limite)
        {
            exclues.Clear();
            DistPoche[island] = std::sqrt(sol.dist2);
            BrinPoche[island] = brinB;
            BrinIle[island] = brinA;
        }
        // A pair no nearer than the bridge already held: the search only gets farther.
        break;
    }
    long j = 0;
    double best = VorInfini;
    for (long i = 0; i < NbPoches; ++i)
        if (BrinIle[i] != VorBrinFin() && DistPoche[i] < best)
        {
            best = DistPoche[i];
            j = i;
        }
    if (j == 0)
        return 0;
    p = BridgeMidPoint(BrinPoche[j], BrinIle[j], j);
    return j;
}

bool QmAlgVorData::IslandPairFilter(void* pairs, QmPstMesh* /*meshA*/, QmPstMesh::ele* a,
                                    QmPstMesh* /*meshB*/, QmPstMesh::ele* b)
{
    PairesExclues const& exclues = *static_cast<PairesExclues const*>(pairs);
    for (size_t k = 0; k < exclues.eleA.size(); ++k)
        if (exclues.eleA[k] == a && exclues.eleB[k] == b)
            return false;
    // Two edges: the nearest points of two contours are sought at a vertex on one side.
    return !(a->GetType() == QmPstMesh::typeEdge && b->GetType() == QmPstMesh::typeEdge);
}

void QmAlgVorData::SolToBrins(QmAlgDistMin::Sol& sol, BrinVor*& brinA, bool& inA, BrinVor*& brinB,
                              bool& inB)
{
    brinA = SolToBrin(sol, inA, 1);
    brinB = SolToBrin(sol, inB, 2);
}

QmAlgVor::BrinVor* QmAlgVorData::SolToBrin(QmAlgDistMin::Sol& sol, bool& inEdge, long which)
{
    QmPstMesh::ele* ele = which == 1 ? sol.eleA : sol.eleB;
    unsigned char type = which == 1 ? sol.typeA : sol.typeB;
    ZgVector3 witness = which == 1 ? sol.ptA : sol.ptB;
    inEdge = false;
    if (ele == nullptr)
        return nullptr;
    if (type == QmPstMesh::typeVertex)
    {
        // A vertex: any edge at it will do, found by a search from its position.
        auto* v = static_cast<QmPstMesh::vertex*>(ele);
        const ZgVector3 coo(v->coo[0], v->coo[1], v->coo[2]);
        QmAlgDistMin dm;
        QmAlgDistMin::Sol s;
        dm.DistMin(coo, *v->mesh, QmPstMesh::typeEdge, s, 0.0);
        if (!s.found)
            return nullptr;
        ele = s.eleA;
        witness = s.ptB;
        type = s.typeA;
    }
    if (type != QmPstMesh::typeEdge || ele == nullptr)
        return nullptr;
    auto* e = static_cast<edge*>(ele);
    const ZgVector2 w = Plan(witness);
    long end = 0;
    bool atVertex = true;
    if (!(w == VorCoo(e->v[0])))
    {
        end = 1;
        atVertex = w == VorCoo(e->v[1]);
    }
    AttrEdgeVor* a = GetAttrEdgeVor(e);
    if (a == nullptr)
        return nullptr;
    if (atVertex)
    {
        BrinVor* x = a->GetB(end);
        if (x == nullptr)
            return nullptr;
        if (x->IsEdge1() && !x->IsEdge2())
        {
            // The segment's dart at a reflex vertex: the point site's dart starts the next
            // edge.
            e = VorNextIde(e);
            a = e != nullptr ? GetAttrEdgeVor(e) : nullptr;
            if (a == nullptr)
                return nullptr;
            end = end == 0 ? 1 : 0;
        }
        else if (x->IsEdge1() && x->IsEdge2())
            atVertex = false;
    }
    inEdge = !atVertex;
    return a->GetB(end);
}

ZgVector2 QmAlgVorData::BridgeMidPoint(BrinVor* poche, BrinVor* ile, long island) const
{
    const double d = DistPoche[island] / 2.0;
    // The foot of a point on the segment of a dart, then half the bridge along the normal
    // into the pocket.
    auto surSegment = [d](BrinVor* s, ZgVector2 const& x)
    {
        const ZgVector2 o = s->GetPoint1();
        BrinVor* prev = s->GetPrevB();
        const ZgVector2 dir =
            prev != nullptr && prev != VorBrinFin() ? Unitaire(o - prev->GetPoint1()) : ZgVector2();
        const ZgVector2 pied = o + dir * Dot2(x - o, dir);
        return pied + PerpDroite(dir) * d;
    };
    if (SiteSegment(poche))
        return surSegment(poche, ile->GetPoint1());
    if (!SiteSegment(ile))
    {
        const ZgVector2 o = poche->GetPoint1();
        return o + Unitaire(ile->GetPoint1() - o) * d;
    }
    return surSegment(ile, poche->GetPoint1());
}

void QmAlgVorData::BridgeIsland(long island, ZgVector2 const& p, BrinVor*& start, BrinVor*& left,
                                BrinVor*& right)
{
    start = nullptr;
    left = nullptr;
    right = nullptr;
    BrinVor* L = BrinPoche[island];
    BrinVor* R = BrinIle[island];
    auto valide = [](BrinVor* b) { return b != nullptr && b != VorBrinFin(); };
    if (!valide(L) || !valide(R))
        return;
    long kind = 3;
    if (SiteSegment(L) && !SiteSegment(R))
        kind = 1;
    else if (!SiteSegment(L) && !SiteSegment(R))
        kind = 2;
    enum
    {
        T1,
        T2,
        T3
    } tag = T1;
    const ZgVector2 v = R->GetPoint1() - L->GetPoint1();
    const ZgVector2 dl = VectDir(L);
    const ZgVector2 dr = VectDir(R);
    if (std::fabs(Cross(dl, v)) < dVorZero)
    {
        // L runs along the bridge.
        if (std::fabs(Dot2(dl, dr)) < dVorZero)
            tag = T3;
        else if (std::fabs(Cross(dl, p - L->GetPoint1())) < dVorZero)
            tag = T2;
    }
    if (tag == T1)
    {
        BrinVor* pr = R->GetPrevB();
        if (valide(pr) && (kind == 1 || kind == 2) &&
            std::fabs(Cross(p - R->GetPoint1(), VectDir(pr))) <= dVorZero)
            R = pr;
    }
    else if (tag == T2)
        L = L->GetNextB();
    else
    {
        L = L->GetNextB();
        R = R->GetPrevB();
    }
    if (!valide(L) || !valide(R))
        return;
    start = NewBrinPair(R->GetI1(), R->IsEdge1(), R->GetExtr1(), L->GetI1(), L->IsEdge1(),
                        L->GetExtr1());
    R = R->GetPrevB();
    qmVorAccess::SetSommet(start, NewSommet());
    left = L;
    right = valide(R) ? R : nullptr;
}
