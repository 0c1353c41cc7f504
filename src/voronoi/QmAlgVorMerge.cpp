#include "voronoi/QmAlgVorData.h"
#include "voronoi/VorGeomDetail.h"

#include <utility>

namespace
{
using BrinVor = QmAlgVor::BrinVor;
using edge = QmPstMesh::edge;

// A site triple, as the joins pass it between darts.
struct Site
{
    edge* e = nullptr;
    bool isEdge = false;
    bool extr = false;
};

void setI(BrinVor* b, Site const& s)
{
    qmVorAccess::SetI(b, s.e, s.isEdge, s.extr);
    qmVorAccess::Mefiance(b);
}

// The crossing found on one side of the bisector in one pass of the walk.
struct Side
{
    long status = 0;
    ZgVector2 point{VorInfini, VorInfini};
    BrinVor* dart = nullptr;
    long code = -1;

    void Clear()
    {
        status = 0;
        dart = nullptr;
        point = ZgVector2(VorInfini, VorInfini);
    }
};

// A walker at the end of an open contour has nowhere to go.
BrinVor* walker(BrinVor* b) { return b == VorBrinFin() ? nullptr : b; }

// Two darts equal by value; the walkers may hold the end marker, which equals nothing.
bool sameBrin(BrinVor const* a, BrinVor const* b)
{
    if (a == nullptr || b == nullptr || a == VorBrinFin() || b == VorBrinFin())
        return false;
    return *a == *b;
}

double dist2(ZgVector2 const& a, ZgVector2 const& b)
{
    const ZgVector2 d = a - b;
    return Dot2(d, d);
}
} // namespace

void QmAlgVorData::MergeChains(BrinVor* start, BrinVor* right, BrinVor* left, long mode)
{
    BrinVor* B = start;
    BrinVor* const startB = start;
    BrinVor* const r0 = right;
    BrinVor* const l0 = left;
    BrinVor* r = walker(right);
    BrinVor* l = walker(left);
    // A start dart hanging on a point site: the walker on that side skips its first arc,
    // for the first pass only.
    BrinVor* t = nullptr;
    if (mode == 1)
    {
        t = r;
        r = r != nullptr && !r->Last() ? AvanceDroite(r) : nullptr;
    }
    else if (mode == 2)
    {
        t = l;
        l = l != nullptr && !l->Last() ? AvanceGauche(l) : nullptr;
    }
    for (long pass = 0; r != nullptr || l != nullptr; ++pass)
    {
        if (pass >= lVorPasMax)
        {
            Echec = true;
            return;
        }
        Side sr;
        Side sl;
        long next = 3;
        sr.status = FindCrossing(B, r, sr.point, sr.dart, sr.code, AvanceDroite);
        sl.status = FindCrossing(B, l, sl.point, sl.dart, sl.code, AvanceGauche);
        // A status without a dart names no arc to cut: no crossing on that side.
        if (sr.dart == nullptr)
            sr.Clear();
        if (sl.dart == nullptr)
            sl.Clear();
        if (mode == 1)
        {
            mode = 0;
            r = t;
        }
        else if (mode == 2)
        {
            mode = 0;
            l = t;
        }
        if (sr.status == 2 && sl.status != 0 && sl.status != 2 && sl.dart->Last())
            sr.status = 1;
        if (sr.status != 0 && sr.status != 2 && sl.status == 2 && sr.dart->Last())
            sl.status = 1;
        // The start bisector is not a walker's arc to cross, unless it is the same arc.
        if (sr.dart != nullptr && sameBrin(sr.dart, startB) && sr.status != 2)
            sr.Clear();
        if (sl.dart != nullptr && sameBrin(sl.dart->Alpha(), startB) && sl.status != 2)
            sl.Clear();
        if ((sr.status == 0 && sl.status == 0) || sr.status == 2 || sl.status == 2)
        {
            if (sr.status == 2)
                r = RemoveBisector(B, sr.dart);
            else if (sl.status == 2)
                r = RemoveBisector(B, sl.dart);
            next = 3;
        }
        else
        {
            next = ChooseCrossing(B, sr.point, sl.point, &sr.code);
            BrinVor* arcs[2] = {nullptr, nullptr};
            long n = 1;
            long status = 0;
            ZgVector2 point = sr.point;
            if (next == 0)
            {
                status = sr.status;
                arcs[0] = sr.dart;
            }
            else if (next == 1)
            {
                status = sl.status;
                arcs[0] = sl.dart;
                point = sl.point;
            }
            else if (next == 2)
            {
                arcs[0] = sr.dart;
                arcs[1] = sl.dart;
                n = 2;
            }
            if ((next != 0 && next != 1 && next != 2) || arcs[0] == nullptr ||
                (n == 2 && arcs[1] == nullptr))
            {
                // No order between the two crossings (a NaN distance): the join cannot go on.
                Echec = true;
                return;
            }
            bool created = false;
            B = ApplyCrossing(B, arcs, n, status, &created, AvanceDroite, AvanceGauche);
            if (B == nullptr)
            {
                // A double crossing whose arcs are not on the expected sides.
                Echec = true;
                return;
            }
            if (created)
                qmVorAccess::SetPoint1(B, point);
            if (!B->Last())
            {
                // Three arcs closed on one vertex: the bisector ends there.
                if (qmVorAccess::GetSommet(B->Alpha()) == nullptr)
                {
                    Echec = true;
                    return;
                }
                qmVorAccess::SetPoint1(B->Alpha(), point);
                next = 3;
            }
        }
        if (next == 0 || next == 2)
            r = walker(B->GetPrevB());
        if (next == 1 || next == 2)
            l = walker(B->GetNextB());
        if (next == 3)
            r = l = nullptr;
        if (next != 3 && r != nullptr && l != nullptr && sameBrin(r0, r) && sameBrin(l0, l))
        {
            // Back where the walk began: the last bisector takes the place of the
            // provisional start bisector, which closes a closed contour.
            B->Phi() = startB->Phi();
            BrinVor* p = startB->GetPrecAlpha();
            if (p == nullptr)
            {
                Echec = true;
                return;
            }
            p->Phi() = B->Alpha();
            qmVorAccess::SetSommet(B->Alpha(), qmVorAccess::GetSommet(startB->Alpha()));
            FreeSommet(qmVorAccess::GetSommet(startB));
            BrinVor* a = startB->Alpha();
            FreeBrin(a);
            FreeBrin(startB);
            r = l = nullptr;
        }
    }
}

