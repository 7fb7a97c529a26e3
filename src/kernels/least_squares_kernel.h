#pragma once

#include "kernels/vector.h"

/// What the normal equations need of a block of points.
namespace Xem::MaterialUtil {
namespace {

static_assert(kLanes <= kLaneSumLength);

/// A sum that is still spread over lanes.
XEM_INLINE FullVector LaneSum(std::size_t i) { return {i * kLaneSumLength}; }

void AbsoluteResiduals(std::size_t count, const double* measured, double* residuals) {
  ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA { at.Store(at.Load(measured) - at.Load(residuals), residuals); });
}

void RelativeResiduals(std::size_t count, const double* measured, double* residuals, std::size_t row,
                       double* const* columns, std::size_t columnCount) {
  ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA {
    const V inverse = 1.0 / at.Load(measured);
    at.Store(1.0 - at.Load(residuals) * inverse, residuals);
    for (std::size_t k = 0; k < columnCount; ++k) {
      double* const column = columns[k] + row;
      at.Store(at.Load(column) * inverse, column);
    }
  });
}

void Multiply(std::size_t count, const double* factors, double* x) {
  ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA { at.Store(at.Load(factors) * at.Load(x), x); });
}

/// Products of a few columns with a few others. An accumulator each: side by side they do not wait for one another.
template <std::size_t kRows, std::size_t kColumns>
void AddTile(std::size_t count, const double* const* rows, const double* const* columns, double* sums,
             std::size_t leadingDimension, bool fresh) {
  V tile[kColumns][kRows];
  for (std::size_t c = 0; c < kColumns; ++c) {
    for (std::size_t r = 0; r < kRows; ++r) {
      tile[c][r] = fresh ? Set(0.0) : LaneSum(c * leadingDimension + r).Load(sums);
    }
  }
  const auto add = [&](auto load) XEM_INLINE_LAMBDA {
    V row[kRows];
    for (std::size_t r = 0; r < kRows; ++r) row[r] = load(rows[r]);
    for (std::size_t c = 0; c < kColumns; ++c) {
      const V column = load(columns[c]);
      for (std::size_t r = 0; r < kRows; ++r) tile[c][r] = Fma(row[r], column, tile[c][r]);
    }
  };
  std::size_t first = 0;
  for (; first + kLanes <= count; first += kLanes) {
    add([&](const double* x) XEM_INLINE_LAMBDA { return FullVector{first}.Load(x); });
  }
  if (first < count) {
    const PartialVector rest(first, count - first);
    add([&](const double* x) XEM_INLINE_LAMBDA { return rest.Load(x, 0.0); });
  }
  for (std::size_t c = 0; c < kColumns; ++c) {
    for (std::size_t r = 0; r < kRows; ++r) LaneSum(c * leadingDimension + r).Store(tile[c][r], sums);
  }
}

template <std::size_t kColumns>
void AddColumns(std::size_t count, const double* const* columns, std::size_t column, double* sums,
                std::size_t leadingDimension, bool fresh) {
  std::size_t row = 0;
  const std::size_t end = column + kColumns;
  const auto tile = [&](auto add) {
    double* const begin = sums + (column * leadingDimension + row) * kLaneSumLength;
    add(count, columns + row, columns + column, begin, leadingDimension, fresh);
  };
  for (; row + 4 <= end; row += 4) tile(AddTile<4, kColumns>);
  if (end - row == 1) tile(AddTile<1, kColumns>);
  if (end - row == 2) tile(AddTile<2, kColumns>);
  if (end - row == 3) tile(AddTile<3, kColumns>);
}

/// Products of columns `from` ... to - 1 of a few, n, with all before them and themselves, whose sums stay in
/// registers: 0 and 0, 0 and 1, 1 and 1, 0 and 2, ...
template <std::size_t n, std::size_t from = 0, std::size_t to = n>
struct SumsOfFew {
  static constexpr std::size_t kBefore = from * (from + 1) / 2;
  static constexpr std::size_t kGroups = (to * (to + 1) / 2 - kBefore + kLanes - 1) / kLanes;
  V groups[kGroups][kLanes] = {};

