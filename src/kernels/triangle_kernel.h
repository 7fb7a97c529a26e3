#pragma once

#include "kernels/kernels.h"
#include "kernels/vector.h"

namespace Xem::MaterialUtil {
namespace {

/// x . x of an x that begins with `head`; four sums that do not wait for one another.
XEM_INLINE double Square(std::size_t count, V head, const double* x) {
  V sums[4] = {head * head};
  std::size_t first = kLanes;
  for (; first + 4 * kLanes <= count; first += 4 * kLanes) {
    XEM_UNROLL for (std::size_t s = 0; s < 4; ++s) {
      const V part = FullVector{first + s * kLanes}.Load(x);
      sums[s] = Fma(part, part, sums[s]);
    }
  }
  ForEachVector(count, first, [&](auto at) XEM_INLINE_LAMBDA {
    const V part = at.LoadOrZero(x);
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

/// Reflects a few columns: each less (u . column) / h of u, which begins with `head`.
template <std::size_t kColumns>
void Reflect(std::size_t count, V head, const double* u, double inverseOfH, double* first, std::ptrdiff_t stride) {
  const PartialVector begin(0, count);
  V sums[kColumns] = {};
  ForEachVector(count, kLanes, [&](auto at) XEM_INLINE_LAMBDA {
    const V part = at.LoadOrZero(u);
    XEM_UNROLL for (std::size_t c = 0; c < kColumns; ++c) sums[c] = Fma(part, at.Load(first + c * stride), sums[c]);
  });
  XEM_UNROLL for (std::size_t c = 0; c < kColumns; ++c) {
    double* const column = first + c * stride;
    const V before = begin.LoadOrZero(column);
    sums[c] = Set(-inverseOfH * Total(Fma(head, before, sums[c])));
    begin.Store(Fma(sums[c], head, before), column);
  }
  ForEachVector(count, kLanes, [&](auto at) XEM_INLINE_LAMBDA {
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
/// Nothing has to be turned where a column is zero from its diagonal on. Vectors begin at the same rows for every
/// column, zero above the diagonal, as a load across what was just stored by two others has to wait for both.
std::size_t Triangularise(std::size_t rows, std::size_t columns, double* a, std::ptrdiff_t stride) {
  // The square of a column keeps all its digits within these.
  constexpr double kLeast = 1e-200;
  constexpr double kMost = 1e200;
  const Bits lane = LaneNumbers();
  for (std::size_t j = 0; j < columns && j + 1 < rows; ++j) {
    const std::size_t above = j % kLanes;
    const std::size_t count = rows - j + above;
    double* const u = a + static_cast<std::ptrdiff_t>(j) * stride + (j - above);
    const Bits isAbove = (Bits)(lane < static_cast<std::int64_t>(above));
    const V head = Where(isAbove, V{}, PartialVector(0, count).LoadOrZero(u));
    const double square = Square(count, head, u);
    if (!(square >= kLeast && square <= kMost)) {
      if (!IsZero(rows - j, u + above)) return j;
      continue;
    }
    const double norm = __builtin_sqrt(square);
    const double pivot = -__builtin_copysign(norm, u[above]);
    const double inverseOfH = 1.0 / (norm * (norm + __builtin_fabs(u[above])));
    const Bits isDiagonal = (Bits)(lane == static_cast<std::int64_t>(above));
    const V turned = head - Where(isDiagonal, Set(pivot), V{});
    u[above] = pivot;
    const auto reflect = [&](auto reflectColumns, std::size_t k) {
      reflectColumns(count, turned, u, inverseOfH, u + static_cast<std::ptrdiff_t>(k - j) * stride, stride);
    };
    std::size_t k = j + 1;
    for (; k + 4 <= columns; k += 4) reflect(Reflect<4>, k);
    if (columns - k == 3) reflect(Reflect<3>, k);
    if (columns - k == 2) reflect(Reflect<2>, k);
    if (columns - k == 1) reflect(Reflect<1>, k);
  }
  return columns;
}

}  // namespace
}  // namespace Xem::MaterialUtil
