#include "solver/linalg/positive_definite.h"

#include <limits>

namespace Xem::MaterialUtil {
namespace {

/// Beyond that LAPACK's blocks are faster.
constexpr std::int32_t kLargestOrder = 32;

/// Elimination leaves a pivot with an error of a few roundings of the diagonal entry that it came from. Pivots above
/// this share of theirs keep five digits and more; all of a matrix of which no column is nearly dependent do.
constexpr double kClear = 1e-10;

}  // namespace

PositiveDefiniteSolver::PositiveDefiniteSolver(std::int32_t order)
    : order_(static_cast<std::size_t>(order)), columns_(order <= kLargestOrder ? order_ * (order_ + 1) : 0) {}

bool PositiveDefiniteSolver::Solve(const Matrix& a, double damping, std::span<double> x) {
  if (columns_.empty()) return false;
  const std::size_t n = order_;
  const std::size_t rows = n + 1;
  double* const columns = columns_.data();
  const double* const source = a.Data();
  for (std::size_t j = 0; j < n; ++j) {
    for (std::size_t i = j; i < n; ++i) columns[j * rows + i] = source[j * n + i];
    columns[j * rows + j] = (1.0 + damping) * source[j * n + j];
    columns[j * rows + n] = x[j];
  }
  for (std::size_t j = 0; j < n; ++j) {
    double* const column = columns + j * rows;
    const double pivot = column[j];
    // Not so for NaN either; an infinite entry makes a pivot infinite or NaN.
    if (!(pivot > kClear * (1.0 + damping) * source[j * n + j]) || !(pivot >= std::numeric_limits<double>::min()) ||
        !(pivot <= std::numeric_limits<double>::max())) {
      return false;
    }
    const double inverse = 1.0 / pivot;
    column[j] = inverse;
    for (std::size_t k = j + 1; k < n; ++k) {
      const double factor = column[k] * inverse;
      double* const other = columns + k * rows;
      for (std::size_t i = k; i < rows; ++i) other[i] -= factor * column[i];
    }
  }
  // D L^T x = what elimination has left of the right-hand side.
  for (std::size_t j = n; j-- > 0;) {
    const double* const column = columns + j * rows;
    double sum = column[n];
    for (std::size_t k = j + 1; k < n; ++k) sum -= column[k] * x[k];
    x[j] = sum * column[j];
  }
  return true;
}

}  // namespace Xem::MaterialUtil
