#include "kernel/ZgIntersect.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>

namespace
{
using V = ZgVector3;

double Uniform(std::mt19937& g, double lo, double hi)
{
    return std::uniform_real_distribution<double>(lo, hi)(g);
}

V Rand(std::mt19937& g, double half)
{
    const double x = Uniform(g, -half, half);
    const double y = Uniform(g, -half, half);
    return {x, y, Uniform(g, -half, half)};
}

ZgBBox3 BoxOf(V const& p, V const& q)
{
    return {V(std::min(p.x, q.x), std::min(p.y, q.y), std::min(p.z, q.z)),
            V(std::max(p.x, q.x), std::max(p.y, q.y), std::max(p.z, q.z))};
}
} // namespace

TEST(ZgIntersect, BoxBoxAgainstLatticeScan)
{
    // Corners on a lattice of 1/4 and tolerances 0, 1/4 or 1/2 keep every widened bound
    // exact, so the widened boxes meet exactly when, on each axis, some multiple of 1/4
    // lies in both intervals.
    for (unsigned seed = 1; seed <= 500; ++seed)
    {
        std::mt19937 g(seed);
        auto lattice = [&] { return V(g() % 17 / 4.0, g() % 17 / 4.0, g() % 17 / 4.0); };
        const ZgBBox3 a = BoxOf(lattice(), lattice());
        const ZgBBox3 b = BoxOf(lattice(), lattice());
        const double tol = g() % 3 / 4.0;
        bool meet = true;
        for (int i = 0; i < 3; ++i)
        {
            bool common = false;
            for (double x = -1.0; x <= 5.0; x += 0.25)
                common = common || (a.min[i] - tol <= x && x <= a.max[i] + tol &&
                                    b.min[i] - tol <= x && x <= b.max[i] + tol);
            meet = meet && common;
        }
        EXPECT_EQ(ZgIsIntersectBoxBox(a, b, tol), meet) << "seed " << seed;
        EXPECT_EQ(ZgIsIntersectBoxBox(b, a, tol), meet) << "seed " << seed;
    }
}

TEST(ZgIntersect, RayBoxAgainstSampling)
{
    int hits = 0;
    int misses = 0;
    for (unsigned seed = 1; seed <= 1000; ++seed)
    {
        std::mt19937 g(seed);
        const ZgBBox3 box = BoxOf(Rand(g, 1.0), Rand(g, 1.0));
        const double tol = g() % 2 == 0 ? 0.0 : Uniform(g, 0.0, 0.2);
        const V o = Rand(g, 2.0);
        // Half the rays aimed at a point of the box.
        V d = g() % 2 == 0 ? Rand(g, 1.0) : box.min + (box.max - box.min) * Uniform(g, 0, 1) - o;
        d = d * Uniform(g, 0.2, 2.0);
        for (int i = 0; i < 3; ++i)
            if (g() % 4 == 0)
                d[i] = 0.0; // slabs the ray runs along, and sometimes no direction at all
        // Signed excess over the widened box in the max norm: positive outside, and
        // convex in t, so its sublevel set {<= 0} is the interval the ray spends inside.
        auto excess = [&](double t)
        {
            double e = -HUGE_VAL;
            for (int i = 0; i < 3; ++i)
            {
                const double x = o[i] + d[i] * t;
                e = std::max({e, box.min[i] - tol - x, x - box.max[i] - tol});
            }
            return e;
        };
        const double len = d.Length();
        const double tFar = len == 0.0 ? 0.0 : 2.0 * (o.Length() + 4.0) / len;
        const int samples = 10000;
        double tIn = 0.0;
        for (int k = 0; k <= samples; ++k)
            if (excess(tFar * k / samples) < excess(tIn))
                tIn = tFar * k / samples;
        // Between samples the excess changes by at most |d| * tFar / samples.
        const double slack = 2.0 * (o.Length() + 4.0) / samples;
        double t = -1;
        V entry, exit;
        const bool hit = ZgIsIntersectRayBox(o, d, box, tol, &t, &entry, &exit);
        if (excess(tIn) > slack)
        {
            EXPECT_FALSE(hit) << "seed " << seed;
            ++misses;
        }
        else if (excess(tIn) < -1e-9)
        {
            ASSERT_TRUE(hit) << "seed " << seed;
            ++hits;
            auto bisect = [&](double inside, double outside)
            {
                for (int k = 0; k < 200; ++k)
                {
                    const double mid = 0.5 * (inside + outside);
                    (excess(mid) <= 0.0 ? inside : outside) = mid;
                }
                return inside;
            };
            const double tEnter = excess(0.0) <= 0.0 ? 0.0 : bisect(tIn, 0.0);
            const double tLeave = excess(tFar) <= 0.0 ? tFar : bisect(tIn, tFar);
            EXPECT_NEAR(t, tEnter, 1e-9 * (1.0 + tEnter)) << "seed " << seed;
            EXPECT_NEAR((entry - (o + d * tEnter)).Length(), 0.0, 1e-9) << "seed " << seed;
            EXPECT_NEAR((exit - (o + d * tLeave)).Length(), 0.0, 1e-9) << "seed " << seed;
        }
        if (::testing::Test::HasFailure())
            return;
    }
    // Both outcomes must be well represented for the comparison to mean anything.
    EXPECT_GT(hits, 200);
    EXPECT_GT(misses, 200);
}

