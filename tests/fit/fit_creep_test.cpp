#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "support/curves.h"
#include "support/fit_curves.h"
#include "support/near.h"
#include "xem/fit/viscoelastic.h"

namespace Xem::Testing {
namespace {

using Fit::CreepTerms;
using Fit::Result;

Fit::CreepData Metal(double stress, bool withTertiary) {
  Fit::CreepData data;
  const auto points = withTertiary
                          ? BundledCurve("metal_creep_500MPa.csv", "time_h", "creep_strain")
                          : BundledCurve("metal_creep_500MPa.csv", "time_h", "creep_strain", "primary_secondary", "1");
  data.tests.push_back({FitCurve(points, "metal"), stress});
  return data;
}

Fit::Options Relative() {
  Fit::Options options;
  options.residual = Fit::Residual::Relative;
  return options;
}

TEST(FitCreep, TertiaryPointsAreFlaggedAndLeftOut) {
  const Result result = Fit::FitCreep(Metal(500.0, true), CreepTerms::Both, Relative());
  // The record marks the points from 107.42 h on, lines 43 to 56 of the file, as tertiary.
  ASSERT_EQ(result.dropped.size(), 15u);
  EXPECT_EQ(result.curves[0].x.back(), 104.45);
  EXPECT_NE(result.dropped.back().reason.find("tertiary"), std::string::npos);
  ExpectDigits(result.derived.at("m"), 0.3312, 1e-3);
  Fit::CreepData kept = Metal(500.0, true);
  kept.tertiary = Fit::Tertiary::Keep;
  EXPECT_EQ(Fit::FitCreep(kept, CreepTerms::Both, Relative()).dropped.size(), 1u);
}

TEST(FitCreep, TheTertiaryStageBeginsWhereItsShareOfTheStrainShows) {
  // A cubic term from t = 40 on, or for most of the test; it shows where it exceeds a thousandth of the strain.
  for (const auto& [acceleration, onset] : {std::pair(2e-7, 40.0), {2e-6, 40.0}, {2e-6, 10.0}}) {
    Fit::CreepTest test{{}, 100.0};
    std::size_t expected = 0;
    for (int i = 1; i <= 60; ++i) {
      const double excess = i > onset ? acceleration * std::pow(i - onset, 3) : 0.0;
      const double strain = 1e-3 * std::pow(i, 0.35) + 2e-5 * i + excess;
      test.curve.x.push_back(i);
      test.curve.y.push_back(strain);
      if (excess > 1e-3 * strain && expected == 0) expected = test.curve.x.size() - 1;
    }
    Fit::CreepData data;
    data.tests.push_back(test);
    const Result result = Fit::FitCreep(data, CreepTerms::Both);
    ASSERT_EQ(result.curves[0].x.size(), expected);
    ExpectDigits(result.derived.at("m"), 0.35, 1e-2);
  }
}

constexpr double kC1 = 2e-9, kC2 = 2.1, kC4 = 0.35, kC5 = 3e-22, kC6 = 6.2;

Fit::CreepData Planted(const std::vector<double>& stresses, double scatter = 0.0, double unit = 1.0,
                       CreepTerms terms = CreepTerms::Both) {
  std::mt19937 generator(5);
  std::normal_distribution<double> normal(0.0, 1.0);
  Fit::CreepData data;
  for (const double stress : stresses) {
    Fit::CreepTest test;
    test.stress = stress * unit;
    test.curve.name = "s" + std::to_string(static_cast<int>(stress));
    for (int i = 1; i <= 40; ++i) {
      const double time = 2.5 * i;
      double strain = 0.0;
      if (terms != CreepTerms::Secondary) strain += kC1 * std::pow(stress, kC2) * std::pow(time, kC4);
      if (terms != CreepTerms::Primary) strain += kC5 * std::pow(stress, kC6) * time;
      test.curve.x.push_back(time);
      test.curve.y.push_back(strain * (1.0 + scatter * normal(generator)));
    }
    data.tests.push_back(test);
  }
  return data;
}

TEST(FitCreep, SeveralStressesIdentifyTheExponents) {
  for (const double unit : {1.0, 1e6, 1e-3}) {
    const Result exact = Fit::FitCreep(Planted({300, 350, 420, 500}, 0.0, unit), CreepTerms::Both, Relative());
    const std::vector<double> truth{kC1 * std::pow(unit, -kC2), kC2, kC4, kC5 * std::pow(unit, -kC6), kC6};
    for (std::size_t k = 0; k < truth.size(); ++k) ExpectDigits(exact.parameters[k].value, truth[k], 1e-8);
    EXPECT_EQ(exact.dropped.size(), 0u);
  }
  const Result scattered = Fit::FitCreep(Planted({300, 350, 420, 500}, 0.01, 1.0), CreepTerms::Both, Relative());
  for (const auto& [k, truth] : {std::pair(1u, kC2), {2u, kC4}, {4u, kC6}}) {
    const Fit::Parameter& parameter = scattered.parameters[k];
    EXPECT_TRUE(parameter.lower < truth && truth < parameter.upper) << parameter.name;
    EXPECT_LT(parameter.standardError, 0.1 * truth);
  }
}

TEST(FitCreep, SingleTermsAndMissingStages) {
  const auto steady = Planted({300, 500}, 0.0, 1.0, CreepTerms::Secondary);
  ExpectDigits(Fit::FitCreep(steady, CreepTerms::Secondary).Value("C5"), kC5, 1e-8);
  ExpectDigits(Fit::FitCreep(steady, CreepTerms::Secondary).Value("C6"), kC6, 1e-9);
  const auto hardening = Planted({300, 500}, 0.0, 1.0, CreepTerms::Primary);
  ExpectDigits(Fit::FitCreep(hardening, CreepTerms::Primary).Value("C4"), kC4, 1e-9);
  const Result both = Fit::FitCreep(hardening, CreepTerms::Both);
  ExpectDigits(both.Value("C2"), kC2, 1e-6);
  EXPECT_LT(both.Value("C5") * std::pow(500.0, both.Value("C6")), 1e-12);
}

TEST(FitCreep, RefusesWhatItCannotServe) {
  EXPECT_THROW(Fit::FitCreep({}, CreepTerms::Both), Fit::Error);
  EXPECT_THROW(Fit::FitCreep(Metal(std::nan(""), false), CreepTerms::Both), Fit::Error);
  Fit::CreepData twice = Metal(500.0, false);
  twice.tests.push_back(twice.tests.front());
  EXPECT_THROW(Fit::FitCreep(twice, CreepTerms::Both), Fit::Error);
  // The exports take one test.
  Fit::Options plain;
  plain.engine = Fit::Engine::Export;
  EXPECT_THROW(Fit::FitCreep(Planted({300, 500}, 0.0, 1.0), CreepTerms::Both, plain), Fit::Error);
}

}  // namespace
}  // namespace Xem::Testing