long QmAlgVorData::ChooseCrossing(BrinVor* b, ZgVector2 pr, ZgVector2 pl, long const* code)
{
    if (IsInfini(pr))
        return 1;
    if (IsInfini(pl))
        return 0;
    if ((*code / 10) % 10 == 1)
    {
        const ZgVector2 o = b->GetPoint1();
        const double dr = (o - pr).Length();
        const double dl = (o - pl).Length();
        if (std::fabs(dr - dl) < dVorZero)
            return 2;
        if (dr < dl)
            return 0;
        if (dr > dl)
            return 1;
        return -1;
    }
    return ChooseOnParabola(b, pr, pl);
}

long QmAlgVorData::ChooseOnParabola(BrinVor* b, ZgVector2 pr, ZgVector2 pl)
{
    ZgVector2 f, q, v;
    b->GetFoyerDirectrice(f, q, v);
    const ZgVector2 o = b->GetPoint1();
    const double vv = Dot2(v, v);
    auto foot = [&](ZgVector2 const& x) { return q + v * (Dot2(x - q, v) / vv); };
    const ZgVector2 fr = foot(pr);
    const ZgVector2 fl = foot(pl);
    if (!(fr == fl))
    {
        // The tie goes to the left.
        const ZgVector2 fo = foot(o);
        return dist2(fo, fl) <= dist2(fo, fr) ? 1 : 0;
    }
    // Both feet coincide: order along the axis. H is the true foot of the focus only for a
    // unit directrix; the order comes out the same either way.
    const ZgVector2 h = q + v * Dot2(f - q, v);
    const ZgVector2 a = f - h;
    const double aa = Dot2(a, a);
    auto axis = [&](ZgVector2 const& x) { return h + a * (Dot2(x - h, a) / aa); };
    const ZgVector2 ar = axis(pr);
    const ZgVector2 al = axis(pl);
    if (ar == al)
        return 2;
    const ZgVector2 ao = axis(o);
    return dist2(ao, al) <= dist2(ao, ar) ? 1 : 0;
}

void QmAlgVorData::SitesOfCrossing(BrinVor* x, BrinVor* y, edge*& e1, bool& isEdge1, bool& extr1,
                                   edge*& e2, bool& isEdge2, bool& extr2)
{
    SiteGauche(x, &e1, &isEdge1, &extr1);
    e2 = y->GetI2();
    isEdge2 = y->IsEdge2();
    SiteDroite(y->Alpha(), &e2, &isEdge2, &extr2);
}

