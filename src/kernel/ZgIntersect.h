#pragma once

#include "kernel/ZgBBox3.h"
#include "kernel/ZgVector3.h"
#include "shell/QmExport.h"

// True when the boxes, each widened by tolerance on every side, overlap; touching counts.
QM_API bool ZgIsIntersectBoxBox(ZgBBox3 const& a, ZgBBox3 const& b, double tolerance);

// Slab test of the half line origin + t * direction, t >= 0, against the box widened by
// tolerance. On a hit, *t is the entry parameter along direction as given (0 when the
// origin is inside), *entry the point there and *exit the point where the ray leaves.
// Any of the three pointers may be null.
QM_API bool ZgIsIntersectRayBox(ZgVector3 const& origin, ZgVector3 const& direction,
                                ZgBBox3 const& box, double tolerance, double* t, ZgVector3* entry,
                                ZgVector3* exit);

// True when p lies within tolerance of the infinite line through a and b (of a when a
// and b coincide).
QM_API bool ZgIsPtOnLine(ZgVector3 const& p, ZgVector3 const& a, ZgVector3 const& b,
                         double tolerance);
