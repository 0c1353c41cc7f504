#pragma once

#include "kernel/ZgBBox3.h"
#include "kernel/ZgVector3.h"
#include "shell/QmExport.h"

// Minimum squared distances between elementary shapes, given by their corner points.
// Each writes the squared distance to dist2 and, where the pointers are not null, the
// closest point on the first shape and on the second, in argument order. Closest points
// are exact (no sampling). Degenerate shapes count as what they are: a segment of zero
// length is a point, a triangle with collinear corners is a segment (or a point).
// A ray is the half line origin + t * direction, t >= 0; a zero direction is the origin.
// When several pairs realise the distance (parallel segments, coplanar overlap), any
// one of them is returned.

QM_API void ZgDist2MinPtPt(ZgVector3 const& p, ZgVector3 const& q, double& dist2, ZgVector3* onP,
                           ZgVector3* onQ);
QM_API void ZgDist2MinPtSeg(ZgVector3 const& p, ZgVector3 const& a, ZgVector3 const& b,
                            double& dist2, ZgVector3* onP, ZgVector3* onSeg);
QM_API void ZgDist2MinPtTri(ZgVector3 const& p, ZgVector3 const& a, ZgVector3 const& b,
                            ZgVector3 const& c, double& dist2, ZgVector3* onP, ZgVector3* onTri);
QM_API void ZgDist2MinSegSeg(ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c,
                             ZgVector3 const& d, double& dist2, ZgVector3* onAB, ZgVector3* onCD);
QM_API void ZgDist2MinSegTri(ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c,
                             ZgVector3 const& d, ZgVector3 const& e, double& dist2,
                             ZgVector3* onSeg, ZgVector3* onTri);
QM_API void ZgDist2MinTriTri(ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c,
                             ZgVector3 const& d, ZgVector3 const& e, ZgVector3 const& f,
                             double& dist2, ZgVector3* onABC, ZgVector3* onDEF);
QM_API void ZgDist2MinPtRay(ZgVector3 const& p, ZgVector3 const& origin, ZgVector3 const& direction,
                            double& dist2, ZgVector3* onP, ZgVector3* onRay);
QM_API void ZgDist2MinRaySeg(ZgVector3 const& origin, ZgVector3 const& direction,
                             ZgVector3 const& a, ZgVector3 const& b, double& dist2,
                             ZgVector3* onRay, ZgVector3* onSeg);
QM_API void ZgDist2MinRayTri(ZgVector3 const& origin, ZgVector3 const& direction,
                             ZgVector3 const& a, ZgVector3 const& b, ZgVector3 const& c,
                             double& dist2, ZgVector3* onRay, ZgVector3* onTri);

// 0 when p is inside or on the box.
QM_API void ZgDist2MinPtBox(ZgVector3 const& p, ZgBBox3 const& box, double& dist2);
// 0 when the boxes touch or overlap.
QM_API void ZgDist2MinBoxBox(ZgBBox3 const& a, ZgBBox3 const& b, double& dist2);
