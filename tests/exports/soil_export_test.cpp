#include <cstring>

#include "support/curves.h"
#include "support/near.h"
#include "xem/soil.h"

namespace Xem::Testing {
namespace {

using Points = std::vector<_T_FUNT_BASE>;

/// Arguments of one call.
struct RetentionCall {
  DoubleArray settings;
  CArray22 in;
  DoubleArray parameters;
  CArray22 out;

  RetentionCall(std::initializer_list<double> given, const Points& measured, const Points& grading = {},
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
  return {{2, 1}, {.25, .97}, {.125, .89}, {.063, .71}, {.02, .32}, {.01, .22}, {.006, .18}, {.002, .13}};
}

/// Sum of squared residuals, in percent, of the curve that the export writes at the given points.
double PercentSquares(RetentionCall& call, const Points& points) {
  RetentionCall again({call.settings[0], 0, 1, -1, 0, 0, 1, 1, 1, 1, 1}, {}, {});
  Fill(again.parameters, Values(call.parameters));
  Fill(again.out.first, points);
  EXPECT_EQ(again.Fit(), 0);
  double sum = 0.0;
  for (std::size_t i = 0; i < points.size(); ++i) {
    sum += std::pow(100.0 * (points[i].second - again.out.first[static_cast<std::int64_t>(i)].second), 2);
  }
  return sum;
}

// References from a general least-squares solver.
TEST(RetentionExport, ReachesTheIndependentMinimumOfGilatLoam) {
  const std::pair<std::vector<double>, double> examples[] = {{{0, 0, 1}, 68.5339},
                                                             {{1, 0, 1}, 34.1416},
                                                             {{2, 0, 1, -1, 0, 0, 0, 0, 0, 0, 0}, 3.58827},
                                                             {{2, 0, 1}, 3.77598},
                                                             {{3, 0, 1}, 35.9811}};
  for (const auto& [settings, squares] : examples) {
    RetentionCall call({}, Gilat());
    Fill(call.settings, settings);
    EXPECT_EQ(call.Fit(), 0);
    ExpectDigits(PercentSquares(call, Gilat()), squares, 3e-6);
    EXPECT_TRUE(call.out.second.IsEmpty());
  }
}

TEST(RetentionExport, ExactDataComeBackFromTheAutomaticStart) {
  const std::vector<std::vector<double>> planted{
      {.43, .05, .1, 1.6}, {.43, .05, .1, 1.6, .5}, {.45, 20, 1.5, 1.2, 1500}, {.43, .05, 8, .4}};
  for (std::size_t model = 0; model < planted.size(); ++model) {
    const auto code = static_cast<double>(model);
    RetentionCall exact({code, 0, 0, -1, 0, 0, 1, 1, 1, 1, 1}, {});
    Fill(exact.parameters, planted[model]);
    for (int i = 0; i < 23; ++i) exact.out.first.Add({std::pow(10.0, -1.0 + 5.5 * i / 22), 0.0});
    ASSERT_EQ(exact.Fit(), 0);
    for (const double variant : {0.0, 1.0}) {
      RetentionCall call({code, 0, variant}, Values(exact.out.first));
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
    RetentionCall call({}, Gilat());
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
  RetentionCall unflagged({2, 0, 1, -1, 0, 0, 0, 0, 0, 0}, Gilat(), {}, {.4, 4, 4, .5, 300});
  EXPECT_EQ(unflagged.Fit(), 0);
  EXPECT_EQ(unflagged.parameters[4], 1500.0);
}

TEST(RetentionExport, NothingToSolveStillWritesTheCurves) {
  RetentionCall allHeld({0, 0, 1, .47, 0, 0, 1, 2, -3, .5}, Gilat(), SiltGrading(), {.43, .05, .1, 1.6});
  EXPECT_EQ(allHeld.Fit(), 0);
  EXPECT_EQ(Values(allHeld.parameters), (std::vector<double>{.43, .05, .1, 1.6}));
  ASSERT_EQ(allHeld.out.first.GetSize(), 50);
  for (const int i : {0, 23, 49}) {
    ExpectDigits(allHeld.out.first[i].first, std::pow(10.0, -2.0 + 8.0 * i / 49), Tolerance::Rounding);
  }
  EXPECT_FALSE(allHeld.out.second.IsEmpty());  // derived points whatever is fitted

  // One sieve, or one passing throughout: no derived point and nothing to fit.
  for (const Points& grading : {Points{{.5, 100}}, Points{{.1, 60}, {.5, 60}}, Points{}}) {
    RetentionCall call({0, 1, 1, .36}, Gilat(), grading);
    Fill(call.out.second, Gilat());
    EXPECT_EQ(call.Fit(), 0);
    EXPECT_TRUE(call.out.second.IsEmpty());
    EXPECT_EQ(call.parameters[0], .36);
    for (const _T_FUNT_BASE& point : Values(call.out.first)) EXPECT_TRUE(std::isfinite(point.second));
  }
}

TEST(RetentionExport, BothSourcesAreJoined) {
  const double porosity = .44;  // the wettest measured point: what a missing porosity stands for
  RetentionCall derived({0, 1, 1, porosity}, {}, SiltGrading());
  EXPECT_EQ(derived.Fit(), 0);
  Points joined = Gilat();
  for (const _T_FUNT_BASE& point : Values(derived.out.second)) joined.push_back(point);
  RetentionCall expected({0, 0, 1}, joined);
  RetentionCall both({0, 2, 1}, Gilat(), SiltGrading());
  EXPECT_EQ(expected.Fit(), both.Fit());
  EXPECT_EQ(Values(both.parameters), Values(expected.parameters));
}

TEST(RetentionExport, ArgumentsMayBeTheSameObject) {
  RetentionCall separate({0, 0, 1}, Gilat());
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
