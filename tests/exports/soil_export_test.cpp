#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <ostream>
#include <vector>

#include "support/curves.h"
#include "support/near.h"
#include "xem/soil.h"

namespace Xem::Testing {
namespace {

using Points = std::vector<_T_FUNT_BASE>;

/// Arguments of one call.
struct Call {
  DoubleArray settings;
  CArray22 in;
  DoubleArray parameters;
  CArray22 out;

  Call(std::initializer_list<double> given, const Points& measured, const Points& grading = {},
       std::initializer_list<double> start = {}) {
    Fill(settings, given);
    Fill(in.first, measured);
    Fill(in.second, grading);
    Fill(parameters, start);
  }
  std::int32_t Fit() { return CurveFitting4UnsaturatedSoil(settings, in, parameters, out); }
};

/// Gilat loam.
Points Gilat() {
  Points points{{1.4, .44}, {3, .44},   {10, .43},   {30, .42},   {39, .40},   {44.7, .38},  {49.6, .36},  {54.5, .34},
                {60, .32},  {66, .30},  {72.5, .28}, {77.5, .26}, {86, .24},   {98, .22},    {114, .20},   {145, .18},
                {220, .16}, {410, .14}, {925, .12},  {2650, .10}, {7600, .08}, {41500, .06}, {151000, .04}};
  for (_T_FUNT_BASE& point : points) point.first *= 0.0980665;
  return points;
}

Points SiltGrading() {
  return {{2, 1},      {1, 1},     {.5, 1},    {.25, .97},  {.125, .89},
          {.063, .71}, {.02, .32}, {.01, .22}, {.006, .18}, {.002, .13}};
}

Points SiltRetention() {
  Points points{{0, .4325},    {40, .3892},   {70, .3885},   {100, .3883},   {500, .3727},
                {1000, .3586}, {2000, .3225}, {4000, .2685}, {10000, .2002}, {150000, .1093}};
  for (_T_FUNT_BASE& point : points) point.first *= 0.00980665;
  return points;
}

/// Sum of squared residuals, in percent, of the curve that the export writes at the given points.
double PercentSquares(Call& call, const Points& points) {
  Call again({call.settings[0], 0, 1, -1, 0, 0, 1, 1, 1, 1, 1}, {}, {});
  Fill(again.parameters, Values(call.parameters));
  Fill(again.out.first, points);
  EXPECT_EQ(again.Fit(), 0);
  double sum = 0.0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    sum += std::pow(100.0 * (points[i].second - again.out.first[static_cast<std::int64_t>(i)].second), 2);
  }
  return sum;
}

struct WorkedExample {
  const char* name;
  std::vector<double> settings;
  Points measured;
  Points grading;
  std::vector<double> parameters;
  double tolerance;  ///< of the parameters, by the digits of the reference
  double squares;
};

void PrintTo(const WorkedExample& example, std::ostream* out) { *out << example.name; }

class Retention : public testing::TestWithParam<WorkedExample> {};

// References from a general least-squares solver.
INSTANTIATE_TEST_SUITE_P(
    WorkedExamples, Retention,
    testing::Values(
        WorkedExample{"gilat", {0, 0, 1}, Gilat(), {}, {.446089, .083652, .176626, 2.39304}, 6e-6, 68.5339},
        WorkedExample{"gilat", {1, 0, 1}, Gilat(), {}, {.434601, .070299, .277866, 8.3428, .09798}, 4e-5, 34.1416},
        WorkedExample{"gilat",
                      {2, 0, 1, -1, 0, 0, 0, 0, 0, 0, 0},
                      Gilat(),
                      {},
                      {.434649, 4.421899, 4.881712, .488711, 839.667},
                      2e-6,
                      3.58827},
        WorkedExample{"gilat", {2, 0, 1}, Gilat(), {}, {.43495, 4.42880, 4.76613, .49879, 1500}, 1e-5, 3.77598},
        WorkedExample{"gilat", {3, 0, 1}, Gilat(), {}, {.432500, .068532, 3.506801, .780017}, 5e-6, 35.9811},
        WorkedExample{"silt", {0, 0, 1}, SiltRetention(), {}, {.399408, .067640, .066037, 1.461572}, 8e-6, 15.0149},
        WorkedExample{
            "grading", {0, 1, 1, .472531406}, {}, SiltGrading(), {.464405, .030345, .024978, 1.500607}, 2e-5, 3.04119}),
    [](const auto& example) { return example.param.name + std::to_string(example.index); });

TEST_P(Retention, ReachesTheIndependentMinimum) {
  const WorkedExample& example = GetParam();
  Call call({}, example.measured, example.grading);
  Fill(call.settings, example.settings);
  EXPECT_EQ(call.Fit(), 0);
  const std::vector<double> fitted = Values(call.parameters);
  ASSERT_EQ(fitted.size(), example.parameters.size());
  ExpectAllDigits(fitted, example.parameters, example.tolerance);
  const Points& points = example.measured.empty() ? Values(call.out.second) : example.measured;
  ExpectDigits(PercentSquares(call, points), example.squares, 3e-6);
  EXPECT_EQ(call.out.second.IsEmpty(), example.grading.empty());
}

TEST(RetentionExport, ExactDataComeBackFromTheAutomaticStart) {
  const std::vector<std::vector<double>> planted{
      {.43, .05, .1, 1.6}, {.43, .05, .1, 1.6, .5}, {.45, 20, 1.5, 1.2, 1500}, {.43, .05, 8, .4}};
  for (std::size_t model = 0; model < planted.size(); ++model) {
    const auto code = static_cast<double>(model);
    Call exact({code, 0, 0, -1, 0, 0, 1, 1, 1, 1, 1}, {});
    Fill(exact.parameters, planted[model]);
    for (int i = 0; i < 23; ++i) exact.out.first.Add({std::pow(10.0, -1.0 + 5.5 * i / 22), 0.0});
    ASSERT_EQ(exact.Fit(), 0);
    for (const double variant : {0.0, 1.0}) {
      Call call({code, 0, variant}, Values(exact.out.first));
      EXPECT_EQ(call.Fit(), 0);
      ExpectAllDigits(Values(call.parameters), planted[model], 1e-9);
    }
  }
}

TEST(RetentionExport, HeldParametersComeBackBitForBit) {
  struct Case {
    std::vector<double> settings;
    std::vector<double> start;
  };
  // Outside their ranges too, and with theta_r above 0.95 theta_s.
  for (const Case& c :
       {Case{{0, 0, 1, -1, 0, 0, 0, 1}, {.3, 0, 1, 2}}, Case{{0, 0, 0, -1, 0, 0, 0, 1}, {7, -.0125, -1, 0}},
        Case{{0, 0, 1, -1, 0, 0, 1, 0, 0, 1}, {1.25, 0, 0, 1.005}},
        Case{{2, 0, 1, -1, 0, 0, 0, 0, 0, 0, 1}, {.4, 1, 1, 1, 1000.1}},
        Case{{3, 0, 1, -1, 0, 0, 0, 0, 1}, {.4, .1, 3.7}},
        Case{{1, 0, 1, -1, 0, 0, 0, 0, 0, 0, 1}, {.4, .1, .2, 2, .2}}}) {
    Call call({}, Gilat());
    Fill(call.settings, c.settings);
    Fill(call.parameters, c.start);
    EXPECT_EQ(call.Fit(), 0);
    int held = 0;
    for (std::size_t k = 0; k + 6 < c.settings.size(); ++k) {
      if (c.settings[k + 6] == 0.0) continue;
      ++held;
      const double fitted = call.parameters[static_cast<std::int64_t>(k)];
      EXPECT_EQ(std::memcmp(&fitted, &c.start[k], sizeof fitted), 0) << fitted << " for " << c.start[k];
    }
    EXPECT_GT(held, 0);
  }
}

TEST(RetentionExport, ResidualSuctionIsHeldAtItsUsualValueUnlessFlagged) {
  Call unflagged({2, 0, 1, -1, 0, 0, 0, 0, 0, 0}, Gilat(), {}, {.4, 4, 4, .5, 300});
  EXPECT_EQ(unflagged.Fit(), 0);
  EXPECT_EQ(unflagged.parameters[4], 1500.0);
  Call flagged({2, 0, 1, -1, 0, 0, 0, 0, 0, 0, 0}, Gilat());
  EXPECT_EQ(flagged.Fit(), 0);
  ExpectDigits(flagged.parameters[4], 839.667, 1e-6);
}

TEST(RetentionExport, NothingToSolveStillWritesTheCurves) {
  Call allHeld({0, 0, 1, .47, 0, 0, 1, 2, -3, .5}, Gilat(), SiltGrading(), {.43, .05, .1, 1.6});
  EXPECT_EQ(allHeld.Fit(), 0);
  EXPECT_EQ(Values(allHeld.parameters), (std::vector<double>{.43, .05, .1, 1.6}));
  ASSERT_EQ(allHeld.out.first.GetSize(), 50);
  for (const int i : {0, 23, 49}) {
    ExpectDigits(allHeld.out.first[i].first, std::pow(10.0, -2.0 + 8.0 * i / 49), Tolerance::Rounding);
  }
  EXPECT_EQ(allHeld.out.second.GetSize(), 14);  // derived points whatever is fitted

  // One sieve, or one passing throughout: no derived point and nothing to fit.
  for (const Points& grading : {Points{{.5, 100}}, Points{{.1, 60}, {.5, 60}}, Points{}}) {
    Call call({0, 1, 1, .36}, Gilat(), grading);
    Fill(call.out.second, Gilat());
    EXPECT_EQ(call.Fit(), 0);
    EXPECT_TRUE(call.out.second.IsEmpty());
    EXPECT_EQ(call.parameters[0], .36);
    for (const _T_FUNT_BASE& point : Values(call.out.first)) EXPECT_TRUE(std::isfinite(point.second));
  }
}

TEST(RetentionExport, BothSourcesAreJoined) {
  const double porosity = .4325;  // the wettest measured point: what a missing porosity stands for
  Call derived({0, 1, 1, porosity}, {}, SiltGrading());
  EXPECT_EQ(derived.Fit(), 0);
  Points joined = SiltRetention();
  for (const _T_FUNT_BASE& point : Values(derived.out.second)) joined.push_back(point);
  Call expected({0, 0, 1}, joined);
  Call both({0, 2, 1}, SiltRetention(), SiltGrading());
  EXPECT_EQ(expected.Fit(), both.Fit());
  EXPECT_EQ(Values(both.parameters), Values(expected.parameters));
}

TEST(RetentionExport, ArgumentsMayBeTheSameObject) {
  Call separate({0, 0, 1}, Gilat());
  EXPECT_EQ(separate.Fit(), 0);
  CArray22 curves;
  DoubleArray numbers;
  Fill(curves.first, Gilat());
  Fill(numbers, {0, 0, 1});
  EXPECT_EQ(CurveFitting4UnsaturatedSoil(numbers, curves, numbers, curves), 0);
  EXPECT_EQ(Values(numbers), Values(separate.parameters));
  ASSERT_EQ(curves.first.GetSize(), separate.in.first.GetSize());
  EXPECT_EQ(curves.first[3].first, separate.in.first[3].first);
}

}  // namespace
}  // namespace Xem::Testing
