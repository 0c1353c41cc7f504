#include "voronoi/QmAlgVor.h"
#include "voronoi/VorBrinDetail.h"
#include "voronoi/VorGeomDetail.h"

#include <cassert>
#include <cmath>

// Arc geometry. A parabola is stored nowhere: its focus and directrix come from the sites,
// its ends from the two vertices, and its form is the quadratic Bezier whose control point
// is where the end tangents meet, which is exact for a parabola.

namespace
{
using BrinVor = QmAlgVor::BrinVor;

// The n at which ParaPrec stops doubling: far beyond any useful step count, and it keeps
// n inside a 32-bit long whatever tol is (a tol whose square underflows would otherwise
// double n for ever).
constexpr long lParaPrecMax = 1L << 30;

ZgVector2 unit(ZgVector2 const& v) { return v / v.Length(); }

// Orthogonal projection of x on the directrix through a with direction d. Multiplies by
// the dot product before dividing, as the construction does.
ZgVector2 foot(ZgVector2 const& a, ZgVector2 const& d, ZgVector2 const& x)
{
    return a + d * Dot2(d, x - a) / Dot2(d, d);
}

// The display variant divides by |d| instead of d.d: a true foot only for a unit d.
ZgVector2 footAffichage(ZgVector2 const& a, ZgVector2 const& d, ZgVector2 const& x)
{
    return a + d * Dot2(d, x - a) / d.Length();
}

// Tangent of the parabola at x, whose foot is h: it bisects the angle between the
// perpendicular to the directrix and the focal radius. At the apex those two are opposite
// and the bisector vanishes, so fallback (the directrix direction) serves there.
ZgVector2 tangente(ZgVector2 const& x, ZgVector2 const& h, ZgVector2 const& f, bool apex,
                   ZgVector2 const& fallback)
{
    return apex ? fallback : Bissectrice(h - x, f - x);
}

// The lines through p along t and through q along u, each given by a second point scale
// away (scale is the pockets' box diagonal), met by IntersectDroites.
long IntersectTangentes(double scale, ZgVector2 const& p, ZgVector2 const& t, ZgVector2 const& q,
                        ZgVector2 const& u, ZgVector2& out)
{
    return IntersectDroites(p, p + t * scale, q, q + u * scale, out);
}

ZgVector2 bez(ZgVector2 const* out, double t)
{
    const double s = 1.0 - t;
    return out[0] * (s * s) + out[1] * (2.0 * t * s) + out[2] * (t * t);
}

ZgVector2 lerp(ZgVector2 const& a, ZgVector2 const& b, double t) { return a * (1.0 - t) + b * t; }

// The parabola's frame: focus f, directrix point a and direction d, unit normal n from
// the directrix towards the focus, foot h of the focus, unit direction u and parameter p
// (focus to directrix).
struct Repere
{
    ZgVector2 f, a, d, n, h, u;
    double p;
};

Repere repere(BrinVor const* b)
{
    Repere r;
    b->GetFoyerDirectrice(r.f, r.a, r.d);
    r.n = unit(b->GetAxe(r.f, r.a, r.a + r.d));
    r.h = foot(r.a, r.d, r.f);
    r.u = unit(r.d);
    r.p = (r.h - r.f).Length();
    return r;
}

// The point of the parabola above the directrix point x, and its tangent.
void pointAbove(Repere const& r, ZgVector2 const& x, ZgVector2& q, ZgVector2& t)
{
    const double dx = (x - r.h).Length();
    q = x + r.n * (r.p / 2.0 + dx * dx / (2.0 * r.p));
    t = Bissectrice(x - q, r.f - q);
}

// The no-value control point, left where tangents that are not tested fail to meet.
ZgVector2 noPoint() { return {VorInfini, VorInfini}; }
} // namespace

void QmAlgVor::BrinVor::GetFoyerDirectrice(ZgVector2& foyer, ZgVector2& point,
                                           ZgVector2& direction) const
{
    QmPstMesh::edge* e1 = GetI1();
    bool isEdge1 = IsEdge1();
    bool extr1 = GetExtr1();
    QmPstMesh::edge* e2 = GetI2();
    bool isEdge2 = IsEdge2();
    bool extr2 = GetExtr2();
    SiteGauche(this, &e1, &isEdge1, &extr1);
    SiteDroite(alpha, &e2, &isEdge2, &extr2);
    if (!isEdge1 && isEdge2)
    {
        foyer = VorCoo(e1->v[extr1]);
        point = VorCoo(e2->v[extr2]);
        direction = VorCoo(e2->v[!extr2]) - point;
    }
    else
    {
        point = VorCoo(e1->v[extr1]);
        direction = VorCoo(e1->v[!extr1]) - point;
        foyer = VorCoo(e2->v[extr2]);
    }
}

long QmAlgVor::BrinVor::GetCoteAxe(ZgVector2 const& p, ZgVector2 const& a, ZgVector2 const& b) const
{
    return CoteDroite(a, b, p);
}

