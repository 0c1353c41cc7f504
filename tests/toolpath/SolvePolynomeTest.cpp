#include "toolpath/SolvePolynome.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <numeric>
#include <random>
#include <string>
#include <vector>

// Oracles: polynomials are expanded from chosen roots, so the true roots are known; answers
// are matched to them as a multiset and substituted back, the residual measured against
// sum |c_i| |x|^i. The special cases were worked by hand with exactly representable values.

namespace
{
using Vec = std::vector<double>;
const double kCanary = -12345.678;

Vec Times(Vec const& a, Vec const& b)
{
    Vec c(a.size() + b.size() - 1, 0.0);
    for (size_t i = 0; i < a.size(); ++i)
        for (size_t j = 0; j < b.size(); ++j)
            c[i + j] += a[i] * b[j];
    return c;
}

// Highest power first, as the solvers take it.
Vec Expand(Vec const& roots, double lead = 1.0)
{
    Vec c{lead};
    for (double r : roots)
        c = Times(c, {1.0, -r});
    return c;
}

double RelResidual(Vec const& c, double x)
{
    long double v = 0.0L, scale = 0.0L;
    for (double ci : c)
        v = v * x + ci, scale = scale * std::fabs(x) + std::fabs(ci);
    return static_cast<double>(std::fabs(v) / scale);
}

// The buffer has room for `room` roots, then 4 canaries that must survive.
struct Answer
{
    long n;
    Vec roots; // the n written
    Vec all;   // the whole buffer
};

template <class F> Answer Solve(long room, F const& solve)
{
    Answer a{0, {}, Vec(static_cast<size_t>(room) + 4, kCanary)};
    a.n = solve(a.all.data());
    EXPECT_TRUE(a.n >= 0 && a.n <= room) << a.n;
    EXPECT_EQ(Vec(a.all.begin() + room, a.all.end()), Vec(4, kCanary)) << "room " << room;
    a.roots.assign(a.all.begin(), a.all.begin() + std::max(0L, std::min(a.n, room)));
    return a;
}

// SolvePolynome, or SolveSturm when sturm < 0; both must leave c as it was.
Answer Poly(Vec c, long sturm = 0, double eps = 0.0)
{
    const long n = static_cast<long>(c.size()) - 1;
    const Vec before = c;
    Answer a = Solve(n,
                     [&](double* r) {
                         return sturm < 0 ? SolveSturm(n, c.data(), r)
                                          : SolvePolynome(n, c.data(), r, sturm, eps);
                     });
    EXPECT_EQ(std::memcmp(c.data(), before.data(), c.size() * sizeof(double)), 0);
    return a;
}
Answer Sturm(Vec const& c) { return Poly(c, -1); }

void ExpectRoots(Vec got, Vec want, double tol)
{
    ASSERT_EQ(got.size(), want.size());
    std::sort(got.begin(), got.end());
    std::sort(want.begin(), want.end());
    for (size_t i = 0; i < got.size(); ++i)
        EXPECT_NEAR(got[i], want[i], tol * std::max(1.0, std::fabs(want[i])));
}

// n values in [lo, hi), at least gap apart: distinct cells of a grid, jittered.
Vec SeparatedRoots(std::mt19937& rng, int n, double lo, double hi, double gap)
{
    std::vector<int> cell(static_cast<size_t>((hi - lo) / (2.0 * gap)));
    std::iota(cell.begin(), cell.end(), 0);
    std::shuffle(cell.begin(), cell.end(), rng);
    std::uniform_real_distribution<double> u(0.0, gap);
    Vec r;
    for (int i = 0; i < n; ++i)
        r.push_back(lo + 2.0 * gap * cell[i] + u(rng));
    return r;
}
} // namespace

