#pragma once

#include "kernel/ZgVector3.h"
#include "shell/QmExport.h"

// A homogeneous transform of space, stored for row vectors: a point p maps to p * m,
// with the translation in the last row. That makes composition read left to right:
// (a * b).Transform(p) == b.Transform(a.Transform(p)).
class QM_API ZgMatrix4x4
{
public:
    double m[4][4];

    // The identity.
    ZgMatrix4x4();

    static ZgMatrix4x4 Identity();
    static ZgMatrix4x4 Translate(double dx, double dy, double dz);
    // Rotation by angle radians about the axis through the origin, counter-clockwise when
    // the axis points at the viewer. A zero axis gives the identity.
    static ZgMatrix4x4 Rotate(double angle, ZgVector3 const& axis);
    static ZgMatrix4x4 Scale(double sx, double sy, double sz);

    // The left operand acts on a point first, the right one after it.
    ZgMatrix4x4 operator*(ZgMatrix4x4 const& b) const;

    ZgVector3 Transform(ZgVector3 const& p) const;
};