ZgVector2 QmAlgVor::BrinVor::GetAxe(ZgVector2 const& p, ZgVector2 const& a,
                                    ZgVector2 const& b) const
{
    const ZgVector2 d = b - a;
    return GetCoteAxe(p, a, b) == 1 ? PerpDroite(d) : PerpGauche(d);
}

void QmAlgVor::BrinVor::GetVectDir(ZgVector2& out) const
{
    QmPstMesh::edge* const e1 = GetI1();
    QmPstMesh::edge* const e2 = GetI2();
    const bool isEdge1 = IsEdge1();
    const bool isEdge2 = IsEdge2();
    if (!isEdge1 && !isEdge2)
    {
        // The perpendicular bisector of the two points.
        out = PerpDroite(VorCoo(e2->v[GetExtr2()]) - VorCoo(e1->v[GetExtr1()]));
        return;
    }
    if (isEdge1 != isEdge2)
    {
        if (e1 == e2)
        {
            // A point and its own edge: the edge's normal at the point, turned round on the
            // dead end that comes back to the contour.
            out = PerpDroite(VorCoo(e1->v[1]) - VorCoo(e1->v[0]));
            if (LastBord())
                out = -out;
            return;
        }
        QmPstMesh::edge* const seg = isEdge1 ? e1 : e2;
        out = -PerpDroite(VorCoo(seg->v[1]) - VorCoo(seg->v[0]));
        return;
    }
    const ZgVector2 a1 = VorCoo(e1->v[0]);
    const ZgVector2 b1 = VorCoo(e1->v[1]);
    const ZgVector2 a2 = VorCoo(e2->v[0]);
    const ZgVector2 b2 = VorCoo(e2->v[1]);
    const ZgVector2 d1 = b1 - a1;
    const ZgVector2 d2 = b2 - a2;
    if (IsPtOnDroite(a1, b1, a2) && IsPtOnDroite(a1, b1, b2))
        out = PerpDroite(d1);
    else
        out = unit(d2) - unit(d1);
}

ZgVector2 QmAlgVor::BrinVor::GetPtContour(bool first) const
{
    return first ? VorCoo(GetI1()->v[GetExtr1()]) : VorCoo(GetI2()->v[GetExtr2()]);
}

ZgVector2 QmAlgVor::BrinVor::GetSegContour(bool first, ZgVector2& start) const
{
    QmPstMesh::edge* const e = first ? GetI1() : GetI2();
    start = VorCoo(e->v[0]);
    return VorCoo(e->v[1]) - start;
}

void QmAlgVor::BrinVor::GetEquation(ZgVector2* out, long& count) const
{
    count = 0;
    if (IsDroite())
    {
        GetVectDir(out[0]);
        out[0] = unit(out[0]);
        count = 1;
        return;
    }
    const ZgVector2 p0 = GetPoint1();
    const ZgVector2 p2 = alphaRef().GetPoint1();
    if (p0 == p2)
    {
        out[0] = out[1] = out[2] = p0;
        count = 3;
        return;
    }
    ZgVector2 f, a, d;
    GetFoyerDirectrice(f, a, d);
    const ZgVector2 h2 = foot(a, d, p2);
    const ZgVector2 h0 = foot(a, d, p0);
    // The collinearity tests keep the construction's argument orders.
    const ZgVector2 t2 = tangente(p2, h2, f, IsPtOnDroite(f, p2, h2), d);
    const ZgVector2 t0 = tangente(p0, h0, f, IsPtOnDroite(p0, h0, f), d);
    ZgVector2 c;
    if (IntersectTangentes(GetPstMeshBoxDiag(this), p2, t2, p0, t0, c) == 0)
        c = (p0 + p2) / 2.0;
    out[0] = p0;
    out[1] = c;
    out[2] = p2;
    count = 3;
}

void QmAlgVor::BrinVor::GetEquationV(ZgVector2* out, long& count) const
{
    count = 0;
    if (!Last())
    {
        GetEquation(out, count);
        return;
    }
    if (IsDroite())
    {
        GetVectDir(out[0]);
        out[0] = unit(out[0]);
        count = 1;
        return;
    }
    // A dead end that may run off to infinity: span from its vertex to the point of the
    // parabola 8 parameters further along the directrix, always in the direction of D.
    const Repere r = repere(this);
    const ZgVector2 p = GetPoint1();
    const ZgVector2 hs = foot(r.a, r.d, p);
    ZgVector2 q, tq;
    pointAbove(r, hs + r.u * 8.0 * r.p, q, tq);
    const ZgVector2 tp = tangente(p, hs, r.f, IsPtOnDroite(p, hs, r.f), r.u);
    ZgVector2 c = noPoint();
    IntersectTangentes(GetPstMeshBoxDiag(this), q, tq, p, tp, c);
    out[0] = p;
    out[1] = c;
    out[2] = q;
    count = 3;
}

