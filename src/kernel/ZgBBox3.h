#pragma once

#include "kernel/ZgVector3.h"

#include <algorithm>
#include <limits>

// An axis-aligned box of space: the minimum corner, then the maximum corner.
class ZgBBox3
{
public:
    ZgVector3 min;
    ZgVector3 max;

    ZgBBox3() = default;
    ZgBBox3(ZgVector3 const& lo, ZgVector3 const& hi) : min(lo), max(hi) {}

    // The empty box: min at the greatest coordinates, max at the least, so that
    // folding in points by componentwise minimum and maximum yields their box.
    static ZgBBox3 Empty(int) { return {ZgVector3::InfiniPlus(3), ZgVector3::InfiniMoins(3)}; }

    void Add(ZgVector3 const& p)
    {
        for (int i = 0; i < 3; ++i)
        {
            min[i] = std::min(min[i], p[i]);
            max[i] = std::max(max[i], p[i]);
        }
    }

    void Add(ZgBBox3 const& b)
    {
        for (int i = 0; i < 3; ++i)
        {
            min[i] = std::min(min[i], b.min[i]);
            max[i] = std::max(max[i], b.max[i]);
        }
    }
};
