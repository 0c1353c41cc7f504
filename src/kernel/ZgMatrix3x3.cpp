#include "kernel/ZgMatrix3x3.h"

ZgMatrix3x3::ZgMatrix3x3() : m{1, 0, 0, 0, 1, 0, 0, 0, 1} {}

ZgMatrix3x3::ZgMatrix3x3(double m00, double m01, double m02, double m10, double m11, double m12,
                         double m20, double m21, double m22)
    : m{m00, m01, m02, m10, m11, m12, m20, m21, m22}
{
}

ZgVector3 ZgMatrix3x3::operator*(ZgVector3 const& v) const
{
    return {m[0] * v.x + m[1] * v.y + m[2] * v.z, m[3] * v.x + m[4] * v.y + m[5] * v.z,
            m[6] * v.x + m[7] * v.y + m[8] * v.z};
}

ZgMatrix3x3 ZgMatrix3x3::operator*(ZgMatrix3x3 const& b) const
{
    ZgMatrix3x3 r;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r.m[3 * i + j] =
                m[3 * i] * b.m[j] + m[3 * i + 1] * b.m[3 + j] + m[3 * i + 2] * b.m[6 + j];
    return r;
}
