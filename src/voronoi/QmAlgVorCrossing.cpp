#include "kernel/ZgTolerance.h"
#include "toolpath/SolvePolynome.h"
#include "voronoi/QmAlgVorData.h"
#include "voronoi/QmVorGeom.h"
#include "voronoi/VorGeomDetail.h"

#include <cmath>

// Where the current bisector first meets the boundary of a block. Arcs are segments or
// parabolas, so there are four cases; each candidate point must pass the diagram's box, the
// zones of influence of the sites concerned, and lie on both arcs. Two parabolas that meet
// share a site, so their crossing lies on the bisector of the two other sites: every
// crossing with a parabola is a line against one parabola, a quadratic.
//
// Dispatch: FindCrossing walks the walker along the block and runs, per arc, case 11 (two
// straight arcs), 12 and 21 (a straight arc and a parabola, the bisector's kind first) or
// 22 (two parabolas).

namespace
{
using BrinVor = QmAlgVor::BrinVor;
using edge = QmPstMesh::edge;

// Starting value of the sign tests along an arc: a direction too short to give a sign
// leaves it negative, so no point lies on such an arc.
constexpr double dVorSansSigne = -VorInfini;

// Cases 12 and 21: the order of the two candidates along the bisector was not asked.
constexpr long lVorSansChoix = 2147483646;

// The line and parabola solve gives at most two points; the arrays have room for four.
constexpr long lVorNbCandMax = 4;

ZgVector2 Infini() { return {VorInfini, VorInfini}; }

// 1 for zero, as for any non-negative value.
double Signe(double x) { return x < 0.0 ? -1.0 : 1.0; }

// A box with a negative extent, or flat in both directions, filters nothing; nor does a
// missing one.
bool BoxDegeneree(ZgBBox2 const* box)
{
    if (box == nullptr)
        return true;
    const double ex = box->max.x - box->min.x;
    const double ey = box->max.y - box->min.y;
    if (ex < -dZgZero || ey < -dZgZero)
        return true;
    return std::fabs(ex) <= dZgZero && std::fabs(ey) <= dZgZero;
}

bool DansBox(ZgBBox2 const& box, ZgVector2 const& p)
{
    return box.min.x - dZgZero <= p.x && p.x <= box.max.x + dZgZero && box.min.y - dZgZero <= p.y &&
           p.y <= box.max.y + dZgZero;
}

// The box test of every candidate: passed when the box of b is degenerate or holds p.
bool PasseBox(BrinVor const* b, ZgVector2 const& p)
{
    ZgBBox2 const* box = GetPstMeshBox(b);
    return BoxDegeneree(box) || DansBox(*box, p);
}

// Foot of x on the line through q with direction v, which need not be a unit vector.
ZgVector2 Pied(ZgVector2 const& q, ZgVector2 const& v, ZgVector2 const& x)
{
    return q + v * Dot2(x - q, v) / Dot2(v, v);
}

ZgVector2 Unitaire(ZgVector2 const& v) { return v / v.Length(); }

// Whether v points along d: the signs of the x components when d has one longer than
// dZgZero, else those of the y components, else dVorSansSigne.
double SigneSelon(ZgVector2 const& v, ZgVector2 const& d)
{
    if (std::fabs(d.x) > dZgZero)
        return Signe(v.x) * Signe(d.x);
    if (std::fabs(d.y) > dZgZero)
        return Signe(v.y) * Signe(d.y);
    return dVorSansSigne;
}

// An orthonormal frame as the affine map (x, y) -> (a x + b y + c, d x + e y + f): the
// columns are its axes and its origin.
struct Repere
{
    double a, b, c, d, e, f;

    ZgVector2 Applique(ZgVector2 const& p) const
    {
        return {a * p.x + b * p.y + c, d * p.x + e * p.y + f};
    }