TEST(SolvePolynome, RandomRealRootsDegreeOneToFour)
{
    std::mt19937 rng(20240611);
    std::uniform_real_distribution<double> lead(0.5, 5.0);
    for (int degree = 1; degree <= 4; ++degree)
        for (int trial = 0; trial < 300; ++trial)
        {
            SCOPED_TRACE("seed 20240611 degree " + std::to_string(degree) + " trial " +
                         std::to_string(trial));
            const Vec want = SeparatedRoots(rng, degree, -10.0, 10.0, 0.5);
            const Vec c = Expand(want, trial % 2 ? lead(rng) : -lead(rng));
            const Answer a = Poly(c);
            // The quartic loses digits through its resolvent: errors reach 5e-8 over
            // 20000 trials, where a wrong formula errs by whole units.
            ExpectRoots(a.roots, want, 1e-6);
            for (double x : a.roots)
                EXPECT_LT(RelResidual(c, x), 1e-6) << x;
        }
    // Complex pairs are dropped: (x^2 + 1)(x^2 + 4); 2 (x - 1)(x + 3)(x^2 + 1).
    EXPECT_EQ(Poly({1.0, 0.0, 5.0, 0.0, 4.0}).n, 0);
    ExpectRoots(Poly({2.0, 4.0, -4.0, 4.0, -6.0}).roots, {1.0, -3.0}, 1e-9);
}

TEST(SolvePolynome, NegligibleLeadingCoefficientsSkipped)
{
    EXPECT_EQ(Poly({0.0, 2.0, -4.0}).roots, Vec{2.0});
    EXPECT_EQ(Poly({1e-11, 0.0, 1.0, -3.0}).roots, Vec{3.0}); // absolute, repeated
    EXPECT_EQ(Poly({2e-10, 1.0, -3.0}).n, 2);                 // kept: a root near -5e9
    EXPECT_EQ(Poly({1e-11, -5e-11, 3e-11}).n, 0);             // nothing left: degree 0
    EXPECT_EQ(Poly({-9e-11, 1e-12, 0.0, 5e-11, -1e-11}).n, 0);
    EXPECT_EQ(Poly({2.0, -3.0}).roots, Vec{1.5});
}

TEST(SolveQuadratique, OrderAndDegenerateDiscriminants)
{
    // (b + sqrt d) / 2a first: the larger root for a > 0, the smaller for a < 0.
    EXPECT_EQ(Poly({1.0, -3.0, 2.0}).roots, (Vec{2.0, 1.0}));
    EXPECT_EQ(Poly({-1.0, 3.0, -2.0}).roots, (Vec{1.0, 2.0}));
    // x^2 - 2x + k, d = 4 - 4k exactly: |d| < 1e-10 gives the one root b / 2a = 1.
    EXPECT_EQ(Poly({1.0, -2.0, 1.0}).roots, Vec{1.0});
    EXPECT_EQ(Poly({1.0, -2.0, 1.0 - 1.25e-11}).roots, Vec{1.0}); // d = 5e-11
    EXPECT_EQ(Poly({1.0, -2.0, 1.0 + 1.25e-11}).roots, Vec{1.0}); // d = -5e-11
    EXPECT_EQ(Poly({1.0, -2.0, 1.0 - 5e-11}).n, 2);               // d = 2e-10
    EXPECT_EQ(Poly({1.0, -2.0, 1.0 + 5e-11}).n, 0);               // d = -2e-10
    // Only a direct call can pass a true zero leading coefficient: linear.
    Vec lin{0.0, 2.0, -4.0}, none{0.0, 0.0, 5.0};
    EXPECT_EQ(Solve(2, [&](double* r) { return SolveQuadratique(lin.data(), r); }).roots, Vec{2.0});
    EXPECT_EQ(Solve(2, [&](double* r) { return SolveQuadratique(none.data(), r); }).n, 0);
}

