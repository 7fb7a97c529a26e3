#pragma once

#include "kernels/kernels.h"
#include "kernels/vector.h"

namespace Xem::MaterialUtil {
namespace {

/// x . x; four sums that do not wait for one another.
XEM_INLINE double Square(std::size_t count, const double* x) {
  V sums[4] = {};
  std::size_t first = 0;
  for (; first + 4 * kLanes <= count; first += 4 * kLanes) {
    XEM_UNROLL for (std::size_t s = 0; s < 4; ++s) {
      const V part = FullVector{first + s * kLanes}.Load(x);
      sums[s] = Fma(part, part, sums[s]);
    }
  }
  ForEachVector(count - first, [&](auto at) XEM_INLINE_LAMBDA {
    const V part = at.LoadOrZero(x + first);
    sums[0] = Fma(part, part, sums[0]);
  });
  return Total((sums[0] + sums[1]) + (sums[2] + sums[3]));
}

XEM_INLINE bool IsZero(std::size_t count, const double* x) {
  for (std::size_t i = 0; i < count; ++i) {
    if (x[i] != 0.0) return false;
  }
  return true;
}

/// Reflects a few columns: each less (u . column) / h of u.
template <std::size_t kColumns>
void Reflect(std::size_t count, const double* u, double inverseOfH, double* first, std::ptrdiff_t stride) {
  V sums[kColumns] = {};
  ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA {
    const V part = at.LoadOrZero(u);
    XEM_UNROLL for (std::size_t c = 0; c < kColumns; ++c) sums[c] = Fma(part, at.Load(first + c * stride), sums[c]);
  });
  XEM_UNROLL for (std::size_t c = 0; c < kColumns; ++c) sums[c] = Set(-inverseOfH * Total(sums[c]));
  ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA {
    const V part = at.Load(u);
    XEM_UNROLL for (std::size_t c = 0; c < kColumns; ++c) {
      double* const column = first + c * stride;
      at.Store(Fma(sums[c], part, at.Load(column)), column);
    }
  });
}

/// Reflections I - u u^T / h that turn one column after the other into a multiple of a unit vector (Householder 1958):
///
///   u = column + sign(column_1) |column| e_1,  h = |column| (|column| + |column_1|)
///
/// Nothing has to be turned where a column is zero from its diagonal on.
std::size_t Triangularise(std::size_t rows, std::size_t columns, double* a, std::ptrdiff_t stride) {
  // The square of a column keeps all its digits within these.
  constexpr double kLeast = 1e-200;
  constexpr double kMost = 1e200;
  for (std::size_t j = 0; j < columns && j + 1 < rows; ++j) {
    double* const u = a + static_cast<std::ptrdiff_t>(j) * stride + j;
    const std::size_t count = rows - j;
    const double square = Square(count, u);
    if (!(square >= kLeast && square <= kMost)) {
      if (!IsZero(count, u)) return j;
      continue;
    }
    const double norm = __builtin_sqrt(square);
    const double pivot = -__builtin_copysign(norm, u[0]);
    const double inverseOfH = 1.0 / (norm * (norm + __builtin_fabs(u[0])));
    u[0] -= pivot;
    std::size_t k = j + 1;
    for (; k + 4 <= columns; k += 4) Reflect<4>(count, u, inverseOfH, u + (k - j) * stride, stride);
    if (columns - k == 3) Reflect<3>(count, u, inverseOfH, u + (k - j) * stride, stride);
    if (columns - k == 2) Reflect<2>(count, u, inverseOfH, u + (k - j) * stride, stride);
    if (columns - k == 1) Reflect<1>(count, u, inverseOfH, u + (k - j) * stride, stride);
    u[0] = pivot;
  }
  return columns;
}

}  // namespace
}  // namespace Xem::MaterialUtil
