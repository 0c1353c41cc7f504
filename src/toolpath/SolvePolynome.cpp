#include "toolpath/SolvePolynome.h"

#include <cassert>
#include <cmath>

namespace
{
// Below this a leading coefficient is dropped, a discriminant is zero, a remainder
// coefficient is zero and the value at a bracket end makes that end a root.
const double dPolyZero = 1e-10;
// Convergence of bisection and false position: relative to |x| when |x| is above it,
// absolute otherwise.
const double dPolyConv = 1e-12;
// Ratio of the largest to a smaller non-zero coefficient past which the closed-form
// quartic is not trusted.
const double dPolyBadScale = 1e+12;
// Bound of every bisection and false-position loop.
const int nPolyMaxIter = 50;
// The Sturm solver searches [0, dSturmMax].
const double dSturmMax = 1e+7;
// A sequence holds 16 polynomials: degrees n down to 0.
const long nSturmMaxDegree = 15;
const int nSturmSeq = 16;
// Distinct roots number at most 15, so a sound sequence splits at most 14 levels deep;
// deeper means the sign counts are not those of a Sturm sequence (NaN, inf coefficients).
const int nIsolateMaxDepth = 64;

// 2 pi / 3 and 4 pi / 3, as the trigonometric cubic has always used them.
const double dTwoPiThirds = 2.0943951023931953;
const double dFourPiThirds = 4.1887902047863905;

// Exact tests of 0.0 and 1.0 below are markers, not measurements: only a true zero makes
// a degree collapse, only a true 1.0 makes normalisation unnecessary.
bool IsExactZero(double v) { return v == 0.0; }

bool IsBadlyScaled(const double* c, long degree)
{
    double m = 0.0;
    for (long i = 0; i <= degree; ++i)
        if (std::fabs(c[i]) > m)
            m = std::fabs(c[i]);
    if (IsExactZero(m))
        return false;
    for (long i = 0; i <= degree; ++i)
        if (!IsExactZero(c[i]) && m / std::fabs(c[i]) > dPolyBadScale)
            return true;
    return false;
}

// |c[n] / c[n-1]| < eps: the last term may be dropped, p(x) ~ x * (c[0] x^(n-1) + ...).
bool IsLastTermNegligible(const double* c, long degree, double eps)
{
    return eps > 0.0 && !IsExactZero(c[degree - 1]) && std::fabs(c[degree] / c[degree - 1]) < eps;
}

double Horner(SturmPoly const& p, double x)
{
    double v = p.coef[p.degree];
    for (long i = p.degree - 1; i >= 0; --i)
        v = v * x + p.coef[i];
    return v;
}

// Sign changes along values[0..last]. A zero counts as a change before the next value,
// whatever that value: the rule the sequence was always counted by.
int CountChanges(const double* values, int last)
{
    int changes = 0;
    for (int i = 1; i <= last; ++i)
        if (IsExactZero(values[i - 1]) || values[i - 1] * values[i] < 0.0)
            ++changes;
    return changes;
}

int ChangesAt(const SturmPoly* seq, int last, double x)
{
    double values[nSturmSeq];
    for (int i = 0; i <= last; ++i)
        values[i] = Horner(seq[i], x);
    return CountChanges(values, last);
}

int ChangesAtZero(const SturmPoly* seq, int last)
{
    double values[nSturmSeq];
    for (int i = 0; i <= last; ++i)
        values[i] = seq[i].coef[0];
    return CountChanges(values, last);
}

int ChangesAtInfinity(const SturmPoly* seq, int last)
{
    double values[nSturmSeq];
    for (int i = 0; i <= last; ++i)
        values[i] = seq[i].coef[seq[i].degree];
    return CountChanges(values, last);
}

// r = u mod v over the reals. v's leading coefficient is +1 or -1, so the quotient's
// terms are r's top coefficients times that sign, and no division occurs. Coefficients
// below dPolyZero are then cleared from the top, lowering the degree down to 0.
// Returns r's degree.
long Remainder(SturmPoly const& u, SturmPoly const& v, SturmPoly& r)
{
    for (long i = 0; i <= u.degree; ++i)
        r.coef[i] = u.coef[i];
    const double sign = v.coef[v.degree] < 0.0 ? -1.0 : 1.0;
    for (long k = u.degree - v.degree; k >= 0; --k)
    {
        const double q = r.coef[v.degree + k] * sign;
        for (long j = v.degree + k - 1; j >= k; --j)
            r.coef[j] -= q * v.coef[j - k];
    }
    // A constant divides everything: the remainder is the zero polynomial.
    if (v.degree == 0)
        r.coef[0] = 0.0;
    long k = v.degree - 1;
    while (k >= 0 && std::fabs(r.coef[k]) < dPolyZero)
    {
        r.coef[k] = 0.0;
        --k;
    }
    r.degree = k < 0 ? 0 : k;
    return r.degree;
}

// seq[0] holds the polynomial. Fills the sequence p, p' / |n lead|, then the negated
// remainders scaled to a leading coefficient of -1, and returns the index of the last one.
int BuildSturm(SturmPoly* seq)
{
    const long n = seq[0].degree;
    const double f = std::fabs(static_cast<double>(n) * seq[0].coef[n]);
    seq[1].degree = n - 1;
    for (long i = 1; i <= n; ++i)
        seq[1].coef[i - 1] = static_cast<double>(i) * seq[0].coef[i] / f;

    // Degrees fall strictly from n, so the loop ends by index max(n, 2) <= 15.
    int i = 2;
    while (Remainder(seq[i - 2], seq[i - 1], seq[i]) > 0)
    {
        SturmPoly& r = seq[i];
        const double g = -std::fabs(r.coef[r.degree]);
        for (long j = 0; j <= r.degree; ++j)
            r.coef[j] /= g;
        ++i;
        assert(i < nSturmSeq);
    }
    // The last remainder was not scaled by -1 like the others: negate it to match.
    seq[i].coef[0] = -seq[i].coef[0];
    return i;
}

// The root finder over one Sturm sequence, writing into roots[0..capacity-1].
struct Isolator
{
    const SturmPoly* seq;
    int lastIndex; // of the sequence's last polynomial
    double* roots;
    long capacity;
    long count;

