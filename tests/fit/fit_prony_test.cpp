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

using Fit::Result;

Fit::RelaxationData Polymer() {
  Fit::RelaxationData data;
  data.curve = FitCurve(BundledCurve("polymer_relaxation.csv", "time_s", "g"));
  data.timeUnit = "s";
  return data;
}

/// The series at times spaced evenly on a logarithmic scale, with scatter.
Fit::RelaxationData Series(const std::vector<double>& parameters, double from, double to, int points,
                           double scatter = 0.0) {
  std::mt19937 generator(11);
  std::normal_distribution<double> normal(0.0, 1.0);
  Fit::RelaxationData data;
  for (int i = 0; i < points; ++i) {
    const double time = from * std::pow(to / from, i / (points - 1.0));
    data.curve.x.push_back(time);
    data.curve.y.push_back(Fit::PronyModulus(parameters, time) + (scatter > 0.0 ? scatter * normal(generator) : 0.0));
  }
  return data;
}

/// A random series whose times are a factor of 10 to 100 apart.
std::vector<double> RandomSeries(std::mt19937& generator, std::size_t terms) {
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  std::vector<double> parameters(2 * terms);
  double sum = 0.0;
  for (std::size_t i = 0; i < terms; ++i) sum += parameters[i] = 0.2 + uniform(generator);
  const double total = 0.3 + 0.65 * uniform(generator);
  double decade = -6.0 + 8.0 * uniform(generator);
  for (std::size_t i = 0; i < terms; ++i) {
    parameters[i] *= total / sum;
    parameters[terms + i] = std::pow(10.0, decade);
    decade += 1.0 + uniform(generator);
  }
  return parameters;
}

TEST(FitProny, RecoversRandomSeriesOfTwoToFiveTerms) {
  std::mt19937 generator(2024);
  for (const bool automatic : {false, true}) {
    int recovered = 0;
    for (std::size_t attempt = 0; attempt < 100; ++attempt) {
      const std::size_t terms = 2 + attempt % 4;
      const std::vector<double> truth = RandomSeries(generator, terms);
      const auto data = Series(truth, truth[terms] / 10.0, truth.back() * 10.0, 15 * static_cast<int>(2 * terms + 2));
      const Result result = Fit::FitProny(data, automatic ? Fit::kAutomaticTerms : static_cast<int>(terms));
      bool same = result.parameters.size() == truth.size();
      for (std::size_t k = 0; same && k < truth.size(); ++k) {
        same = std::abs(result.parameters[k].value / truth[k] - 1.0) < 1e-6;
      }
      recovered += same ? 1 : 0;
    }
    EXPECT_GE(recovered, 95) << (automatic ? "automatic" : "given") << " number of terms";
  }
}

TEST(FitProny, ScatterWidensTheIntervalsAroundTheTruth) {
  const std::vector<double> truth{0.2, 0.3, 0.1, 0.5, 20.0, 3000.0};
  const Result result = Fit::FitProny(Series(truth, 0.01, 1e5, 200, 2e-3), Fit::kAutomaticTerms);
  ASSERT_EQ(result.terms, 3);
  for (std::size_t k = 0; k < truth.size(); ++k) {
    EXPECT_NEAR(result.parameters[k].value, truth[k], 3.5 * result.parameters[k].standardError);
    EXPECT_LT(result.parameters[k].standardError, 0.1 * truth[k]);
  }
  EXPECT_NEAR(result.derived.at("g_infinity"), 0.4, 5e-3);
}

TEST(FitProny, TakesAwayTermsThatTheCurveDoesNotShow) {
  const std::vector<double> truth{0.3, 0.2, 1.0, 500.0};
  for (const int terms : {3, 6, 25}) {
    const Result result = Fit::FitProny(Series(truth, 0.05, 1e4, 80), terms);
    ASSERT_EQ(result.terms, 2) << terms;
    ExpectAllDigits(std::vector<double>{result.Value("g1"), result.Value("tau2")}, std::vector<double>{0.3, 500.0},
                    1e-6);
    EXPECT_TRUE(Mentions(result.notes, "the data support 2")) << terms;
  }
}

