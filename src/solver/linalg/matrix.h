#pragma once

#include <algorithm>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "solver/linalg/vector.h"

namespace Xem::MaterialUtil {

/// Most entries of one matrix, one gibibyte of them: long curves and large models raise together what neither raises
/// alone, instead of taking the machine down.
inline constexpr std::int64_t kMaximumMatrixSize = std::int64_t{1} << 27;

/// The number of entries; throws CInvalidArgException for more than kMaximumMatrixSize.
inline std::size_t CheckedMatrixSize(std::int64_t rows, std::int64_t columns) {
  if (rows * columns > kMaximumMatrixSize)
    throw CInvalidArgException("there are too many points for so many parameters");
  return static_cast<std::size_t>(rows * columns);
}

/// Rows and columns are counted with whatever integer is at hand.
template <std::integral Row, std::integral Column>
constexpr std::int64_t ColumnMajor(Row row, Column column, std::int32_t leadingDimension) {
  return static_cast<std::int64_t>(row) + static_cast<std::int64_t>(column) * leadingDimension;
}

/// A block of a column-major matrix owned by somebody else; without columns it is empty.
struct MatrixView {
  double* data = nullptr;
  std::int32_t rows = 0;
  std::int32_t columns = 0;
  std::int32_t leadingDimension = 0;

  bool Empty() const { return columns == 0; }
  double& operator()(std::integral auto row, std::integral auto column) const {
    return data[ColumnMajor(row, column, leadingDimension)];
  }
  std::span<double> Column(std::integral auto column) const {
    return {data + ColumnMajor(0, column, leadingDimension), static_cast<std::size_t>(rows)};
  }
  void Fill(double value) const {
    for (std::int32_t column = 0; column < columns; ++column) std::ranges::fill(Column(column), value);
  }
  /// Row `row` as a strided vector that owns nothing.
  Vector Row(std::int32_t row) const { return Vector::View(FirstOf(row), columns, leadingDimension); }
  /// All columns of `count` rows from `first` on.
  MatrixView Rows(std::int32_t first, std::int32_t count) const {
    return {FirstOf(first), count, columns, leadingDimension};
  }
  /// All rows of the first `count` columns.
  MatrixView FirstColumns(std::int32_t count) const { return {data, rows, count, leadingDimension}; }

 private:
  /// A matrix without columns has no storage to point into.
  double* FirstOf(std::int32_t row) const { return columns == 0 ? data : data + row; }
};

/// Dense column-major matrix, handed to LAPACK with its number of rows as leading dimension. Starts at zero.
class Matrix {
 public:
  Matrix() = default;
  /// Throws CInvalidArgException for more than kMaximumMatrixSize entries.
  Matrix(std::int32_t rows, std::int32_t columns)
      : storage_(CheckedMatrixSize(rows, columns)), rows_(rows), columns_(columns) {}

  std::int32_t Rows() const { return rows_; }
  std::int32_t Columns() const { return columns_; }
  double& operator()(std::integral auto row, std::integral auto column) { return storage_[Index(row, column)]; }
  double operator()(std::integral auto row, std::integral auto column) const { return storage_[Index(row, column)]; }
  double* Data() { return storage_.data(); }
  const double* Data() const { return storage_.data(); }
  std::span<double> Column(std::integral auto column) {
    return {storage_.data() + Index(0, column), static_cast<std::size_t>(rows_)};
  }
  std::span<const double> Column(std::integral auto column) const {
    return {storage_.data() + Index(0, column), static_cast<std::size_t>(rows_)};
  }
  void Fill(double value) { std::fill(storage_.begin(), storage_.end(), value); }
  MatrixView View() { return {storage_.data(), rows_, columns_, rows_}; }

 private:
  std::size_t Index(std::integral auto row, std::integral auto column) const {
    return static_cast<std::size_t>(ColumnMajor(row, column, rows_));
  }

  std::vector<double> storage_;
  std::int32_t rows_ = 0;
  std::int32_t columns_ = 0;
};

}  // namespace Xem::MaterialUtil
