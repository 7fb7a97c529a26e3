#include "soil/retention_law.h"

#include <limits>

#include "soil/grading.h"
#include "soil/retention_fit.h"
#include "support/near.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;
using enum RetentionModel;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(RetentionLaw, IsItsClosedFormFromSaturationToDryness) {
  using Parameters = std::vector<double>;
  using Law = double (*)(const Parameters& p, double s);
  static const auto genuchten = [](const Parameters& p, double s, double m) {
    return p[1] + (p[0] - p[1]) * std::pow(1.0 + std::pow(p[2] * s, p[3]), -m);
  };
  struct Case {
    RetentionModel model;
    Parameters parameters;
    Law law;
  };
  for (const auto& [model, parameters, law] :
       {Case{VanGenuchten,
             {.43, .05, .1, 1.6},
             [](const Parameters&p, double s) { return genuchten(p, s, 1.0 - 1.0 / p[3]); }},
        Case{VanGenuchtenFreeM,
             {.43, .05, .1, 1.6, .5},
             [](const Parameters&p, double s) { return genuchten(p, s, p[4]); }},
        Case{FredlundXing,
             {.45, 20, 1.5, 1.2, 1500},
             [](const Parameters&p, double s) {
               const double correction = 1.0 - std::log(1.0 + s / p[4]) / std::log(1.0 + 1e6 / p[4]);
               return correction * p[0] * std::pow(std::log(std::exp(1.0) + std::pow(s / p[1], p[2])), -p[3]);
             }},
        Case{BrooksCorey, {.43, .05, 8, .4}, [](const Parameters&p, double s) {
               return s <= p[2] ? p[0] : p[1] + (p[0] - p[1]) * std::pow(p[2] / s, p[3]);
             }}}) {
    std::vector<double> gradient(parameters.size(), kNaN);
    for (const double s : {.3, 8., 50., 3e3, 9e5}) {
      ExpectNear(WaterContent(model, parameters, Suction(s)), law(parameters, s), Tolerance::Rounding);
    }
    for (const double wet : {0.0, -3.0}) {
      EXPECT_EQ(WaterContentGradient(model, parameters, Suction(wet), gradient), parameters[0]);
      EXPECT_EQ(std::count(gradient.begin(), gradient.end(), 0.0) + 1, std::ssize(gradient));
    }
    // Powers beyond the range of a double must neither turn into NaN nor leave the curve.
    for (const double dry : {1e-300, 1e6, 1e30, 1e300}) {
      const double value = WaterContentGradient(model, parameters, Suction(dry), gradient);
      ExpectNear(value, WaterContent(model, parameters, Suction(dry)), Tolerance::Rounding);
      for (const double entry : gradient) EXPECT_TRUE(std::isfinite(entry)) << dry;
      EXPECT_TRUE(value == 0.0 || dry != 1e6 || model != FredlundXing);  // oven-dry
    }
  }
}

TEST(RetentionRegion, FreeEntriesMoveAndHeldOnesStay) {
  struct Case {
    RetentionModel model;
    std::vector<std::int32_t> mask;
    std::vector<double> before;
    std::vector<double> after;
  };
  for (const Case& c : {Case{VanGenuchten, {0, 0, 0, 0}, {2, -1, 0, 0}, {1, 0, 1e-6, 1.01}},
                        {VanGenuchten, {0, 0, 0, 0}, {0, .5, 1e9, 99}, {1e-3, .95e-3, 1e4, 20}},
                        {VanGenuchten, {0, 1, 0, 0}, {.4, .39, .1, 2}, {.4, .39, .1, 2}},
                        {VanGenuchten, {1, 0, 1, 1}, {2, 3, -1, .5}, {2, 1, -1, .5}},
                        {VanGenuchtenFreeM, {0, 0, 0, 0, 0}, {.4, 0, 1, .01, 50}, {.4, 0, 1, .1, 10}},
                        {FredlundXing, {0, 0, 0, 0, 0}, {.4, 1e9, 0, 30, .5}, {.4, 1e6, .05, 20, 1}},
                        {FredlundXing, {0, 0, 0, 0, 1}, {.4, .4, 1, 1, .5}, {.4, .4, 1, 1, .5}},
                        {BrooksCorey, {0, 0, 0, 0}, {.4, .1, 0, 11}, {.4, .1, 1e-3, 10}}}) {
    std::vector<double> parameters = c.before;
    const FixedTermMask mask{std::span<const std::int32_t>(c.mask)};
    EXPECT_EQ(ConstrainRetention(c.model, mask, parameters), c.before != c.after);
    EXPECT_EQ(parameters, c.after);
  }
}

std::vector<_T_FUNT_BASE> Silt() {
  return {{2, 1},      {1, 1},     {.5, 1},    {.25, .97},  {.125, .89},
          {.063, .71}, {.02, .32}, {.01, .22}, {.006, .18}, {.002, .13}};
}

void ExpectSamePoints(const std::vector<_T_FUNT_BASE>& actual, const std::vector<_T_FUNT_BASE>& expected) {
  ASSERT_EQ(actual.size(), expected.size());
  for (std::size_t i = 0; i < actual.size(); ++i) {
    ExpectDigits(actual[i].first, expected[i].first, Tolerance::Rounding);
    ExpectDigits(actual[i].second, expected[i].second, Tolerance::Rounding);
  }
}

TEST(Grading, GivesThePointsOfAnIndependentComputation) {
  const auto points = RetentionFromGrading(Silt(), {.porosity = .472531406});
  ASSERT_EQ(points.size(), 14U);
  const std::pair<std::size_t, _T_FUNT_BASE> expected[] = {
      {0, {1.927135, .470250}}, {4, {21.98373, .411675}}, {9, {305.2897, .183771}}, {13, {7741.049, .065789}}};
  for (const auto& [i, point] : expected) {
    ExpectDigits(points[i].first, point.first, 5e-7);
    EXPECT_NEAR(points[i].second, point.second, 5e-7);
  }
}

