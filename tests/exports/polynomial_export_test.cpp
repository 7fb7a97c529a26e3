#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/curves.h"
#include "support/mode_curves.h"
#include "support/near.h"
#include "xem/hyperelastic.h"

namespace Xem::Testing {
namespace {

struct Call : ModeCurves {
  std::int32_t Fit(int order, int method, double conditionLimit = 0.0) {
    return CurveFitting4Polynominal(in[0], in[1], in[2], in[3], use[0], use[1], use[2], use[3], order, method,
                                    conditionLimit, coefficients, out[0], out[1], out[2], out[3], 0.0, 1.0);
  }
  std::int32_t Evaluate(int order, double lower = 0.0, double upper = 1.0) {
    return ComputeStress4Polynominal(in[0], in[1], in[2], in[3], order, coefficients, out[0], out[1], out[2], out[3],
                                     lower, upper);
  }
};

std::vector<_T_FUNT_BASE> UniaxialMooneyRivlin() {
  std::vector<_T_FUNT_BASE> points;
  for (int i = 1; i <= 15; ++i) {
    const double stretch = 1.0 + 0.1 * i;
    points.emplace_back(stretch - 1.0, 2.0 * (1.0 - std::pow(stretch, -3)) * (0.5 * stretch + 0.1));
  }
  return points;
}

TEST(PolynomialExport, PlantedCoefficientsComeBack) {
  for (const int method : {1, 0, 7}) {  // any other method refines from zeros with relative residuals
    Call call;
    call.Load(0, UniaxialMooneyRivlin());
    EXPECT_EQ(call.Fit(1, method), 0);
    const double tolerance = method == 7 ? 1e-3 : 1e-10;  // from zeros the stop rule ends at four small changes
    ExpectNear(call.coefficients[0], 0.5, tolerance);
    ExpectNear(call.coefficients[1], 0.1, tolerance);
    for (std::int64_t i = 0; i < call.in[0].GetSize(); ++i) {
      ExpectNear(call.out[0][i].second, call.in[0][i].second, tolerance);
    }
  }
}

TEST(PolynomialExport, EmptyCurvesGetTheDefaultGridFromZero) {
  Call call;
  call.Load(0, UniaxialMooneyRivlin());
  Fill(call.coefficients, {0.5, 0.1});
  // The grid starts at zero although the lower bound is 0.5, and the origin keeps its zero stress.
  EXPECT_EQ(call.Evaluate(1, 0.5, 2.5), 0);
  ASSERT_EQ(call.out[1].GetSize(), 50);
  for (std::int64_t i = 0; i < 50; ++i) {
    EXPECT_EQ(call.out[3][i].first, static_cast<double>(i) * 2.0 / 50.0);
    ExpectNear(call.out[3][i].second, 2.0 * call.out[3][i].first * 0.6, Tolerance::Rounding);
  }
}

TEST(PolynomialExport, StressesAreDealtOutByTheSizesOfTheOutputCurves) {
  Call call;
  call.Load(0, std::vector<_T_FUNT_BASE>{{0.1, 1.0}, {0.2, 0.0}, {0.3, 1.0}});  // the middle point is dropped
  call.Load(1, std::vector<_T_FUNT_BASE>{{0.1, 1.0}, {0.2, 1.0}});
  Fill(call.coefficients, {0.5, 0.0});
  call.out[0].SetSize(1);
  call.out[1].SetSize(2);
  EXPECT_EQ(call.Evaluate(1), 0);
  // One stress for the first curve; its second one slips into the next curve.
  ExpectNear(call.out[1][0].second, 1.3 - std::pow(1.3, -2), Tolerance::Rounding);
  // More room than stresses (2 + 2 kept, 50 + 50 grid): written while there are any.
  call.out[0].SetSize(3);
  call.out[2].SetSize(0);
  call.out[3].SetSize(0);
  call.in[2].Add({0.1, 1.0});
  call.in[3].Add({0.1, 1.0});
  call.out[1].SetSize(6);
  for (std::int64_t i = 0; i < 6; ++i) call.out[1][i] = {0.25, 77.0};
  EXPECT_EQ(call.Evaluate(1), 0);
  ExpectNear(call.out[0][1].second, 1.3 - std::pow(1.3, -2), Tolerance::Rounding);
  ExpectNear(call.out[1][2].second, 0.1, Tolerance::Rounding);  // the last of six, in simple shear
  for (std::int64_t i = 3; i < 6; ++i) {
    EXPECT_EQ(call.out[1][i].first, 0.25);
    EXPECT_EQ(call.out[1][i].second, 77.0);
  }
}

TEST(PolynomialExport, OutputsAsLongAsTheInputsLeaveTheCoefficientsAlone) {
  Call plain, withOrigin;
  auto points = UniaxialMooneyRivlin();
  plain.Load(0, points);
  plain.Fit(1, 1);
  points.insert(points.begin(), {0.0, 0.0});
  withOrigin.Load(0, points);
  for (int m = 1; m < 4; ++m) withOrigin.in[m].Add({0.0, 0.0});  // no stress to give, and no grid
  EXPECT_EQ(withOrigin.Fit(1, 1), 0);
  EXPECT_EQ(Values(withOrigin.coefficients), Values(plain.coefficients));
  EXPECT_EQ(withOrigin.out[0][14].second, plain.out[0][14].second);
  EXPECT_EQ(withOrigin.out[0][15].second, 0.0);
}

TEST(PolynomialExport, TheLinearCandidateIsComparedAfterTheConstraint) {
  // Exact data of C10 = -0.5, C01 = 0.1: the linear solution has R^2 = 1, yet it never comes back, because only its
  // constrained copy (0.5, 0.1) and the constrained refinement are compared.
  Call call;
  auto points = UniaxialMooneyRivlin();
  for (auto& point : points) {
    const double stretch = 1.0 + point.first;
    point.second = 2.0 * (1.0 - std::pow(stretch, -3)) * (-0.5 * stretch + 0.1);
  }
  call.Load(0, points);
  EXPECT_EQ(call.Fit(1, 1), 0);
  EXPECT_GE(call.coefficients[0], 0.0);
}

TEST(PolynomialExport, CoincidingColumnsNeedAConditionLimit) {
  Call call;
  call.Load(2, TreloarCurves()[2]);
  EXPECT_EQ(call.Fit(1, 1, 1e8), 0);
  ExpectNear(call.coefficients[0], call.coefficients[1], 1e-8);
}

TEST(PolynomialExport, NothingToFitSpeaksThroughTheFactorisation) {
  Call call;
  call.use[0] = 1;
  EXPECT_THROW(call.Fit(2, 1), int);
  EXPECT_EQ(Values(call.coefficients), (std::vector<double>(5, 0.0)));
  call.Load(0, UniaxialMooneyRivlin());
  EXPECT_EQ(call.Fit(0, 1), 0);  // order 0: nothing to fit, nothing wrong
  EXPECT_TRUE(call.coefficients.IsEmpty());
  EXPECT_EQ(call.out[0][3].second, 0.0);
}

}  // namespace
}  // namespace Xem::Testing
