#pragma once

#include "kernels/kernels.h"
#include "kernels/vector.h"

namespace Xem::MaterialUtil {
namespace {

/// L D L^T of A + damping diag A, column by column. Returns false when a pivot is not well clear of rounding.
XEM_INLINE bool FactoriseAndSolve(std::size_t n, const double* a, double damping, double* x) {
  // Elimination leaves a pivot with an error of a few roundings of the diagonal entry that it came from. Pivots above
  // this share of theirs keep five digits and more; all of a matrix of which no column is nearly dependent do.
  constexpr double kClear = 1e-10;
  constexpr double kSmallestNormal = 0x1p-1022;
  constexpr double kLargest = 0x1.fffffffffffffp1023;
  constexpr std::size_t kMost = kLargestPositiveDefinite;
  static_assert(kMost % kLanes == 0);
  double columns[kMost][kMost];  // of L D below the diagonal; what stands above it is not used
  double pivots[kMost];          // apart from the columns, which are touched as whole vectors
  double inverses[kMost];
  double rest[kMost];  // of the right-hand side
  double y[kMost];     // L^-1 of the right-hand side

  const auto copy = [n](const double* from, double* to) {
    ForEachVector(n, [&](auto at) XEM_INLINE_LAMBDA { FullVector{at.first}.Store(at.Load(from), to); });
  };
  copy(x, rest);
  for (std::size_t j = 0; j < n; ++j) {
    copy(a + j * n, columns[j]);
    pivots[j] = (1.0 + damping) * a[j * n + j];
  }
  for (std::size_t j = 0; j < n; ++j) {
    // Not so for NaN either; an infinite entry makes a pivot infinite or NaN.
    const double least = kClear * (1.0 + damping) * a[j * n + j];
    const bool clear = pivots[j] > least && pivots[j] >= kSmallestNormal && pivots[j] <= kLargest;
    if (!clear) return false;
    inverses[j] = 1.0 / pivots[j];
    const auto subtract = [&](double share, double* from, std::size_t first) XEM_INLINE_LAMBDA {
      for (FullVector at{first / kLanes * kLanes}; at.first < n; at.first += kLanes) {
        at.Store(Fma(Set(-share * inverses[j]), at.Load(columns[j]), at.Load(from)), from);
      }
    };
    y[j] = rest[j];
    for (std::size_t k = j + 1; k < n; ++k) {
      pivots[k] -= columns[j][k] * inverses[j] * columns[j][k];
      if (k + 1 < n) subtract(columns[j][k], columns[k], k + 1);
    }
    if (j + 1 < n) subtract(y[j], rest, j + 1);
  }
  // D L^T x = y
  for (std::size_t j = n; j-- > 0;) {
    double sum = y[j];
    for (std::size_t k = n; k-- > j + 1;) sum -= columns[j][k] * x[k];
    x[j] = sum * inverses[j];
  }
  return true;
}

/// The usual orders have code of their own, without loops.
bool SolvePositiveDefinite(std::size_t n, const double* a, double damping, double* x) {
  switch (n) {
    case 2:
      return FactoriseAndSolve(2, a, damping, x);
    case 4:
      return FactoriseAndSolve(4, a, damping, x);
    case 6:
      return FactoriseAndSolve(6, a, damping, x);
    default:
      return FactoriseAndSolve(n, a, damping, x);
  }
}

}  // namespace
}  // namespace Xem::MaterialUtil
