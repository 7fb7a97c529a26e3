#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "solver/linalg/vector.h"

namespace Xem::MaterialUtil {

/// Most entries of one matrix, one gibibyte of them: long curves and large models raise together what neither raises
/// alone, instead of taking the machine down.
inline constexpr std::int64_t kMaximumMatrixSize = std::int64_t{1} << 27;

/// A block of a column-major matrix owned by somebody else.
struct MatrixView {
  double* data = nullptr;
  std::int32_t rows = 0;
  std::int32_t columns = 0;
  std::int32_t leadingDimension = 0;

  double& operator()(std::int64_t row, std::int64_t column) const { return data[row + column * leadingDimension]; }
  double* Column(std::int64_t column) const { return data + column * leadingDimension; }
  /// Row `row` as a strided vector that owns nothing.
  Vector Row(std::int32_t row) const { return Vector::View(FirstOf(row), columns, leadingDimension); }
  /// All columns of `count` rows from `first` on.
  MatrixView Rows(std::int32_t first, std::int32_t count) const {
    return {FirstOf(first), count, columns, leadingDimension};
  }

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
      : storage_(CheckedSize(rows, columns)), rows_(rows), columns_(columns) {}

  std::int32_t Rows() const { return rows_; }
  std::int32_t Columns() const { return columns_; }
  double& operator()(std::int64_t row, std::int64_t column) { return storage_[Index(row, column)]; }
  double operator()(std::int64_t row, std::int64_t column) const { return storage_[Index(row, column)]; }
  double* Data() { return storage_.data(); }
  const double* Data() const { return storage_.data(); }
  std::span<double> Column(std::int64_t column) {
    return {storage_.data() + column * rows_, static_cast<std::size_t>(rows_)};
  }
  std::span<const double> Column(std::int64_t column) const {
    return {storage_.data() + column * rows_, static_cast<std::size_t>(rows_)};
  }
  void Fill(double value) { std::fill(storage_.begin(), storage_.end(), value); }
  MatrixView View() { return {storage_.data(), rows_, columns_, rows_}; }

 private:
  static std::size_t CheckedSize(std::int64_t rows, std::int64_t columns) {
    if (rows * columns > kMaximumMatrixSize)
      throw CInvalidArgException("there are too many points for so many parameters");
    return static_cast<std::size_t>(rows * columns);
  }
  std::size_t Index(std::int64_t row, std::int64_t column) const {
    return static_cast<std::size_t>(row + column * rows_);
  }

  std::vector<double> storage_;
  std::int32_t rows_ = 0;
  std::int32_t columns_ = 0;
};

}  // namespace Xem::MaterialUtil