    long Write(double x)
    {
        if (count >= capacity)
            return 0;
        roots[count++] = x;
        return 1;
    }

    // Illinois false position on seq[0] over [a, b]; false when the ends do not bracket
    // a sign change or 50 steps do not converge.
    bool FalsePosition(double a, double b, double& root) const
    {
        double fa = Horner(seq[0], a);
        double fb = Horner(seq[0], b);
        if (fa * fb > 0.0)
            return false;
        if (std::fabs(fa) < dPolyZero)
        {
            root = a;
            return true;
        }
        if (std::fabs(fb) < dPolyZero)
        {
            root = b;
            return true;
        }
        double last = fa;
        for (int its = 0; its < nPolyMaxIter; ++its)
        {
            const double x = (fb * a - fa * b) / (fb - fa);
            const double fx = Horner(seq[0], x);
            if (std::fabs(x) > dPolyConv ? std::fabs(fx / x) < dPolyConv
                                         : std::fabs(fx) < dPolyConv)
            {
                root = x;
                return true;
            }
            // Illinois: when the same end is kept twice, halve its value so that the
            // secant stops creeping in from one side.
            if ((fa >= 0.0 && fx >= 0.0) || (fa < 0.0 && fx < 0.0))
            {
                a = x;
                fa = fx;
                if (last * fx > 0.0)
                    fb /= 2.0;
            }
            else
            {
                b = x;
                fb = fx;
                if (last * fx > 0.0)
                    fa /= 2.0;
            }
            if (std::fabs(b - a) < dPolyConv)
            {
                root = x;
                return true;
            }
            last = fx;
        }
        return false;
    }

    // Exactly one root in (min, max]: false position, else bisection on the sign counts.
    long IsolateOne(double min, double max, int atMin)
    {
        double root = 0.0;
        if (FalsePosition(min, max, root))
            return Write(root);
        double mid = min;
        for (int its = 0; its < nPolyMaxIter; ++its)
        {
            mid = (min + max) / 2.0;
            const int atMid = ChangesAt(seq, lastIndex, mid);
            const double width = std::fabs(max - min);
            if (std::fabs(mid) > dPolyConv ? width / std::fabs(mid) < dPolyConv : width < dPolyConv)
                return Write(mid);
            if (atMid == atMin)
                min = mid;
            else
                max = mid;
        }
        return Write(mid);
    }

