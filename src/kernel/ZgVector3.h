#pragma once

#include "kernel/ZgTolerance.h"

#include <cmath>
#include <limits>

// A point or vector of space. x, y, z are adjacent, read by index and copied as double[3].
class ZgVector3
{
public:
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

    ZgVector3() = default;
    ZgVector3(double ax, double ay, double az) : x(ax), y(ay), z(az) {}

    double& operator[](int i) { return (&x)[i]; }
    double operator[](int i) const { return (&x)[i]; }

    ZgVector3 operator+(ZgVector3 const& v) const { return {x + v.x, y + v.y, z + v.z}; }
    ZgVector3 operator-(ZgVector3 const& v) const { return {x - v.x, y - v.y, z - v.z}; }
    ZgVector3 operator-() const { return {-x, -y, -z}; }
    ZgVector3 operator*(double s) const { return {x * s, y * s, z * s}; }
    ZgVector3 operator/(double s) const { return {x / s, y / s, z / s}; }
    ZgVector3& operator/=(double s)
    {
        x /= s;
        y /= s;
        z /= s;
        return *this;
    }

    // Every component close within dZgZero.
    bool operator==(ZgVector3 const& v) const
    {
        return ZgIsClose(x, v.x) && ZgIsClose(y, v.y) && ZgIsClose(z, v.z);
    }
    bool operator!=(ZgVector3 const& v) const { return !(*this == v); }

    double Length() const { return std::sqrt(x * x + y * y + z * z); }
    double Length2() const { return x * x + y * y + z * z; }

    // The dimension argument exists for the kernel's family of vector sizes; pass 3.
    static ZgVector3 Zero(int) { return {}; }
    // Greatest and least coordinates: the start of a componentwise minimum and maximum.
    static ZgVector3 InfiniPlus(int)
    {
        const double m = std::numeric_limits<double>::max();
        return {m, m, m};
    }
    static ZgVector3 InfiniMoins(int)
    {
        const double m = std::numeric_limits<double>::max();
        return {-m, -m, -m};
    }
};

static_assert(sizeof(ZgVector3) == 3 * sizeof(double), "ZgVector3 is read as double[3]");

inline double ZgDot(ZgVector3 const& a, ZgVector3 const& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

inline ZgVector3 ZgCross(ZgVector3 const& a, ZgVector3 const& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
