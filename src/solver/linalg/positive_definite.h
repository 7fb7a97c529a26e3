#pragma once

#include <span>

#include "solver/linalg/matrix.h"

namespace Xem::MaterialUtil {

/// Solves small positive definite systems of one size without the overhead of a general routine, where that is safe.
class PositiveDefiniteSolver {
 public:
  explicit PositiveDefiniteSolver(std::int32_t order);

  /// Solves b x = x by L D L^T (lower triangle of `b`, which stays as it is). Returns false, with `x` as it was, when
  /// the order is large or a pivot is not well clear of what rounding may make of it; a general factorisation then
  /// tells what the matrix is.
  bool Solve(const Matrix& b, std::span<double> x);

 private:
  std::int32_t order_;
  Matrix factor_;  // L row by row below the diagonal, 1 / D on it: as columns, transposed
};

}  // namespace Xem::MaterialUtil
