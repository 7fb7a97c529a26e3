#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numeric>
#include <vector>

#include "support/curves.h"
#include "support/near.h"
#include "xem/hyperelastic.h"

namespace Xem::Testing {
namespace {

/// Arguments of one call; every mode with a curve is switched on unless the test says otherwise.
struct Call {
  PointArray in[4];
  PointArray out[4];
  int use[4] = {0, 0, 0, 0};
  DoubleArray coefficients;

  void Load(int mode, std::span<const _T_FUNT_BASE> points) {
    Fill(in[mode], points);
    out[mode].SetSize(static_cast<std::int64_t>(points.size()));
    for (std::int64_t i = 0; i < in[mode].GetSize(); ++i) out[mode][i].first = in[mode][i].first;
    use[mode] = 1;
  }
  std::int32_t Fit(int order, int method, double conditionLimit = 0.0) {
    return CurveFitting4Polynominal(in[0], in[1], in[2], in[3], use[0], use[1], use[2], use[3], order, method,
                                    conditionLimit, coefficients, out[0], out[1], out[2], out[3], 0.0, 1.0);
  }
  std::int32_t Evaluate(int order, double lower = 0.0, double upper = 1.0) {
    return ComputeStress4Polynominal(in[0], in[1], in[2], in[3], order, coefficients, out[0], out[1], out[2], out[3],
                                     lower, upper);
  }
  /// R^2 about the mean of all measured points of the modes in use.
  double RSquared() const {
    std::vector<double> measured;
    double residual = 0.0;
    for (int m = 0; m < 4; ++m) {
      for (std::int64_t i = 0; use[m] != 0 && i < in[m].GetSize(); ++i) {
        measured.push_back(in[m][i].second);
        residual += std::pow(in[m][i].second - out[m][i].second, 2);
      }
    }
    const double mean = std::accumulate(measured.begin(), measured.end(), 0.0) / static_cast<double>(measured.size());
    double total = 0.0;
    for (const double value : measured) total += (value - mean) * (value - mean);
    return 1.0 - residual / total;
  }
};

void LoadTreloar(Call& call) {
  const auto curves = TreloarCurves();
  for (int m = 0; m < 3; ++m) call.Load(m, curves[static_cast<std::size_t>(m)]);
}

struct TreloarReference {
  int order;
  int method;
  std::vector<double> first;
  double rSquared;
};

class TreloarPolynomial : public testing::TestWithParam<TreloarReference> {};

// References from an independent computation of linear solve, refinement and choice.
INSTANTIATE_TEST_SUITE_P(AllModes, TreloarPolynomial,
                         testing::Values(TreloarReference{1, 1, {0.267578, -0.0018077}, 0.838655},
                                         TreloarReference{1, 0, {0.187612, 0.00317465}, 0.696083},
                                         TreloarReference{2, 1, {0.0806925, 0.0349092, 0.00275721}, 0.980551},
                                         TreloarReference{3, 1, {0.174305, 0.00987116, -0.00193856}, 0.997891},
                                         TreloarReference{3, 0, {0.166209, 0.0330364, -0.000977579}, 0.996574}));

TEST_P(TreloarPolynomial, MatchesAnIndependentComputation) {
  Call call;
  LoadTreloar(call);
  EXPECT_EQ(call.Fit(GetParam().order, GetParam().method), 0);
  ExpectAllDigits(Values(call.coefficients), GetParam().first, Tolerance::SixDigits);
  EXPECT_NEAR(call.RSquared(), GetParam().rSquared, 1e-6);
}

}  // namespace
}  // namespace Xem::Testing