    // The inverse of an orthonormal frame is its transpose with the origin taken back, so
    // no division. The second row follows the orientation (the sign of a e - d b), so a
    // mirrored frame inverts as well; only the first axis is read.
    Repere Inverse() const
    {
        Repere r{};
        r.a = a;
        r.b = d;
        r.c = -(a * c + d * f);
        if (!(a * e - d * b < 0.0))
        {
            r.d = -d;
            r.e = a;
            r.f = d * c - a * f;
        }
        else
        {
            r.d = d;
            r.e = -a;
            r.f = a * f - d * c;
        }
        return r;
    }
};

Repere RepereAxes(ZgVector2 const& ox, ZgVector2 const& oy, ZgVector2 const& origin)
{
    return {ox.x, oy.x, origin.x, ox.y, oy.y, origin.y};
}

// The vertex of a site: end extr of e.
QmPstMesh::vertex* Extremite(edge* e, bool extr) { return e->v[extr ? 1 : 0]; }

// The contour neighbour of e, null where the contour ends there (or e has no link).
edge* Voisin(edge* e, bool suivant)
{
    QmAlgVor::AttrEdgeVor* a = GetAttrEdgeVor(e);
    if (a == nullptr)
        return nullptr;
    return suivant ? a->GetNextIde(e) : a->GetPrevIde(e);
}

// The parabola of a dart in its own frame: unit directrix direction v, unit axis towards
// the focus, summit and parameter (focus to directrix), where it is y = x^2 / (2 para).
struct Parabole
{
    ZgVector2 v, axe, sommet;
    double para;
};

Parabole ParaboleDe(BrinVor const* b)
{
    ZgVector2 f, q, v;
    b->GetFoyerDirectrice(f, q, v);
    const ZgVector2 axe = b->GetAxe(f, q, q + v);
    const ZgVector2 h = Pied(q, v, f);
    return {Unitaire(v), Unitaire(axe), (f + h) / 2.0, (f - h).Length()};
}

// Packs down the candidates that pass the box of a and lie in the zones of a and c; the
// number kept.
long GardeCandidats(BrinVor* a, BrinVor* c, ZgVector2* cands, long count)
{
    long kept = 0;
    for (long i = 0; i < count; ++i)
        if (PasseBox(a, cands[i]) && QmAlgVorData::InZones(a, c, cands[i]))
            cands[kept++] = cands[i];
    return kept;
}

// The arcs' own lines: origin and unit direction of a straight arc.
void LigneDroite(BrinVor const* b, ZgVector2& origine, ZgVector2& direction)
{
    ZgVector2 eq[3];
    long n = 0;
    qmVorAccess::GetEquationC(b, eq, n);
    origine = b->GetPoint1();
    direction = eq[0];
}

// Case 11. fin is set when the answer is given without arithmetic (the same bisector).
long Cas11(BrinVor* b, ZgVector2 const& bO, ZgVector2 const& bD, BrinVor* w, long code,
           ZgVector2& p, BrinVor*& dart, bool& fin)
{
    ZgVector2 wO, wD;
    LigneDroite(w, wO, wD);
    if (QmAlgVorData::SameBisector(b, w))
    {
        dart = w;
        fin = true;
        return 2;
    }
    // A collinear pair gives 2 with p still infinite, which only the box removes.
    long found = QmAlgVorData::CrossRays(GetPstMeshBoxDiag(b), bO, bD, wO, wD, p);
    if (found != 0 && (!PasseBox(b, p) || !QmAlgVorData::InZones(b, w, p)))
        found = 0;
    if (found == 0)
    {
        p = Infini();
        return 0;
    }
    long statuses[lVorNbCandMax];
    const long one = 1;
    QmAlgVorData::ClassifyCandidates(b, w, code, &p, one, statuses);
    found = statuses[0];
    if (found == 0)
        p = Infini();
    else
        dart = w;
    return found;
}

// Cases 12 and 21. Both candidates on both arcs: case 12 takes the first along the
// bisector; case 21 orders them only when both lie inside both arcs, and otherwise chooses
// nothing, giving the candidate count with no point and no dart.
long Cas12Ou21(BrinVor* b, BrinVor* w, long code, ZgVector2& p, BrinVor*& dart)
{
    ZgVector2 cands[lVorNbCandMax] = {Infini(), Infini(), Infini(), Infini()};
    long statuses[lVorNbCandMax] = {0, 0, 0, 0};
    long count = 0;
    long found = code == 12 ? QmAlgVorData::CrossStraightCurved(b, w, cands, count)
                            : QmAlgVorData::CrossStraightCurved(w, b, cands, count);
    if (found != 0)
    {
        QmAlgVorData::ClassifyCandidates(b, w, code, cands, count, statuses);
        if (statuses[0] == 0 && statuses[1] == 0)
            found = 0;
    }
    const long s0 = statuses[0];
    const long s1 = statuses[1];
    long v = lVorSansChoix;
    if (code == 12 || (s0 == 1 && s1 == 1))
        v = QmAlgVorData::ChooseOnArc(b, cands[0], cands[1]);
    const bool deux = s0 != 0 && s1 != 0;
    if ((s0 != 0 && s1 == 0) || (deux && (v == 0 || v == 2)))
    {
        dart = w;
        p = cands[0];
        found = s0;
    }
    else if ((s0 == 0 && s1 != 0) || (deux && v == 1))
    {
        dart = w;
        p = cands[1];
        found = s1;
    }
    return found;
}

// Case 22. fin as in case 11.
long Cas22(BrinVor* b, BrinVor* w, long code, ZgVector2& p, BrinVor*& dart, bool& fin)
{
    if (QmAlgVorData::SameBisectorCurved(b, w))
    {
        dart = w;
        fin = true;
        return 2;
    }
    ZgVector2 cands[lVorNbCandMax] = {Infini(), Infini(), Infini(), Infini()};
    long statuses[lVorNbCandMax] = {0, 0, 0, 0};
    long count = 0;
    if (QmAlgVorData::CrossCurvedCurved(b, w, cands, count) == 0)
        return 0;
    QmAlgVorData::ClassifyCandidates(b, w, code, cands, count, statuses);
    long sum = 0;
    for (long i = 0; i < lVorNbCandMax; ++i)
        sum += statuses[i];
    if (sum == 0)
        return 0;
    // Slot 0 takes the first candidate inside both arcs, if any (copied: slot k keeps it).
    for (long k = 0; k < count; ++k)
        if (statuses[k] == 1)
        {
            cands[0] = cands[k];
            statuses[0] = statuses[k];
            break;
        }
    // Each other slot against the current slot 0, whatever its status.
    for (long i = 1; i < count; ++i)
        if (QmAlgVorData::ChooseOnArc(b, cands[i], cands[0]) == 1)
        {
            cands[0] = cands[i];
            statuses[0] = statuses[i];
        }
    p = cands[0];
    dart = w;
    return statuses[0];
}
} // namespace