TEST(Grading, OrderScaleAndTheTailDoNotMatter) {
  const auto expected = RetentionFromGrading(Silt(), {});
  auto changed = Silt();
  for (_T_FUNT_BASE& point : changed) point.second *= 100.0;
  std::swap(changed[1], changed[7]);
  changed.insert(changed.begin(), {{20.0, 100.0}, {60.0, 100.0}});
  changed.insert(changed.end(), {{0.0, 5.0}, {-1.0, 5.0}, {.05, -2.0}, {kNaN, 50.0}, {.05, kNaN}, {.05, INFINITY}});
  ExpectSamePoints(RetentionFromGrading(changed, {}), expected);

  // A passing that falls is lifted to the running maximum; of a repeated diameter the largest passing counts.
  auto falling = Silt();
  falling[4].second = .6;
  auto lifted = Silt();
  lifted[4].second = .71;
  lifted.push_back(lifted[5]);
  lifted.push_back({.125, .65});
  ExpectSamePoints(RetentionFromGrading(falling, {}), RetentionFromGrading(lifted, {}));
}

TEST(Grading, AZeroPassingTellsWhereTheFinestClassBegins) {
  auto finer = Silt();
  finer.push_back({.001, 0});
  const auto points = RetentionFromGrading(finer, {.porosity = .5});
  ASSERT_EQ(points.size(), 15U);
  ExpectDigits(points.back().second, .5 * .13 / 2, Tolerance::Rounding);
}

// The table of bad arguments has those that are refused.
TEST(RetentionSettings, DefaultsStandInForMissingAndSenselessEntries) {
  const auto plain = RetentionSettings::Read(std::vector<double>{2.9, 1.5, 1.9});
  const auto full = RetentionSettings::Read(std::vector<double>{2, 0, kNaN, .3, 0, -1, 0, -.5, 0, kNaN, 0, 7});
  ASSERT_TRUE(plain && full);
  EXPECT_EQ(plain->model, FredlundXing);
  EXPECT_EQ(plain->source, RetentionSource::Grading);
  EXPECT_EQ(plain->residual, ResidualKind::Absolute);
  EXPECT_EQ(full->residual, ResidualKind::Relative);
  for (const auto& settings : {plain, full}) {
    EXPECT_EQ(settings->particleDensity, 2.65);
    EXPECT_EQ(settings->exponent, 1.38);
  }
  EXPECT_EQ(FreeCount(plain->mask), 4);
  EXPECT_TRUE(plain->usualResidualSuctionHeld);
  EXPECT_TRUE(FreeCount(full->mask) == 3 && full->mask[1] == 1 && full->mask[3] == 1);
  EXPECT_FALSE(full->usualResidualSuctionHeld);
}

TEST(RetentionSettings, PorosityFallsBackOnTheWettestPoint) {
  const std::vector<_T_FUNT_BASE> points{{-1, .9}, {1, .41}, {10, .3}};
  const std::vector<_T_FUNT_BASE> percent{{1, 41}};
  EXPECT_EQ(RetentionPorosity(.35, points), .35);
  for (const double senseless : {-1.0, 0.0, 1.0, kNaN}) EXPECT_EQ(RetentionPorosity(senseless, points), .41);
  EXPECT_EQ(RetentionPorosity(-1, percent), .4);
  EXPECT_EQ(RetentionPorosity(-1, {}), .4);
}

/// Start of a van Genuchten fit with absolute residuals and nothing held.
Vector Start(std::span<const _T_FUNT_BASE> points, std::span<const double> caller = {}) {
  XemUnsaturatedSoilTestFunction function;
  const std::int32_t model = 0;
  function.SetParameters({}, std::span(&model, 1));
  function.SetTestData(points);
  const Vector held(4);
  Vector best(4);
  FindRetentionStart(function, ResidualKind::Absolute, {.held = held.Span(), .caller = caller}, best.Span());
  return best;
}

TEST(RetentionStart, IsTheBestCandidateOfTheGrid) {
  // The air entry 1 / alpha = 10 kPa is on the grid between 0.1 and 1000 kPa (at 12 of 24 steps), and so is n = 2.
  std::vector<_T_FUNT_BASE> points;
  const std::vector<double> planted{.4, .06, .1, 2.0};
  for (const double s : {.1, 1., 4., 10., 30., 90., 400., 1000.}) {
    points.emplace_back(s, WaterContent(VanGenuchten, planted, Suction(s)));
  }
  ExpectAllDigits(Start(points).Span(), planted, 1e-9);

  // No candidate of the caller's is better than an exact one; on a tie the caller's own comes first.
  std::vector<double> close = planted;
  close[2] *= 1.001;
  ExpectAllDigits(Start(points, close).Span(), planted, 1e-9);
  EXPECT_EQ(Start(points, planted)[2], planted[2]);
  const std::vector<double> own{.3, .1, 7, 3};
  EXPECT_EQ(Vector(std::span<const double>(Start({}, own).Span()))[2], 7);
  for (const std::vector<double>& unusable :
       {std::vector<double>{.3, .1, 7}, {.3, .1, 7, 3, 1}, {.3, .29, 7, 3}, {.3, .1, 7, 1}, {.3, kNaN, 7, 3}}) {
    EXPECT_EQ(Start({}, unusable)[2], 1.0);
  }
}

}  // namespace
}  // namespace Xem::Testing
