#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "support/curves.h"
#include "support/near.h"
#include "xem/dynamic.h"

namespace Xem::Testing {
namespace {

using Points = std::vector<_T_FUNT_BASE>;

constexpr double kDefaults[] = {1.0, 0.17, 0.83, 2.5, 2.86, 3.229};

/// The generalised hyperbolic equation as Tatsuoka & Shibuya write it.
double Ratio(std::span<const double> p, double x) {
  const auto pass = [&](double zero, double infinity, double scale) {
    return (zero + infinity) / 2 + (zero - infinity) / 2 * std::cos(std::numbers::pi / (scale / x + 1));
  };
  return 1 / (1 / pass(p[0], p[1], p[4]) + x / pass(p[2], p[3], p[5]));
}

Points Published(const std::string& curve, const std::string& ordinate) {
  return BundledCurve("vucetic_dobry1991_pi30_" + curve + ".csv", "shear_strain", ordinate);
}

struct Call {
  DoubleArray options, parameters, flags, fitted, measures;
  PointArray stiffness, damping, curveOut;

  Call(double source, double form, double variant, std::initializer_list<double> start,
       std::initializer_list<double> held) {
    Fill(options, {source, form, variant});
    Fill(parameters, start);
    Fill(flags, held);
  }
  std::int32_t Fit(double referenceStrain = 0.0) {
    return CurveFitting4GHEModel6Parameters(options, parameters, flags, stiffness, referenceStrain, fitted, curveOut,
                                            measures);
  }
  std::int32_t FitDamping() {
    return CurveFitting4GHEModelDamping(options, parameters, flags, damping, stiffness, fitted, curveOut);
  }
};

TEST(GheFit, ACurveOfSandIsFollowedFromTheAutomaticStartInBothForms) {
  // A start of the stress form at the usual parameters alone would leave a sum of squares 30 times larger.
  const double planted[] = {1.0, 0.068, 1.1, 12.0, 2.0, 9.0};
  Points points;
  double squares = 0.0;
  for (int i = 0; i < 13; ++i) {
    const double strain = std::pow(10.0, -6 + i / 3.0);
    points.emplace_back(strain, Ratio(planted, strain / 5.6e-4));
    squares += points.back().second * points.back().second;
  }
  for (const double form : {0.0, 2.0}) {
    Call call(0, form, 1, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0});
    Fill(call.stiffness, points);
    EXPECT_EQ(call.Fit(), 0);
    ASSERT_EQ(call.measures.GetSize(), 4);
    if (form == 0.0) ExpectDigits(call.measures[1], 1e-8 * squares, Tolerance::Rounding);
    EXPECT_GT(call.measures[2], 0.999);
    for (std::int64_t i = 0; i < call.curveOut.GetSize(); ++i) {
      EXPECT_NEAR(call.curveOut[i].second, call.stiffness[i].second, form == 0.0 ? 1e-3 : 2e-2);
    }
  }
}

TEST(GheFit, PlantedParametersAreRecovered) {
  Points points;
  for (int i = 0; i < 13; ++i) {
    const double strain = std::pow(10.0, -6 + i / 3.0);
    points.emplace_back(strain, Ratio(kDefaults, strain / 4e-4));
  }
  struct Case {
    double held, form, variant;
  };
  for (const auto& [held, form, variant] : {Case{0, 0, 1}, {1, 0, 1}, {0, 0, 0}, {0, 2, 0}}) {
    Call call(0, form, variant, {1, .3, .7, 2, 2, 2}, {held, 0, 0, 0, 0, 0});
    Fill(call.stiffness, points);
    EXPECT_EQ(call.Fit(4e-4), 0);
    ExpectAllDigits(Values(call.fitted), kDefaults, 1e-9);
    if (held != 0.0) {
      EXPECT_EQ(call.fitted[0], 1.0);
    }
  }
}

TEST(GheFit, ReferenceStrainComesFromTheArgumentOrTheCurve) {
  struct Case {
    const char* name;
    double source;
    double argument;
    Points curve;
    double expected;
  };
  const Points crossing{{1e-4, 0.75}, {1e-3, 0.25}};
  for (const Case& c :
       {Case{"argument", 0, 7e-4, crossing, 7e-4}, Case{"no argument", 0, 0, crossing, std::pow(10, -3.5)},
        Case{"always the curve", 1, 7e-4, crossing, std::pow(10, -3.5)},
        Case{"no crossing", 1, 7e-4, {{1e-4, 0.9}, {1e-3, 0.6}}, 5e-4},
        Case{"origin and zero ignored", 1, 0, {{0, 0.9}, {2e-4, 0.5}, {1e-3, 0.5}, {2, 0.0}}, 2e-4}}) {
    Call call(c.source, 0, 1, {1, .17, .83, 2.5, 2.86, 3.229}, {1, 1, 1, 1, 1, 1});
    Fill(call.stiffness, c.curve);
    EXPECT_EQ(call.Fit(c.argument), 0);
    ExpectDigits(call.measures[0], c.expected, Tolerance::Rounding, c.name);
    EXPECT_EQ(Values(call.fitted), Values(call.parameters)) << c.name;
  }
}

TEST(GheFit, OutCurveIsALogGridForTwoPointsAndMore) {
  Call call(0, 0, 1, {1, .17, .83, 2.5, 2.86, -3.0}, {1, 1, 1, 1, 1, 1});
  Fill(call.stiffness, {{{0.0, 1.0}, {1e-4, 0.9}, {1e-3, 0.0}, {1e-2, 0.1}}});
  call.curveOut.SetSize(8);
  EXPECT_EQ(call.Fit(1e-3), 0);
  EXPECT_EQ(call.fitted[5], -3.0);  // held entries are taken as given
  ASSERT_EQ(call.curveOut.GetSize(), 8);
  ExpectDigits(call.curveOut[3].first, 1e-4, Tolerance::Rounding);
  ExpectDigits(call.curveOut[3].second, Ratio(Values(call.parameters), 0.1), Tolerance::Rounding);
  call.curveOut.SetSize(2);
  EXPECT_EQ(call.Fit(1e-3), 0);
  ExpectDigits(call.curveOut[0].first, 1e-7, Tolerance::Rounding);
  ExpectDigits(call.curveOut[1].first, 1.0, Tolerance::Rounding);
  call.curveOut.SetSize(1);
  EXPECT_EQ(call.Fit(1e-3), 0);
  ASSERT_EQ(call.curveOut.GetSize(), 2);  // points without strain or ratio are gone
  EXPECT_EQ(call.curveOut[1].first, 1e-2);
}

TEST(GheFit, PoorDataRaiseNothing) {
  struct Case {
    const char* name;
    Points curve;
    std::vector<double> start;
  };
  const std::vector<double> automatic(6, 0.0);
  for (const Case& c : {Case{"single point", {{1e-3, 0.4}}, automatic},
                        Case{"no degradation", {{1e-5, 1}, {1e-4, 1}, {1e-3, 1}, {1e-2, 1}}, automatic},
                        Case{"no point", {{0.0, 1.0}, {1e-3, 0.0}}, automatic},
                        Case{"equal C1", Published("stiffness", "G_over_Gmax"), {1, 1, 0.83, 2.5, 2.86, 3.2}}}) {
    for (const double form : {0.0, 2.0}) {
      Call call(0, form, 1, {}, {0, 0, 0, 0, 0, 0});
      Fill(call.parameters, c.start);
      Fill(call.stiffness, c.curve);
      EXPECT_EQ(call.Fit(), 0) << c.name;
      for (const double value : Values(call.fitted)) EXPECT_TRUE(std::isfinite(value)) << c.name;
    }
  }
}

TEST(GheDampingFit, PlantedParametersAreRecovered) {
  Points damping;
  const Points stiffness = Published("stiffness", "G_over_Gmax");
  for (const auto& point : stiffness) {
    if (point.second < 1.0) damping.emplace_back(point.first, 0.2 * (1 - point.second));
  }
  for (const double variant : {0.0, 1.0}) {
    Call call(0, 0, variant, {0, 0}, {0, 0});
    Fill(call.stiffness, stiffness);
    Fill(call.damping, damping);
    EXPECT_EQ(call.FitDamping(), 0);
    ExpectDigits(call.fitted[0], 0.2, Tolerance::Rounding);
    ExpectDigits(call.fitted[1], 1.0, Tolerance::Rounding);
  }
}

TEST(GheDampingFit, StiffnessComesFromTheModelWhenAskedFor) {
  Points damping;
  for (const double strain : {1e-4, 4e-4, 2e-3, 1e-2}) {
    damping.emplace_back(strain, 0.21 * std::pow(1 - Ratio(kDefaults, strain / 4e-4), 1.3));
  }
  Call call(1, 0, 1, {0, 0, 4e-4, 1, 0.17, 0.83, 2.5, 2.86, 3.229}, {0, 0});
  Fill(call.damping, damping);  // no stiffness curve at all
  EXPECT_EQ(call.FitDamping(), 0);
  ASSERT_EQ(call.fitted.GetSize(), 2);
  ExpectDigits(call.fitted[0], 0.21, Tolerance::Rounding);
  ExpectDigits(call.fitted[1], 1.3, Tolerance::Rounding);
}

TEST(GheDampingFit, WithoutStiffnessOrPointsParametersReturnAsStarted) {
  struct Case {
    const char* name;
    Points stiffness;
    Points damping;
    std::vector<double> start;
    std::vector<double> flags;
    std::vector<double> expected;
  };
  const Points damping{{1e-4, 0.05}, {1e-3, 0.12}};
  for (const Case& c :
       {Case{"no stiffness", {}, damping, {0, 0}, {0, 0}, {0.12, 1}},
        Case{"no stiffness, given", {}, damping, {0.3, 0}, {0, 0}, {0.3, 1}},
        Case{"no damping", Published("stiffness", "G_over_Gmax"), {{0, 0.1}}, {0.3, 2}, {0, 0}, {0.3, 2}},
        Case{"all held", Published("stiffness", "G_over_Gmax"), damping, {-1, 40}, {1, 0.5}, {-1, 40}}}) {
    Call call(0, 0, 1, {}, {});
    Fill(call.parameters, c.start);
    Fill(call.flags, c.flags);
    Fill(call.stiffness, c.stiffness);
    Fill(call.damping, c.damping);
    EXPECT_EQ(call.FitDamping(), 0) << c.name;
    EXPECT_EQ(Values(call.fitted), c.expected) << c.name;
  }
}

}  // namespace
}  // namespace Xem::Testing
