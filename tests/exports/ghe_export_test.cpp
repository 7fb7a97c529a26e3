#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
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

struct Dataset {
  Points stiffness;
  Points damping;
};

Dataset Load(std::span<const double> strains, std::span<const double> ratios, std::span<const double> dampings) {
  Dataset data;
  for (std::size_t i = 0; i < strains.size(); ++i) {
    data.stiffness.emplace_back(strains[i] / 100, ratios[i]);
    data.damping.emplace_back(strains[i] / 100, dampings[i]);
  }
  return data;
}

/// Seed & Idriss 1970, upper range, with the damping of Idriss 1990.
Dataset Sand() {
  const double strains[] = {1e-4, 3e-4, 1e-3, 3e-3, .01, .03, .1, .3, 1, 3, 10};
  const double ratios[] = {1, 1, .99, .96, .85, .64, .37, .18, .08, .05, .035};
  double dampings[] = {.24, .42, .8, 1.4, 2.8, 5.1, 9.8, 15.5, 21, 25, 28};
  for (double& damping : dampings) damping /= 100;
  return Load(strains, ratios, dampings);
}

/// Darendeli 2001, PI = 30.
Dataset Clay() {
  const double strains[] = {1e-4, 3e-4, 1e-3, 3e-3, .01, .03, .1, .3, 1, 3};
  const double ratios[] = {.9974, .9929, .9789, .9442, .8485, .6711, .4030, .1974, .0752, .0288};
  const double dampings[] = {.01208, .01249, .01391, .01785, .03037, .05816, .11120, .16368, .20184, .21380};
  return Load(strains, ratios, dampings);
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

struct WorkedExample {
  const char* name;
  Dataset data;
  bool holdFirst;
  double referenceStrain;
  std::vector<double> parameters;
  double sumOfSquares;
};

class Worked : public testing::TestWithParam<WorkedExample> {};

// References from a general least-squares solver.
INSTANTIATE_TEST_SUITE_P(Published, Worked,
                         testing::Values(WorkedExample{"sand",
                                                       Sand(),
                                                       false,
                                                       5.60071621e-4,
                                                       {1.005224, 0.067893, 1.078002, 11.89584, 2.012746, 8.798075},
                                                       5.0512e-5},
                                         WorkedExample{"sand, C1(0) held",
                                                       Sand(),
                                                       true,
                                                       5.60071621e-4,
                                                       {1, 0.067792, 1.108925, 12.22718, 2.012949, 9.096983},
                                                       1.41204e-4},
                                         WorkedExample{"clay",
                                                       Clay(),
                                                       false,
                                                       6.46874007e-4,
                                                       {0.997810, 0.547593, 0.850488, 1.354246, 1.699602, 0.557349},
                                                       1.01106e-5}));

TEST_P(Worked, CurvesMatchAnIndependentComputation) {
  const WorkedExample& example = GetParam();
  Call call(0, 0, 1, {example.holdFirst ? 1.0 : 0.0, 0, 0, 0, 0, 0}, {example.holdFirst ? 1.0 : 0.0, 0, 0, 0, 0, 0});
  Fill(call.stiffness, example.data.stiffness);
  EXPECT_EQ(call.Fit(), 0);
  ASSERT_EQ(call.curveOut.GetSize(), static_cast<std::int64_t>(example.data.stiffness.size()));
  for (std::int64_t i = 0; i < call.curveOut.GetSize(); ++i) {
    EXPECT_EQ(call.curveOut[i].first, call.stiffness[i].first);
    const double expected = Ratio(example.parameters, call.curveOut[i].first / example.referenceStrain);
    EXPECT_NEAR(call.curveOut[i].second, expected, 1e-4);
  }
  if (example.holdFirst) {
    EXPECT_EQ(call.fitted[0], 1.0);
  }
  ASSERT_EQ(call.measures.GetSize(), 4);
  ExpectDigits(call.measures[0], example.referenceStrain, 1e-8);
  double squares = 0.0;
  for (const auto& point : example.data.stiffness) squares += point.second * point.second;
  ExpectDigits(call.measures[1], 1e-8 * squares, Tolerance::Rounding);
  EXPECT_GT(call.measures[2], 0.999);
  ExpectDigits(call.measures[3], example.sumOfSquares, 1e-3);
}

TEST_P(Worked, StressFormReachesItsOptimumToo) {
  Call call(0, 2, 1, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0});
  Fill(call.stiffness, GetParam().data.stiffness);
  EXPECT_EQ(call.Fit(), 0);
  // From the default start, without the stiffness form first, the sum of squares stays 30 times larger on the sand.
  EXPECT_LT(call.measures[3], 2e-3);
}

