#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "solver/linalg/lapack.h"
#include "solver/linalg/least_squares.h"
#include "support/near.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;

Matrix Filled(std::int32_t rows, std::int32_t columns, const std::vector<double>& byRow) {
  Matrix m(rows, columns);
  for (std::int32_t i = 0; i < rows; ++i) {
    for (std::int32_t j = 0; j < columns; ++j) m(i, j) = byRow[static_cast<std::size_t>(i * columns + j)];
  }
  return m;
}

TEST(TruncatedLeastSquares, SolvesTallAndWideSystems) {
  const std::vector<double> b{1.0, 2.0, 2.5};
  const Vector tall = SolveTruncated(Filled(3, 2, {1, 0, 1, 1, 1, 2}), b, 0.0);
  ExpectNear(tall[0], 13.0 / 12.0, Tolerance::Rounding);
  ExpectNear(tall[1], 0.75, Tolerance::Rounding);
  // One equation, two unknowns: the shortest solution of x + 2 y = 5.
  const Vector wide = SolveTruncated(Filled(1, 2, {1, 2}), std::vector<double>{5.0}, 0.0);
  ExpectNear(wide[0], 1.0, Tolerance::Rounding);
  ExpectNear(wide[1], 2.0, Tolerance::Rounding);
}

TEST(TruncatedLeastSquares, DropsDirectionsBeyondTheLimit) {
  const std::vector<double> b{2.0, 3.0};
  const auto solve = [&](double limit) { return SolveTruncated(Filled(2, 2, {1, 0, 0, 1e-3}), b, limit); };
  EXPECT_NEAR(solve(0.0)[1], 3000.0, 1e-9);
  EXPECT_NEAR(solve(1e4)[1], 3000.0, 1e-9);
  EXPECT_EQ(solve(1e2)[1], 0.0);
  EXPECT_EQ(solve(1.0)[0], 0.0);  // s_max / s is never below 1
}

// Columns over fifteen decades, the third a sum of two others: what is kept and what is dropped must not depend on how
// the equations come.
TEST(TruncatedLeastSquares, OfManyEquationsInBlocksIsThatOfAllAtOnce) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  for (const std::int32_t rows : {3, 40, 1500, 3000}) {
    for (const double limit : {0.0, 1e4, 1e8, 1e11}) {
      for (const double last : {1.0, kNaN}) {
        Matrix a(rows, 4);
        std::vector<double> b(static_cast<std::size_t>(rows));
        LeastSquares system(rows, 4);
        for (std::int32_t i = 0; i < rows;) {
          const MatrixView block = system.Append(std::min({rows - i, 37 + i / 3, LeastSquares::kBlockRows}));
          for (std::int32_t r = 0; r < block.rows; ++r, ++i) {
            const double x = 1.0 + static_cast<double>(i) / rows;
            a(i, 0) = x;
            a(i, 1) = 1e-6 * x * x;
            a(i, 2) = limit > 0.0 ? a(i, 0) + a(i, 1) : std::sin(5.0 * x);
            a(i, 3) = 1e-9 * std::cos(9.0 * x);
            b[static_cast<std::size_t>(i)] = std::exp(x) * (i + 1 == rows ? last : 1.0);
            for (std::int32_t k = 0; k < 4; ++k) block(r, k) = a(i, k);
            block(r, 4) = b[static_cast<std::size_t>(i)];
          }
        }
        const Vector inBlocks = system.Solve(limit);
        const Vector atOnce = SolveTruncated(a, b, limit);
        for (std::int32_t k = 0; k < 4; ++k) {
          // Rounding of size 1e-16 of the greatest singular value, as seen through the smallest one kept.
          EXPECT_TRUE(std::isnan(last) ? std::isnan(inBlocks[k])
                                       : std::abs(inBlocks[k] - atOnce[k]) < 1e-4 * (1.0 + std::abs(atOnce[k])))
              << rows << ' ' << limit << ' ' << k << ": " << inBlocks[k] << " instead of " << atOnce[k];
        }
      }
    }
  }
}

TEST(TruncatedLeastSquares, MatricesThatAreNotFiniteEnd) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  // The routine alone goes round for ever with each of them.
  for (const std::vector<double>& entries : {std::vector<double>{1, 1, 1, kInfinity, 0, 0, 0, 0, 0},
                                             {0, kInfinity, 1, kInfinity, 1, 0, 0, 0, 0},
                                             {kNaN, kInfinity, 0, 1, 0, 0, 0, 0, 0}}) {
    try {
      EXPECT_TRUE(std::isnan(DecomposeSingular(Filled(3, 3, entries)).s[0]));
    } catch (int info) {
      EXPECT_GT(info, 0);
    }
  }
}

TEST(Lapack, InverseAndSolutionsMultiplyBack) {
  const Matrix a = Filled(3, 3, {4, -2, 1, -2, 5, 0.5, 1, 0.5, -3});
  Matrix inverse = a;
  Invert(inverse);
  const Matrix product = TransposedProduct(a, inverse);  // a is symmetric
  for (std::int32_t i = 0; i < 3; ++i) {
    for (std::int32_t j = 0; j < 3; ++j) ExpectNear(product(i, j), i == j ? 1.0 : 0.0, Tolerance::Rounding);
  }
  const std::vector<double> truth{1.0, -2.0, 0.5};
  std::vector<double> byLu(3), bySymmetric(3);
  Multiply(a, truth, byLu);
  bySymmetric = byLu;
  Matrix factors = a;
  SolveLu(factors, byLu);
  Matrix damped = a;
  SymmetricSolver(3).Solve(damped, bySymmetric);
  for (std::size_t i = 0; i < 3; ++i) {
    ExpectNear(byLu[i], truth[i], Tolerance::Rounding);
    ExpectNear(bySymmetric[i], truth[i], Tolerance::Rounding);
  }
}

TEST(Lapack, FailuresThrowTheirStatus) {
  Matrix singular = Filled(2, 2, {1, 2, 2, 4});
  EXPECT_THROW(Invert(singular), int);
  Matrix zero(2, 2);
  std::vector<double> x{1.0, 1.0};
  EXPECT_THROW(SymmetricSolver(2).Solve(zero, x), int);
}

TEST(Lapack, EigenvaluesAscend) {
  Matrix a = Filled(2, 2, {2, 1, 1, 2});
  SymmetricEigenvalues eigenvalues(2);
  const auto values = eigenvalues.Compute(a);
  ExpectNear(values[0], 1.0, Tolerance::Rounding);
  ExpectNear(values[1], 3.0, Tolerance::Rounding);
}

TEST(Vector, ViewsShareCopiesOwn) {
  Matrix m = Filled(2, 3, {1, 2, 3, 4, 5, 6});
  Vector row = m.View().Row(1);
  Vector copy = row;
  row[2] = 60.0;
  EXPECT_EQ(m(1, 2), 60.0);
  EXPECT_EQ(copy[2], 6.0);
  copy.Resize(3);
  EXPECT_EQ(copy[2], 0.0);
  EXPECT_THROW(copy.Resize(-1), CInvalidArgException);
}

}  // namespace
}  // namespace Xem::Testing