TEST(ZgIntersect, RayBoxNullOutputsAndDegenerateDirection)
{
    const ZgBBox3 box(V(0, 0, 0), V(1, 1, 1));
    EXPECT_TRUE(
        ZgIsIntersectRayBox(V(-1, 0.5, 0.5), V(2, 0, 0), box, 0.0, nullptr, nullptr, nullptr));
    double t = -1;
    V entry, exit;
    ASSERT_TRUE(ZgIsIntersectRayBox(V(0.5, 0.5, 0.5), V(), box, 0.0, &t, &entry, &exit));
    EXPECT_EQ(t, 0.0);
    EXPECT_EQ(entry, V(0.5, 0.5, 0.5));
    EXPECT_EQ(exit, V(0.5, 0.5, 0.5));
    EXPECT_FALSE(ZgIsIntersectRayBox(V(2, 0.5, 0.5), V(), box, 0.5, &t, &entry, &exit));
    EXPECT_TRUE(ZgIsIntersectRayBox(V(1.5, 0.5, 0.5), V(), box, 0.5, &t, &entry, &exit));
    // Grazing a face within tolerance, parallel to it.
    ASSERT_TRUE(ZgIsIntersectRayBox(V(-1, 1.05, 0.5), V(4, 0, 0), box, 0.1, &t, &entry, &exit));
    EXPECT_DOUBLE_EQ(t, 0.9 / 4.0);
    EXPECT_EQ(exit, V(1.1, 1.05, 0.5));
}

TEST(ZgIntersect, PtOnLineAtKnownDistance)
{
    for (unsigned seed = 1; seed <= 500; ++seed)
    {
        std::mt19937 g(seed);
        const V a = Rand(g, 10.0);
        const V b = g() % 8 == 0 ? a : Rand(g, 10.0);
        const double tol = Uniform(g, 1e-6, 1.0);
        // A unit vector across ab (any unit vector when a == b), placed at a known distance.
        V across = ZgCross(b - a, Rand(g, 1.0));
        if (across.Length() == 0.0)
            across = Rand(g, 1.0);
        across /= across.Length();
        const V foot = a + (b - a) * Uniform(g, -3.0, 3.0);
        EXPECT_TRUE(ZgIsPtOnLine(foot + across * (0.99 * tol), a, b, tol)) << "seed " << seed;
        EXPECT_FALSE(ZgIsPtOnLine(foot + across * (1.01 * tol), a, b, tol)) << "seed " << seed;
    }
}