  XEM_INLINE V& Of(std::size_t i, std::size_t j) {
    const std::size_t place = j * (j + 1) / 2 + i - kBefore;
    return groups[place / kLanes][place % kLanes];
  }
  template <class Visit>
  XEM_INLINE void ForEach(Visit visit) {
    XEM_UNROLL for (std::size_t j = from; j < to; ++j) {
      XEM_UNROLL for (std::size_t i = 0; i <= j; ++i) visit(i + j * n, Of(i, j));
    }
  }
  XEM_INLINE void Add(std::size_t count, const double* const* columns) {
    ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA {
      V column[to];
      XEM_UNROLL for (std::size_t j = 0; j < to; ++j) column[j] = at.LoadOrZero(columns[j]);
      XEM_UNROLL for (std::size_t j = from; j < to; ++j) {
        XEM_UNROLL for (std::size_t i = 0; i <= j; ++i) Of(i, j) = Fma(column[i], column[j], Of(i, j));
      }
    });
  }
};

template <std::size_t n, std::size_t from = 0, std::size_t to = n>
void AddProductsOfFew(std::size_t count, const double* const* columns, double* sums, bool fresh) {
  SumsOfFew<n, from, to> few;
  if (!fresh) few.ForEach([&](std::size_t place, V& sum) XEM_INLINE_LAMBDA { sum = LaneSum(place).Load(sums); });
  few.Add(count, columns);
  few.ForEach([&](std::size_t place, const V& sum) XEM_INLINE_LAMBDA { LaneSum(place).Store(sum, sums); });
}

template <std::size_t n, std::size_t from = 0, std::size_t to = n>
void ProductsOfFew(std::size_t count, const double* const* columns, double* totals) {
  SumsOfFew<n, from, to> few;
  few.Add(count, columns);
  double numbers[few.kGroups * kLanes];
  XEM_UNROLL for (std::size_t group = 0; group < few.kGroups; ++group) {
    FullVector{group * kLanes}.Store(TotalOfEach(few.groups[group]), numbers);
  }
  const double* next = numbers;
  few.ForEach([&](std::size_t place, const V&) XEM_INLINE_LAMBDA { totals[place] = *next++; });
}

/// With half as many registers, seven columns are two parts.
inline constexpr std::size_t kPart = kLanes == 8 ? 7 : 5;

void AddProducts(std::size_t count, const double* const* columns, std::size_t columnCount, double* sums, bool fresh) {
  switch (columnCount) {
    case 3:
      return AddProductsOfFew<3>(count, columns, sums, fresh);
    case 5:
      return AddProductsOfFew<5>(count, columns, sums, fresh);
    case 7:
      AddProductsOfFew<7, 0, kPart>(count, columns, sums, fresh);
      if constexpr (kPart < 7) AddProductsOfFew<7, kPart, 7>(count, columns, sums, fresh);
      return;
  }
  std::size_t column = 0;
  for (; column + 2 <= columnCount; column += 2) AddColumns<2>(count, columns, column, sums, columnCount, fresh);
  if (column < columnCount) AddColumns<1>(count, columns, column, sums, columnCount, fresh);
}

void AddProductsOfLast(std::size_t count, const double* const* columns, std::size_t columnCount, double* sums,
                       bool fresh) {
  AddColumns<1>(count, columns, columnCount - 1, sums, columnCount, fresh);
}

void Totals(const double* sums, std::size_t columnCount, std::size_t from, double* totals) {
  for (std::size_t j = from; j < columnCount; ++j) {
    for (std::size_t i = 0; i <= j; ++i) {
      const std::size_t sum = i + j * columnCount;
      totals[sum] = Total(LaneSum(sum).Load(sums));
    }
  }
}

void Products(std::size_t count, const double* const* columns, std::size_t columnCount, double* sums, double* totals) {
  switch (columnCount) {
    case 1:
      return ProductsOfFew<1>(count, columns, totals);
    case 3:
      return ProductsOfFew<3>(count, columns, totals);
    case 5:
      return ProductsOfFew<5>(count, columns, totals);
    case 7:
      ProductsOfFew<7, 0, kPart>(count, columns, totals);
      if constexpr (kPart < 7) ProductsOfFew<7, kPart, 7>(count, columns, totals);
      return;
    default:
      AddProducts(count, columns, columnCount, sums, true);
      Totals(sums, columnCount, 0, totals);
  }
}

}  // namespace
}  // namespace Xem::MaterialUtil
