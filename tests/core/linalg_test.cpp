#include <gtest/gtest.h>

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

}  // namespace
}  // namespace Xem::Testing
