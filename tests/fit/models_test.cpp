#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <numeric>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "fit/student.h"
#include "support/curves.h"
#include "support/fit_curves.h"
#include "support/near.h"
#include "xem/fit/compare.h"
#include "xem/fit/fit.h"
#include "xem/fit/json.h"

// Every model of the catalogue, by its name alone.

namespace Xem::Testing {
namespace {

using Fit::Result;

Fit::CreepData CreepTests() {
  Fit::CreepData data;
  const auto points = BundledCurve("metal_creep_500MPa.csv", "time_h", "creep_strain", "primary_secondary", "1");
  data.tests.push_back({FitCurve(points, "at 500 MPa"), 500.0});
  data.stressUnit = "MPa";
  data.timeUnit = "h";
  return data;
}

/// Measured tests that a model explains. Suctions are in a unit of their own, rubber has volumetric data besides.
Fit::Tests TestsFor(const Fit::ModelInfo& info) {
  if (info.family == "rubber" && info.curves.front().name != "volumetric") {
    Fit::HyperelasticData data = TreloarData();
    data.volumetric = FitCurve(BundledCurve("silicone_volumetric.csv", "linear_stretch", "pressure_MPa"));
    if (!info.curves.front().companion.empty()) {
      for (const double strain : data.uniaxial.x) data.uniaxial.lateral.push_back(std::pow(1.0 + strain, -0.4) - 1.0);
    }
    return data;
  }
  if (info.family == "rubber") {
    return Fit::VolumetricData{FitCurve(BundledCurve("silicone_volumetric.csv", "linear_stretch", "pressure_MPa")),
                               "MPa"};
  }
  if (info.family == "relaxation") {
    Fit::RelaxationData data;
    data.curve = FitCurve(BundledCurve("polymer_relaxation.csv", "time_s", "g"), "polymer");
    data.timeUnit = "s";
    return data;
  }
  if (info.family == "shift") {
    Fit::ShiftFactorData data;
    data.curve.x = {-10.0, 0.0, 10.0, 20.0, 30.0, 40.0, 50.0};
    data.curve.y = {4.01, 2.42, 1.08, 0.0, -0.91, -1.72, -2.43};
    data.reference = 20.0;
    return data;
  }
  if (info.family == "creep") return CreepTests();
  if (info.family == "cyclic") {
    Fit::CyclicData data;
    data.stiffness = FitCurve(BundledCurve("vucetic_dobry1991_pi30_stiffness.csv", "shear_strain", "G_over_Gmax"));
    data.damping = FitCurve(BundledCurve("vucetic_dobry1991_pi30_damping.csv", "shear_strain", "damping"));
    data.balance = false;
    return data;
  }
  if (info.family == "hardening") {
    Fit::TensileData data;
    data.curve =
        FitCurve(BundledCurve("sgcc_flow_curve.csv", "plastic_strain", "true_stress_MPa", "angle_deg", "00"), "sheet");
    data.stressUnit = "MPa";
    if (info.name != "ghosh") return data;
    // The sheet saturates, which this law does not.
    for (std::size_t i = 0; i < data.curve.x.size(); ++i) {
      data.curve.y[i] = 500.0 * std::pow(0.01 + data.curve.x[i], 0.25) - 40.0 + 0.1 * std::sin(data.curve.x[i] * 900.0);
    }
    return data;
  }
  Fit::RetentionData data;
  data.retention = FitCurve(BundledCurve("unsoda_retention.csv", "suction_kPa", "theta", "soil", "4521"));
  for (double& suction : data.retention.x) suction /= 0.0980665;
  data.suctionUnit = "cm";
  return data;
}

Fit::ModelChoice ChoiceOf(const Fit::ModelInfo& info) {
  if (!info.variants.empty()) return {info.name, static_cast<int>(info.variants.size())};
  return {info.name, info.mostTerms > 0 ? 2 : 0};
}

TEST(Catalogue, EveryFittedModelComesBackFromItsDocument) {
  int fitted = 0;
  for (const Fit::ModelInfo& info : Fit::Models()) {
    SCOPED_TRACE(info.name);
    EXPECT_FALSE(info.title.empty() || info.formula.empty() || info.source.empty() || info.page.empty());
    if (info.family == "forming") continue;  // criteria are chosen, not fitted
    ++fitted;
    const Fit::ModelChoice choice = ChoiceOf(info);
    const Result result = Fit::Fit(choice, TestsFor(info));
    EXPECT_EQ(result.model, info.name);
    EXPECT_EQ(result.formula, info.formula);

    // What the catalogue says of the parameters is what a fit has, apart from volumetric ones and what it holds.
    std::set<std::string> described;
    for (const auto& parameter : Fit::ModelParameters(choice.name, choice.terms)) described.insert(parameter.name);
    for (const Fit::Parameter& parameter : result.parameters) {
      const bool besides = parameter.name[0] == 'D' || (parameter.held && parameter.value == 0.0);
      EXPECT_TRUE(besides || described.count(parameter.name) == 1) << parameter.name;
    }

    const std::string document = Fit::ToJson(result, "models test");
    const Result stored = Fit::FromJson(document);
    EXPECT_EQ(Fit::ToJson(stored, "models test"), document);
    for (const Fit::CurveResult& curve : result.curves) {
      for (std::size_t i = 0; i < curve.x.size(); ++i) {
        ExpectDigits(stored.evaluate(curve.name, curve.x[i]), curve.fitted[i], Tolerance::Rounding, curve.name.c_str());
      }
    }
    if (result.stability) {
      EXPECT_EQ(Fit::CheckStability(stored).text, result.stability->text);
    }
    EXPECT_THROW(stored.evaluate("no such curve", 1.0), Fit::Error);
    // Tests of another family are refused in a sentence.
    const Fit::Tests other = info.family == "creep" ? Fit::Tests(Fit::CyclicData()) : Fit::Tests(CreepTests());
    EXPECT_THROW(Fit::Fit(choice, other), Fit::Error);
  }
  EXPECT_GT(fitted, 10);
}

/// The stored result with one parameter moved.
Result Moved(Result result, std::size_t k, double step) {
  result.parameters[k].value += step;
  return Fit::FromJson(Fit::ToJson(result, "models test"));
}

/// Residuals of a result at its points, as they are minimised; volumetric data beside a rubber are a fit of their own.
std::vector<double> Residuals(const Result& shape, const Result& evaluated) {
  std::vector<double> residuals;
  for (const Fit::CurveResult& curve : shape.curves) {
    if (curve.name == "volumetric" && shape.curves.size() > 1) continue;
    for (std::size_t i = 0; i < curve.x.size(); ++i) {
      const double scale = shape.residual == Fit::Residual::Relative ? 1.0 / curve.measured[i] : 1.0;
      residuals.push_back(scale * (evaluated.evaluate(curve.name, curve.x[i]) - curve.measured[i]));
    }
  }
  return residuals;
}

double Dot(const std::vector<double>& a, const std::vector<double>& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

// All from differences of the fitted curve: no residual is left along any derivative, the covariance is the inverse of
// J^T J times the variance of a residual, and errors, intervals, correlation and measures follow from that.
TEST(Catalogue, EveryFitIsAMinimumWithTheUncertaintyOfItsJacobian) {
  for (const Fit::ModelInfo& info : Fit::Models()) {
    if (info.family == "forming" || info.name == "swift-voce") continue;  // the latter is fitted in parts
    for (const auto kind : {Fit::Residual::Absolute, Fit::Residual::Relative}) {
      if (info.family == "shift" && kind == Fit::Residual::Relative) continue;  // one of the factors is 0
      SCOPED_TRACE(info.name + (kind == Fit::Residual::Absolute ? ", absolute" : ", relative"));
      Fit::Options options;
      options.residual = kind;
      options.level = kind == Fit::Residual::Absolute ? 0.95 : 0.8;
      options.band = true;
      const Result result = Fit::Fit(ChoiceOf(info), TestsFor(info), options);
      EXPECT_TRUE(result.converged);
      std::vector<std::size_t> free;
      std::vector<std::vector<double>> columns;
      const std::vector<double> residuals = Residuals(result, result);
      const bool volumetricBeside = info.family == "rubber" && result.curves.size() > 1;
      for (std::size_t k = 0; k < result.parameters.size(); ++k) {
        const Fit::Parameter& parameter = result.parameters[k];
        if (parameter.held || !parameter.identifiable || (volumetricBeside && parameter.name[0] == 'D')) continue;
        const double step = 1e-5 * std::abs(parameter.value);
        std::vector<double> column = Residuals(result, Moved(result, k, step));
        const std::vector<double> below = Residuals(result, Moved(result, k, -step));
        for (std::size_t i = 0; i < column.size(); ++i) column[i] = (column[i] - below[i]) / (2.0 * step);
        EXPECT_LE(std::abs(Dot(column, residuals)), 1e-4 * std::sqrt(Dot(column, column) * Dot(residuals, residuals)))
            << parameter.name;
        free.push_back(k);
        columns.push_back(column);
      }
      const double points = static_cast<double>(residuals.size());
      const double degrees = points - static_cast<double>(free.size());
      ExpectDigits(result.measures.objective, Dot(residuals, residuals), 1e-9, "objective");
      // A parameter at a bound other than 0 was free all the same.
      const auto bounded = std::count_if(result.parameters.begin(), result.parameters.end(),
                                         [](const Fit::Parameter& p) { return p.atBound && p.value != 0.0; });
      const double k = static_cast<double>(free.size()) + static_cast<double>(bounded) + 1.0;
      ExpectDigits(result.measures.aicc,
                   points * std::log(Dot(residuals, residuals) / points) + 2 * k + 2 * k * (k + 1) / (points - k - 1),
                   1e-9, "AICc");
      ExpectDigits(result.measures.rmse, std::sqrt(result.measures.sse / points), Tolerance::Rounding, "RMSE");
      // Parameters that share an open direction have no covariance with anything.
      if (std::any_of(result.parameters.begin(), result.parameters.end(),
                      [](const Fit::Parameter& parameter) { return !parameter.identifiable; })) {
        continue;
      }
      const double factor = Fit::StudentQuantile(0.5 + 0.5 * options.level, static_cast<int>(degrees));
      std::size_t row = 0;
      for (const Fit::CurveResult& curve : result.curves) {
        if (volumetricBeside && curve.name == "volumetric") continue;
        for (std::size_t point = 0; point < curve.x.size(); ++point, ++row) {
          double variance = 0.0;
          const double scale = kind == Fit::Residual::Relative ? curve.measured[point] : 1.0;
          for (std::size_t i = 0; i < free.size(); ++i) {
            for (std::size_t j = 0; j < free.size(); ++j) {
              variance += columns[i][row] * columns[j][row] * result.covariance[free[i]][free[j]];
            }
          }
          const double half = factor * std::abs(scale) * std::sqrt(variance);
          EXPECT_NEAR(curve.upper[point] - curve.fitted[point], half, 1e-3 * half) << curve.name << " at " << point;
          EXPECT_NEAR(curve.fitted[point] - curve.lower[point], half, 1e-3 * half) << curve.name << " at " << point;
        }
      }
      for (std::size_t i = 0; i < free.size(); ++i) {
        const Fit::Parameter& parameter = result.parameters[free[i]];
        ExpectDigits(parameter.upper - parameter.value, factor * parameter.standardError, Tolerance::SixDigits);
        ExpectDigits(parameter.value - parameter.lower, factor * parameter.standardError, Tolerance::SixDigits);
        ExpectDigits(result.covariance[free[i]][free[i]], std::pow(parameter.standardError, 2), Tolerance::Rounding);
        for (std::size_t j = 0; j < free.size(); ++j) {
          // covariance times J^T J is the variance on the diagonal; rows are scaled by the errors.
          const double error = result.parameters[free[j]].standardError;
          double product = 0.0, size = 0.0;
          for (std::size_t l = 0; l < free.size(); ++l) {
            const double term = result.covariance[free[i]][free[l]] * Dot(columns[l], columns[j]);
            product += term;
            size += std::abs(term);
          }
          const double variance = i == j ? Dot(residuals, residuals) / degrees : 0.0;
          EXPECT_NEAR(product, variance, 1e-4 * size) << parameter.name << ' ' << result.parameters[free[j]].name;
          ExpectNear(result.correlation[free[i]][free[j]],
                     result.covariance[free[i]][free[j]] / (parameter.standardError * error), Tolerance::Rounding);
        }
      }
    }
  }
}

// Every free parameter in turn is kept from the value that it would take.
TEST(Catalogue, BoundsHoldInEveryModel) {
  for (const Fit::ModelInfo& info : Fit::Models()) {
    if (info.family == "forming") continue;
    SCOPED_TRACE(info.name);
    const Result free = Fit::Fit(ChoiceOf(info), TestsFor(info));
    // Where there are many valleys a bound may lead into another, of the generalised equation even into a deeper one.
    const bool manyValleys = info.name == "ghe" || info.name == "van-genuchten-dual";
    for (const Fit::Parameter& parameter : free.parameters) {
      // Equal terms of a series may change places instead.
      if (parameter.held || !parameter.identifiable || info.mostTerms > 0) continue;
      Fit::Options options;
      const double limit = parameter.value - 0.1 * std::abs(parameter.value);
      options.bounds[parameter.name].upper = limit;
      const Result bounded = Fit::Fit(ChoiceOf(info), TestsFor(info), options);
      for (const Fit::Parameter& found : bounded.parameters) {
        if (found.name != parameter.name) continue;
        EXPECT_LE(found.value, limit);
        if (manyValleys) continue;
        ExpectDigits(found.value, limit, Tolerance::Rounding, found.name.c_str());
        EXPECT_TRUE(found.atBound && found.held) << found.name;
      }
      if (info.name != "ghe") {
        EXPECT_GE(bounded.measures.objective, free.measures.objective * (1.0 - 1e-6)) << parameter.name;
      }
      EXPECT_TRUE(bounded.converged) << parameter.name << ": " << bounded.status;
    }
  }
}

TEST(ReducedPolynomials, PlantedCoefficientsComeBackInEveryMode) {
  struct Planted {
    const char* model;
    int terms;
    std::vector<double> coefficients;  ///< of the model
    std::vector<double> asPolynomial;  ///< of the polynomial that has them all
  };
  for (const Planted& planted :
       {Planted{"neo-hooke", 0, {0.4}, {0.4, 0.0}}, Planted{"mooney-rivlin", 0, {0.4, 0.05}, {0.4, 0.05}},
        Planted{"yeoh", 3, {0.4, -0.02, 0.003}, {0.4, 0, -0.02, 0, 0, 0.003, 0, 0, 0}}}) {
    SCOPED_TRACE(planted.model);
    const int order = planted.terms == 0 ? 1 : planted.terms;
    Fit::HyperelasticData data;
    for (const auto& [mode, curve] :
         {std::pair("uniaxial", &data.uniaxial), std::pair("equibiaxial", &data.equibiaxial),
          std::pair("pure_shear", &data.pureShear), std::pair("simple_shear", &data.simpleShear)}) {
      for (int i = 1; i <= 12; ++i) {
        curve->x.push_back(0.1 * i);
        curve->y.push_back(Fit::PolynomialStress(mode, order, planted.asPolynomial, 0.1 * i));
      }
    }
    const Result result = Fit::Fit({planted.model, planted.terms}, data);
    ASSERT_EQ(result.parameters.size(), planted.coefficients.size());
    for (std::size_t k = 0; k < planted.coefficients.size(); ++k) {
      ExpectDigits(result.parameters[k].value, planted.coefficients[k], 1e-10);
    }
    EXPECT_EQ(result.terms, planted.terms);
    EXPECT_EQ(result.stability->text, Fit::CheckPolynomial(order, planted.asPolynomial).text);
    Fit::Options held;
    held.held["C10"] = 0.3;
    EXPECT_EQ(Fit::Fit({planted.model, planted.terms}, data, held).Value("C10"), 0.3);
    if (planted.model != std::string("mooney-rivlin")) {
      held.held = {{"C01", 0.0}};  // what a model leaves out cannot be named
      EXPECT_THROW(Fit::Fit({planted.model, planted.terms}, data, held), Fit::Error);
      held.held.clear();
      held.engine = Fit::Engine::Export;
      EXPECT_THROW(Fit::Fit({planted.model, planted.terms}, data, held), Fit::Error);
    }
  }
  const Result mooney = Fit::Fit({"mooney-rivlin", 0}, TreloarData());
  const Result polynomial = Fit::FitPolynomial(TreloarData(), 1);
  EXPECT_EQ(mooney.Value("C01"), polynomial.Value("C01"));
  EXPECT_EQ(mooney.measures.aicc, polynomial.measures.aicc);
}

/// A stored result of these parameters, in the order of the catalogue.
Result StoredModel(const std::string& model, const std::vector<double>& values) {
  Result result;
  result.model = model;
  const auto infos = Fit::ModelParameters(model);
  result.parameters.resize(values.size());
  for (std::size_t k = 0; k < values.size(); ++k) {
    result.parameters[k].name = infos[k].name;
    result.parameters[k].value = values[k];
  }
  return Fit::FromJson(Fit::ToJson(result, "models test"));
}

TEST(StableSearch, FindsTheBestOfTheStableParameters) {
  const double highest = 6.6;
  Fit::Options stable;
  stable.stable = true;
  Fit::HyperelasticData uniaxial = TreloarData();
  uniaxial.equibiaxial = uniaxial.pureShear = {};
  for (const auto& [choice, data] : {std::pair(Fit::ModelChoice{"polynomial", 2}, TreloarData()),
                                     {{"mooney-rivlin", 0}, uniaxial},
                                     {{"yeoh", 3}, uniaxial},
                                     {{"ogden", 2}, uniaxial},
                                     {{"gent", 0}, uniaxial},
                                     {{"extended-tube", 0}, uniaxial},
                                     {{"blatz-ko", 0}, uniaxial}}) {
    SCOPED_TRACE(choice.Label());
    const Result free = Fit::Fit(choice, data);
    const Result kept = Fit::Fit(choice, data, stable);
    EXPECT_TRUE(Fit::CheckStability(kept, 0.0, highest).Stable());
    EXPECT_TRUE(Fit::FromJson(Fit::ToJson(kept)).options.stable);
    if (Fit::CheckStability(free, 0.0, highest).Stable()) {
      EXPECT_EQ(kept.measures.objective, free.measures.objective);
    } else {
      EXPECT_GT(kept.measures.objective, free.measures.objective);
      EXPECT_TRUE(Mentions(kept.notes, "restricted to parameters that are stable"));
    }
  }
  // Stable parameters of two coefficients are those on one side of a ray; on the ray the fit is a closed form.
  double outside = -0.1, inside = 0.0;
  for (int i = 0; i < 40; ++i) {
    const double middle = 0.5 * (outside + inside);
    (Fit::CheckPolynomial(1, {1.0, middle}, {}, 0.0, highest).Stable() ? inside : outside) = middle;
  }
  double product = 0.0, square = 0.0, measured = 0.0;
  for (std::size_t i = 0; i < uniaxial.uniaxial.x.size(); ++i) {
    const double unit = Fit::PolynomialStress("uniaxial", 1, {1.0, inside}, uniaxial.uniaxial.x[i]);
    product += unit * uniaxial.uniaxial.y[i];
    square += unit * unit;
    measured += uniaxial.uniaxial.y[i] * uniaxial.uniaxial.y[i];
  }
  const Result best = Fit::Fit({"mooney-rivlin", 0}, uniaxial, stable);
  ExpectDigits(best.measures.objective, measured - product * product / square, 1e-3);
  ExpectDigits(best.Value("C10"), product / square, 1e-3);

  stable.bounds["C10"].upper = -0.1;
  EXPECT_THROW(Fit::Fit({"neo-hooke", 0}, uniaxial, stable), Fit::Error);
  EXPECT_THROW(Fit::Fit({"creep", 1}, CreepTests(), stable), Fit::Error);
}

TEST(Energies, StressesAndStabilityAreThoseOfTheEnergy) {
  // Stresses at a strain of 1 by hand from the published energies; limits of stability from finite differences of the
  // energy in principal stretches, by a program of its own (Gent: where I1 - 3 reaches Jm).
  struct Case {
    const char* model;
    std::vector<double> parameters;
    double uniaxial, equibiaxial;
    std::vector<double> limits = {};  ///< tension and compression: uniaxial, equibiaxial, pure shear; 0 where stable
  };
  for (const Case& law : {Case{"gent", {0.4, 50.0}, 0.729166667, 0.876216968, {6.27, 0, 4.15, 0, 6.21, 0}},
                          Case{"arruda-boyce", {0.3, 3.0}, 0.595858497, 0.738389088, {0, 0, 0, 0, 0, 0}},
                          Case{"extended-tube", {0.25, 0.1, 0.1, 0.4}, 0.544229697, 0.781243994},
                          Case{"extended-tube", {1.0, -0.3, 0.05, 1.0}, 0, 0, {1.25, 0, 0, -0.34, 1.4, -0.59}},
                          Case{"van-der-waals", {0.5, 8.0, 0.3, 0.2}, 0.726343849, 1.49204148},
                          Case{"van-der-waals", {0.5, 8.0, 1.1, 0.2}, 0, 0, {0.61, -0.39, 0.28, -0.21, 0.52, -0.34}}}) {
    SCOPED_TRACE(law.model);
    const Result stored = StoredModel(law.model, law.parameters);
    if (law.uniaxial > 0) {
      ExpectDigits(stored.evaluate("uniaxial", 1.0), law.uniaxial, 1e-8);
      ExpectDigits(stored.evaluate("equibiaxial", 1.0), law.equibiaxial, 1e-8);
      EXPECT_EQ(stored.evaluate("simple_shear", -0.7), -stored.evaluate("simple_shear", 0.7));
    }
    // Small shear meets the initial modulus, and simple shear does the work of pure shear at the same stretch:
    // dW = stress d(shear strain).
    const double modulus = stored.evaluate("simple_shear", 1e-6) / 1e-6;
    ExpectDigits(stored.evaluate("uniaxial", 1e-6) / 3e-6, modulus, 1e-5);
    const double stretch = 1.6;
    ExpectDigits(stored.evaluate("simple_shear", stretch - 1.0 / stretch) * (1.0 + 1.0 / (stretch * stretch)),
                 stored.evaluate("pure_shear", stretch - 1.0), 1e-12);
    if (law.limits.empty()) continue;
    const Fit::Stability stability = Fit::CheckStability(stored);
    const double found[] = {stability.uniaxialTension,    stability.uniaxialCompression,
                            stability.equibiaxialTension, stability.equibiaxialCompression,
                            stability.pureShearTension,   stability.pureShearCompression};
    for (std::size_t k = 0; k < 6; ++k) {
      if (law.limits[k] == 0.0) {
        EXPECT_TRUE(std::isnan(found[k])) << k << ' ' << found[k];
      } else {
        EXPECT_NEAR(found[k], law.limits[k], 1e-9) << k;
      }
    }
  }
  EXPECT_THROW(StoredModel("gent", {0.4}).evaluate("uniaxial", 1.0), Fit::Error);
}

TEST(Energies, PlantedParametersComeBackAndRangesHold) {
  for (const auto& [model, planted] : {std::pair<const char*, std::vector<double>>{"gent", {0.4, 50.0}},
                                       {"arruda-boyce", {0.3, 3.0}},
                                       {"extended-tube", {0.25, 0.1, 0.1, 0.4}},
                                       {"van-der-waals", {0.5, 9.0, 0.3, 0.2}}}) {
    SCOPED_TRACE(model);
    const Result law = StoredModel(model, planted);
    Fit::HyperelasticData data;
    for (const auto& [mode, curve] :
         {std::pair("uniaxial", &data.uniaxial), std::pair("equibiaxial", &data.equibiaxial)}) {
      for (int i = 1; i <= 20; ++i) {
        curve->x.push_back(0.15 * i);
        curve->y.push_back(law.evaluate(mode, 0.15 * i));
      }
    }
    const Result result = Fit::Fit({model, 0}, data);
    EXPECT_TRUE(result.converged);
    for (std::size_t k = 0; k < planted.size(); ++k) ExpectDigits(result.parameters[k].value, planted[k], 1e-5);
    Fit::Options held;
    held.held[result.parameters[1].name] = 1.3 * planted[1];
    EXPECT_EQ(Fit::Fit({model, 0}, data, held).parameters[1].value, 1.3 * planted[1]);
  }
  // On three modes of natural rubber four parameters do better than the six of Ogden.
  EXPECT_LT(Fit::Fit({"extended-tube", 0}, TreloarData()).measures.aicc + 10.0,
            Fit::FitOgden(TreloarData(), 3).measures.aicc);
}

TEST(Catalogue, ListsOfModelsAreReadAsPeopleWriteThem) {
  std::string labels;
  for (const auto& choice : Fit::ChooseModels("neo-hooke, yeoh,ogden:1..3", "rubber")) labels += choice.Label() + ' ';
  EXPECT_EQ(labels, "neo-hooke yeoh:3 ogden:1 ogden:2 ogden:3 ");
  EXPECT_EQ(Fit::ChooseModels("all", "retention").size(), Fit::ModelNames("retention").size());
  EXPECT_EQ(Fit::ChooseModels("creep:both", "creep").front().Label(), "creep:both");
  for (const char* wrong : {"ogden", "ogden:0", "ogden:3..1", "ogden:x", "blatz-ko:1", "power", "", "volumetric:1"}) {
    EXPECT_THROW(Fit::ChooseModels(wrong, "rubber", "uniaxial"), Fit::Error) << wrong;
  }
}

/// What a file without units, or with the wrong column, makes of good curves: refused, or said.
TEST(Guards, StandInEveryFamily) {
  const auto asStretch = [](Fit::Curve& curve) {
    for (double& strain : curve.x) strain += 1.0;
    curve.y.front() = 1e-6;
  };
  const auto exchange = [](Fit::Curve& curve) { std::swap(curve.y[2], curve.y[curve.y.size() - 2]); };
  const auto uniaxial = [](Fit::Tests& tests) -> Fit::Curve& {
    return std::get<Fit::HyperelasticData>(tests).uniaxial;
  };
  const auto retention = [](Fit::Tests& tests) -> Fit::Curve& { return std::get<Fit::RetentionData>(tests).retention; };
  struct Case {
    const char* model;
    const char* says;
    bool refused;
    std::function<void(Fit::Tests&)> spoil;
  };
  for (const Case& c : {
           Case{"neo-hooke", "stretch", true, [&](Fit::Tests& t) { asStretch(uniaxial(t)); }},
           Case{"swift", "stretch", true, [&](Fit::Tests& t) { asStretch(std::get<Fit::TensileData>(t).curve); }},
           Case{"brooks-corey", "matric potential", true,
                [&](Fit::Tests& t) {
                  for (double& suction : retention(t).x) suction *= -1.0;
                }},
           Case{"van-genuchten", "rises with the suction", false, [&](Fit::Tests& t) { exchange(retention(t)); }},
           Case{"prony", "rises with the time", false,
                [&](Fit::Tests& t) { exchange(std::get<Fit::RelaxationData>(t).curve); }},
           Case{"creep", "look like percent", false,
                [](Fit::Tests& t) {
                  for (double& strain : std::get<Fit::CreepData>(t).tests.front().curve.y) strain *= 100.0;
                }},
           Case{"neo-hooke", "start again in row 25", false,
                [&](Fit::Tests& t) {
                  Fit::Curve& curve = uniaxial(t);
                  const Fit::Curve again = curve;
                  curve.x.insert(curve.x.end(), again.x.begin(), again.x.end());
                  curve.y.insert(curve.y.end(), again.y.begin(), again.y.end());
                }},
           Case{"polynomial", "the fitted stress falls with strain", false,
                [&](Fit::Tests& t) {
                  t = Fit::HyperelasticData{};
                  uniaxial(t).x = {0.1, 0.3, 0.5, 0.7, 0.9, 1.1};
                  uniaxial(t).y = {0.1, 0.3, 0.3, 0.2, 0.25, 0.6};
                }},
       }) {
    const Fit::ModelInfo& info = *Fit::FindModel(c.model);
    Fit::Tests tests = TestsFor(info);
    c.spoil(tests);
    std::string said;
    try {
      for (const std::string& note : Fit::Fit(ChoiceOf(info), tests).notes) said += note + '\n';
      EXPECT_FALSE(c.refused) << c.model;
    } catch (const Fit::Error& error) {
      EXPECT_TRUE(c.refused) << error.what();
      said = error.what();
    }
    EXPECT_NE(said.find(c.says), std::string::npos) << c.model << ": " << said;
  }
}

TEST(StoredResults, NestedBeyondReasonAreRefusedNotFollowed) {
  const auto nested = [](std::size_t levels) {
    return std::string(levels, '[') + "{\"a\":1}" + std::string(levels, ']');
  };
  EXPECT_NE(Fit::IndentJson(nested(150)).find("\"a\": 1"), std::string::npos);
  EXPECT_THROW(Fit::IndentJson(nested(1000000)), Fit::Error);
}

TEST(StoredResults, OlderAndHandWrittenDocumentsAreRead) {
  const Result byHand = Fit::FromJson(
      R"({"model": "ogden", "terms": 1, "parameters": [{"name": "mu1", "value": 0.6}, {"name": "alpha1", "value": 2}]})");
  const double stretch = 1.5;
  ExpectNear(byHand.evaluate("uniaxial", 0.5), 0.6 * (stretch - 1.0 / (stretch * stretch)), Tolerance::Rounding);
  const Result first = Fit::FromJson(
      R"({"schema": 1, "model": "neo-hooke", "parameters": [{"name": "C10", "value": 1, "standard_error": null}],
          "derived": {"shear_modulus": 2.0}, "correlation": [[1]], "stability": null})");
  EXPECT_EQ(first.derived.at("shear_modulus"), 2.0);
  EXPECT_TRUE(std::isnan(first.parameters[0].standardError));
  EXPECT_EQ(first.correlation[0][0], 1.0);
  for (const char* wrong :
       {"", "[]", "{", R"({"parameters": []})", R"({"model": "ogden"})", R"({"model": 1, "parameters": []})",
        R"({"model": "ogden", "parameters": [{"name": "mu1"}]})", R"({"model": "ogden", "parameters": [[]]})",
        R"({"model": "ogden", "terms": 1e9, "parameters": []})", R"({"model": "power", "parameters": []})",
        R"({"model": "ogden", "terms": 2000, "parameters": []})"}) {
    try {
      const Result result = Fit::FromJson(wrong, "fit.json");
      for (const char* curve : {"uniaxial", "stiffness"})
        EXPECT_THROW(result.evaluate(curve, 1.0), Fit::Error) << wrong;
    } catch (const Fit::Error& error) {
      EXPECT_EQ(error.Kind(), Fit::ErrorKind::BadData);
      EXPECT_EQ(std::string(error.what()).find("fit.json: "), 0U) << error.what();
    }
  }
}

}  // namespace
}  // namespace Xem::Testing
