#include <boost/make_shared.hpp>
#include <limits>
#include <random>

#include "solver/starting_vector.h"
#include "support/near.h"
#include "viscoelastic/creep.h"
#include "viscoelastic/prony.h"
#include "viscoelastic/relaxation.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;

/// Modulus and derivatives at one time.
double PronyGradient(std::span<const double> parameters, double time, std::span<double> gradient) {
  double modulus = 0.0;
  const MatrixView row{gradient.data(), 1, static_cast<std::int32_t>(gradient.size()), 1};
  PronyModuli(parameters, {&time, 1}, {&modulus, 1}, row);
  return modulus;
}

TEST(Laws, AreComputedAsTheyAreWritten) {
  // Creep to the last bit: the iterative fit of its constants turns another rounding into others.
  constexpr double kVectorised = 1e-15;
  std::mt19937 random(11);
  const auto draw = [&](double from, double to) { return std::uniform_real_distribution<double>(from, to)(random); };
  for (int trial = 0; trial < 3000; ++trial) {
    const double t = std::pow(10.0, draw(-6.0, 6.0));
    const std::vector<double> p{draw(-1.0, 1.0), draw(-1.0, 1.0), std::pow(10.0, draw(-6.0, 6.0)), draw(0.1, 9.0)};
    const double modulus = 1.0 - (1.0 - std::exp(-t / p[2])) * p[0] - (1.0 - std::exp(-t / p[3])) * p[1];
    std::vector<double> gradient(7);
    ExpectNear(PronyModulus(p, t), modulus, kVectorised);
    EXPECT_EQ(PronyGradient(p, t, std::span(gradient).first(4)), PronyModulus(p, t));
    ExpectNear(gradient[0], std::exp(-t / p[2]) - 1.0, kVectorised);
    ExpectNear(gradient[3], p[1] * t * std::exp(-t / p[3]) / (p[3] * p[3]), 1e-14 * std::max(1.0, t / p[3]));

    const std::vector<double> c{draw(0.0, 9.0), draw(1.0, 8.0),  0.0, draw(0.2, 2.0),
                                draw(0.0, 9.0), draw(-3.0, 9.0), 0.0};
    const double s = std::pow(10.0, draw(-2.0, 2.0));
    const double strain = c[0] * std::pow(s, c[1]) * std::pow(t, c[3]) + c[4] * std::pow(s, c[5]) * t;
    EXPECT_EQ(CreepStrain(c, s, t), strain);
    EXPECT_EQ(CreepAtStress(c, s).Gradient(t, std::log(t), gradient), strain);
    EXPECT_EQ(gradient, (std::vector<double>{std::pow(s, c[1]) * std::pow(t, c[3]),
                                             c[0] * std::pow(s, c[1]) * std::pow(t, c[3]) * std::log(s), 0.0,
                                             c[0] * std::pow(s, c[1]) * std::pow(t, c[3]) * std::log(t),
                                             std::pow(s, c[5]) * t, c[4] * std::pow(s, c[5]) * t * std::log(s), 0.0}));
  }
}

TEST(PronyLaw, NothingRemainsOfATermLongGone) {
  for (const double tau : {0.0, 1e-300, 1e-15, 1.0, 1e15}) {
    std::vector<double> gradient(2);
    EXPECT_EQ(PronyGradient({{0.3, tau}}, 1e3 * tau + 1e-290, gradient), 0.7);
    EXPECT_EQ(gradient, (std::vector<double>{-1.0, 0.0})) << tau;
  }
}

TEST(PronyLaw, NegativeTimesTurnPositiveAndZeroStays) {
  std::vector<double> parameters{-0.1, 5.0, -2.0, 0.0};
  EXPECT_TRUE(ConstrainProny(parameters));
  EXPECT_EQ(parameters, (std::vector<double>{-0.1, 5.0, 2.0, 0.0}));
}

TEST(PronyLaw, TermsSortByTimeThenByCoefficientWhateverTheyHold) {
  std::vector<double> parameters{0.3, 0.2, 0.1, 7.0, 7.0, 1.0};
  SortByTime(parameters);
  EXPECT_EQ(parameters, (std::vector<double>{0.1, 0.2, 0.3, 1.0, 7.0, 7.0}));
  std::vector<double> broken(200, std::numeric_limits<double>::quiet_NaN());
  broken[150] = 1.0;
  SortByTime(broken);
  EXPECT_EQ(broken[100], 1.0);
}

TEST(RelaxationCurve, KeepsRelaxingPointsWithTheirTimes) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  XemHyperViscoElasticRelaxation curve;
  EXPECT_EQ(curve.MaxTime(), 0.0);
  const std::vector<_T_FUNT_BASE> points{{0.0, 0.9},  {-1.0, 0.9}, {3.0, 1.0}, {9.0, 1.2},   {7.0, 0.4},
                                         {2.0, -0.5}, {0.5, nan},  {nan, 0.5}, {5.0, 1e-17}, {4.0, 0.9999999}};
  curve.SetTestData(std::span<const _T_FUNT_BASE>(points));
  ASSERT_EQ(curve.PointCount(), 3);
  EXPECT_EQ(curve.Stretch()[0], 7.0);  // input order, times as they are
  EXPECT_EQ(curve.Stretch()[1], 2.0);
  EXPECT_EQ(curve.Stress()[2], 0.9999999);
  EXPECT_EQ(curve.MaxTime(), 7.0);
  EXPECT_EQ(curve.MinTime(), 2.0);
}

