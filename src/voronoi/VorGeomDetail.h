#pragma once

// Pure planar helpers shared by the diagram's arcs, its construction and the tool-path
// readers. Not exported.

#include "kernel/ZgTolerance.h"
#include "kernel/ZgVector2.h"

#include <cmath>

// Tolerance of the diagram for cross and dot products of unit vectors and for ties of
// distance. Absolute; lengths still compare with dZgZero.
constexpr double dVorZero = 1e-11;

// Left and right normals of (x, y).
inline ZgVector2 PerpGauche(ZgVector2 const& v) { return {-v.y, v.x}; }

inline ZgVector2 PerpDroite(ZgVector2 const& v) { return {v.y, -v.x}; }

// Both signs of the planar cross product: x holds a.y b.x - a.x b.y, y the usual
// a.x b.y - a.y b.x. Callers read whichever sign they want.
inline ZgVector2 Cross2(ZgVector2 const& a, ZgVector2 const& b)
{
    return {a.y * b.x - a.x * b.y, a.x * b.y - a.y * b.x};
}

inline double Dot2(ZgVector2 const& a, ZgVector2 const& b) { return a.x * b.x + a.y * b.y; }

// The unit bisector of the directions of u and v.
inline ZgVector2 Bissectrice(ZgVector2 u, ZgVector2 v)
{
    u /= u.Length();
    v /= v.Length();
    const ZgVector2 s = u + v;
    return s / s.Length();
}

// Sine of the angle from a to b with the opposite sign (the first component of Cross2
// over the lengths), and exactly 0.0 when that component is within dZgZero of zero.
inline double SinusAngle(ZgVector2 const& a, ZgVector2 const& b)
{
    const double c = Cross2(a, b).x;
    if (std::fabs(c) <= dZgZero)
        return 0.0;
    return c / std::sqrt(a.Length2() * b.Length2());
}

// c lies on the line through a and b: its foot on the line matches it within dZgZero in
// each coordinate. The foot multiplies by the dot product before dividing, as the arcs do.
inline bool IsPtOnDroite(ZgVector2 a, ZgVector2 b, ZgVector2 c)
{
    const ZgVector2 u = b - a;
    const ZgVector2 v = c - a;
    const ZgVector2 foot = a + u * Dot2(u, v) / Dot2(u, u);
    return foot == c;
}

// 0 when c is on the line a-b, 1 when c lies to its right, -1 to its left.
inline long CoteDroite(ZgVector2 const& a, ZgVector2 const& b, ZgVector2 const& c)
{
    if (IsPtOnDroite(a, b, c))
        return 0;
    return Cross2(c - a, b - a).y > 0.0 ? 1 : -1;
}

// Direction of v in radians in [0, 2 pi). Undefined (NaN) for a zero vector.
inline double Polar(ZgVector2 const& v)
{
    const double a = std::acos(v.x / v.Length());
    return v.y >= 0.0 ? a : 6.283185307179586 - a;
}

// Where the line through p1 and p2 meets the line through q1 and q2: 1 and the point in
// out, or 0 with out untouched when the lines do not meet. They do not meet when the sine
// of the angle between their directions is within dVorZero of zero (parallel, as far as a
// unit cross product can tell), when a line has no direction (two equal points), or when
// the lengths overflow (a point at VorInfini). The point is taken along the first line.
inline long IntersectDroites(ZgVector2 const& p1, ZgVector2 const& p2, ZgVector2 const& q1,
                             ZgVector2 const& q2, ZgVector2& out)
{
    const ZgVector2 d1 = p2 - p1;
    const ZgVector2 d2 = q2 - q1;
    const double den = Cross2(d1, d2).y;
    const double sinus = den / (d1.Length() * d2.Length());
    // Written so that a NaN (no direction, or infinite points) also counts as no meeting.
    if (!(std::fabs(sinus) > dVorZero))
        return 0;
    const double s = Cross2(q1 - p1, d2).y / den;
    out = p1 + d1 * s;
    return 1;
}
