#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

#include "support/curves.h"
#include "support/fit_curves.h"
#include "support/near.h"
#include "xem/fit/compare.h"
#include "xem/fit/fit.h"
#include "xem/fit/json.h"

namespace Xem::Testing {
namespace {

using Fit::Result;

constexpr double kNone = std::numeric_limits<double>::infinity();

Fit::Curve CurveOf(const std::vector<double>& x, const std::function<double(double)>& y) {
  Fit::Curve curve;
  for (const double at : x) {
    curve.x.push_back(at);
    curve.y.push_back(y(at));
  }
  return curve;
}

std::vector<double> Decades(double from, double to, int points) {
  std::vector<double> x;
  for (int i = 0; i < points; ++i) x.push_back(from * std::pow(to / from, i / (points - 1.0)));
  return x;
}

const Fit::Parameter& Called(const Result& result, const std::string& name) {
  for (const Fit::Parameter& parameter : result.parameters) {
    if (parameter.name == name) return parameter;
  }
  throw Fit::Error(Fit::ErrorKind::BadInput, "no parameter " + name);
}

/// A curve that no polynomial describes.
Fit::HyperelasticData Stiffening() {
  Fit::HyperelasticData data;
  for (int i = 1; i <= 20; ++i) {
    const double x = 0.1 * i;
    data.uniaxial.x.push_back(x);
    data.uniaxial.y.push_back(x / (1.0 + 0.3 * x) + 0.05 * x * x * x);
  }
  return data;
}

struct Bounded {
  std::map<std::string, Fit::Interval> bounds;
  std::vector<double> parameters;  ///< of scipy.optimize
  double objective;
  std::vector<std::string> atBound;
};

void ExpectBounded(const Bounded& expected, const Result& result) {
  EXPECT_TRUE(result.converged);
  ExpectDigits(result.measures.objective, expected.objective, 1e-7, "objective");
  std::vector<std::string> atBound;
  for (std::size_t k = 0; k < result.parameters.size(); ++k) {
    const Fit::Parameter& parameter = result.parameters[k];
    EXPECT_NEAR(parameter.value, expected.parameters[k], 1e-5 * std::abs(expected.parameters[k])) << parameter.name;
    if (parameter.atBound) atBound.push_back(parameter.name);
  }
  EXPECT_EQ(atBound, expected.atBound);
}

TEST(Bounds, LeadToTheMinimumThatSciPyFinds) {
  for (const Bounded& expected :
       {Bounded{{{"C01", {0.0, kNone}}, {"C10", {0.0, kNone}}},
                {0.18011695527884494, 0.0, 0.01957714621551392, -0.07208203294979952, 0.11042377850667306},
                1.8210053349015815e-05,
                {"C01"}},
        Bounded{{{"C10", {0.1, 0.12}}, {"C01", {0.0, kNone}}, {"C11", {-0.01, 0.01}}, {"C02", {-kNone, 0.004}}},
                {0.12, 0.12253755937468304, 0.005020316852579722, 0.01, 0.004},
                0.00823546526674878,
                {"C10", "C11", "C02"}}}) {
    Fit::Options options;
    options.bounds = expected.bounds;
    ExpectBounded(expected, Fit::FitPolynomial(Stiffening(), 2, options));
  }
  // Shares of a series, and the modulus of raw data.
  Fit::RelaxationData data;
  data.curve = CurveOf(Decades(0.01, 1000.0, 40), [](double t) { return 800 * (0.3 + 0.7 * std::pow(1 + t, -0.35)); });
  data.normalise = Fit::Normalise::Free;
  const Bounded expected{{{"g1", {-kNone, 0.15}}, {"E0", {700.0, 780.0}}},
                         {0.15, 0.4251530687397823, 0.9803011388674049, 14.343480570606388, 780.0},
                         17877.83237582575,
                         {"g1", "E0"}};
  Fit::Options options;
  options.bounds = expected.bounds;
  ExpectBounded(expected, Fit::FitProny(data, 2, options));
}

TEST(Bounds, ThatMakeNoSenseAreRefusedInASentence) {
  const auto message = [](const Fit::Options& options) -> std::string {
    try {
      Fit::FitPolynomial(Stiffening(), 1, options);
    } catch (const Fit::Error& error) {
      return error.Kind() == Fit::ErrorKind::BadInput ? error.what() : "of another kind";
    }
    return "accepted";
  };
  Fit::Options options;
  options.bounds = {{"C10", {0.2, 0.4}}};
  options.held = {{"C10", 0.5}};
  EXPECT_EQ(message(options), "the held value of parameter C10, 0.5, lies outside its bounds, 0.2 to 0.4");
  options.held.clear();
  options.start = {{"C10", 0.1}};
  EXPECT_EQ(message(options), "the start of parameter C10, 0.1, lies outside its bounds, 0.2 to 0.4");
  options.start.clear();
  options.engine = Fit::Engine::Export;
  EXPECT_NE(message(options).find("export engine"), std::string::npos);
  options = {};
  options.bounds = {{"mu", {0.0, 1.0}}};
  EXPECT_NE(message(options).find("C10, C01"), std::string::npos);
  options = {};
  options.ranges = {{"biaxial", {0.0, 1.0}}};
  EXPECT_NE(message(options).find("only uniaxial"), std::string::npos);
  options.ranges = {};
  options.level = 95.0;
  EXPECT_NE(message(options).find("0.95 stands for 95 %"), std::string::npos);
}

TEST(Ranges, LeaveOutAndListWhatLiesOutside) {
  Fit::Options options;
  options.ranges = {{"", {-kNone, 1.05}}, {"uniaxial", {0.25, kNone}}};
  Fit::HyperelasticData data = Stiffening();
  data.equibiaxial = data.uniaxial;
  const Result result = Fit::FitPolynomial(data, 1, options);
  EXPECT_EQ(result.curves[0].x.front(), data.uniaxial.x[2]);
  EXPECT_EQ(result.curves[1].measures.points, 10);
  EXPECT_EQ(result.curves[1].measures.dropped, 10);
  ASSERT_EQ(result.dropped.size(), 12u);
  EXPECT_EQ(result.dropped[0].row, 1);
  EXPECT_EQ(result.dropped[0].reason, "outside the range from 0.25 on");
  options.ranges = {{"uniaxial", {7.0, 8.0}}};
  EXPECT_THROW(Fit::FitPolynomial(data, 1, options), Fit::Error);
}

// Exact data that begin at a fifth of the relaxation time: the first value is not the instantaneous one.
TEST(FreeModulus, ExactDataGiveTheirTimeExactly) {
  Fit::RelaxationData data;
  data.curve = CurveOf(Decades(0.2, 20.0, 40), [](double t) { return 1000 * Fit::PronyModulus({0.6, 1.0}, t); });
  data.modulusUnit = "MPa";
  data.normalise = Fit::Normalise::Free;
  for (const int terms : {1, Fit::kAutomaticTerms}) {
    const Result result = Fit::FitProny(data, terms);
    ASSERT_EQ(result.terms, 1);
    ExpectDigits(result.Value("tau1"), 1.0, 1e-9);
    ExpectDigits(result.Value("E0"), 1000.0, 1e-9);
    EXPECT_EQ(Called(result, "E0").unit, "MPa");
    const Result stored = Fit::FromJson(Fit::ToJson(result));
    ExpectDigits(stored.evaluate("relaxation", 1.0), 1000 * (0.4 + 0.6 / std::exp(1.0)), 1e-9);
  }
  data.normalise = Fit::Normalise::First;
  const Result first = Fit::FitProny(data, 1);
  EXPECT_TRUE(Called(first, "E0").held);
  EXPECT_GT(std::abs(first.Value("tau1") - 1.0), 0.05);
}

// The scatter of 20,000 points is no reason for a term.
TEST(FreeModulus, NoiseAddsNoTerm) {
  std::mt19937_64 generator(3);
  std::normal_distribution<double> normal(0.0, 0.003);
  Fit::RelaxationData data;
  data.curve = CurveOf(Decades(1e-3, 1e3, 20000), [&](double t) {
    return 1500 * Fit::PronyModulus({0.2, 0.3, 0.2, 0.05, 1.0, 40.0}, t) * (1 + normal(generator));
  });
  data.normalise = Fit::Normalise::Free;
  const Result result = Fit::FitProny(data, Fit::kAutomaticTerms);
  EXPECT_EQ(result.terms, 3);
  EXPECT_NEAR(result.Value("E0"), 1500.0, 3.5 * Called(result, "E0").standardError);
}

// Nominal 95 % intervals, bootstrap intervals and bands over simulated tests.
TEST(Intervals, CoverTheTruthAsOftenAsTheySay) {
  constexpr int kTests = 200;
  std::mt19937_64 generator(5);
  std::normal_distribution<double> normal(0.0, 1.0);
  const std::vector<double> truth{0.42, 0.06, 0.05, 1.8};
  Fit::Options options;
  options.bootstrap = 200;
  options.band = true;
  int inside = 0, resampled = 0, band = 0, all = 0, points = 0;
  for (int test = 0; test < kTests; ++test) {
    Fit::RetentionData data;
    data.retention = CurveOf(Decades(1.0, 3000.0, 20), [&](double suction) {
      return Fit::RetentionContent("van-genuchten", truth, suction) + 0.006 * normal(generator);
    });
    const Result result = Fit::FitRetention(data, "van-genuchten", options);
    for (std::size_t k = 0; k < truth.size(); ++k, ++all) {
      const Fit::Parameter& parameter = result.parameters[k];
      inside += parameter.lower <= truth[k] && truth[k] <= parameter.upper ? 1 : 0;
      resampled += parameter.bootstrapLower <= truth[k] && truth[k] <= parameter.bootstrapUpper ? 1 : 0;
    }
    const Fit::CurveResult& curve = result.curves.front();
    for (std::size_t i = 0; i < curve.x.size(); ++i, ++points) {
      const double value = Fit::RetentionContent("van-genuchten", truth, curve.x[i]);
      band += curve.lower[i] <= value && value <= curve.upper[i] ? 1 : 0;
    }
  }
  for (const double share : {1.0 * inside / all, 1.0 * resampled / all, 1.0 * band / points}) {
    EXPECT_GT(share, 0.90);
    EXPECT_LT(share, 0.98);
  }
}

TEST(Bootstrap, SameSeedSameNumbers) {
  Fit::Options options;
  options.bootstrap = 20;
  const auto interval = [&] { return Called(Fit::FitOgden(TreloarData(), 2, options), "mu1").bootstrapLower; };
  const double usual = interval();
  EXPECT_EQ(interval(), usual);
  options.seed = 2;
  EXPECT_NE(interval(), usual);
}

/// A result with one parameter of a cyclic law and a criterion.
Fit::Candidate CandidateWith(const std::string& label, double aicc, Fit::Parameter parameter) {
  Result result;
  result.model = "power";
  result.converged = true;
  result.measures.aicc = aicc;
  result.parameters = {parameter};
  return {label, [result] { return result; }};
}

TEST(Comparison, CandidatesAtABoundOrNotToldFromZeroGiveWay) {
  Fit::Parameter sound{.name = "hmax", .unit = "", .value = 0.2, .standardError = 0.01, .lower = 0.18, .upper = 0.22};
  Fit::Parameter open = sound;
  open.lower = -0.1;
  Fit::Parameter bounded = sound;
  bounded.held = bounded.atBound = true;
  bounded.lower = bounded.upper = std::nan("");
  Fit::Parameter absent = bounded;
  absent.value = 0.0;
  const auto proposed = [&](double aicc, const Fit::Parameter& parameter) {
    return Fit::Compare({CandidateWith("other", aicc, parameter), CandidateWith("sound", 0.0, sound)}).Proposed().label;
  };
  for (const Fit::Parameter& weak : {open, bounded}) {
    EXPECT_EQ(proposed(-9.0, weak), "sound");
    EXPECT_EQ(proposed(-11.0, weak), "other");
  }
  EXPECT_EQ(proposed(-9.0, absent), "other");
  open.name = "D1";  // a coefficient
  EXPECT_EQ(proposed(-9.0, open), "other");
}

// More terms than the data determine: the curve is found, the parameters are not.
TEST(Identifiability, CurvesThatNoLongerChangeAreFitted) {
  Fit::HyperelasticData data = TreloarData();
  data.equibiaxial = data.pureShear = {};
  for (const int terms : {5, 6}) {
    const Result result = Fit::FitOgden(data, terms);
    EXPECT_TRUE(result.converged) << result.status;
  }
  Fit::HyperelasticData few;
  few.uniaxial = Stiffening().uniaxial;
  few.uniaxial.x.resize(4);
  few.uniaxial.y.resize(4);
  const Result result = Fit::FitOgden(few, 3);
  EXPECT_TRUE(result.converged) << result.status;
  EXPECT_FALSE(result.parameters[0].identifiable);
}

}  // namespace
}  // namespace Xem::Testing
