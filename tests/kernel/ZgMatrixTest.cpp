#include "kernel/ZgMatrix3x3.h"
#include "kernel/ZgMatrix4x4.h"
#include "kernel/ZgMatrixNxM.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace
{
using V = ZgVector3;

const double kPi = 3.14159265358979323846;

V Rand(std::mt19937& g)
{
    std::uniform_real_distribution<double> u(-1.0, 1.0);
    const double x = u(g);
    const double y = u(g);
    return {x, y, u(g)};
}

// The rows of vectors are orthonormal and A = V^T diag(values) V: with both, each row is
// an eigenvector of A for its value.
void ExpectDecomposes(ZgMatrixNxM const& a, unsigned seed)
{
    const int n = a.GetNbRow();
    ZgMatrixNxM v;
    ZgVectorN values;
    ASSERT_TRUE(a.Jacobi(v, values)) << "seed " << seed;
    ASSERT_EQ(v.GetNbRow(), n);
    ASSERT_EQ(v.GetNbCol(), n);
    ASSERT_EQ(values.GetSize(), n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
        {
            double dot = 0.0;
            double rebuilt = 0.0;
            for (int k = 0; k < n; ++k)
            {
                dot += v(i, k) * v(j, k);
                rebuilt += v(k, i) * values[k] * v(k, j);
            }
            EXPECT_NEAR(dot, i == j ? 1.0 : 0.0, 1e-12) << "seed " << seed;
            EXPECT_NEAR(rebuilt, a(i, j), 1e-12) << "seed " << seed;
        }
}
} // namespace

TEST(ZgMatrixNxM, ConstructorCopiesInRowOrder)
{
    double values[6] = {1, 2, 3, 4, 5, 6};
    const ZgMatrixNxM m(2, 3, values);
    EXPECT_EQ(m.GetNbRow(), 2);
    EXPECT_EQ(m.GetNbCol(), 3);
    EXPECT_EQ(m(0, 2), 3.0);
    EXPECT_EQ(m(1, 0), 4.0);
    const ZgMatrixNxM zero(3, 2);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 2; ++j)
            EXPECT_EQ(zero(i, j), 0.0);
}

TEST(ZgMatrixNxM, JacobiDecomposesRandomSymmetric)
{
    for (unsigned seed = 1; seed <= 300; ++seed)
    {
        std::mt19937 g(seed);
        const int n = seed % 6 == 0 ? 5 : 3;
        ZgMatrixNxM a(n, n);
        for (int i = 0; i < n; ++i)
            for (int j = 0; j <= i; ++j)
                a(i, j) = a(j, i) = std::uniform_real_distribution<double>(-1.0, 1.0)(g);
        ExpectDecomposes(a, seed);
    }
}

TEST(ZgMatrixNxM, JacobiStructuredMatrices)
{
    // Already diagonal: nothing to rotate.
    double d[9] = {3, 0, 0, 0, -1, 0, 0, 0, 7};
    ZgMatrixNxM v;
    ZgVectorN values;
    ASSERT_TRUE(ZgMatrixNxM(3, 3, d).Jacobi(v, values));
    for (int i = 0; i < 3; ++i)
    {
        EXPECT_EQ(values[i], d[4 * i]);
        for (int j = 0; j < 3; ++j)
            EXPECT_EQ(v(i, j), i == j ? 1.0 : 0.0);
    }
    ExpectDecomposes(ZgMatrixNxM(4, 4), 0);
    ExpectDecomposes(ZgMatrixNxM(1, 1, d), 0);

    // A double eigenvalue, in a random frame: Q^T diag(2, 2, 5) Q.
    for (unsigned seed = 1; seed <= 20; ++seed)
    {
        std::mt19937 g(seed);
        const ZgMatrix4x4 q = ZgMatrix4x4::Rotate(3.0 * Rand(g).x, Rand(g));
        const double lambda[3] = {2, 2, 5};
        ZgMatrixNxM a(3, 3);
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                for (int k = 0; k < 3; ++k)
                    a(i, j) += q.m[k][i] * lambda[k] * q.m[k][j];
        ExpectDecomposes(a, seed);
        a.Jacobi(v, values);
        std::vector<double> sorted = {values[0], values[1], values[2]};
        std::sort(sorted.begin(), sorted.end());
        for (int k = 0; k < 3; ++k)
            EXPECT_NEAR(sorted[k], lambda[k], 1e-12) << "seed " << seed;
    }

    EXPECT_FALSE(ZgMatrixNxM(2, 3).Jacobi(v, values));
}

TEST(ZgMatrix4x4, IdentityRotationAndComposition)
{
    const ZgMatrix4x4 id;
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 4; ++j)
            EXPECT_EQ(id.m[i][j], i == j ? 1.0 : 0.0);

    const ZgMatrix4x4 quarter = ZgMatrix4x4::Rotate(kPi / 2, V(0, 0, 1));
    EXPECT_EQ(quarter.Transform(V(1, 0, 0)), V(0, 1, 0));
    EXPECT_EQ(quarter.Transform(V(0, 1, 0)), V(-1, 0, 0));

    for (unsigned seed = 1; seed <= 50; ++seed)
    {
        std::mt19937 g(seed);
        const V axis = Rand(g);
        const V p = Rand(g);
        const ZgMatrix4x4 r = ZgMatrix4x4::Rotate(3.0 * Rand(g).x, axis);
        const V t = Rand(g);
        const ZgMatrix4x4 s = ZgMatrix4x4::Translate(t.x, t.y, t.z) * ZgMatrix4x4::Scale(2, 3, 4);
        // A rotation keeps lengths and its axis.
        EXPECT_NEAR(r.Transform(p).Length(), p.Length(), 1e-12) << "seed " << seed;
        EXPECT_EQ(r.Transform(axis), axis) << "seed " << seed;
        EXPECT_EQ((r * s).Transform(p), s.Transform(r.Transform(p))) << "seed " << seed;
        EXPECT_EQ((s * r).Transform(p), r.Transform(s.Transform(p))) << "seed " << seed;
    }
}

TEST(ZgMatrix3x3, ProductActsRightOperandFirst)
{
    const ZgMatrix3x3 id;
    std::mt19937 g(5);
    const V p = Rand(g);
    EXPECT_EQ(id * p, p);
    const ZgMatrix3x3 a(1, 2, 3, 0, 1, 4, 5, 6, 0);
    const ZgMatrix3x3 b(0, -1, 0, 1, 0, 0, 2, 1, 1);
    EXPECT_EQ((a * b) * p, a * (b * p));
    EXPECT_EQ(a * V(1, 0, 0), V(1, 0, 5));
}