    // atMin - atMax roots in (min, max], written from the lower end up. Every call with
    // room left writes at least one root, so with the capacity guard the recursion tree
    // stays small even when the counts are not monotone.
    long Isolate(double min, double max, int atMin, int atMax, int depth)
    {
        if (count >= capacity)
            return 0;
        if (depth > nIsolateMaxDepth)
            return Write((min + max) / 2.0);
        if (atMin - atMax == 1)
            return IsolateOne(min, max, atMin);
        double mid = min;
        for (int its = 0; its < nPolyMaxIter; ++its)
        {
            mid = (min + max) / 2.0;
            const int atMid = ChangesAt(seq, lastIndex, mid);
            if (atMid != atMin && atMid != atMax)
            {
                const long lower = Isolate(min, mid, atMin, atMid, depth + 1);
                return lower + Isolate(mid, max, atMid, atMax, depth + 1);
            }
            if (atMid == atMin)
                min = mid;
            else
                max = mid;
        }
        return Write(mid);
    }
};
} // namespace

long SolvePolynome(long degree, double* c, double* roots, long sturm, double eps)
{
    while (degree > 0 && std::fabs(c[0]) < dPolyZero)
    {
        ++c;
        --degree;
    }
    if (degree <= 0)
        return 0;
    switch (degree)
    {
    case 1:
        if (IsExactZero(c[0]))
            return 0;
        roots[0] = -c[1] / c[0];
        return 1;
    case 2:
        return SolveQuadratique(c, roots);
    case 3:
        // The quadratic reads c[0..2] only, so c needs no change.
        if (IsLastTermNegligible(c, 3, eps))
            return SolveQuadratique(c, roots);
        return sturm != 0 ? SolveSturm(3, c, roots) : SolveCubique(c, roots);
    case 4:
        if (IsLastTermNegligible(c, 4, eps))
            return sturm != 0 ? SolveSturm(3, c, roots) : SolveCubique(c, roots);
        if (IsBadlyScaled(c, 4))
            sturm = 1;
        return sturm != 0 ? SolveSturm(4, c, roots) : SolveQuartique(c, roots);
    default:
        break;
    }
    if (degree > nSturmMaxDegree)
        return 0;
    // The truncated solve is overwritten by the full one; it only leaves its surplus
    // roots past the returned count. Kept as the long-standing behaviour.
    if (IsLastTermNegligible(c, degree, eps))
        SolveSturm(degree - 1, c, roots);
    return SolveSturm(degree, c, roots);
}

long SolveQuadratique(double* c, double* roots)
{
    const double a = c[0];
    const double b = -c[1];
    if (IsExactZero(a))
    {
        if (IsExactZero(b))
            return 0;
        roots[0] = c[2] / b;
        return 1;
    }
    const double d = b * b - 4.0 * a * c[2];
    if (-dPolyZero < d && d < dPolyZero)
    {
        roots[0] = (b * 0.5) / a;
        return 1;
    }
    if (d < 0.0)
        return 0;
    const double sq = std::sqrt(d);
    roots[0] = (b + sq) / (2.0 * a);
    roots[1] = (b - sq) / (2.0 * a);
    return 2;
}

