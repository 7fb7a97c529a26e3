#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/curves.h"
#include "support/near.h"
#include "xem/hyperelastic.h"

namespace Xem::Testing {
namespace {

struct Call {
  PointArray in;
  PointArray out;
  DoubleArray coefficients;

  explicit Call(std::span<const _T_FUNT_BASE> points = {}) {
    Fill(in, points);
    out.SetSize(in.GetSize());
  }
  std::int32_t Fit(int terms, int method, double conditionLimit = 0.0) {
    return CurveFitting4Volume(in, terms, method, conditionLimit, coefficients, out, 0.0, 1.0);
  }
  std::int32_t Evaluate(int terms, double lower, double upper) {
    return ComputeStress4Volume(in, terms, coefficients, out, lower, upper);
  }
};

TEST(VolumeExport, PlantedCoefficientsComeBack) {
  std::vector<_T_FUNT_BASE> points;
  for (int i = 1; i <= 10; ++i) {
    const double stretch = 1.0 - 0.01 * i;
    const double change = std::pow(stretch, 3) - 1.0;
    points.emplace_back(stretch, -2.0 * 700.0 * change - 4.0 * 9000.0 * std::pow(change, 3));
  }
  for (const int method : {0, 1}) {
    Call call(points);
    EXPECT_EQ(call.Fit(2, method), 0);
    ExpectDigits(call.coefficients[0], 700.0, 1e-9);
    ExpectDigits(call.coefficients[1], 9000.0, 1e-9);
  }
  Call unsolved(points);
  EXPECT_EQ(unsolved.Fit(2, 7), 0);  // an unknown method solves nothing
  EXPECT_EQ(Values(unsolved.coefficients), (std::vector<double>{0.0, 0.0}));
}

TEST(VolumeExport, DefaultGridSwapsReciprocalBoundsAndStartsAtZero) {
  Call call;
  Fill(call.coefficients, {10.0});
  EXPECT_EQ(call.Evaluate(1, 0.0, 1.0), 0);
  ASSERT_EQ(call.out.GetSize(), 50);
  for (std::int64_t i = 0; i < 50; ++i) {
    const double stretch = 0.01 * static_cast<double>(i);  // (1/(0 + 1) - 1/(1 + 1)) / 50
    ExpectNear(call.out[i].first, stretch, 1e-15);
    ExpectNear(call.out[i].second, -20.0 * (std::pow(stretch, 3) - 1.0), Tolerance::Rounding);
  }
}

TEST(VolumeExport, NothingToFitGivesZeros) {
  Call empty;
  EXPECT_EQ(empty.Fit(2, 1), 0);
  EXPECT_EQ(Values(empty.coefficients), (std::vector<double>{0.0, 0.0}));
  EXPECT_EQ(empty.out.GetSize(), 50);
  EXPECT_EQ(empty.out[7].second, 0.0);
  Call undeformed(std::vector<_T_FUNT_BASE>{{1.0, 3.0}});
  EXPECT_EQ(undeformed.Fit(1, 1, 1e8), 0);  // a zero row; the limit drops the zero singular value
  EXPECT_EQ(undeformed.coefficients[0], 0.0);
  Call none(std::vector<_T_FUNT_BASE>{{0.9, 3.0}});
  EXPECT_EQ(none.Fit(0, 1), 0);
  EXPECT_TRUE(none.coefficients.IsEmpty());
}

}  // namespace
}  // namespace Xem::Testing
