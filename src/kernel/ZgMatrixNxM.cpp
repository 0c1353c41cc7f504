#include "kernel/ZgMatrixNxM.h"

#include <algorithm>
#include <cmath>

ZgMatrixNxM::ZgMatrixNxM(int nbRowIn, int nbColIn, double* const values)
    : nbRow(std::max(nbRowIn, 0)), nbCol(std::max(nbColIn, 0)),
      a(static_cast<size_t>(nbRow) * static_cast<size_t>(nbCol), 0.0)
{
    if (values != nullptr)
        std::copy(values, values + a.size(), a.begin());
}

namespace
{
const int kMaxSweeps = 50;
// Converged when the off-diagonal part is below this fraction of the whole, both as sums
// of squares: an off-diagonal norm 1e-15 of the matrix norm, about the rounding of the
// rotations themselves.
const double kOffDiagonalShare = 1e-30;

// Sums of squares of the off-diagonal entries and of all entries.
void Masses(ZgMatrixNxM const& w, double& offDiagonal, double& total)
{
    offDiagonal = 0.0;
    total = 0.0;
    const int n = w.GetNbRow();
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
        {
            const double x2 = w(i, j) * w(i, j);
            total += x2;
            if (i != j)
                offDiagonal += x2;
        }
}

// One rotation in the (p, q) plane that zeroes w(p, q), applied as w <- J^T w J, with
// its transpose accumulated into the rows of v. The tangent is the smaller root of
// t^2 + 2 tau t - 1 = 0, which keeps the rotation angle below pi / 4 and the update
// of the diagonal free of cancellation.
void Rotate(ZgMatrixNxM& w, ZgMatrixNxM& v, int p, int q)
{
    const double apq = w(p, q);
    if (apq == 0.0)
        return;
    const double tau = (w(q, q) - w(p, p)) / (2.0 * apq);
    double t;
    if (std::fabs(tau) > 1e150)
        t = 0.5 / tau; // tau squared would overflow; the root tends to 1 / (2 tau)
    else
        t = (tau >= 0.0 ? 1.0 : -1.0) / (std::fabs(tau) + std::sqrt(1.0 + tau * tau));
    const double c = 1.0 / std::sqrt(1.0 + t * t);
    const double s = t * c;

    const int n = w.GetNbRow();
    for (int k = 0; k < n; ++k)
    {
        if (k == p || k == q)
            continue;
        const double akp = w(k, p);
        const double akq = w(k, q);
        w(k, p) = w(p, k) = c * akp - s * akq;
        w(k, q) = w(q, k) = s * akp + c * akq;
    }
    w(p, p) -= t * apq;
    w(q, q) += t * apq;
    w(p, q) = w(q, p) = 0.0;

    for (int k = 0; k < n; ++k)
    {
        const double vp = v(p, k);
        const double vq = v(q, k);
        v(p, k) = c * vp - s * vq;
        v(q, k) = s * vp + c * vq;
    }
}
} // namespace

bool ZgMatrixNxM::Jacobi(ZgMatrixNxM& vectors, ZgVectorN& values) const
{
    if (nbRow != nbCol)
        return false;
    const int n = nbRow;

    // Work on the symmetric part, so that only symmetric matrices are ever rotated.
    ZgMatrixNxM w(n, n);
    for (int i = 0; i < n; ++i)
        for (int j = 0; j < n; ++j)
            w(i, j) = 0.5 * ((*this)(i, j) + (*this)(j, i));
    vectors = ZgMatrixNxM(n, n);
    for (int i = 0; i < n; ++i)
        vectors(i, i) = 1.0;

    bool converged = false;
    for (int sweep = 0; sweep <= kMaxSweeps; ++sweep)
    {
        double offDiagonal;
        double total;
        Masses(w, offDiagonal, total);
        if (offDiagonal == 0.0 || offDiagonal <= kOffDiagonalShare * total)
        {
            converged = true;
            break;
        }
        if (sweep == kMaxSweeps)
            break;
        for (int p = 0; p < n - 1; ++p)
            for (int q = p + 1; q < n; ++q)
                Rotate(w, vectors, p, q);
    }

    values.SetSize(n);
    for (int i = 0; i < n; ++i)
        values[i] = w(i, i);
    return converged;
}