QmAlgVor::BrinVor* QmAlgVorData::ApplyCrossing(BrinVor* b, BrinVor** arcs, long n, long status,
                                               bool* created, Step stepRight, Step stepLeft)
{
    *created = false;
    ApplyCuts(b, arcs, n);
    BrinVor* D = arcs[0];
    Site s1;
    Site s2;
    if (n < 2)
    {
        const bool droite = b->ADroite(D);
        if (droite)
            SitesOfCrossing(b, D, s1.e, s1.isEdge, s1.extr, s2.e, s2.isEdge, s2.extr);
        else
            SitesOfCrossing(D, b, s1.e, s1.isEdge, s1.extr, s2.e, s2.isEdge, s2.extr);
        const Step step = droite ? stepLeft : stepRight;
        // What lies beyond the crossing along the walker's side goes.
        auto swallow = [&]
        {
            if (!D->Last())
                DeleteChain(step(D), step);
        };
        if (status == 4)
        {
            // The crossing is D's origin: D becomes the next bisector.
            swallow();
            if (droite)
            {
                setI(D, s1);
                setI(D->Alpha(), s2);
                qmVorAccess::AddPrecBack(D, b);
            }
            else
            {
                setI(D->Alpha(), s2);
                setI(D, s1);
                qmVorAccess::AddPrecFront(D, b);
            }
            return D;
        }
        if (status == 3)
        {
            // The crossing is b's origin: b itself goes on as the next bisector.
            swallow();
            if (droite)
            {
                setI(b->Alpha(), s2);
                qmVorAccess::AddPrecFront(b, D);
            }
            else
            {
                setI(b, s1);
                qmVorAccess::AddPrecBack(b, D);
            }
            return b;
        }
        BrinVor* N = NewBrinPair(s1.e, s1.isEdge, s1.extr, s2.e, s2.isEdge, s2.extr);
        swallow();
        if (droite)
        {
            qmVorAccess::AddPrecFront(N, b);
            qmVorAccess::AddPrec(N, arcs, n);
        }
        else
        {
            qmVorAccess::AddPrec(N, arcs, n);
            qmVorAccess::AddPrecFront(N, b);
        }
        *created = true;
        return N;
    }
    BrinVor* D1 = arcs[1];
    if (!(b->AGauche(D) && b->ADroite(D1)))
        return nullptr;
    SitesOfCrossing(D, D1, s1.e, s1.isEdge, s1.extr, s2.e, s2.isEdge, s2.extr);
    if (D->Last() && D1->Last() && SitesContigus(s2.e, s2.isEdge, s1.e, s1.isEdge))
    {
        // The three arcs end in one vertex and nothing new starts there.
        b->Phi() = D->Alpha();
        D->Phi() = D1->Alpha();
        D1->Phi() = b->Alpha();
        qmSommetVor* s = qmVorAccess::GetSommet(D->Alpha());
        if (s == nullptr)
            s = qmVorAccess::GetSommet(D1->Alpha());
        if (s == nullptr)
            s = NewSommet();
        qmVorAccess::SetSommet(b->Alpha(), s);
        qmVorAccess::SetSommet(D->Alpha(), s);
        qmVorAccess::SetSommet(D1->Alpha(), s);
        return b;
    }
    BrinVor* N = NewBrinPair(s1.e, s1.isEdge, s1.extr, s2.e, s2.isEdge, s2.extr);
    if (!D->Last())
        DeleteChain(stepRight(D), stepRight);
    if (!D1->Last())
        DeleteChain(stepLeft(D1), stepLeft);
    qmVorAccess::AddPrecFront(N, D);
    qmVorAccess::AddPrecFront(N, b);
    qmVorAccess::AddPrecFront(N, D1);
    *created = true;
    return N;
}

QmAlgVor::BrinVor* QmAlgVorData::RemoveBisector(BrinVor* b, BrinVor* w)
{
    // The walker's arc w and the bisector b are one arc: b takes w's far end and w goes.
    if (w->Sigma() == w)
        std::swap(b, w);
    b->Phi() = w->Alpha()->Phi();
    BrinVor* p = w->GetPrec();
    if (p != nullptr)
        p->Phi() = b->Alpha();
    else
        Echec = true;
    qmVorAccess::SetSommet(b->Alpha(), qmVorAccess::GetSommet(w));
    FreeBrin(w->Alpha());
    FreeBrin(w);
    return nullptr;
}

void QmAlgVorData::DeleteChain(BrinVor* x, Step step)
{
    if (x == nullptr)
        return;
    BrinVor* v = nullptr;
    for (long steps = 0; v != x; ++steps)
    {
        if (steps >= lVorPasMax)
        {
            Echec = true;
            return;
        }
        // The arc of the previous pass goes now, once the walk has left it.
        DeleteArc(v);
        // Cut every arc at x's vertex loose from it: each becomes a dead end of its own.
        v = x->Sigma();
        for (long k = 0; v != x && v != nullptr && k < lVorPasMax; ++k)
        {
            BrinVor* s = v->Sigma();
            v->Sigma() = v;
            qmVorAccess::SetSommet(v, nullptr);
            v = s;
        }
        v = x;
        x->Sigma() = x;
        if (!x->Last())
        {
            BrinVor* nx = step(x);
            UnlinkArc(x);
            if (nx == nullptr)
            {
                Echec = true;
                return;
            }
            x = nx;
        }
    }
    DeleteArc(x);
}

