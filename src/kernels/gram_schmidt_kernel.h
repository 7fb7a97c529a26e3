#pragma once

#include "kernels/least_squares_kernel.h"

namespace Xem::MaterialUtil {
namespace {

/// Takes from each of a few columns what lies along `pivot`, whose square is given; parts[c stride] = the part of
/// column c, in lengths of the pivot. Columns side by side do not wait for one another.
template <std::size_t kColumns>
void TakeAlong(std::size_t count, const double* pivot, double square, double* const* columns, double* parts,
               std::size_t stride) {
  V sums[kColumns];
  for (V& sum : sums) sum = Set(0.0);
  std::size_t first = 0;
  for (; first + kLanes <= count; first += kLanes) {
    const FullVector at{first};
    const V along = at.Load(pivot);
    for (std::size_t c = 0; c < kColumns; ++c) sums[c] = Fma(along, at.Load(columns[c]), sums[c]);
  }
  if (first < count) {
    const PartialVector at(first, count - first);
    const V along = at.Load(pivot, 0.0);
    for (std::size_t c = 0; c < kColumns; ++c) sums[c] = Fma(along, at.Load(columns[c], 0.0), sums[c]);
  }
  V shares[kColumns];
  const double length = __builtin_sqrt(square);
  for (std::size_t c = 0; c < kColumns; ++c) {
    const double product = Total(sums[c]);
    parts[c * stride] = product / length;
    shares[c] = Set(-product / square);
  }
  ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA {
    const V along = at.Load(pivot);
    for (std::size_t c = 0; c < kColumns; ++c) at.Store(Fma(shares[c], along, at.Load(columns[c])), columns[c]);
  });
}

double SquareOf(std::size_t count, const double* column) {
  V sum = Set(0.0);
  std::size_t first = 0;
  for (; first + kLanes <= count; first += kLanes) {
    const V x = FullVector{first}.Load(column);
    sum = Fma(x, x, sum);
  }
  if (first < count) {
    const V x = PartialVector(first, count - first).Load(column, 0.0);
    sum = Fma(x, x, sum);
  }
  return Total(sum);
}

/// R of A = Q R by the modified Gram-Schmidt process, whose R is as good as one by reflections, and which with a
/// right-hand side as the last column solves least squares as well (Björck 1967). A column without a length, to
/// rounding of the smallest numbers, has nothing to take from others.
void GramSchmidt(std::size_t count, double* const* columns, std::size_t columnCount, double* triangle) {
  constexpr double kNoLength = 1e-290;
  for (std::size_t k = 0; k < columnCount; ++k) {
    for (std::size_t i = k; i < columnCount; ++i) triangle[i + k * columnCount] = 0.0;
    for (std::size_t j = k; j < columnCount; ++j) triangle[k + j * columnCount] = 0.0;
    if (k >= count) continue;
    const double square = SquareOf(count, columns[k]);
    triangle[k + k * columnCount] = __builtin_sqrt(square);
    if (!(square > kNoLength)) continue;
    std::size_t j = k + 1;
    const auto take = [&](auto takeAlong, std::size_t width) {
      takeAlong(count, columns[k], square, columns + j, triangle + k + j * columnCount, columnCount);
      j += width;
    };
    while (j + 4 <= columnCount) take(TakeAlong<4>, 4);
    if (columnCount - j == 3) take(TakeAlong<3>, 3);
    if (columnCount - j == 2) take(TakeAlong<2>, 2);
    if (columnCount - j == 1) take(TakeAlong<1>, 1);
  }
}

}  // namespace
}  // namespace Xem::MaterialUtil