TEST(GheFit, RelativeResidualsDoNotKnowTheForm) {
  Call ratio(0, 0, 0, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0});
  Call stress(0, 2, 0, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0});
  Fill(ratio.stiffness, Clay().stiffness);
  Fill(stress.stiffness, Clay().stiffness);
  EXPECT_EQ(ratio.Fit(), 0);
  EXPECT_EQ(stress.Fit(), 0);
  EXPECT_EQ(Values(stress.fitted), Values(ratio.fitted));
  ExpectDigits(ratio.measures[1], 1e-7, Tolerance::Rounding);  // 1e-8 per point
}

TEST(GheFit, PlantedParametersAreRecovered) {
  Points points;
  for (int i = 0; i < 13; ++i) {
    const double strain = std::pow(10.0, -6 + i / 3.0);
    points.emplace_back(strain, Ratio(kDefaults, strain / 4e-4));
  }
  for (const double held : {0.0, 1.0}) {
    Call call(0, 0, 1, {1, .3, .7, 2, 2, 2}, {held, 0, 0, 0, 0, 0});
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
  call.curveOut.SetSize(1);
  EXPECT_EQ(call.Fit(1e-3), 0);
  ASSERT_EQ(call.curveOut.GetSize(), 2);  // points without strain or ratio are gone
  EXPECT_EQ(call.curveOut[1].first, 1e-2);
}

TEST(GheFit, PercentEverywhereGivesTheSameParameters) {
  Call ratio(0, 0, 1, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0});
  Call percent(0, 0, 1, {0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0, 0});
  Points points = Sand().stiffness;
  Fill(ratio.stiffness, points);
  for (auto& point : points) point.first *= 100;
  Fill(percent.stiffness, points);
  EXPECT_EQ(ratio.Fit(5.6e-4) + percent.Fit(5.6e-2), 0);
  for (int k = 0; k < 6; ++k) ExpectDigits(percent.fitted[k], ratio.fitted[k], 1e-6);
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
                        Case{"equal C1", Sand().stiffness, {1, 1, 0.83, 2.5, 2.86, 3.2}}}) {
    for (const double form : {0.0, 2.0}) {
      Call call(0, form, 1, {}, {0, 0, 0, 0, 0, 0});
      Fill(call.parameters, c.start);
      Fill(call.stiffness, c.curve);
      EXPECT_EQ(call.Fit(), 0) << c.name;
      for (const double value : Values(call.fitted)) EXPECT_TRUE(std::isfinite(value)) << c.name;
    }
  }
}

struct DampingExample {
  Dataset data;
  double variant;
  double largest;
  double exponent;
};

class WorkedDamping : public testing::TestWithParam<DampingExample> {};

// References from a general least-squares solver.
INSTANTIATE_TEST_SUITE_P(Published, WorkedDamping,
                         testing::Values(DampingExample{Sand(), 1, 0.27586, 2.23971},
                                         DampingExample{Sand(), 0, 0.158354, 0.774812},
                                         DampingExample{Clay(), 1, 0.217167, 1.163241},
                                         DampingExample{Clay(), 0, 0.131044, 0.586828}));

TEST_P(WorkedDamping, MatchesAnIndependentComputation) {
  Call call(0, 0, GetParam().variant, {0, 0}, {0, 0});
  Fill(call.stiffness, GetParam().data.stiffness);
  Fill(call.damping, GetParam().data.damping);
  EXPECT_EQ(call.FitDamping(), 0);
  // The stop rule leaves the sum of squares at 1e-8 of the data's, the parameters at about its root.
  ExpectDigits(call.fitted[0], GetParam().largest, 1e-4);
  ExpectDigits(call.fitted[1], GetParam().exponent, 1e-4);
  ASSERT_EQ(call.curveOut.GetSize(), call.damping.GetSize());
  EXPECT_FALSE(std::isnan(call.curveOut[0].second));
}

TEST(GheDampingFit, PlantedParametersAreRecovered) {
  Points damping;
  const Points stiffness = Sand().stiffness;
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
  for (const Case& c : {Case{"no stiffness", {}, damping, {0, 0}, {0, 0}, {0.12, 1}},
                        Case{"no stiffness, given", {}, damping, {0.3, 0}, {0, 0}, {0.3, 1}},
                        Case{"no damping", Sand().stiffness, {{0, 0.1}}, {0.3, 2}, {0, 0}, {0.3, 2}},
                        Case{"all held", Sand().stiffness, damping, {-1, 40}, {1, 0.5}, {-1, 40}}}) {
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
