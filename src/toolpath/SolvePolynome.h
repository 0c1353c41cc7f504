#pragma once

#include "shell/QmExport.h"

// Real roots of polynomials with double coefficients.
//
// A polynomial of degree n is passed as n + 1 coefficients, highest power first:
// c[0] x^n + ... + c[n]. `roots` must have room for n values; no function writes more.
// The return value is the number of roots written. Roots are not sorted: each solver
// gives them in the order in which it finds them. Complex roots are dropped without
// report, and an iteration that does not converge yields its best value, not an error.
// The coefficients are only read. Nothing is allocated; everything works on the stack.

// One polynomial of a Sturm sequence: coefficients lowest power first (the reverse of
// the callers' order). A sequence holds 16 of them, so 15 is the largest degree.
struct SturmPoly
{
    long degree;
    double coef[16];
};

// Dispatch by degree, after dropping leading coefficients below 1e-10 in magnitude:
// degree 0 has no roots; degree 1 the one root; degree 2 the quadratic formula;
// degrees 3 and 4 the closed forms, or SolveSturm when `sturm` is non-zero (a quartic
// whose non-zero coefficients span a ratio above 1e+12 goes to SolveSturm regardless);
// degrees 5 to 15 SolveSturm. Degrees above 15 have no room in a Sturm sequence and give
// 0 roots.
// eps > 0 lets a negligible last term go: for degrees 3 and 4, when |c[n] / c[n-1]| < eps
// the first n coefficients are solved as a polynomial of degree n - 1 and the root near
// zero is not reported. For degrees 5 to 15 the same test makes a solve of degree n - 1
// run first, into the same array: the full solve overwrites it, but entries past the
// returned count may keep its roots.
QM_API long SolvePolynome(long degree, double* c, double* roots, long sturm, double eps);

// c[0] x^2 + c[1] x + c[2]. 0, 1 or 2 roots; a discriminant within 1e-10 of zero gives
// one root. With two roots, (b + sqrt(d)) / 2a comes first, b = -c[1]: the larger root
// first when c[0] > 0. c[0] exactly 0.0 solves the linear equation.
QM_API long SolveQuadratique(double* c, double* roots);

// c[0] x^3 + ... + c[3]. 1 or 3 roots; with three real roots all three are reported even
// when they coincide, smallest first, then largest, then the middle one. c[0] exactly 0.0
// solves the quadratic c + 1.
QM_API long SolveCubique(double* c, double* roots);

// c[0] x^4 + ... + c[4], by the resolvent cubic; c[0] must not be negligible. 0 to 4 roots,
// those of the factor x^2 + u x + ... first. With h = -c[1] / (4 c[0]) the shift back from
// the depressed quartic, simple roots are reported with h added, but a double root of
// either quadratic factor with h subtracted: -0.5 u - h, then 0.5 u - h. That asymmetry is
// long-standing behaviour and is kept.
QM_API long SolveQuartique(double* c, double* roots);

// Roots of the polynomial of the given degree (1 to 15) in [0, 1e+7] only, each distinct
// root once, in increasing order for separated roots. Negative roots are never found.
// Degrees outside 1 to 15 give 0 roots.
QM_API long SolveSturm(long degree, double* c, double* roots);
