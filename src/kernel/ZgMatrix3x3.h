#pragma once

#include "kernel/ZgVector3.h"
#include "shell/QmExport.h"

// A 3 x 3 matrix in row order. Used for affine frames of the plane, last row (0, 0, 1).
class QM_API ZgMatrix3x3
{
public:
    double m[9];

    // The identity.
    ZgMatrix3x3();
    ZgMatrix3x3(double m00, double m01, double m02, double m10, double m11, double m12, double m20,
                double m21, double m22);

    // Matrix times column vector.
    ZgVector3 operator*(ZgVector3 const& v) const;
    ZgMatrix3x3 operator*(ZgMatrix3x3 const& b) const;
};