void QmAlgVorData::DeleteArc(BrinVor* d)
{
    if (d == nullptr || IsContourSommet(d->GetD1()))
        return;
    qmSommetVor* s = qmVorAccess::GetSommet(d);
    if (IsContourSommet(d->GetD2()))
    {
        // Anchored on the contour: only the vertex at this end goes.
        qmVorAccess::SetSommet(d, nullptr);
        FreeSommet(s);
        return;
    }
    qmVorAccess::SetSommet(d, nullptr);
    FreeSommet(s);
    FreeBrin(d->Alpha());
    FreeBrin(d);
}

void QmAlgVorData::UnlinkArc(BrinVor* d)
{
    if (d->Last())
        return;
    BrinVor* p = d->GetPrecAlpha();
    if (p != nullptr)
        p->Phi() = d->Phi();
}

namespace
{
Site siteGauche(BrinVor const* b)
{
    Site s;
    SiteGauche(b, &s.e, &s.isEdge, &s.extr);
    return s;
}

Site siteDroite(BrinVor const* a)
{
    Site s;
    SiteDroite(a, &s.e, &s.isEdge, &s.extr);
    return s;
}
} // namespace

QmAlgVor::BrinVor* QmAlgVorData::CutOpen(BrinVor* D)
{
    // D's arc is split at its far vertex into two dead ends: D keeps its side and stops
    // short, a new arc N takes over the far vertex on the other side. Sketch, with v the
    // far vertex:  x -D-> v -Phi(D)-> ...  becomes  x -D-> (end) and N starting at v.
    const Site s2 = siteDroite(D);
    const Site s1 = siteGauche(D->Alpha());
    BrinVor* N = NewBrinPair(s1.e, s1.isEdge, s1.extr, s2.e, s2.isEdge, s2.extr);
    N->Alpha()->Phi() = D->Phi();
    BrinVor* p = D->GetPrecAlpha();
    if (p != nullptr)
        p->Phi() = N;
    else
        Echec = true;
    qmVorAccess::SetSommet(N, qmVorAccess::GetSommet(D->Phi()));
    qmVorAccess::SetAllI1(N->Alpha(), s2.e, s2.isEdge, s2.extr);
    D->Phi() = D->Alpha();
    qmVorAccess::SetSommet(D->Alpha(), nullptr);
    const Site s = siteDroite(D->Alpha());
    qmVorAccess::SetAllI1(D->Alpha(), s.e, s.isEdge, s.extr);
    return N;
}

void QmAlgVorData::ApplyCuts(BrinVor* b, BrinVor** arcs, long n)
{
    // The right cut opens the diagram at the first arc that meets the bisector on the
    // right, and leaves StopDroite where the right walker must stop.
    if (CoupeDroite != 0 && ((n == 1 && b->ADroite(arcs[0])) || (n == 2 && b->ADroite(arcs[1]))))
    {
        BrinVor*& entry = n == 2 ? arcs[1] : arcs[0];
        BrinVor* D = entry;
        if (D->Last())
        {
            const Site s1 = siteGauche(D);
            const Site s2 = siteDroite(D->Alpha());
            BrinVor* N = NewBrinPair(s1.e, s1.isEdge, s1.extr, s2.e, s2.isEdge, s2.extr);
            BrinVor* p = D->GetPrec();
            if (p != nullptr)
                p->Phi() = N;
            else
                Echec = true;
            N->Alpha()->Phi() = D->Alpha()->Phi();
            qmVorAccess::SetSommet(N, qmVorAccess::GetSommet(D));
            D->Alpha()->Phi() = D;
            qmVorAccess::SetSommet(D, nullptr);
            StopDroite = D->Alpha();
            entry = N;
        }
        else
            StopDroite = CutOpen(D);
        CoupeDroite = 0;
    }
    if (CoupeGauche != 0 && b->AGauche(arcs[0]) && !arcs[0]->Last())
    {
        StopGauche = CutOpen(arcs[0]);
        CoupeGauche = 0;
    }
    // A dead end on the left uses the cut up without being cut.
    if (CoupeGauche != 0 && b->AGauche(arcs[0]))
        CoupeGauche = 0;
}