long QmAlgVorData::FindCrossing(BrinVor* b, BrinVor* w, ZgVector2& p, BrinVor*& dart, long& code,
                                Step step)
{
    if (w == nullptr)
        return 0;
    if (w == StopDroite)
    {
        StopDroite = nullptr;
        CoupeDroite = 0;
        return 0;
    }
    code = -1;
    p = Infini();
    dart = nullptr;
    const bool droite = b->IsDroite();
    const long base = droite ? 10 : 20;
    ZgVector2 bO, bD;
    if (droite)
        LigneDroite(b, bO, bD);

    long found = 0;
    bool stop = false;
    // Invariant: w is the walker's arc to test, and the stop darts met so far are consumed.
    for (long pas = 0; found == 0 && !stop; ++pas)
    {
        if (pas >= lVorPasMax)
        {
            p = Infini();
            dart = nullptr;
            return 0;
        }
        code = base + (w->IsDroite() ? 1 : 2);
        p = Infini();
        dart = nullptr;
        bool fin = false;
        switch (code)
        {
        case 11:
            found = Cas11(b, bO, bD, w, code, p, dart, fin);
            break;
        case 12:
        case 21:
            found = Cas12Ou21(b, w, code, p, dart);
            break;
        default:
            found = Cas22(b, w, code, p, dart, fin);
            break;
        }
        if (fin)
            return found;
        // Also after a crossing: a stop dart next to the arc found is consumed in this pass.
        if (w->Last())
        {
            stop = true;
            continue;
        }
        // An arc ending on the contour is tested even while a right cut is pending: the
        // first crossing of an island's bridge can lie on it, past the far vertex of the
        // arc the walker started on. Being a dead end, it ends the walk after its test.
        w = step(w);
        if (w == nullptr)
            stop = true;
        else if (w == StopDroite)
        {
            StopDroite = nullptr;
            CoupeDroite = 0;
            stop = true;
        }
        else if (w == StopGauche)
        {
            StopGauche = nullptr;
            stop = true;
        }
    }
    return found;
}

