#include "kernel/ZgDist.h"

#include <algorithm>
#include <cmath>
#include <limits>

// Every distance here is the minimum of a convex quadratic over a product of parameter
// ranges. Rather than classify which face of that domain holds the minimum (fragile for
// flat or parallel input), each function gathers the few candidate pairs among which the
// minimum must lie and keeps the nearest. Each candidate is a genuine pair of points of
// the two shapes, so the answer is always realised by its witnesses and can only err by
// rounding, never by a misclassification.

namespace
{
const double kInfinity = std::numeric_limits<double>::infinity();

// The nearest pair found so far: a point of the first shape, one of the second.
struct Closest
{
    double dist2 = kInfinity;
    ZgVector3 first;
    ZgVector3 second;

    void Consider(ZgVector3 const& p, ZgVector3 const& q)
    {
        const double d2 = (p - q).Length2();
        if (d2 < dist2)
        {
            dist2 = d2;
            first = p;
            second = q;
        }
    }

    void Consider(Closest const& c)
    {
        if (c.dist2 < dist2)
            *this = c;
    }

    Closest Swapped() const
    {
        Closest c;
        c.dist2 = dist2;
        c.first = second;
        c.second = first;
        return c;
    }
};

void Report(Closest const& c, double& dist2, ZgVector3* onFirst, ZgVector3* onSecond)
{
    dist2 = c.dist2;
    if (onFirst != nullptr)
        *onFirst = c.first;
    if (onSecond != nullptr)
        *onSecond = c.second;
}

// The points origin + t * direction, 0 <= t <= tMax: a segment for tMax 1, a ray for an
// infinite tMax. A zero direction makes it the single point origin.
struct Piece
{
    ZgVector3 origin;
    ZgVector3 direction;
    double tMax;

    ZgVector3 At(double t) const { return origin + direction * t; }
    bool IsBounded() const { return tMax < kInfinity; }
};

Piece Segment(ZgVector3 const& a, ZgVector3 const& b) { return {a, b - a, 1.0}; }

Piece Ray(ZgVector3 const& origin, ZgVector3 const& direction)
{
    return {origin, direction, kInfinity};
}

Closest PtPiece(ZgVector3 const& p, Piece const& s)
{
    const double len2 = s.direction.Length2();
    double t = 0.0;
    if (len2 > 0.0)
        t = std::clamp(ZgDot(p - s.origin, s.direction) / len2, 0.0, s.tMax);
    Closest c;
    c.Consider(p, s.At(t));
    return c;
}

// Over the rectangle of both parameters the minimum is either the interior critical
// point or lies on a side, where one piece is reduced to an end point. Parallel pieces
// have no isolated critical point, but a side then attains the minimum too.
Closest PiecePiece(Piece const& s1, Piece const& s2)
{
    Closest best = PtPiece(s1.origin, s2);
    if (s1.IsBounded())
        best.Consider(PtPiece(s1.At(s1.tMax), s2));
    best.Consider(PtPiece(s2.origin, s1).Swapped());
    if (s2.IsBounded())
        best.Consider(PtPiece(s2.At(s2.tMax), s1).Swapped());

    const ZgVector3& d1 = s1.direction;
    const ZgVector3& d2 = s2.direction;
    const ZgVector3 r = s1.origin - s2.origin;
    // |d1 x d2|^2 equals the Gram determinant but without its cancellation.
    const double det = ZgCross(d1, d2).Length2();
    if (det > 0.0)
    {
        const double a = ZgDot(d1, d1);
        const double b = ZgDot(d1, d2);
        const double e = ZgDot(d2, d2);
        const double c = ZgDot(d1, r);
        const double f = ZgDot(d2, r);
        const double s = (b * f - c * e) / det;
        const double t = (a * f - b * c) / det;
        if (s >= 0.0 && s <= s1.tMax && t >= 0.0 && t <= s2.tMax)
            best.Consider(s1.At(s), s2.At(t));
    }
    return best;
}

// The orthogonal projection of p on the plane of abc when it falls inside the triangle.
// The point returned is rebuilt from its barycentric coordinates, so it lies on the
// triangle even when a nearly flat triangle leaves the normal inaccurate.
bool ProjectInside(ZgVector3 const& p, ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c,
                   ZgVector3& foot)
{
    const ZgVector3 ab = b - a;
    const ZgVector3 ac = c - a;
    const ZgVector3 n = ZgCross(ab, ac);
    const double n2 = n.Length2();
    if (n2 == 0.0)
        return false;
    const ZgVector3 ap = p - a;
    const double u = ZgDot(ZgCross(ap, ac), n) / n2;
    const double v = ZgDot(ZgCross(ab, ap), n) / n2;
    if (!(u >= 0.0 && v >= 0.0 && u + v <= 1.0))
        return false;
    foot = a + ab * u + ac * v;
    return true;
}

// Inside the triangle the nearest point is the projection; otherwise it is on an edge.
// A triangle with collinear corners has no inside and is just its edges.
Closest PtTriangle(ZgVector3 const& p, ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c)
{
    Closest best = PtPiece(p, Segment(a, b));
    best.Consider(PtPiece(p, Segment(b, c)));
    best.Consider(PtPiece(p, Segment(c, a)));
    ZgVector3 foot;
    if (ProjectInside(p, a, b, c, foot))
        best.Consider(p, foot);
    return best;
}

// The point where the piece passes through the plane of abc, when that is inside the
// triangle: the pair then realises a distance of zero up to rounding.
bool Crossing(Piece const& s, ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c,
              ZgVector3& onPiece, ZgVector3& onTriangle)
{
    const ZgVector3 n = ZgCross(b - a, c - a);
    const double along = ZgDot(s.direction, n);
    if (along == 0.0)
        return false;
    const double t = -ZgDot(s.origin - a, n) / along;
    if (!(t >= 0.0 && t <= s.tMax && std::isfinite(t)))
        return false;
    onPiece = s.At(t);
    return ProjectInside(onPiece, a, b, c, onTriangle);
}

// Zero when the piece goes through the triangle. Otherwise, at a minimum with both the
// piece parameter and the triangle point interior, the piece would run parallel to the
// plane and could slide to an end or an edge at the same distance: so the minimum is at
// an end point against the triangle or at the piece against an edge.
Closest PieceTriangle(Piece const& s, ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c)
{
    Closest best;
    ZgVector3 onPiece;
    ZgVector3 onTriangle;
    if (Crossing(s, a, b, c, onPiece, onTriangle))
        best.Consider(onPiece, onTriangle);
    best.Consider(PiecePiece(s, Segment(a, b)));
    best.Consider(PiecePiece(s, Segment(b, c)));
    best.Consider(PiecePiece(s, Segment(c, a)));
    best.Consider(PtTriangle(s.origin, a, b, c));
    if (s.IsBounded())
        best.Consider(PtTriangle(s.At(s.tMax), a, b, c));
    return best;
}
} // namespace