TEST(SolveCubique, RandomRootsInTheirOrder)
{
    std::mt19937 rng(977);
    std::uniform_real_distribution<double> u(-20.0, 20.0);
    for (int trial = 0; trial < 300; ++trial)
    {
        SCOPED_TRACE("seed 977 trial " + std::to_string(trial));
        // Three real roots come smallest, largest, middle.
        Vec want = SeparatedRoots(rng, 3, -50.0, 50.0, 1.0);
        Vec c = Expand(want, 0.25 + trial % 7);
        std::sort(want.begin(), want.end());
        Answer a = Solve(3, [&](double* r) { return SolveCubique(c.data(), r); });
        ASSERT_EQ(a.n, 3);
        EXPECT_NEAR(a.roots[0], want[0], 1e-7);
        EXPECT_NEAR(a.roots[1], want[2], 1e-7);
        EXPECT_NEAR(a.roots[2], want[1], 1e-7);
        // (x - r)(x^2 - 2mx + m^2 + k^2): one real root, whichever sign R has.
        const double r = u(rng), m = u(rng), k = 0.5 + std::fabs(u(rng));
        c = Times(Expand({r}, 1.0 + trial % 3), {1.0, -2.0 * m, m * m + k * k});
        ExpectRoots(Solve(3, [&](double* out) { return SolveCubique(c.data(), out); }).roots, {r},
                    1e-8);
    }
}

TEST(SolveCubique, CoincidentRootsAndZeroLead)
{
    // Q = R = 0 exactly: still three values.
    for (double root : {1.0, 2.0, -3.0})
        EXPECT_EQ(Poly(Expand({root, root, root})).roots, Vec(3, root)) << root;
    ExpectRoots(Poly(Expand({-1.0, 2.0, 2.0})).roots, {-1.0, 2.0, 2.0}, 1e-7);
    Vec c{0.0, 1.0, -3.0, 2.0};
    EXPECT_EQ(Solve(3, [&](double* r) { return SolveCubique(c.data(), r); }).roots,
              (Vec{2.0, 1.0}));
}

// Two quartics where everything is exact, shifted by h = -a/4 = 1.
// x^4 - 4x^3 - 6x^2 = x^2 (x^2 - 4x - 6) is z^4 - 12 z^2 - 20 z - 9 = (z + 1)^2 (z^2 - 2z - 9):
// the resolvent (y + 4)(y + 1)^2 gives y = -4 first (Q = R = 1, t = 0), u = 2, v = -5, and
// D1 = 4 - 4 (y - v) = 0, so the double root 0 = -0.5 u + h comes out as -0.5 u - h = -2.
// x^4 - 4x^3 + 8x - 5 is z^4 - 6 z^2 = z^2 (z^2 - 6): y = -3 first, u2 = 0 so u = 0,
// v = 3, D1 = 24, D2 = -4 (y + v) = 0: the double root 1 = 0.5 u + h comes out as -1.
TEST(SolveQuartique, DoubleRootOfEitherFactorSubtractsShift)
{
    Answer a = Poly({1.0, -4.0, -6.0, 0.0, 0.0});
    ASSERT_EQ(a.n, 3);
    EXPECT_EQ(a.roots[0], -2.0);
    EXPECT_NEAR(a.roots[1], 2.0 + std::sqrt(10.0), 1e-12);
    EXPECT_NEAR(a.roots[2], 2.0 - std::sqrt(10.0), 1e-12);
    a = Poly({1.0, -4.0, 0.0, 8.0, -5.0});
    ASSERT_EQ(a.n, 3);
    EXPECT_NEAR(a.roots[0], 1.0 - std::sqrt(6.0), 1e-12);
    EXPECT_NEAR(a.roots[1], 1.0 + std::sqrt(6.0), 1e-12);
    EXPECT_EQ(a.roots[2], -1.0);
}

