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
    : order_(order), factor_(order <= kLargestOrder ? order : 0, order <= kLargestOrder ? order : 0) {}

bool PositiveDefiniteSolver::Solve(const Matrix& b, std::span<double> x) {
  if (order_ > kLargestOrder) return false;
  for (std::int32_t j = 0; j < order_; ++j) {
    double* const row = &factor_(0, j);
    double pivot = b(j, j);
    for (std::int32_t i = 0; i < j; ++i) {
      const double* const other = &factor_(0, i);
      double product = b(j, i);  // of row j of L and D
      for (std::int32_t k = 0; k < i; ++k) product -= row[k] * other[k];
      row[i] = product;
    }
    // Dividing late, so that the inner products above are of one factor with D and one without.
    for (std::int32_t i = 0; i < j; ++i) {
      const double scaled = row[i] * factor_(i, i);
      pivot -= row[i] * scaled;
      row[i] = scaled;
    }
    // Not so for NaN either; an infinite entry makes the pivot infinite or NaN.
    if (!(pivot > kClear * b(j, j)) || !(pivot >= std::numeric_limits<double>::min()) ||
        !(pivot <= std::numeric_limits<double>::max())) {
      return false;
    }
    row[j] = 1.0 / pivot;
  }
  for (std::int32_t j = 0; j < order_; ++j) {
    for (std::int32_t k = 0; k < j; ++k) x[j] -= factor_(k, j) * x[k];
  }
  for (std::int32_t j = order_ - 1; j >= 0; --j) {
    x[j] *= factor_(j, j);
    for (std::int32_t k = j + 1; k < order_; ++k) x[j] -= factor_(j, k) * x[k];
  }
  return true;
}

}  // namespace Xem::MaterialUtil
