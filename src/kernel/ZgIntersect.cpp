#include "kernel/ZgIntersect.h"

#include <algorithm>
#include <limits>

bool ZgIsIntersectBoxBox(ZgBBox3 const& a, ZgBBox3 const& b, double tolerance)
{
    for (int i = 0; i < 3; ++i)
        if (a.min[i] - tolerance > b.max[i] + tolerance ||
            b.min[i] - tolerance > a.max[i] + tolerance)
            return false;
    return true;
}

bool ZgIsIntersectRayBox(ZgVector3 const& origin, ZgVector3 const& direction, ZgBBox3 const& box,
                         double tolerance, double* t, ZgVector3* entry, ZgVector3* exit)
{
    ZgVector3 lo;
    ZgVector3 hi;
    double tEnter = 0.0;
    double tLeave = std::numeric_limits<double>::infinity();
    for (int i = 0; i < 3; ++i)
    {
        lo[i] = box.min[i] - tolerance;
        hi[i] = box.max[i] + tolerance;
        if (direction[i] == 0.0)
        {
            // Parallel to this slab: the ray stays wherever its origin is.
            if (origin[i] < lo[i] || origin[i] > hi[i])
                return false;
            continue;
        }
        double t0 = (lo[i] - origin[i]) / direction[i];
        double t1 = (hi[i] - origin[i]) / direction[i];
        if (t0 > t1)
            std::swap(t0, t1);
        tEnter = std::max(tEnter, t0);
        tLeave = std::min(tLeave, t1);
        if (tEnter > tLeave)
            return false;
    }

    // The points are clamped to the widened box: that removes rounding drift past its
    // faces, and along a parallel axis (direction 0, possibly with an infinite tLeave)
    // the coordinate stays the origin's without forming 0 * infinity.
    auto pointAt = [&](double s)
    {
        ZgVector3 q = origin;
        for (int i = 0; i < 3; ++i)
            if (direction[i] != 0.0)
                q[i] = std::clamp(origin[i] + direction[i] * s, lo[i], hi[i]);
        return q;
    };
    if (t != nullptr)
        *t = tEnter;
    if (entry != nullptr)
        *entry = pointAt(tEnter);
    if (exit != nullptr)
        *exit = pointAt(tLeave);
    return true;
}

bool ZgIsPtOnLine(ZgVector3 const& p, ZgVector3 const& a, ZgVector3 const& b, double tolerance)
{
    const ZgVector3 ab = b - a;
    const ZgVector3 ap = p - a;
    const double len2 = ab.Length2();
    if (len2 == 0.0)
        return ap.Length2() <= tolerance * tolerance;
    // |ap x ab| / |ab| is the distance to the line; compared squared, without dividing.
    return ZgCross(ap, ab).Length2() <= tolerance * tolerance * len2;
}
