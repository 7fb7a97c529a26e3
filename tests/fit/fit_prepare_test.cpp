#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "support/near.h"
#include "xem/fit/prepare.h"

// From records to curves: what was planted in a record comes out of it.
namespace Xem::Testing {
namespace {

using namespace Fit;

Curve CurveOf(const std::function<double(double)>& stress, double from, double to, int points) {
  Curve curve;
  curve.name = "planted";
  for (int i = 0; i < points; ++i) {
    curve.x.push_back(from + (to - from) * i / (points - 1));
    curve.y.push_back(stress(curve.x.back()));
  }
  return curve;
}

/// Loading to rising amplitudes, each twice, and back to a growing set; the points at which each cycle begins and
/// turns.
struct CyclicRecord {
  Curve record;
  std::vector<Cycle> cycles;
};

CyclicRecord MakeCyclic(double sign, double noise, int steps) {
  CyclicRecord made;
  std::mt19937 random(7);
  std::normal_distribution<double> scatter(0.0, 1.0);
  const auto add = [&](double strain, double stress) {
    made.record.x.push_back(sign * strain + noise * scatter(random));
    made.record.y.push_back(sign * stress);
    made.record.rows.push_back(static_cast<int>(made.record.x.size()) + 1);
  };
  double set = 0.0;
  add(0.0, 0.0);
  for (const double amplitude : {0.1, 0.1, 0.5, 0.5, 1.0, 1.0}) {
    Cycle cycle{made.record.x.size() - 1};
    const double next = set + 0.01;
    for (int i = 1; i <= steps; ++i) add(set + (amplitude - set) * i / steps, 2.0 * i / steps);
    cycle.peak = made.record.x.size() - 1;
    for (int i = 1; i < steps; ++i)
      add(amplitude + (next - amplitude) * i / (steps - 1), 2.0 * (steps - 1 - i) / steps);
    cycle.last = made.record.x.size() - 1;
    made.cycles.push_back(cycle);
    set = next;
  }
  return made;
}

TEST(Prepare, CyclesOfARecordAreFoundWhereTheyTurn) {
  for (const double sign : {1.0, -1.0}) {
    for (const auto& [noise, steps] : {std::pair(0.0, 5), {0.0, 400}, {2e-3, 100}}) {
      const CyclicRecord made = MakeCyclic(sign, noise, steps);
      const std::vector<Cycle> found = FindCycles(made.record);
      ASSERT_EQ(found.size(), made.cycles.size()) << noise << ' ' << steps;
      // Noise decides which of the neighbours of a turn is the outermost.
      const double slack = noise > 0.0 ? 8.0 : 0.0;
      for (std::size_t i = 0; i < found.size(); ++i) {
        for (const auto point : {&Cycle::first, &Cycle::peak, &Cycle::last}) {
          EXPECT_NEAR(static_cast<double>(found[i].*point), static_cast<double>(made.cycles[i].*point), slack) << i;
        }
      }
    }
  }
  const CyclicRecord made = MakeCyclic(1.0, 0.0, 50);
  PrepareOptions options;
  options.zero = true;
  options.cycle = 5;
  RawRecord record;
  record.curve.curve = made.record;
  const Curve loading = Prepare(record, options).curve;
  ASSERT_EQ(loading.x.size(), 51u);
  EXPECT_EQ(loading.Row(0), made.record.Row(made.cycles[4].first));
  for (std::size_t i = 0; i < 51; ++i)
    ExpectNear(loading.x[i], 0.96 * static_cast<double>(i) / 50.0, Tolerance::Rounding);
  options.branch = Branch::Unloading;
  options.cycle = kLastCycle;
  const Curve unloading = Prepare(record, options).curve;
  EXPECT_EQ(unloading.Row(0), made.record.Row(made.cycles[5].peak));
  EXPECT_EQ(unloading.x.back(), 0.0);
  EXPECT_THROW(FindToe(CurveOf([](double e) { return 1.0 - e; }, 0.0, 1.0, 50)), Error);
}

TEST(Prepare, ToeIsTakenOutDownToThePlantedZero) {
  // Straight to a strain of 0.1 behind a slack of 0.03, then softening; the slack is a parabola that meets it at 0.04.
  const auto law = [](double e) { return e < 0.1 ? 5.0 * e : 0.5 + 0.5 * std::tanh(8.0 * (e - 0.1)); };
  const Curve slack =
      CurveOf([&](double x) { return x > 0.04 ? law(x - 0.03) : 0.05 * x * x / 0.0016; }, 0.0, 0.5, 501);
  const Toe toe = FindToe(slack);
  EXPECT_NEAR(toe.strain, 0.03, 2e-4);
  EXPECT_NEAR(toe.slope, 5.0, 0.05);
  const Curve curve = WithoutToe(slack, toe);
  EXPECT_EQ(curve.x.front(), 0.0);
  for (std::size_t i = 0; i < curve.x.size(); ++i) EXPECT_NEAR(curve.y[i], law(curve.x[i]), 2e-3) << curve.x[i];
}

TEST(Prepare, TrueMeasuresAreThoseOfASpecimenThatKeepsItsVolume) {
  const Curve engineering = CurveOf([](double e) { return 3.0 * e; }, -0.5, 2.0, 26);
  const Curve truly = ToTrue(engineering);
  ExpectNear(truly.x.back(), std::log(3.0), Tolerance::Rounding);
  ExpectNear(truly.y.back(), 18.0, Tolerance::Rounding);
  const Curve back = ToEngineering(truly);
  for (std::size_t i = 0; i < back.x.size(); ++i) {
    ExpectNear(back.x[i], engineering.x[i], Tolerance::Rounding);
    ExpectNear(back.y[i], engineering.y[i], Tolerance::Rounding);
  }
}

TEST(Prepare, ThinningKeepsToTheBoundThatItStates) {
  const auto stress = [](double e) { return std::tanh(6.0 * e) + e * e * e; };
  const Curve curve = CurveOf(stress, 0.0, 2.0, 2001);
  double before = 10.0;
  for (const std::size_t points : {5u, 20u, 80u}) {
    const Thinned thinned = Thin(curve, points);
    ASSERT_EQ(thinned.curve.x.size(), points);
    double furthest = 0.0;
    for (std::size_t i = 0, right = 1; i < curve.x.size(); ++i) {
      while (thinned.curve.x[right] < curve.x[i]) ++right;
      const double share =
          (curve.x[i] - thinned.curve.x[right - 1]) / (thinned.curve.x[right] - thinned.curve.x[right - 1]);
      const double line = thinned.curve.y[right - 1] + share * (thinned.curve.y[right] - thinned.curve.y[right - 1]);
      furthest = std::max(furthest, std::abs(curve.y[i] - line));
    }
    ExpectNear(thinned.error, furthest, Tolerance::Rounding);
    // Chords that follow a curvature leave an error that falls with the square of their number.
    EXPECT_LT(thinned.error, before / 8.0);
    before = thinned.error;
  }
  EXPECT_EQ(Thin(MakeCyclic(1.0, 0.0, 100).record, 19).curve.x.size(), 19u);
}

TEST(Prepare, SmoothingKeepsParabolasAndTakesAwayTheScatterThatLeastSquaresDo) {
  const auto parabola = [](double e) { return 1.0 + 2.0 * e - 3.0 * e * e; };
  const Curve curve = CurveOf(parabola, 0.0, 1.0, 1000);
  const Smoothed same = Smooth(curve);
  for (std::size_t i = 0; i < curve.y.size(); ++i) EXPECT_NEAR(same.curve.y[i], curve.y[i], 1e-11);
  Curve noisy = curve;
  std::mt19937 random(3);
  std::normal_distribution<double> scatter(0.0, 0.1);
  for (double& y : noisy.y) y += scatter(random);
  const Smoothed smoothed = Smooth(noisy);
  double squares = 0.0;
  for (std::size_t i = 50; i < 950; ++i) squares += std::pow(smoothed.curve.y[i] - curve.y[i], 2) / 900.0;
  // Variance of a fitted parabola in the middle of n points: 9/4 (n^2 - 7/3) / (n (n^2 - 4)) about.
  const double n = smoothed.window;
  EXPECT_NEAR(squares / 0.01, 2.25 * (n * n - 7.0 / 3.0) / (n * (n * n - 4.0)), 0.04);
}

TEST(Prepare, MeanOfReplicatesHasTheirScatter) {
  const auto stress = [](double e) { return 2.0 * e; };
  std::vector<Curve> tests;
  for (const double factor : {0.9, 1.0, 1.25}) {
    tests.push_back(CurveOf([&](double e) { return factor * stress(e); }, 0.1 * factor, 1.0 + factor, 40));
  }
  const MeanCurve mean = Average(tests, 11);
  ExpectNear(mean.curve.x.front(), 0.125, Tolerance::Rounding);
  ExpectNear(mean.curve.x.back(), 1.9, Tolerance::Rounding);
  const double deviation = std::sqrt((0.15 * 0.15 + 0.05 * 0.05 + 0.2 * 0.2) / 2.0);
  for (std::size_t i = 0; i < 11; ++i) {
    ExpectNear(mean.curve.y[i], 1.05 * stress(mean.curve.x[i]), Tolerance::Rounding);
    ExpectNear(mean.deviation[i], deviation * stress(mean.curve.x[i]), Tolerance::Rounding);
  }
  EXPECT_THROW(Average({MakeCyclic(1.0, 0.0, 20).record}), Error);
}

TEST(Replicates, FitLikeTheirMeanAndWeighByTheirScatter) {
  // C10 that explains each test exactly: 1.8, 2.2 (uniaxial) and 3 (pure shear).
  const auto uniaxial = [](double e) { return 2.0 * (1.0 + e - std::pow(1.0 + e, -2.0)); };
  const auto shear = [](double e) { return 2.0 * (1.0 + e - std::pow(1.0 + e, -3.0)); };
  HyperelasticData data;
  data.uniaxial = CurveOf([&](double e) { return 1.8 * uniaxial(e); }, 0.1, 1.0, 10);
  data.replicates.push_back({"uniaxial", CurveOf([&](double e) { return 2.2 * uniaxial(e); }, 0.1, 1.0, 10)});
  const Result both = Fit::Fit({"neo-hooke"}, data);
  ExpectNear(both.Value("C10"), 2.0, Tolerance::Rounding);
  ASSERT_EQ(both.curves.size(), 2u);
  EXPECT_EQ(both.curves[1].name, "uniaxial_2");
  ExpectNear(both.evaluate("uniaxial_2", 0.5), 2.0 * uniaxial(0.5), Tolerance::Rounding);

  data.pureShear = CurveOf([&](double e) { return 3.0 * shear(e); }, 0.1, 1.0, 10);
  std::vector<std::string> notes;
  WeighByScatter(Residual::Absolute, data, notes);
  // The weighted normal equation, by hand: weights go with the inverse of each mode's scatter.
  const double scatter = 0.2 * std::sqrt(2.0) / 2.0;  // of the uniaxial tests, relative to their mean
  double moment = 0.0;
  double square = 0.0;
  double sizes[2] = {0.0, 0.0};
  for (const double e : data.uniaxial.x) {
    sizes[0] += std::pow(2.0 * uniaxial(e), 2) / 10.0;
    sizes[1] += std::pow(3.0 * shear(e), 2) / 10.0;
  }
  for (const double e : data.uniaxial.x) {
    const double u = uniaxial(e) / (scatter * std::sqrt(sizes[0]));
    const double p = shear(e) / (scatter * std::sqrt(sizes[1]));
    moment += u * u * (1.8 + 2.2) + p * p * 3.0;
    square += 2.0 * u * u + p * p;
  }
  ExpectNear(Fit::Fit({"neo-hooke"}, data).Value("C10"), moment / square, Tolerance::Rounding);
  EXPECT_EQ(notes.size(), 2u);
}

}  // namespace
}  // namespace Xem::Testing
