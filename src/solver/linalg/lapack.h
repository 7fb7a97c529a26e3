#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solver/linalg/matrix.h"
#include "solver/linalg/vector.h"

/// The only door to LAPACK and BLAS. A routine that reports a non-zero `info` makes its wrapper throw that int. No
/// routine is ever called with a zero or illegal size: empty problems are answered here.
namespace Xem::MaterialUtil {

/// Thin singular value decomposition A = U diag(s) V^T (dgesvd). The larger factor takes the place of A, so that
/// memory stays that of A plus a work array. A matrix with an entry that is not finite has NaN for singular values, or
/// makes the routine report them.
struct SingularValues {
  Matrix u;   ///< m x min(m, n)
  Vector s;   ///< descending
  Matrix vt;  ///< min(m, n) x n
};
SingularValues DecomposeSingular(Matrix a);

/// The triangle R of A = Q R in place of A, zeros below its diagonal in the min(m, n) rows that remain: by a kernel
/// where there are few columns within the range of their squares, or else by dgeqrf.
class Triangulariser {
 public:
  /// For matrices of at most `columns` columns.
  explicit Triangulariser(std::int32_t columns);
  void Reduce(const MatrixView& a);

 private:
  std::vector<double> scales_;
  std::vector<double> work_;
};

/// The triangle R of a symmetric A = R^T R (dpotrf, upper triangle) in place of A; false when A is not positive
/// definite.
bool FactoriseCholesky(const MatrixView& a);

/// Solves symmetric systems of one size (dsysv, lower triangle); work arrays are made once.
class SymmetricSolver {
 public:
  explicit SymmetricSolver(std::int32_t order);
  /// Overwrites `b` by its factorisation and `x`, the right-hand side, by the solution.
  void Solve(Matrix& b, std::span<double> x);

 private:
  std::int32_t order_;
  std::vector<std::int32_t> pivots_;
  std::vector<double> work_;
};

/// Ascending eigenvalues of symmetric matrices of one size (dsyev, lower triangle); work array made once.
class SymmetricEigenvalues {
 public:
  explicit SymmetricEigenvalues(std::int32_t order);
  /// Overwrites `a`; the result is valid until the next call.
  std::span<const double> Compute(Matrix& a);

 private:
  std::int32_t order_;
  std::vector<double> values_;
  std::vector<double> work_;
};

/// Inverse in place by LU factors (dgetrf, dgetri).
void Invert(Matrix& a);

/// Solves A x = b by LU factors (dgetrf, dgetrs); overwrites both.
void SolveLu(Matrix& a, std::span<double> b);

/// A^T B (dgemm).
Matrix TransposedProduct(const Matrix& a, const Matrix& b);
/// y = A x (dgemv).
void Multiply(const Matrix& a, std::span<const double> x, std::span<double> y);
/// y = A^T x (dgemv).
void MultiplyTransposed(const Matrix& a, std::span<const double> x, std::span<double> y);
/// Inner product (ddot).
double Dot(std::span<const double> x, std::span<const double> y);

/// Sets the BLAS library to one thread for the whole process, if it has such a setting (the reference BLAS has none).
void UseOneBlasThread();

}  // namespace Xem::MaterialUtil