void QmAlgVorData::ClassifyCandidates(BrinVor* b, BrinVor* w, long code, ZgVector2* cands,
                                      long const& count, long* statuses)
{
    for (long i = 0; i < lVorNbCandMax; ++i)
        statuses[i] = 0;
    const long n = count < 0 ? 0 : (count > lVorNbCandMax ? lVorNbCandMax : count);
    const bool bDroit = (code / 10) % 10 == 1;
    const bool wDroit = code % 10 == 1;
    double t = dVorSansSigne;
    for (long i = 0; i < n; ++i)
        statuses[i] = bDroit ? OnStraightArc(b, cands[i], t) : OnCurvedArc(b, cands[i]);
    // The walker's test runs last, so a point at both origins counts as the walker's (4).
    for (long i = 0; i < n; ++i)
    {
        if (statuses[i] == 0)
            continue;
        const long r = wDroit ? OnStraightArc(w, cands[i], t) : OnCurvedArc(w, cands[i]);
        if (r == 0)
            statuses[i] = 0;
        else if (r == 3)
            statuses[i] = 4;
    }
}

long QmAlgVorData::OnStraightArc(BrinVor* a, ZgVector2 p, double& t)
{
    if (!PasseBox(a, p))
        return 0;
    const ZgVector2 o = a->GetPoint1();
    ZgVector2 d;
    a->GetVectDir(d);
    // Between two nearly collinear edges (a vertex turning by less than dZgZero radians)
    // the difference of their unit directions is shorter than dZgZero in both coordinates:
    // its sign is still sure, but not against dZgZero. Taken to unit length, the larger
    // coordinate always counts.
    const double l = d.Length();
    if (l > 0.0 && std::isfinite(l))
        d = d / l;
    t = dVorSansSigne;
    long result = 1;
    if (p == o)
        result = 3;
    else
    {
        t = SigneSelon(p - o, d);
        if (t < 0.0)
            return 0;
    }
    if (a->Last())
        return result;
    const ZgVector2 e = a->Alpha()->GetPoint1();
    // The far end of an arc is the origin of the next one, never on this one.
    if (p == e)
        return 0;
    t = SigneSelon(p - e, -d);
    if (t < 0.0)
        return 0;
    return result;
}

long QmAlgVorData::OnCurvedArc(BrinVor* a, ZgVector2 p)
{
    if (!PasseBox(a, p))
        return 0;
    const ZgVector2 o = a->GetPoint1();
    // At the origin a dead end counts the point as on it, unlike OnStraightArc.
    if (p == o)
        return a->Last() ? 1 : 3;
    ZgVector2 f, q, v;
    if (a->Last())
    {
        // A dead end runs from its origin along the directrix's direction.
        a->GetFoyerDirectrice(f, q, v);
        return Dot2(p - o, v) >= 0.0 ? 1 : 0;
    }
    const ZgVector2 e = a->Alpha()->GetPoint1();
    // This one test compares coordinates with dVorZero, not dZgZero.
    if (std::fabs(e.x - p.x) < dVorZero && std::fabs(e.y - p.y) < dVorZero)
        return 0;
    // An arc whose ends have met (a crossing at its own origin cut it to nothing) has no
    // inside; the side tests below would read the direction of a chord of rounding noise.
    if (o == e)
        return 0;
    a->GetFoyerDirectrice(f, q, v);
    const ZgVector2 h = Pied(q, v, f);
    const ZgVector2 sommet = (f + h) / 2.0;
    const ZgVector2 ho = Pied(q, v, o);
    const ZgVector2 delta = h - ho;
    double g = 0.0;
    if (h != ho)
    {
        if (std::fabs(v.x) > dZgZero)
            g = Signe(delta.x) * Signe(v.x);
        else if (std::fabs(v.y) > dZgZero)
            g = Signe(delta.y) * Signe(v.y);
        else
            g = dVorSansSigne;
    }
    // The arc lies on the side of the chord O-E away from the focus. With the summit ahead
    // of O the focus may fall on the arc's side of that chord, so its side is read against
    // the line from O to the summit instead.
    const long r1 = g > 0.0 ? CoteDroite(o, sommet, f) : CoteDroite(o, e, f);
    const long r2 = CoteDroite(o, e, p);
    if ((r1 == 1 && r2 == -1) || (r1 == -1 && r2 == 1))
        return 1;
    if (r1 == r2 && r1 != 0)
        return 0;
    // On the chord's line: between O and E or not.
    return Dot2(o - p, e - p) < 0.0 ? 1 : 0;
}

