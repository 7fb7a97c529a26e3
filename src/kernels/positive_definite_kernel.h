#pragma once

#include "kernels/kernels.h"
#include "kernels/vector.h"

namespace Xem::MaterialUtil {
namespace {

/// Whether a pivot is well clear of rounding: elimination leaves it with an error of a few roundings of the diagonal
/// entry that it came from. Pivots above this share of theirs keep five digits and more; all of a matrix of which no
/// column is nearly dependent do. Not so for NaN; an infinite entry makes a pivot infinite or NaN.
XEM_INLINE bool IsClear(double pivot, double diagonalEntry) {
  constexpr double kClear = 1e-10;
  constexpr double kSmallestNormal = 0x1p-1022;
  constexpr double kLargest = 0x1.fffffffffffffp1023;
  return pivot > kClear * diagonalEntry && pivot >= kSmallestNormal && pivot <= kLargest;
}

/// L D L^T of A + damping diag A, all of it in registers.
template <std::size_t n>
bool SolveFew(const double* a, std::size_t stride, double damping, const double* b, double* x) {
  double l[n][n];  // below the diagonal: what elimination has left of A, then L
  double pivots[n];
  double y[n];  // L^-1 b, then D^-1 L^-1 b
  XEM_UNROLL for (std::size_t j = 0; j < n; ++j) {
    pivots[j] = (1.0 + damping) * a[j * stride + j];
    y[j] = b[j];
    XEM_UNROLL for (std::size_t k = j + 1; k < n; ++k) l[j][k] = a[k * stride + j];
  }
  XEM_UNROLL for (std::size_t j = 0; j < n; ++j) {
    if (!IsClear(pivots[j], (1.0 + damping) * a[j * stride + j])) return false;
    const double inverse = 1.0 / pivots[j];
    XEM_UNROLL for (std::size_t k = j + 1; k < n; ++k) {
      const double share = l[j][k] * inverse;
      pivots[k] = Fma(-share, l[j][k], pivots[k]);
      y[k] = Fma(-share, y[j], y[k]);
      XEM_UNROLL for (std::size_t i = k + 1; i < n; ++i) l[k][i] = Fma(-share, l[j][i], l[k][i]);
      l[j][k] = share;
    }
    y[j] *= inverse;
  }
  XEM_UNROLL for (std::size_t done = 0; done < n; ++done) {
    const std::size_t k = n - 1 - done;
    XEM_UNROLL for (std::size_t j = 0; j < k; ++j) y[j] = Fma(-l[j][k], y[k], y[j]);
  }
  XEM_UNROLL for (std::size_t j = 0; j < n; ++j) x[j] = y[j];
  return true;
}

/// The same of any order, column by column.
bool SolveMany(std::size_t n, const double* a, std::size_t stride, double damping, const double* b, double* x) {
  constexpr std::size_t kMost = kLargestPositiveDefinite;
  static_assert(kMost % kLanes == 0);
  double columns[kMost][kMost];  // of L D below the diagonal; what stands above it is not used
  double pivots[kMost];          // apart from the columns, which are touched as whole vectors
  double inverses[kMost];
  double rest[kMost];  // of the right-hand side
  double y[kMost];     // L^-1 of the right-hand side

  const std::size_t whole = (n + kLanes - 1) / kLanes * kLanes;  // what is touched with the last of n
  for (std::size_t j = 0; j < n; ++j) {
    rest[j] = b[j];
    pivots[j] = (1.0 + damping) * a[j * stride + j];
    for (std::size_t k = 0; k <= j; ++k) columns[j][k] = columns[k][j] = a[j * stride + k];
    for (std::size_t k = n; k < whole; ++k) columns[j][k] = 1.0;
  }
  for (std::size_t k = n; k < whole; ++k) rest[k] = 1.0;
  for (std::size_t j = 0; j < n; ++j) {
    if (!IsClear(pivots[j], (1.0 + damping) * a[j * stride + j])) return false;
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

/// Returns false, with x as it was, when a pivot is not well clear of rounding.
bool SolvePositiveDefinite(std::size_t n, const double* a, std::size_t stride, double damping, const double* b,
                           double* x) {
  switch (n) {
    case 2:
      return SolveFew<2>(a, stride, damping, b, x);
    case 4:
      return SolveFew<4>(a, stride, damping, b, x);
    case 6:
      return SolveFew<6>(a, stride, damping, b, x);
    default:
      return SolveMany(n, a, stride, damping, b, x);
  }
}

}  // namespace
}  // namespace Xem::MaterialUtil