TEST(SolvePolynome, BadlyScaledQuarticGoesToSturm)
{
    // x^4 - 1e-13: the closed form finds +-(1e-13)^(1/4). In the Sturm sequence x^4 - 1e-13,
    // x^3, the remainder -1e-13 is cleared to 0; f(0) = -1e-13 is below 1e-10, so false
    // position takes the bracket end 0 as the root.
    Vec c{1.0, 0.0, 0.0, 0.0, -1e-13};
    const double r4 = std::pow(1e-13, 0.25);
    ExpectRoots(Solve(4, [&](double* r) { return SolveQuartique(c.data(), r); }).roots, {-r4, r4},
                1e-9);
    EXPECT_EQ(Poly(c).roots, Vec{0.0});
    // x^4 + 1e-13: the sequence x^4 + 1e-13, x^3, 0 counts one change at 0 (x^3's zero
    // constant) and none elsewhere, so bisection halves [0, 1e7] 50 times towards 0 and
    // reports the last mid. The closed form finds nothing.
    c = {1.0, 0.0, 0.0, 0.0, 1e-13};
    EXPECT_EQ(Solve(4, [&](double* r) { return SolveQuartique(c.data(), r); }).n, 0);
    EXPECT_EQ(Poly(c).roots, Vec{std::ldexp(1e7, -50)});
    // (x^2 - 1)(x^2 - 4) + 1e-13 x^3, badly scaled by a middle term: negative roots lost.
    ExpectRoots(Poly({1.0, 1e-13, -5.0, 0.0, 4.0}).roots, {1.0, 2.0}, 1e-9);
    ExpectRoots(Poly({1.0, 0.0, -5.0, 0.0, 4.0}).roots, {-2.0, -1.0, 1.0, 2.0}, 1e-9);
}

TEST(SolvePolynome, NegligibleLastTerm)
{
    // x (x - 1)(x - 2) + 1e-9: with eps the quadratic of c[0..2], no root near 0.
    EXPECT_EQ(Poly({1.0, -3.0, 2.0, 1e-9}, 0, 1e-3).roots, (Vec{2.0, 1.0}));
    ExpectRoots(Poly({1.0, -3.0, 2.0, 1e-9}).roots, {-5e-10, 1.0, 2.0}, 1e-8);
    EXPECT_EQ(Poly({1.0, -3.0, 2.0, -0.002}, 0, 0.001).n, 3); // ratio equal to eps
    // x (x - 1)(x - 2)(x - 3) + 1e-9: the cubic of c[0..3], in the cubic's order.
    const Answer a = Poly({1.0, -6.0, 11.0, -6.0, 1e-9}, 0, 1e-3);
    ASSERT_EQ(a.n, 3);
    EXPECT_NEAR(a.roots[0], 1.0, 1e-12);
    EXPECT_NEAR(a.roots[1], 3.0, 1e-12);
    EXPECT_NEAR(a.roots[2], 2.0, 1e-12);
    EXPECT_EQ(Poly({1.0, -6.0, 11.0, -6.0, 1e-9}).n, 4);
    // With sturm set the truncated cubic goes to Sturm: x (x + 1)(x - 2)(x - 3) + 1e-9.
    Vec c = Expand({0.0, -1.0, 2.0, 3.0});
    c[4] = 1e-9;
    ExpectRoots(Poly(c, 1, 1e-3).roots, {2.0, 3.0}, 1e-9);
}

TEST(SolvePolynome, SturmFlagAndHigherDegrees)
{
    ExpectRoots(Poly(Expand({-1.0, 2.0, 3.0}), 1).roots, {2.0, 3.0}, 1e-9);
    ExpectRoots(Poly(Expand({-1.0, 2.0, 3.0}), 0).roots, {-1.0, 2.0, 3.0}, 1e-9);
    ExpectRoots(Poly(Expand({-1.0, 1.0, 2.0, 3.0}), 1).roots, {1.0, 2.0, 3.0}, 1e-9);
    ExpectRoots(Poly(Expand({-1.0, 1.0, 2.0, 3.0, 4.0})).roots, {1.0, 2.0, 3.0, 4.0}, 1e-9);

    // x (x - 1)(x - 2)(x - 4)^2 + 1e-6 has positive roots near 1 and 2 only (the double root
    // turns complex, the new one near 0 is negative). With eps the truncated quartic runs
    // first, and its third root, 4, stays behind the two of the full solve.
    Vec c = Expand({0.0, 1.0, 2.0, 4.0, 4.0});
    c[5] = 1e-6;
    const Answer a = Poly(c, 0, 1e-3);
    ASSERT_EQ(a.n, 2);
    ExpectRoots(Vec(a.all.begin(), a.all.begin() + 3), {1.0, 2.0, 4.0}, 1e-6);
    EXPECT_EQ(Poly(c).all[2], kCanary);

    // Degree 16 has no room, not even for the truncated solve; after a skip it is 15.
    Vec roots15;
    for (int i = 0; i < 15; ++i)
        roots15.push_back(std::ldexp(1.0, i));
    EXPECT_EQ(Poly(Times(Expand(roots15), {1.0, 1e-9}), 0, 1e-3).all, Vec(20, kCanary));
    c = Expand(roots15);
    c.insert(c.begin(), 0.0);
    ExpectRoots(Poly(c).roots, roots15, 1e-9);
}

