#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "support/curves.h"
#include "support/near.h"
#include "xem/hyperelastic.h"

namespace Xem::Testing {
namespace {

struct Call {
  Point3Array in[4];
  PointArray out[4];
  int use[4] = {0, 0, 0, 0};
  DoubleArray coefficient;

  void Load(int mode, const std::vector<_T_FUNT_BASE3>& points) {
    for (const _T_FUNT_BASE3& point : points) in[mode].Add(point);
    out[mode].SetSize(in[mode].GetSize());
    use[mode] = 1;
  }
  std::int32_t Fit(double lateralValue, int method, double conditionLimit = 0.0) {
    return CurveFitting4BlatzKo(in[0], in[1], in[2], in[3], use[0], use[1], use[2], use[3], lateralValue, method,
                                conditionLimit, coefficient, out[0], out[1], out[2], out[3], 0.0, 1.0);
  }
  std::int32_t Evaluate(double lateralValue, double lower = 0.0, double upper = 1.0) {
    return ComputeStress4BlatzKo(in[0], in[1], in[2], in[3], lateralValue, coefficient, out[0], out[1], out[2], out[3],
                                 lower, upper);
  }
};

/// Stress of unit modulus; lateral stretch lambda^exponent.
struct Mode {
  double lateralExponent;  // of a lateral face free of stress
  double (*stress)(double stretch, double lateral);
};
const Mode kModes[] = {
    {-0.25, [](double stretch, double lateral) { return lateral * lateral - std::pow(stretch, -3); }},
    {-2.0 / 3.0, [](double stretch, double lateral) { return stretch * lateral - std::pow(stretch, -3); }},
    {-1.0 / 3.0, [](double stretch, double lateral) { return lateral - std::pow(stretch, -3); }},
};

/// All four modes of a foam with the given modulus, with its own lateral strains.
void LoadFoam(Call& call, double modulus) {
  for (int m = 0; m < 3; ++m) {
    std::vector<_T_FUNT_BASE3> points;
    for (const double stretch : {0.8, 1.2, 1.5, 2.0}) {
      const double lateral = std::pow(stretch, kModes[m].lateralExponent);
      points.emplace_back(stretch - 1.0, lateral - 1.0, modulus * kModes[m].stress(stretch, lateral));
    }
    call.Load(m, points);
  }
  call.Load(3, {{0.5, 0.0, 0.5 * modulus}, {1.0, 0.0, modulus}});
}

TEST(BlatzKoExport, MeasuredLateralStrainsGiveThePlantedModulus) {
  for (const int method : {1, 0, 7}) {  // any other method starts the refinement at zero
    Call call;
    LoadFoam(call, 0.22);
    EXPECT_EQ(call.Fit(0.0, method), 0);
    ASSERT_EQ(call.coefficient.GetSize(), 1);
    ExpectNear(call.coefficient[0], 0.22, method == 7 ? 1e-4 : Tolerance::Rounding);
    for (int m = 0; m < 4; ++m) {
      for (std::int64_t i = 0; i < call.in[m].GetSize(); ++i) {
        ExpectNear(call.out[m][i].second, call.in[m][i].third, method == 7 ? 1e-4 : Tolerance::Rounding);
      }
    }
  }
}

TEST(BlatzKoExport, LateralValueReplacesTheMeasuredStrainsByTheModesExponent) {
  Call call;
  LoadFoam(call, 0.22);
  Fill(call.coefficient, {2.0});
  // Any non-zero value does; how large it is does not matter. Below the negligible it counts as zero.
  for (const double lateralValue : {0.3, -7.0, 1e-17}) {
    EXPECT_EQ(call.Evaluate(lateralValue), 0);
    for (int m = 0; m < 3; ++m) {
      for (std::int64_t i = 0; i < call.in[m].GetSize(); ++i) {
        const double stretch = 1.0 + call.in[m][i].first;
        const double expected =
            lateralValue == 1e-17 ? call.in[m][i].third / 0.22 : 1.0 / stretch - std::pow(stretch, -3);
        ExpectNear(call.out[m][i].second, 2.0 * expected, Tolerance::Rounding);
      }
    }
    ExpectNear(call.out[3][0].second, 1.0, Tolerance::Rounding);
  }
}

TEST(BlatzKoExport, DefaultGridAlwaysTakesTheModesExponent) {
  Call call;
  Fill(call.coefficient, {2.0});
  EXPECT_EQ(call.Evaluate(0.0, 0.5, 2.5), 0);  // measured lateral strains asked for, but a grid has none
  for (int m = 0; m < 3; ++m) {
    ASSERT_EQ(call.out[m].GetSize(), 50);
    for (std::int64_t i = 0; i < 50; ++i) {
      const double stretch = 1.0 + static_cast<double>(i) * 2.0 / 50.0;
      EXPECT_EQ(call.out[m][i].first, static_cast<double>(i) * 2.0 / 50.0);
      ExpectNear(call.out[m][i].second, 2.0 * (1.0 / stretch - std::pow(stretch, -3)), Tolerance::Rounding);
    }
  }
}

}  // namespace
}  // namespace Xem::Testing
