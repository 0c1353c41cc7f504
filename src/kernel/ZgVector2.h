#pragma once

#include "kernel/ZgTolerance.h"

#include <cmath>

// A point or vector of the plane. x and y are adjacent and also read by index.
class ZgVector2
{
public:
    double x = 0.0;
    double y = 0.0;

    ZgVector2() = default;
    ZgVector2(double ax, double ay) : x(ax), y(ay) {}

    double& operator[](int i) { return i == 0 ? x : y; }
    double operator[](int i) const { return i == 0 ? x : y; }

    ZgVector2 operator+(ZgVector2 const& v) const { return {x + v.x, y + v.y}; }
    ZgVector2 operator-(ZgVector2 const& v) const { return {x - v.x, y - v.y}; }
    ZgVector2 operator-() const { return {-x, -y}; }
    ZgVector2 operator*(double s) const { return {x * s, y * s}; }
    ZgVector2 operator/(double s) const { return {x / s, y / s}; }
    ZgVector2& operator/=(double s)
    {
        x /= s;
        y /= s;
        return *this;
    }

    // Both components close within dZgZero: how the diagram tells coincident points apart.
    bool operator==(ZgVector2 const& v) const { return ZgIsClose(x, v.x) && ZgIsClose(y, v.y); }
    bool operator!=(ZgVector2 const& v) const { return !(*this == v); }

    double Length() const { return std::sqrt(x * x + y * y); }
    double Length2() const { return x * x + y * y; }
};