TEST(SolveSturm, RandomPositiveRootsUpToDegreeFifteen)
{
    std::mt19937 rng(31337);
    std::uniform_real_distribution<double> jitter(-0.3, 0.3);
    for (int degree = 1; degree <= 15; ++degree)
        for (int trial = 0; trial < 40; ++trial)
        {
            SCOPED_TRACE("seed 31337 degree " + std::to_string(degree) + " trial " +
                         std::to_string(trial));
            // Geometric spread over [1, 1e7): neighbours at least 1 and a factor 1.5 apart,
            // so every root is simple with |p'| >= 1.
            const double ratio = std::pow(1e7, 1.0 / std::max(degree, 2));
            Vec want;
            for (int i = 0; i < degree; ++i)
                want.push_back(std::pow(ratio, i + 0.5 + jitter(rng)) + i);
            std::shuffle(want.begin(), want.end(), rng);
            Vec c = Expand(want, trial % 3 ? 1.0 : -2.5);
            if (trial % 2 == 1 && degree < 15)
                c = Times(c, {1.0, 1.0 + trial}); // a negative root, never found
            // A complex pair gives remainders with negative leading coefficients.
            if (trial % 4 >= 2 && c.size() + 2 <= 16)
            {
                const double m = std::pow(ratio, std::uniform_real_distribution<>(0, degree)(rng));
                c = Times(c, {1.0, -2.0 * m, m * m * 1.09 + 1.0});
            }
            const Answer a = Sturm(c);
            ExpectRoots(a.roots, want, 1e-8);
            EXPECT_TRUE(std::is_sorted(a.roots.begin(), a.roots.end()));
            for (double x : a.roots)
                EXPECT_LT(RelResidual(c, x), 1e-9) << x;
        }
}

TEST(SolveSturm, SearchIntervalAndMultipleRoots)
{
    EXPECT_EQ(Sturm({1.0, 0.0, -1.0}).roots, Vec{1.0});
    ExpectRoots(Sturm(Expand({5.0, 2e7})).roots, {5.0}, 1e-9);
    EXPECT_EQ(Sturm(Expand({-5.0, -2.0})).n, 0);
    ExpectRoots(Sturm(Expand({3.0, 1.0, 1.0})).roots, {1.0, 3.0}, 1e-8); // a double root once
    ExpectRoots(Sturm(Expand({7.0}, -3.0)).roots, {7.0}, 1e-12);
    double c[17] = {1.0}, r[16];
    EXPECT_EQ(SolveSturm(16, c, r), 0);
    EXPECT_EQ(SolveSturm(0, c, r), 0);
}

TEST(SolvePolynome, NonFiniteCoefficientsStayInBounds)
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (int degree = 1; degree <= 15; ++degree)
        for (double bad : {nan, inf, -inf})
            for (int at = 0; at <= degree; ++at)
            {
                Vec c = Expand(Vec(degree, 2.0));
                c[at] = bad;
                Poly(c), Poly(c, 1, 1e-3), Sturm(c);
            }
}
