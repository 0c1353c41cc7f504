#include "voronoi/VorSegSweep.h"

#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>
#include <vector>

namespace
{
using Segs = std::vector<VorSegment>;
using Pts = std::vector<ZgVector2>;
constexpr double kTol = 1e-6;
constexpr double kPi = 3.141592653589793;

bool Neighbours(VorSegment const& s, VorSegment const& t)
{
    const long d = s.index > t.index ? s.index - t.index : t.index - s.index;
    return s.chain == t.chain && (d == 1 || (s.closed && s.count > 2 && d == s.count - 1));
}

// Closest approach from the parameters of the closest points, clamped to the segments one
// after the other, in long double.
long double Dist(VorSegment const& s, VorSegment const& t)
{
    using L = long double;
    auto clamp = [](L v) { return v < 0 ? L(0) : (v > 1 ? L(1) : v); };
    const L ux = L(s.b.x) - s.a.x, uy = L(s.b.y) - s.a.y;
    const L vx = L(t.b.x) - t.a.x, vy = L(t.b.y) - t.a.y;
    const L rx = L(s.a.x) - t.a.x, ry = L(s.a.y) - t.a.y;
    const L a = ux * ux + uy * uy, e = vx * vx + vy * vy, f = vx * rx + vy * ry;
    L p = 0, q = 0; // along s, along t
    if (a == 0 && e > 0)
        q = clamp(f / e);
    else if (a > 0)
    {
        const L c = ux * rx + uy * ry;
        if (e == 0)
            p = clamp(-c / a);
        else
        {
            const L b = ux * vx + uy * vy, den = a * e - b * b;
            p = den > 0 ? clamp((b * f - c * e) / den) : 0;
            q = (b * p + f) / e;
            if (q < 0 || q > 1)
            {
                q = clamp(q);
                p = clamp((b * q - c) / a);
            }
        }
    }
    return std::hypot(rx + ux * p - vx * q, ry + uy * p - vy * q);
}

bool BruteClear(Segs const& s, double tol)
{
    for (size_t i = 0; i < s.size(); ++i)
        for (size_t j = i + 1; j < s.size(); ++j)
            if (!Neighbours(s[i], s[j]) && Dist(s[i], s[j]) <= tol)
                return false;
    return true;
}

void Chain(Segs& out, Pts const& p, long chain, bool closed)
{
    const long n = static_cast<long>(p.size()), m = closed ? n : n - 1;
    for (long i = 0; i < m; ++i)
        out.push_back({p[i], p[(i + 1) % n], chain, i, m, closed});
}

Segs Chains(std::vector<Pts> const& chains, bool closed)
{
    Segs s;
    for (size_t c = 0; c < chains.size(); ++c)
        Chain(s, chains[c], static_cast<long>(c), closed);
    return s;
}

Segs Turned(Segs s, double angle)
{
    const double c = std::cos(angle), d = std::sin(angle);
    auto turn = [&](ZgVector2 p)
    { return ZgVector2(c * p.x - d * p.y + 7, d * p.x + c * p.y - 3); };
    for (VorSegment& g : s)
        g = {turn(g.a), turn(g.b), g.chain, g.index, g.count, g.closed};
    return s;
}

// A comb: a base under k teeth [2j, 2j + 1] of heights h, gaps one wide with their floor at 0.
Pts Comb(std::vector<double> const& h)
{
    const long k = static_cast<long>(h.size());
    Pts p{{0, -1}, {2.0 * k - 1, -1}};
    for (long j = k - 1; j >= 0; --j)
    {
        p.insert(p.end(), {{2.0 * j + 1, h[j]}, {2.0 * j, h[j]}});
        if (j > 0)
            p.insert(p.end(), {{2.0 * j, 0}, {2.0 * j - 1, 0}});
    }
    return p;
}

TEST(VorSegSweep, KnownAnswersInAnyOrientation)
{
    const double n = 0.5 * kTol, f = 2 * kTol; // near, far
    const Pts outer{{0, 0}, {10, 0}, {10, 10}, {0, 10}};
    auto slit = [](double g) {
        return Pts{{0, 0}, {10, 0}, {10, 4}, {1, 4}, {1, 4 + g}, {10, 4 + g}, {10, 10}, {0, 10}};
    };
    struct Case
    {
        Segs s;
        bool clear;
    };
    const std::vector<Case> cases{
        {Chains({{{0, 0}, {10, 0}}, {{5, -3}, {5, 0}}}, false), false}, // T
        {Chains({{{0, 0}, {10, 0}}, {{5, -3}, {5, -n}}}, false), false},
        {Chains({{{0, 0}, {10, 0}}, {{5, -3}, {5, -f}}}, false), true},
        {Chains({{{0, 0}, {10, 0}}, {{5, 0}, {15, 0}}}, false), false}, // collinear overlap
        {Chains({{{0, 0}, {10, 0}}, {{10 + n, 0}, {20, 0}}}, false), false},
        {Chains({{{0, 0}, {10, 0}}, {{10 + f, 0}, {20, 0}}}, false), true},
        {Chains({{{0, 0}, {10, 10}}, {{0, 10}, {10, 0}}}, false), false}, // X
        // An X whose arms meet only once a blocker between them has left, in either sweep.
        {Chains({{{0, 0}, {10, 10}}, {{0, 10}, {10, 0}}, {{-1, 5}, {2, 5}}, {{5, -1}, {5, 2}}},
                false),
         false},
        // Past the end of a segment, alongside a steep one.
        {Chains({{{0, 0}, {5, 0}}, {{5 + n, -10}, {5 + n, 10}}}, false), false},
        {Chains({{{0, 0}, {5, 0}}, {{5 + f, -10}, {5 + f, 10}}}, false), true},
        {Chains({{{-5, -1}, {0, 0}}, {{n - 5e-6, -10}, {n + 5e-6, 10}}}, false), false},
        {Chains({{{-5, -1}, {0, 0}}, {{f - 5e-6, -10}, {f + 5e-6, 10}}}, false), true},
        // One contour inside the other: clear, touching, near.
        {Chains({outer, {{2, 2}, {8, 2}, {8, 8}, {2, 8}}}, true), true},
        {Chains({outer, {{0, 5}, {5, 2}, {8, 5}, {5, 8}}}, true), false},
        {Chains({outer, {{n, 5}, {5, 2}, {8, 5}, {5, 8}}}, true), false},
        {Chains({outer, {{f, 5}, {5, 2}, {8, 5}, {5, 8}}}, true), true},
        {Chains({slit(f)}, true), true},
        {Chains({slit(n)}, true), false},
        {Chains({slit(0)}, true), false},
        // A spike of tip angle 1e-8: only neighbours come near.
        {Chains({{{0, 0}, {1000, 0}, {0, 1e-5}, {-1, 0.5e-5}}}, true), true},
        {Chains({{{0, 0}, {1, 0}}, {{3, 0}, {3, 0}}}, false), true},  // a point, clear
        {Chains({{{0, 0}, {1, 0}}, {{0, 0}, {1, 0}}}, false), false}, // duplicated
        {Segs{}, true},
    };
    for (size_t c = 0; c < cases.size(); ++c)
        for (double angle : {0.0, kPi / 2, kPi / 6, 1.0, -2.5})
        {
            const Segs s = Turned(cases[c].s, angle);
            EXPECT_EQ(VorSegmentsClear(s, kTol), cases[c].clear) << c << " " << angle;
            EXPECT_EQ(BruteClear(s, kTol), cases[c].clear) << c << " " << angle;
        }
    const double bad[] = {std::nan(""), std::numeric_limits<double>::infinity(), 1e200};
    for (double b : bad)
    {
        EXPECT_FALSE(VorSegmentsClear(Chains({{{0, 0}, {b, 1}}, {{5, 5}, {6, 6}}}, false), kTol));
        EXPECT_FALSE(VorSegmentsClear(Chains({{{0, 0}, {1, 1}}, {{5, 5}, {6, 6}}}, false), -b));
    }
}

// Soups of short segments, of segments on a small integer grid (touches, overlaps, verticals,
// points) and of random walks, against the pairwise distances.
TEST(VorSegSweep, RandomSoupsAgreeWithBruteForce)
{
    int clear = 0, touching = 0, nearOnly = 0;
    for (unsigned seed = 0; seed < 600; ++seed)
    {
        std::mt19937 rng(seed);
        std::uniform_real_distribution<double> u(0.0, 1.0);
        Segs s;
        double tol = 0.05;
        const long n = 4 + seed % 40;
        for (long i = 0; i < n; ++i)
        {
            const ZgVector2 c(10 * u(rng), 10 * u(rng));
            const double a = 2 * kPi * u(rng), l = 0.1 + u(rng);
            if (seed % 3 == 0)
                Chain(s, {c, c + ZgVector2(std::cos(a), std::sin(a)) * l}, i, false);
            else if (seed % 3 == 1)
            {
                tol = kTol;
                auto k = [&] { return static_cast<double>(static_cast<int>(7 * u(rng))); };
                Chain(s, {{k(), k()}, {k(), k()}}, i, false);
            }
            else if (i % 8 == 0)
            {
                Pts walk{c};
                for (int j = 0; j < 8; ++j)
                    walk.push_back(walk.back() + ZgVector2(u(rng) - 0.5, u(rng) - 0.5) * 2);
                Chain(s, walk, i, i % 16 == 0);
            }
        }
        const bool oracle = BruteClear(s, tol);
        EXPECT_EQ(VorSegmentsClear(s, tol), oracle) << seed;
        (oracle ? clear : BruteClear(s, 0) ? nearOnly : touching)++;
    }
    EXPECT_GT(clear, 50);
    EXPECT_GT(touching, 50);
    EXPECT_GT(nearOnly, 50);
}

TEST(VorSegSweep, StarPolygonsClearUntilAVertexMeetsAnEdge)
{
    for (int n : {60, 400, 1000})
    {
        std::mt19937 rng(n);
        std::uniform_real_distribution<double> r(500, 1000);
        Pts p;
        for (int i = 0; i < n; ++i)
        {
            const double a = 2 * kPi * i / n, rho = std::round(r(rng) * 1e4) / 1e4;
            p.push_back({rho * std::cos(a), rho * std::sin(a)});
        }
        EXPECT_TRUE(VorSegmentsClear(Chains({p}, true), kTol)) << n;
        EXPECT_TRUE(BruteClear(Chains({p}, true), kTol)) << n;
        // Vertex i onto, or half a tol either side of, edge i + 2 (i + 2 to i + 3).
        for (int i : {0, n / 3, n - 3})
            for (double off : {0.0, 0.5 * kTol, -0.5 * kTol})
            {
                const ZgVector2 a = p[(i + 2) % n], b = p[(i + 3) % n], d = b - a;
                Pts q = p;
                q[i] = (a + b) * 0.5 + ZgVector2(-d.y, d.x) * (off / d.Length());
                EXPECT_FALSE(VorSegmentsClear(Chains({q}, true), kTol)) << n << " " << i;
                EXPECT_FALSE(BruteClear(Chains({q}, true), kTol)) << n << " " << i;
            }
    }
    // An urchin of 200 spikes 1000 long on bases 3e-4 wide: tip angles near 3e-7.
    Pts urchin;
    for (int i = 0; i < 400; ++i)
    {
        const double a = kPi * i / 200, rho = i % 2 == 0 ? 0.01 : 1000;
        urchin.push_back({rho * std::cos(a), rho * std::sin(a)});
    }
    EXPECT_TRUE(VorSegmentsClear(Chains({urchin}, true), kTol));
    EXPECT_TRUE(BruteClear(Chains({urchin}, true), kTol));
}

// Orthogonal contours: many equal x and y, vertical edges, collinear gap floors.
TEST(VorSegSweep, CombsCloseOneGap)
{
    for (unsigned seed = 0; seed < 20; ++seed)
    {
        std::mt19937 rng(seed);
        std::vector<double> h(50);
        for (double& v : h)
            v = 1 + rng() % 5;
        const Pts p = Comb(h);
        EXPECT_TRUE(VorSegmentsClear(Chains({p}, true), kTol)) << seed;
        // Gap between teeth j and j + 1 narrowed to g: tooth j + 1's left side moves.
        const long j = rng() % 49;
        for (double g : {2 * kTol, 0.5 * kTol, 0.0})
        {
            Pts q = p;
            for (ZgVector2& v : q)
                if (v.x == 2.0 * (j + 1))
                    v.x = 2.0 * j + 1 + g;
            const Segs s = Chains({q}, true);
            EXPECT_EQ(VorSegmentsClear(s, kTol), g > kTol) << seed << " " << g;
            EXPECT_EQ(BruteClear(s, kTol), g > kTol) << seed << " " << g;
        }
    }
}
} // namespace
