#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "solver/linalg/matrix.h"

namespace Xem::MaterialUtil {

/// Solves small positive definite systems of one size without the overhead of a general routine, where that is safe.
class PositiveDefiniteSolver {
 public:
  explicit PositiveDefiniteSolver(std::int32_t order);

  /// Solves (A + damping diag A) x = x by L D L^T (lower triangle of A). Returns false, with `x` as it was, when the
  /// order is large or a pivot is not well clear of what rounding may make of it; a general factorisation then tells
  /// what the matrix is.
  bool Solve(const Matrix& a, double damping, std::span<double> x);

 private:
  std::size_t order_;
  // Column by column the lower triangle and, as a last row, the right-hand side, which elimination treats alike.
  std::vector<double> columns_;
};

}  // namespace Xem::MaterialUtil