TEST(FitProny, ChoosesNoNumberOfTermsThatLeavesOneOpen) {
  const auto open = [](const Result& result) {
    std::size_t count = 0;
    for (const Fit::Parameter& parameter : result.parameters) {
      const bool known = parameter.name[0] == 'g' ? parameter.lower > 0.0 : parameter.standardError < parameter.value;
      count += known ? 0 : 1;
    }
    return count;
  };
  std::mt19937 generator(4);
  std::normal_distribution<double> normal(0.0, 5e-3);
  int better = 0;
  for (int attempt = 0; attempt < 30; ++attempt) {
    Fit::RelaxationData data = Series(RandomSeries(generator, 2), 1e-8, 1e6, 120);
    for (double& value : data.curve.y) value += normal(generator);
    const Result chosen = Fit::FitProny(data, Fit::kAutomaticTerms);
    EXPECT_EQ(open(chosen), 0u) << attempt;
    const Result longer = Fit::FitProny(data, chosen.terms + 1);
    better += longer.terms > chosen.terms && longer.measures.aicc < chosen.measures.aicc - 2.0 ? 1 : 0;
  }
  EXPECT_GT(better, 0) << "by the criterion alone none would be longer";
}

TEST(FitProny, CoefficientsStayNonNegativeWithSumUpToOne) {
  // A curve that falls faster than the law allows it to (to zero, with an undershoot) and one that rises again.
  Fit::RelaxationData falling = Series({1.0, 1.0}, 0.02, 50.0, 60);
  for (double& value : falling.curve.y) value = 1.05 * value - 0.05;
  Fit::RelaxationData rising = Series({0.5, 1.0}, 0.02, 50.0, 60);
  for (std::size_t i = 0; i < 60; ++i) rising.curve.y[i] += 0.002 * static_cast<double>(i);
  for (const auto& data : {falling, rising}) {
    for (const int terms : {1, 3}) {
      const Result result = Fit::FitProny(data, terms);
      double sum = 0.0;
      for (int i = 0; i < result.terms; ++i) {
        EXPECT_GE(result.parameters[static_cast<std::size_t>(i)].value, 0.0);
        sum += result.parameters[static_cast<std::size_t>(i)].value;
      }
      EXPECT_LE(sum, 1.0 + 1e-12);
    }
  }
  EXPECT_TRUE(Mentions(Fit::FitProny(falling, 1).notes, "the modulus vanishes"));
  EXPECT_TRUE(Mentions(Fit::FitProny(Series({0.5, 90.0}, 0.02, 50.0, 60), 1).notes, "tau1 lies beyond"));
}

TEST(FitProny, HeldAndStartedParametersKeepTheirNames) {
  const std::vector<double> truth{0.3, 0.2, 1.0, 500.0};
  Fit::Options options;
  options.held = {{"tau1", 500.0}, {"g2", 0.3}};
  const Result result = Fit::FitProny(Series(truth, 0.05, 1e4, 80), 2, options);
  EXPECT_EQ(result.Value("tau1"), 500.0);
  EXPECT_EQ(result.Value("g2"), 0.3);
  ExpectDigits(result.Value("g1"), 0.2, 1e-9);
  ExpectDigits(result.Value("tau2"), 1.0, 1e-9);
  for (const auto& held : {std::map<std::string, double>{{"tau1", -1.0}}, {{"g1", 0.7}, {"g2", 0.7}}, {{"g3", 0.1}}}) {
    options.held = held;
    EXPECT_THROW(Fit::FitProny(Series(truth, 0.05, 1e4, 80), 2, options), Fit::Error);
  }
}

