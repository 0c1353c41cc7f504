#pragma once

#include "kernel/ZgVector2.h"

#include <algorithm>
#include <limits>

// An axis-aligned box of the plane: the minimum corner, then the maximum corner.
class ZgBBox2
{
public:
    ZgVector2 min;
    ZgVector2 max;

    ZgBBox2() = default;
    ZgBBox2(ZgVector2 const& lo, ZgVector2 const& hi) : min(lo), max(hi) {}

    // The empty box: every Add makes it the box of the points added.
    static ZgBBox2 Empty(int)
    {
        const double m = std::numeric_limits<double>::max();
        return {{m, m}, {-m, -m}};
    }

    void Add(ZgVector2 const& p)
    {
        min.x = std::min(min.x, p.x);
        min.y = std::min(min.y, p.y);
        max.x = std::max(max.x, p.x);
        max.y = std::max(max.y, p.y);
    }
};