void ZgDist2MinPtPt(ZgVector3 const& p, ZgVector3 const& q, double& dist2, ZgVector3* onP,
                    ZgVector3* onQ)
{
    Closest c;
    c.Consider(p, q);
    Report(c, dist2, onP, onQ);
}

void ZgDist2MinPtSeg(ZgVector3 const& p, ZgVector3 const& a, ZgVector3 const& b, double& dist2,
                     ZgVector3* onP, ZgVector3* onSeg)
{
    Report(PtPiece(p, Segment(a, b)), dist2, onP, onSeg);
}

void ZgDist2MinPtTri(ZgVector3 const& p, ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c,
                     double& dist2, ZgVector3* onP, ZgVector3* onTri)
{
    Report(PtTriangle(p, a, b, c), dist2, onP, onTri);
}

void ZgDist2MinSegSeg(ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c,
                      ZgVector3 const& d, double& dist2, ZgVector3* onAB, ZgVector3* onCD)
{
    Report(PiecePiece(Segment(a, b), Segment(c, d)), dist2, onAB, onCD);
}

void ZgDist2MinSegTri(ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c,
                      ZgVector3 const& d, ZgVector3 const& e, double& dist2, ZgVector3* onSeg,
                      ZgVector3* onTri)
{
    Report(PieceTriangle(Segment(a, b), c, d, e), dist2, onSeg, onTri);
}

// Where two triangles meet, their intersection reaches an edge of one of them; where they
// do not, an argument like the one for a piece against a triangle puts a nearest pair on
// an edge of one. So the six edges, each against the other triangle, suffice.
void ZgDist2MinTriTri(ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c,
                      ZgVector3 const& d, ZgVector3 const& e, ZgVector3 const& f, double& dist2,
                      ZgVector3* onABC, ZgVector3* onDEF)
{
    Closest best = PieceTriangle(Segment(a, b), d, e, f);
    best.Consider(PieceTriangle(Segment(b, c), d, e, f));
    best.Consider(PieceTriangle(Segment(c, a), d, e, f));
    best.Consider(PieceTriangle(Segment(d, e), a, b, c).Swapped());
    best.Consider(PieceTriangle(Segment(e, f), a, b, c).Swapped());
    best.Consider(PieceTriangle(Segment(f, d), a, b, c).Swapped());
    Report(best, dist2, onABC, onDEF);
}

void ZgDist2MinPtRay(ZgVector3 const& p, ZgVector3 const& origin, ZgVector3 const& direction,
                     double& dist2, ZgVector3* onP, ZgVector3* onRay)
{
    Report(PtPiece(p, Ray(origin, direction)), dist2, onP, onRay);
}

void ZgDist2MinRaySeg(ZgVector3 const& origin, ZgVector3 const& direction, ZgVector3 const& a,
                      ZgVector3 const& b, double& dist2, ZgVector3* onRay, ZgVector3* onSeg)
{
    Report(PiecePiece(Ray(origin, direction), Segment(a, b)), dist2, onRay, onSeg);
}

void ZgDist2MinRayTri(ZgVector3 const& origin, ZgVector3 const& direction, ZgVector3 const& a,
                      ZgVector3 const& b, ZgVector3 const& c, double& dist2, ZgVector3* onRay,
                      ZgVector3* onTri)
{
    Report(PieceTriangle(Ray(origin, direction), a, b, c), dist2, onRay, onTri);
}

void ZgDist2MinPtBox(ZgVector3 const& p, ZgBBox3 const& box, double& dist2)
{
    dist2 = 0.0;
    for (int i = 0; i < 3; ++i)
    {
        const double excess = std::max({box.min[i] - p[i], 0.0, p[i] - box.max[i]});
        dist2 += excess * excess;
    }
}

void ZgDist2MinBoxBox(ZgBBox3 const& a, ZgBBox3 const& b, double& dist2)
{
    dist2 = 0.0;
    for (int i = 0; i < 3; ++i)
    {
        const double gap = std::max({a.min[i] - b.max[i], 0.0, b.min[i] - a.max[i]});
        dist2 += gap * gap;
    }
}