TEST(RelaxationStart, SpreadsTimesLinearlyAndLeavesHeldEntriesAlone) {
  const auto curve = boost::make_shared<XemHyperViscoElasticRelaxation>();
  std::vector<_T_FUNT_BASE> points;
  for (const double time : {1.0, 2.0, 5.0, 9.0, 20.0}) points.emplace_back(time, 0.9);
  curve->SetTestData(std::span<const _T_FUNT_BASE>(points));
  const TestFunctionList functions{curve};
  LMMethodRelaxationTmpl<LevenbergMarquardtMethodAbsolute> four(functions, 4, 4.0, 0.0);
  std::vector<double> parameters(8, -1.0);
  FixedTermMask mask(8);
  mask[1] = 1;
  mask[6] = 3;
  four.InitialGuess(mask, parameters);
  EXPECT_EQ(parameters[1], -1.0);
  EXPECT_EQ(std::vector<double>(parameters.begin() + 4, parameters.end()), (std::vector<double>{1.0, 2.0, -1.0, 4.0}));

  LMMethodRelaxationTmpl<LevenbergMarquardtMethodAbsolute> tooMany(functions, 6, 10.0, 2.0);
  parameters.assign(12, 0.0);
  EXPECT_THROW(tooMany.InitialGuess(FixedTermMask(12), parameters), int);  // five points for six terms
}

TEST(CreepLaw, BoundsOfTheSecondStressExponentLandInTheTimeExponent) {
  const std::pair<std::vector<double>, std::vector<double>> table[] = {
      {{-2, 2, 5, 0.5, -3, 2, 9}, {2, 2, 5, 0.5, 3, 2, 9}},        {{1, 9, 0, 3, 1, 2, 0}, {1, 7.999, 0, 2, 1, 2, 0}},
      {{1, 0, 0, 0.1, 1, 2, 0}, {1, 1.0001, 0, 0.20001, 1, 2, 0}}, {{1, 2, 0, 0.5, 1, 9, 0}, {1, 2, 0, 7.999, 1, 9, 0}},
      {{1, 2, 0, 0.5, 1, 1, 0}, {1, 2, 0, 1.0001, 1, 1, 0}},
  };
  for (auto [constants, after] : table) {
    EXPECT_TRUE(ConstrainCreep(constants));
    EXPECT_EQ(constants, after);
    EXPECT_EQ(ConstrainCreep(constants = {0, 1.0001, -5, 0.20001, 0, 7.999, -5}), false);
  }
}

TEST(CreepLaw, RegressionsFindPlantedLinesFarFromTheOrigin) {
  // A rate on top of a large time: the plain sums would lose half of the digits.
  std::vector<double> times;
  std::vector<double> strains;
  for (int i = 0; i < 50; ++i) {
    times.push_back(1e8 + i);
    strains.push_back(3.0 + 0.25 * i);
  }
  ExpectNear(FitRate(times, strains), 0.25, Tolerance::Rounding);
  CreepLine line;
  for (int i = 0; i < 50; ++i)
    strains[static_cast<std::size_t>(i)] = 2e-3 * std::pow(times[static_cast<std::size_t>(i)], 0.3);
  FitPrimary(times, strains, line);
  ExpectDigits(line.exponent, 0.3, 1e-6);
  EXPECT_FALSE(std::isfinite(FitRate({{5.0, 5.0, 5.0}}, {{1.0, 2.0, 4.0}})));
  EXPECT_FALSE(std::isfinite(FitRate({}, {})));
}

TEST(CreepCurve, DataKeepPositiveStrainsAndTheTestFunctionPositiveTimes) {
  const std::vector<_T_FUNT_BASE> points{{0.0, 0.1}, {1.0, 0.0}, {2.0, -0.1}, {3.0, 0.3}, {-1.0, 0.2}};
  XemMaterialTestDataCreep data(CreepTestSettings{});
  data.SetTestData(std::span<const _T_FUNT_BASE>(points));
  EXPECT_EQ(std::vector<double>(data.Stretch().Span().begin(), data.Stretch().Span().end()),
            (std::vector<double>{0.0, 3.0, -1.0}));
  XemMaterialCreepType300 function;
  function.SetTestData(std::span<const _T_FUNT_BASE>(points));
  EXPECT_EQ(std::vector<double>(function.Stress().Span().begin(), function.Stress().Span().end()),
            (std::vector<double>{0.0, -0.1, 0.3}));
  EXPECT_THROW(function.SetParameters({}, {}), CInvalidArgException);
}

}  // namespace
}  // namespace Xem::Testing
