#include "kernel/ZgMatrix4x4.h"

#include <cmath>

ZgMatrix4x4::ZgMatrix4x4() : m{{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}} {}

ZgMatrix4x4 ZgMatrix4x4::Identity() { return {}; }

ZgMatrix4x4 ZgMatrix4x4::Translate(double dx, double dy, double dz)
{
    ZgMatrix4x4 r;
    r.m[3][0] = dx;
    r.m[3][1] = dy;
    r.m[3][2] = dz;
    return r;
}

ZgMatrix4x4 ZgMatrix4x4::Rotate(double angle, ZgVector3 const& axis)
{
    ZgMatrix4x4 r;
    const double len = axis.Length();
    if (len == 0.0)
        return r;
    const ZgVector3 u = axis / len;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const double t = 1.0 - c;
    // Rodrigues' matrix R for column vectors; stored transposed for row vectors.
    const double rc[3][3] = {{t * u.x * u.x + c, t * u.x * u.y - s * u.z, t * u.x * u.z + s * u.y},
                             {t * u.x * u.y + s * u.z, t * u.y * u.y + c, t * u.y * u.z - s * u.x},
                             {t * u.x * u.z - s * u.y, t * u.y * u.z + s * u.x, t * u.z * u.z + c}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j)
            r.m[i][j] = rc[j][i];
    return r;
}

ZgMatrix4x4 ZgMatrix4x4::Scale(double sx, double sy, double sz)
{
    ZgMatrix4x4 r;
    r.m[0][0] = sx;
    r.m[1][1] = sy;
    r.m[2][2] = sz;
    return r;
}

ZgMatrix4x4 ZgMatrix4x4::operator*(ZgMatrix4x4 const& b) const
{
    ZgMatrix4x4 r;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
        {
            double sum = 0.0;
            for (int k = 0; k < 4; ++k)
                sum += m[i][k] * b.m[k][j];
            r.m[i][j] = sum;
        }
    return r;
}

ZgVector3 ZgMatrix4x4::Transform(ZgVector3 const& p) const
{
    double out[4];
    for (int j = 0; j < 4; ++j)
        out[j] = p.x * m[0][j] + p.y * m[1][j] + p.z * m[2][j] + m[3][j];
    // Affine transforms keep w at 1; a projective one is divided through.
    if (out[3] != 1.0 && out[3] != 0.0)
        return {out[0] / out[3], out[1] / out[3], out[2] / out[3]};
    return {out[0], out[1], out[2]};
}