long SolveCubique(double* c, double* roots)
{
    if (IsExactZero(c[0]))
        return SolveQuadratique(c + 1, roots);
    double a = c[1];
    double b = c[2];
    double d = c[3];
    if (c[0] != 1.0)
    {
        a /= c[0];
        b /= c[0];
        d /= c[0];
    }
    // Depressed by x = t - a/3: t^3 - 3Q t - 2R = 0.
    const double a2 = a * a;
    const double Q = (a2 - 3.0 * b) / 9.0;
    const double R = (13.5 * d + (a2 - 4.5 * b) * a) / 27.0;
    const double Q3 = Q * Q * Q;
    const double s = a / 3.0;
    if (Q3 - R * R < 0.0)
    {
        const double A = std::pow(std::sqrt(R * R - Q3) + std::fabs(R), 1.0 / 3.0);
        roots[0] = R >= 0.0 ? -(Q / A + A) - s : (Q / A + A) - s;
        return 1;
    }
    // Three real roots. R^2 <= Q3 puts R / sqrt(Q3) in [-1, 1] up to rounding; clamp it so
    // that a rounding past 1, or Q3 = 0 at a triple root (where g = 0 makes t irrelevant),
    // does not turn the roots into NaN.
    const double sq3 = std::sqrt(Q3);
    double cosine = sq3 > 0.0 ? R / sq3 : 0.0;
    if (cosine > 1.0)
        cosine = 1.0;
    else if (cosine < -1.0)
        cosine = -1.0;
    const double t = std::acos(cosine) / 3.0;
    const double g = -2.0 * std::sqrt(Q);
    roots[0] = g * std::cos(t) - s;
    roots[1] = g * std::cos(t + dTwoPiThirds) - s;
    roots[2] = g * std::cos(t + dFourPiThirds) - s;
    return 3;
}

long SolveQuartique(double* c, double* roots)
{
    double a = c[1];
    double b = c[2];
    double d = c[3];
    double e = c[4];
    if (c[0] != 1.0)
    {
        a /= c[0];
        b /= c[0];
        d /= c[0];
        e /= c[0];
    }
    // Depressed by x = z - a/4: z^4 + p z^2 + q z + r = 0.
    const double a2 = a * a;
    const double p = -0.375 * a2 + b;
    const double q = 0.125 * a2 * a - 0.5 * a * b + d;
    const double r = 0.0625 * a2 * b - 0.01171875 * a2 * a2 - 0.25 * a * d + e;

    // Ferrari: for a root y of the resolvent, z^4 + p z^2 + q z + r
    // = (z^2 + u z + y - v)(z^2 - u z + y + v) with u^2 = 2y - p, v^2 = y^2 - r, 2uv = q.
    double cubic[4] = {1.0, -p / 2.0, -r, 0.5 * r * p - 0.125 * q * q};
    double y3[3];
    if (SolveCubique(cubic, y3) == 0)
        return 0;
    const double y = y3[0];

    double u2 = 2.0 * y - p;
    if (u2 < 0.0)
    {
        if (u2 <= -dPolyZero)
            return 0;
        u2 = 0.0;
    }
    double u = 0.0;
    double v = 0.0;
    if (u2 >= dPolyZero)
    {
        u = std::sqrt(u2);
        v = (q * 0.5) / u;
    }
    else
    {
        // u too small to divide by: take v from v^2 = y^2 - r; u keeps the value of u2.
        u = u2;
        const double w = y * y - r;
        if (w < 0.0)
            return 0;
        v = std::sqrt(w);
    }
    const double h = -a / 4.0;

    long n = 0;
    const double d1 = u * u - 4.0 * (y - v);
    if (IsExactZero(d1))
        roots[n++] = -0.5 * u - h;
    else if (d1 > 0.0)
    {
        const double sq = std::sqrt(d1);
        roots[n++] = -0.5 * (u + sq) + h;
        roots[n++] = -0.5 * (u - sq) + h;
    }
    const double d2 = u * u - 4.0 * (y + v);
    if (IsExactZero(d2))
        roots[n++] = 0.5 * u - h;
    else if (d2 > 0.0)
    {
        const double sq = std::sqrt(d2);
        roots[n++] = 0.5 * (u + sq) + h;
        roots[n++] = 0.5 * (u - sq) + h;
    }
    return n;
}

long SolveSturm(long degree, double* c, double* roots)
{
    if (degree < 1 || degree > nSturmMaxDegree)
        return 0;
    SturmPoly seq[nSturmSeq] = {};
    seq[0].degree = degree;
    for (long i = 0; i <= degree; ++i)
        seq[0].coef[i] = c[degree - i] / c[0];
    const int last = BuildSturm(seq);

    const int atZero = ChangesAtZero(seq, last);
    if (atZero - ChangesAtInfinity(seq, last) == 0)
        return 0;
    const int atMax = ChangesAt(seq, last, dSturmMax);
    if (atZero - atMax == 0)
        return 0;
    Isolator iso = {seq, last, roots, degree, 0};
    return iso.Isolate(0.0, dSturmMax, atZero, atMax, 0);
}