bool QmAlgVorData::InZones(BrinVor* a, BrinVor* c, ZgVector2 p)
{
    // An arc between a point and its own edge: only the other arc's site on the far side
    // counts.
    if (a->GetI1() == a->GetI2())
        return a->AGauche(c) ? InZone(c, p, false) : InZone(c, p, true);
    if (c->GetI1() == c->GetI2())
        return c->AGauche(a) ? InZone(a, p, false) : InZone(a, p, true);
    return InZone(a, p, true) && InZone(c, p, false) && InZone(a, p, false) && InZone(c, p, true);
}

bool QmAlgVorData::InZone(BrinVor* a, ZgVector2 p, bool side)
{
    if (a->GetI1() == a->GetI2())
    {
        // The second argument is the edge's vector, not its second vertex: the line runs
        // from P0 towards P1 - P0, and that is the test the construction relies on.
        edge* e = a->GetI1();
        const ZgVector2 p0 = VorCoo(e->v[0]);
        const ZgVector2 p1 = VorCoo(e->v[1]);
        return CoteDroite(p0, p1 - p0, p) == 1;
    }
    return InZoneSite(a, side, p);
}

bool QmAlgVorData::InZoneSite(BrinVor* a, bool side, ZgVector2 p)
{
    edge* const e = side ? a->GetI2() : a->GetI1();
    const bool isEdge = side ? a->IsEdge2() : a->IsEdge1();
    const bool extr = side ? a->GetExtr2() : a->GetExtr1();
    const ZgVector2 p0 = VorCoo(e->v[0]);
    const ZgVector2 p1 = VorCoo(e->v[1]);
    if (isEdge)
    {
        // The strip between the perpendiculars at both ends; a foot at an end is inside
        // whatever the sign tests say.
        const ZgVector2 u = p1 - p0;
        const ZgVector2 h = p0 + u * Dot2(p - p0, u) / Dot2(u, u);
        if (h == p0 || h == p1)
            return true;
        const ZgVector2 n = PerpDroite(u);
        if (CoteDroite(p0, p0 + n, p) == 1)
            return false;
        if (CoteDroite(p1, p1 + n, p) == -1)
            return false;
        return true;
    }
    // A point site: outside the strips of both edges that meet there. V is the point, the
    // first test reads e itself, the second its neighbour q on the other side of V.
    const ZgVector2 vtx = extr ? p1 : p0;
    ZgVector2 u = (extr ? p0 : p1) - vtx;
    double s = Dot2(p - vtx, u);
    ZgVector2 h = vtx + u * s / Dot2(u, u);
    if (h != vtx && std::fabs(s) > dVorZero && s > 0.0)
        return false;
    edge* const q = Voisin(e, extr);
    if (q == nullptr)
        return extr ? InZoneFreeEnd(p1, p0, p, true) : InZoneFreeEnd(p0, p1, p, false);
    const ZgVector2 t = VorCoo(extr ? q->v[1] : q->v[0]);
    u = t - vtx;
    s = Dot2(p - vtx, u);
    h = vtx + u * s / Dot2(u, u);
    return h == vtx || std::fabs(s) <= dVorZero || s <= 0.0;
}