void QmAlgVor::BrinVor::GetEquationC(ZgVector2* out, long& count) const
{
    count = 0;
    if (IsDroite())
    {
        GetVectDir(out[0]);
        out[0] = unit(out[0]);
        count = 1;
        return;
    }
    // Abscissae -8p and 8p from the apex: both ends at height 32.5p.
    const Repere r = repere(this);
    ZgVector2 q0, t0, q2, t2;
    pointAbove(r, r.h + r.u * (-8.0 * r.p), q0, t0);
    pointAbove(r, r.h + r.u * (8.0 * r.p), q2, t2);
    ZgVector2 c = noPoint();
    IntersectTangentes(GetPstMeshBoxDiag(this), q0, t0, q2, t2, c);
    out[0] = q0;
    out[1] = c;
    out[2] = q2;
    count = 3;
}

void QmAlgVor::BrinVor::GetEquationAffichage(ZgVector2* out, long& count) const
{
    count = 0;
    if (Last())
        return;
    const ZgVector2 p0 = GetPoint1();
    const ZgVector2 p2 = alphaRef().GetPoint1();
    if (IsDroite())
    {
        out[0] = unit(p2 - p0);
        count = 1;
        return;
    }
    ZgVector2 f, a, d;
    GetFoyerDirectrice(f, a, d);
    const ZgVector2 h2 = footAffichage(a, d, p2);
    const ZgVector2 h0 = footAffichage(a, d, p0);
    const ZgVector2 t2 = tangente(p2, h2, f, IsPtOnDroite(f, p2, h2), d);
    const ZgVector2 t0 = tangente(p0, h0, f, IsPtOnDroite(p0, h0, f), d);
    ZgVector2 c = noPoint();
    IntersectTangentes(GetPstMeshBoxDiag(this), p2, t2, p0, t0, c);
    out[0] = p0;
    out[1] = c;
    out[2] = p2;
    count = 3;
}

ZgVector2 QmAlgVor::BrinVor::XYt(double t) const
{
    if (IsDroite())
        return lerp(GetPoint1(), alphaRef().GetPoint1(), t);
    ZgVector2 out[3];
    long count = 0;
    GetEquation(out, count);
    return bez(out, t);
}

ZgVector2 QmAlgVor::BrinVor::XYtV(double t) const
{
    if (IsDroite() && !Last())
        return XYt(t);
    ZgVector2 out[3];
    long count = 0;
    GetEquationV(out, count);
    return count == 3 ? bez(out, t) : GetPoint1() + out[0] * t;
}

ZgVector2 QmAlgVor::BrinVor::XYtC(double t) const
{
    ZgVector2 out[3];
    long count = 0;
    GetEquationC(out, count);
    return count == 3 ? bez(out, t) : GetPoint1() + out[0] * t;
}

ZgVector2 QmAlgVor::BrinVor::XYtAffichage(double t) const
{
    ZgVector2 out[3];
    long count = 0;
    if (IsDroite())
    {
        if (!Last())
            return XYt(t);
        GetEquationAffichage(out, count);
        return GetPoint1() + out[0] * t;
    }
    GetEquationAffichage(out, count);
    return bez(out, t);
}

long QmAlgVor::BrinVor::ParaPrec(double tol, long n) const
{
    // Only the step that starts at t = 0 is refined. done is never reset and t1 restarts
    // at 1/n rather than t0 + 1/n, so the second outer pass has a zero-length step and ends
    // at once with n = 1: the result is the n of the first pass. That second pass has
    // e == 0 exactly, so only a tol whose square underflows to 0 would ask for a third:
    // two passes bound the walk.
    assert(tol > 0.0);
    const double tol2 = tol * tol;
    double t0 = 0.0;
    double t1 = 1.0;
    long best = 0;
    bool done = false;
    int passes = 0;
    ZgVector2 p = GetPoint1();
    do
    {
        n = 1;
        const ZgVector2 s = p;
        p = XYt(t1);
        do
        {
            const ZgVector2 m = XYt((t0 + t1) / 2.0);
            const double e = (m - (p + s) / 2.0).Length2();
            if (tol2 <= e && n < lParaPrecMax)
            {
                n *= 2;
                t1 = 1.0 / static_cast<double>(n);
                p = m;
            }
            else
            {
                done = true;
                if (n > best)
                    best = n;
            }
        } while (!done);
        t0 = t1;
    } while (n != 1 && ++passes < 2);
    return best;
}

double QmAlgVor::BrinVor::GetPtParam(ZgVector2 const& p, double tol) const
{
    double t0 = 0.0;
    double t1 = 1.0;
    double d0 = (GetPoint1() - p).Length2();
    double d1 = (XYt(1.0) - p).Length2();
    const double r = tol * tol;
    if (d0 <= r)
        return t0;
    if (d1 <= r)
        return t1;
    // Each pass halves [t0, t1], so the loop ends within about 37 passes; dVorZero is here
    // a width in t, which like a unit product has no length.
    for (;;)
    {
        if (d0 < d1)
        {
            t1 = (t0 + t1) / 2.0;
            d1 = (XYt(t1) - p).Length2();
            if (d1 <= r)
                return t1;
        }
        else
        {
            t0 = (t0 + t1) / 2.0;
            d0 = (XYt(t0) - p).Length2();
            if (d0 <= r)
                return t0;
        }
        if (std::fabs(t0 - t1) <= dVorZero)
            return t0;
    }
}