TEST(FitProny, RawModuliAreNormalisedOrRefused) {
  const std::vector<double> truth{0.3, 0.2, 1.0, 500.0};
  Fit::RelaxationData data = Series(truth, 0.05, 1e4, 80);
  for (double& value : data.curve.y) value *= 1739.0;
  EXPECT_THROW(Fit::FitProny(data, 2), Fit::Error);
  data.normalise = Fit::Normalise::Value;
  data.modulus = 1739.0;
  const Result given = Fit::FitProny(data, 2);
  ExpectDigits(given.Value("g2"), 0.2, 1e-6);
  ExpectDigits(given.derived.at("long_term_modulus"), 0.5 * 1739.0, 1e-6);

  data.curve.x.insert(data.curve.x.begin(), 0.0);
  data.curve.y.insert(data.curve.y.begin(), 1739.0);
  data.normalise = Fit::Normalise::First;
  const Result first = Fit::FitProny(data, 2);
  ExpectDigits(first.Value("g2"), 0.2, 1e-6);
  ASSERT_EQ(first.dropped.size(), 1u);
  EXPECT_EQ(first.dropped[0].reason, "the point that the curve is normalised by");
  data.normalise = Fit::Normalise::Value;
  data.modulus = -1.0;
  EXPECT_THROW(Fit::FitProny(data, 2), Fit::Error);
}

TEST(FitProny, UnusablePointsAreNamed) {
  Fit::RelaxationData data = Polymer();
  data.curve.x[0] = 0.0;
  data.curve.y[2] = 1.0;
  data.curve.y[4] = NAN;
  data.curve.y[6] = -0.055;  // more than scatter takes a curve below 0
  const Result result = Fit::FitProny(data, 2);
  ASSERT_EQ(result.dropped.size(), 4u);
  const char* reasons[] = {"time 0 is not positive", "ratio 1 is not below 1", "not a finite number", "below 0"};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(result.dropped[i].row, static_cast<int>(2 * i) + 1);
    EXPECT_NE(result.dropped[i].reason.find(reasons[i]), std::string::npos);
  }
  data.curve.x.resize(3);
  data.curve.y.resize(3);
  EXPECT_THROW(Fit::FitProny(data, 2), Fit::Error);
  for (const int terms : {-1, 41}) EXPECT_THROW(Fit::FitProny(Polymer(), terms), Fit::Error);
}

TEST(FitProny, ThousandsOfPointsOverThirtyDecades) {
  std::vector<double> truth;
  for (int i = 0; i < 6; ++i) truth.push_back(0.15);
  for (int i = 0; i < 6; ++i) truth.push_back(std::pow(10.0, -13.0 + 5.0 * i));
  const Result result = Fit::FitProny(Series(truth, 1e-15, 1e15, 4000, 1e-3), 6);
  ASSERT_EQ(result.terms, 6);
  EXPECT_NEAR(result.measures.rmse, 1e-3, 5e-5);
  for (std::size_t k = 0; k < truth.size(); ++k) {
    EXPECT_NEAR(result.parameters[k].value, truth[k], 4.0 * result.parameters[k].standardError);
  }
}

TEST(ConvertToRelaxation, DividesAndNamesPointsWithoutStress) {
  Fit::Curve record;
  record.x = {1.0, 2.0, 3.0, 4.0};
  record.y = {0.5, 0.0, 0.25, 9.0};
  const auto stress = [](double strain) { return strain > 1.0 ? NAN : 2.0 * strain; };
  const Result result = Fit::ConvertToRelaxation(record, 1.5, stress);
  EXPECT_EQ(result.curves[0].x, (std::vector<double>{1.0, 3.0}));
  EXPECT_EQ(result.curves[0].fitted, (std::vector<double>{1.5, 3.0}));
  EXPECT_EQ(result.dropped.size(), 2u);
  EXPECT_THROW(Fit::ConvertToRelaxation(record, 0.0, stress), Fit::Error);
}

}  // namespace
}  // namespace Xem::Testing
