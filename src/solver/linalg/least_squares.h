#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "solver/linalg/lapack.h"
#include "solver/linalg/matrix.h"

namespace Xem::MaterialUtil {

/// Least-squares solution of A x = b by truncated singular values: s_k is kept when `conditionLimit` <= 0 or
/// s_max / s_k < conditionLimit; in the dropped directions the solution has minimum norm. No rows: zeros.
Vector SolveTruncated(Matrix a, std::span<const double> b, double conditionLimit);

/// The same for many equations, which come block after block and are never held together: orthogonal transformations
/// reduce (A | b) to a small triangle on the way, whose singular values are those of A (Golub and Van Loan, section
/// 5.3.3; Chan 1982). A few equations are kept as they are.
class LeastSquares {
 public:
  /// Most equations of one block.
  static constexpr std::int32_t kBlockRows = 512;

  /// For `equations` in all. Throws CInvalidArgException when A as a whole would exceed kMaximumMatrixSize.
  LeastSquares(std::int32_t equations, std::int32_t unknowns);
  /// Room for `count` <= kBlockRows further equations, to be filled: a column per unknown, then one for b.
  MatrixView Append(std::int32_t count);
  /// SolveTruncated of all equations.
  Vector Solve(double conditionLimit) { return SolveScaled(conditionLimit, {}); }
  /// The same where unknowns are measured in units that give every column of A the norm 1.
  Vector SolveEquilibrated(double conditionLimit);

 private:
  void Reduce();
  Vector SolveScaled(double conditionLimit, std::span<const double> norms);

  std::int32_t unknowns_;
  std::int32_t filled_ = 0;
  Matrix rows_;  // (R | Q^T b) of earlier equations, then the latest as they came
  Triangulariser triangulariser_;
};

/// Visits `count` points in blocks: visit(first, length), length <= LeastSquares::kBlockRows.
template <class Visit>
void ForEachBlockOfRows(std::int32_t count, Visit&& visit) {
  for (std::int32_t first = 0; first < count; first += LeastSquares::kBlockRows) {
    visit(first, std::min(LeastSquares::kBlockRows, count - first));
  }
}

}  // namespace Xem::MaterialUtil