bool QmAlgVorData::InZoneFreeEnd(ZgVector2 end, ZgVector2 other, ZgVector2 p, bool last)
{
    const ZgVector2 n = PerpDroite(other - end);
    const long cote = CoteDroite(end, end + n, p);
    if (!last)
    {
        if (cote == 1)
            return true;
    }
    else if (cote == -1 || cote == 0)
        return true;
    return CoteDroite(end, other, p) == -1;
}

bool QmAlgVorData::SameBisector(BrinVor* a, BrinVor* c)
{
    if (a->GetI1() == c->GetI2() && a->GetI2() == c->GetI1() && a->IsEdge1() == c->IsEdge2() &&
        a->IsEdge2() == c->IsEdge1())
        return a->GetI1() != a->GetI2();
    if (a->IsEdge1() != c->IsEdge2() || a->IsEdge2() != c->IsEdge1())
        return false;
    if (a->GetI1() != c->GetI2())
    {
        if (a->IsEdge1())
            return false;
        if (Extremite(a->GetI1(), a->GetExtr1()) != Extremite(c->GetI2(), c->GetExtr2()))
            return false;
    }
    if (a->GetI2() == c->GetI1())
        return true;
    return !a->IsEdge2() &&
           Extremite(a->GetI2(), a->GetExtr2()) == Extremite(c->GetI1(), c->GetExtr1());
}

bool QmAlgVorData::SameBisectorCurved(BrinVor* a, BrinVor* c)
{
    // The segment is the shared site; the two point sites must be one contour vertex.
    if (a->GetI2() == c->GetI1() && a->IsEdge2() && c->IsEdge1() && !a->IsEdge1() &&
        !c->IsEdge2() &&
        Extremite(a->GetI1(), a->GetExtr1()) == Extremite(c->GetI2(), c->GetExtr2()))
        return true;
    return a->GetI1() == c->GetI2() && a->IsEdge1() && c->IsEdge2() && !a->IsEdge2() &&
           !c->IsEdge1() &&
           Extremite(a->GetI2(), a->GetExtr2()) == Extremite(c->GetI1(), c->GetExtr1());
}

long QmAlgVorData::CrossRays(double length, ZgVector2 const& a, ZgVector2 const& da,
                             ZgVector2 const& c, ZgVector2 const& dc, ZgVector2& out)
{
    return CrossSegments(a, a + da * length, c, c + dc * length, out);
}

long QmAlgVorData::CrossSegments(ZgVector2 const& a1, ZgVector2 const& a2, ZgVector2 const& c1,
                                 ZgVector2 const& c2, ZgVector2& out)
{
    // Lines, not segments: nothing is clipped.
    if (IsPtOnDroite(a1, a2, c1) && IsPtOnDroite(a1, a2, c2))
        return 2;
    const ZgVector2 da = Unitaire(a2 - a1);
    const ZgVector2 dc = Unitaire(c2 - c1);
    // Written so that a direction of no length (a NaN) counts as parallel too.
    if (!(std::fabs(Cross2(da, dc).x) > dVorZero))
        return 0;
    // In the frame of the second line, on its x axis, the first line crosses y = 0.
    const Repere repere{dc.x, -dc.y, c1.x, dc.y, dc.x, c1.y};
    const Repere inverse = repere.Inverse();
    const ZgVector2 m0 = inverse.Applique(a1);
    const ZgVector2 m2 = inverse.Applique(a2);
    const double dx = m2.x - m0.x;
    const double dy = m2.y - m0.y;
    out = repere.Applique({(dy * m0.x - dx * m0.y) / dy, 0.0});
    return 1;
}

