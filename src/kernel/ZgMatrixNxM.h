#pragma once

#include "kernel/ZgVectorN.h"
#include "shell/QmExport.h"

#include <cstddef>
#include <vector>

// A dense matrix of run-time size, in row order.
class QM_API ZgMatrixNxM
{
public:
    ZgMatrixNxM() = default;
    // nbRow x nbCol values in row order; a null array gives a zero matrix.
    ZgMatrixNxM(int nbRow, int nbCol, double* const values = nullptr);

    int GetNbRow() const { return nbRow; }
    int GetNbCol() const { return nbCol; }
    double& operator()(int i, int j) { return a[static_cast<std::size_t>(i) * nbCol + j]; }
    double operator()(int i, int j) const { return a[static_cast<std::size_t>(i) * nbCol + j]; }

    // Eigen-decomposition of a symmetric square matrix by cyclic Jacobi rotations.
    // vectors becomes n x n with the unit eigenvectors as its rows; values[i] is the
    // eigenvalue of row i. Values come in the order of the diagonal they converged from,
    // not sorted. false when the off-diagonal mass does not vanish within the sweep
    // limit (or the matrix is not square); vectors and values then hold the last iterate.
    bool Jacobi(ZgMatrixNxM& vectors, ZgVectorN& values) const;

private:
    int nbRow = 0;
    int nbCol = 0;
    std::vector<double> a;
};