long QmAlgVorData::CrossStraightCurved(BrinVor* line, BrinVor* parabola, ZgVector2* cands,
                                       long& count)
{
    const Parabole par = ParaboleDe(parabola);
    const ZgVector2 l0 = line->GetPoint1();
    ZgVector2 d;
    line->GetVectDir(d);
    const ZgVector2 l1 = l0 + d * GetPstMeshBoxDiag(line) / d.Length();
    count = CrossLinePara(par.v, par.axe, par.sommet, l0, l1, par.para, cands);
    count = GardeCandidats(line, parabola, cands, count);
    return count;
}

long QmAlgVorData::CrossCurvedCurved(BrinVor* a, BrinVor* c, ZgVector2* cands, long& count)
{
    count = 0;
    ZgVector2 f1, q1, v1, f2, q2, v2;
    a->GetFoyerDirectrice(f1, q1, v1);
    c->GetFoyerDirectrice(f2, q2, v2);
    const ZgVector2 u1 = Unitaire(v1);
    const ZgVector2 u2 = Unitaire(v2);
    if (f1 == f2 && std::fabs(Cross2(u1, u2).x) < dVorZero)
    {
        // One focus and parallel directrices on the same side of it: no meeting.
        const ZgVector2 n = PerpGauche(a->GetAxe(f1, q1, q1 + v1));
        if (CoteDroite(q1, q1 + n, f1) == CoteDroite(q2, q2 + n, f1))
            return 0;
    }
    // The crossing is equidistant from three sites, so it lies on the bisector of the two
    // that the parabolas do not share: two foci, or two directrices about one focus.
    const double diag = GetPstMeshBoxDiag(a);
    ZgVector2 m, t;
    if (f1 != f2)
    {
        t = Unitaire(PerpGauche(f2 - f1));
        m = (f1 + f2) / 2.0;
    }
    else
    {
        ZgVector2 x = Infini();
        CrossRays(diag, q1, u1, q2, u2, x);
        if (!IsInfini(x))
        {
            m = x;
            t = Unitaire(u1 + u2);
        }
        else
        {
            // Parallel or one line: halfway between them, along them.
            const ZgVector2 g = q1 + v1 * Dot2(q2 - q1, v1) / Dot2(v1, v1);
            m = (g + q2) / 2.0;
            t = u1;
        }
    }
    const Parabole par = ParaboleDe(c);
    count = CrossLinePara(par.v, par.axe, par.sommet, m, m + t * diag, par.para, cands);
    if (count == 0)
        return 0;
    count = GardeCandidats(a, c, cands, count);
    return count;
}

long QmAlgVorData::CrossLinePara(ZgVector2 const& ox, ZgVector2 const& oy, ZgVector2 const& origin,
                                 ZgVector2 const& l0, ZgVector2 const& l1, double p,
                                 ZgVector2* cands)
{
    const Repere repere = RepereAxes(ox, oy, origin);
    const Repere inverse = repere.Inverse();
    const ZgVector2 m0 = inverse.Applique(l0);
    const ZgVector2 d = Unitaire(inverse.Applique(l1) - m0);
    // The line (m0 + d s) against y = x^2 / (2 p), as a quadratic in x.
    double coef[3] = {-d.x / (2.0 * p), d.y, d.x * m0.y - d.y * m0.x};
    double roots[2] = {0.0, 0.0};
    long n = SolvePolynome(2, coef, roots, 0, 0.0);
    if (n < 0)
        n = 0;
    if (n > 2)
        n = 2;
    for (long i = 0; i < n; ++i)
        cands[i] = repere.Applique({roots[i], roots[i] * roots[i] / (2.0 * p)});
    return n;
}

long QmAlgVorData::ChooseOnArc(BrinVor* b, ZgVector2 pa, ZgVector2 pb)
{
    // No test for infinite points on a parabola.
    if (!b->IsDroite())
        return ChooseOnParabola(b, pa, pb);
    if (IsInfini(pa))
        return 1;
    if (IsInfini(pb))
        return 0;
    const ZgVector2 o = b->GetPoint1();
    const double da = (pa - o).Length();
    const double db = (pb - o).Length();
    if (std::fabs(da - db) < dVorZero)
        return 2;
    if (da < db)
        return 0;
    if (da > db)
        return 1;
    return -1;
}
