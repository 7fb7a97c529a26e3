#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/curves.h"
#include "support/every_export.h"
#include "support/fit_curves.h"
#include "xem/fit/fit.h"
#include "xem/records.h"

// Every model of the fit layer with Engine::Export and the plain export on the same inputs: the same bits, or neither
// has an answer. Curves are such that the fit layer's screening and its units change nothing that an export sees.
namespace Xem::Testing {
namespace {

using Fit::CyclicForm;
using Fit::Options;
using Fit::Residual;
using Numbers = std::vector<double>;
using Points = std::vector<_T_FUNT_BASE>;
using Named = std::map<std::string, double>;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// What an export finds, in the order of the fit layer's parameters. `converged` is left out where the export always
/// returns 0.
struct Answer {
  Numbers parameters;
  std::optional<bool> converged;
};

/// Of the row of an export.
Answer Ask(const std::string& name, Arguments& arguments) {
  for (const Call& call : EveryExport()) {
    if (name != call.name) continue;
    const bool converged = call.call(arguments).front() == 0.0;
    const bool always = name == "CurveFitting4Polynominal" || name == "CurveFitting4Volume";
    return {Values(arguments.fitted), always ? std::nullopt : std::optional(converged)};
  }
  ADD_FAILURE() << "no export " << name;
  return {};
}

struct Row {
  Fit::ModelChoice model;
  Fit::Tests tests;
  Options options;
  std::function<Answer(Arguments& a)> ask;
  double tolerance = 0.0;  ///< 0: the same bits
};
using Rows = std::vector<Row>;

/// Nothing when the export throws.
std::optional<Answer> AskExport(const Row& row) {
  try {
    Arguments a;
    a.variant = row.options.residual == Residual::Absolute ? 1 : 0;
    a.conditionLimit = row.options.conditionLimit;
    a.count = row.model.terms;
    return row.ask(a);
  } catch (int) {
    return std::nullopt;
  } catch (const CInvalidArgException&) {
    return std::nullopt;
  }
}

bool Same(const Numbers& a, const Numbers& b, double tolerance) {
  if (a.size() != b.size()) return false;
  if (tolerance == 0.0) return std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0;
  for (std::size_t k = 0; k < a.size(); ++k) {
    if (!(std::abs(a[k] - b[k]) <= tolerance * std::abs(b[k]))) return false;
  }
  return true;
}

/// How the engine's answer differs from the export's; empty when it is the same or when neither has one.
std::string Difference(const Row& row, const std::optional<Answer>& exported) {
  try {
    const Fit::Result result = Fit::Fit(row.model, row.tests, row.options);
    Numbers parameters;
    for (const Fit::Parameter& parameter : result.parameters) parameters.push_back(parameter.value);
    if (!exported) return "the export throws, the engine finds " + testing::PrintToString(parameters);
    if (!Same(parameters, exported->parameters, row.tolerance)) {
      return "the export finds " + testing::PrintToString(exported->parameters) + ", the engine " +
             testing::PrintToString(parameters);
    }
    return result.converged == exported->converged.value_or(result.converged) ? "" : "another status";
  } catch (const Fit::Error& error) {
    const bool saysSo = std::string(error.what()).find("the export") != std::string::npos;
    const bool failed = error.Kind() == Fit::ErrorKind::NotConverged || error.Kind() == Fit::ErrorKind::BadData;
    if (!exported && saysSo && failed) return "";
    return std::string("the engine says: ") + error.what();
  } catch (const std::exception& error) {
    return std::string("not an error of the fit layer: ") + error.what();
  }
}

Options With(Options options, const Named& held, const Named& start = {}) {
  options.held = held;
  options.start = start;
  return options;
}

Options Limited(Options options, double conditionLimit) {
  options.conditionLimit = conditionLimit;
  return options;
}

/// The value that `options` give to a parameter.
double Given(const Options& options, const std::string& name, double otherwise = 0.0) {
  for (const auto* values : {&options.held, &options.start}) {
    if (const auto found = values->find(name); found != values->end()) return found->second;
  }
  return otherwise;
}

double Flag(const Options& options, const std::string& name) { return options.held.count(name) > 0 ? 1.0 : 0.0; }

// Hyperelastic models.

/// Test curves of the modes, with lateral strains as of a foam, so that all models can have them.
using Rubber = std::vector<Points>;

/// Compression, tension and simple shear of a made-up rubber with a reading error.
Rubber MadeUpRubber() {
  Points uniaxial, shear;
  for (int i = -6; i <= 25; ++i) {
    const double stretch = 1.0 + 0.07 * i;
    const double stress = 0.8 * (stretch - std::pow(stretch, -2)) + 0.01 * std::pow(stretch, 4) - 0.01;
    uniaxial.emplace_back(stretch - 1.0, stress * (1.0 + 0.02 * std::sin(3.0 * i)));
    if (i > 0) shear.emplace_back(0.1 * i, 0.08 * i * (1.0 + 0.02 * std::cos(2.0 * i)));
  }
  return {uniaxial, {}, {}, shear};
}

/// Simple shear is neutral here: with this engine the fit layer does not convert its stresses. Blatz-Ko without lateral
/// strains takes the export's fixed exponents.
Row Hyperelastic(const char* name, const char* model, int terms, const Rubber& rubber, const Options& options,
                 bool lateral = false) {
  const auto strain = [](double axial) { return std::pow(1.0 + axial, -0.3) - 1.0; };
  Fit::HyperelasticData data;
  Fit::Curve* const curves[] = {&data.uniaxial, &data.equibiaxial, &data.pureShear, &data.simpleShear};
  for (std::size_t m = 0; m < rubber.size(); ++m) {
    *curves[m] = FitCurve(rubber[m]);
    for (const auto& [x, y] : rubber[m]) {
      if (lateral) curves[m]->lateral.push_back(strain(x));
    }
  }
  return {{model, terms}, data, options, [=](Arguments& a) {
            a.lateral = lateral ? 0.0 : 1.0;
            for (std::size_t m = 0; m < rubber.size(); ++m) {
              a.use[m] = rubber[m].empty() ? 0 : 1;
              Fill(a.curves[m], rubber[m]);
              for (const auto& [x, y] : rubber[m]) a.foam[m].Add({x, strain(x), y});
            }
            return Ask(name, a);
          }};
}

void HyperelasticRows(const char* name, const char* model, int most, const Options& plain, Rows& rows) {
  const auto add = [&](int terms, const Rubber& rubber, const Options& options) {
    rows.push_back(Hyperelastic(name, model, terms, rubber, options));
    if (most > 0) return;
    // The engine turns the fixed exponents into strains and the core these into stretches, which costs last bits.
    rows.back().tolerance = 1e-14;
    rows.push_back(Hyperelastic(name, model, terms, rubber, options, true));
  };
  const Rubber pureShearAlone{{}, {}, TreloarCurves()[2]};
  for (int terms = most > 0 ? 1 : 0; terms <= most; ++terms) {
    add(terms, TreloarCurves(), plain);
    add(terms, MadeUpRubber(), plain);
    if (most > 0) add(terms, pureShearAlone, Limited(plain, 1e8));
  }
  add(most > 0 ? 1 : 0, {{{0.0, 1.0}, {0.0, 2.0}}}, plain);  // stress without strain: no parameter has any influence
}

void PolynomialRows(const Options& plain, Rows& rows) {
  HyperelasticRows("CurveFitting4Polynominal", "polynomial", 3, plain, rows);
}
void OgdenRows(const Options& plain, Rows& rows) { HyperelasticRows("CurveFitting4Ogden", "ogden", 3, plain, rows); }
void BlatzKoRows(const Options& plain, Rows& rows) {
  HyperelasticRows("CurveFitting4BlatzKo", "blatz-ko", 0, plain, rows);
}

std::function<Answer(Arguments& a)> OneCurve(const char* name, const Points& points) {
  return [=](Arguments& a) {
    Fill(a.curves[0], points);
    return Ask(name, a);
  };
}

void VolumetricRows(const Options& plain, Rows& rows) {
  const auto add = [&](const Points& points, int terms, const Options& options) {
    const Fit::VolumetricData data{FitCurve(points), ""};
    rows.push_back({{"volumetric", terms}, data, options, OneCurve("CurveFitting4Volume", points)});
  };
  Points madeUp;
  for (int i = 1; i <= 12; ++i) madeUp.emplace_back(1.0 - 0.01 * i, 40.0 * i * (1.0 + 0.02 * std::sin(2.0 * i)));
  for (int terms = 1; terms <= 3; ++terms) {
    add(BundledCurve("silicone_volumetric.csv", "linear_stretch", "pressure_MPa"), terms, plain);
    add(madeUp, terms, Limited(plain, 1e3));
  }
  add({{1e120, 1.0}, {1.1, 2.0}, {0.9, 3.0}}, 3, plain);  // the third power of such a stretch is no number any more
}

// Curves over time. Ratios are given as such, so that nothing is normalised.

void PronyRows(const Options& plain, Rows& rows) {
  const auto add = [&](const Points& points, int terms) {
    Fit::RelaxationData data;
    data.curve = FitCurve(points);
    rows.push_back({{"prony", terms}, data, plain, OneCurve("CurveFitting4Relaxation", points)});
  };
  Points madeUp;
  for (int i = 0; i < 40; ++i) {
    const double time = std::pow(10.0, -2.0 + 0.1 * i);
    madeUp.emplace_back(time, 0.3 + 0.3 * std::exp(-time) + 0.4 * std::exp(-time / 30.0) + 0.003 * std::sin(i));
  }
  for (int terms = 1; terms <= 4; ++terms) {
    add(BundledCurve("polymer_relaxation.csv", "time_s", "g"), terms);
    add(madeUp, terms);
  }
  add({{1.0, 0.5}, {1.0, 0.6}, {1.0, 0.7}, {1.0, 0.8}}, 2);  // one time cannot tell two
}

/// Absolute residuals are the export by straight lines, relative ones the iterative one. Of the seven constants those
/// that the terms have; numbers that are not finite count as no answer, which is how the fit layer takes them.
Row Creep(const Points& points, double stress, Fit::CreepTerms terms, const Options& options) {
  Fit::CreepData data;
  data.tests.push_back({FitCurve(points), stress});
  return {{"creep", static_cast<int>(terms) + 1}, data, options, [=](Arguments& a) {
            Fill(a.curves[0], points);
            Fill(a.fitted, Numbers(7, 0.0));
            a.count = static_cast<std::int32_t>(terms);
            a.stress = stress;
            a.exponents = {Given(options, "C2", 1.0), Given(options, "C6", 1.0)};
            const Answer all = Ask(a.variant == 1 ? "CurveFitting4Creep" : "CurveFitting4CreepLMMethod", a);
            Answer answer{{}, a.variant == 1 || *all.converged};
            for (const std::size_t k : {0u, 1u, 3u, 4u, 5u}) {
              if (!std::isfinite(all.parameters[k])) throw 0;
              const auto other = k < 4 ? Fit::CreepTerms::Secondary : Fit::CreepTerms::Primary;
              if (terms != other) answer.parameters.push_back(all.parameters[k]);
            }
            return answer;
          }};
}

void CreepRows(const Options& plain, Rows& rows) {
  using enum Fit::CreepTerms;
  Points metal = BundledCurve("metal_creep_500MPa.csv", "time_h", "creep_strain");
  metal.erase(metal.begin());  // its strain is negative, which only the export by lines leaves out
  Points madeUp;
  for (int i = 1; i <= 20; ++i) {
    madeUp.emplace_back(i, (1e-3 * std::pow(i, 0.4) + 1e-4 * i) * (1.0 + 0.01 * std::sin(i)));
  }
  for (const Points& points : {metal, madeUp, Points{{2, 0.1}, {2, 0.2}, {2, 0.4}}}) {
    for (const double stress : {0.3, 500.0}) rows.push_back(Creep(points, stress, Both, plain));
    if (plain.residual == Residual::Relative) continue;  // the iterative export has both terms and holds nothing
    for (const auto terms : {Primary, Secondary}) rows.push_back(Creep(points, 500.0, terms, plain));
    rows.push_back(Creep(points, 500.0, Both, With(plain, {{"C2", 2.0}, {"C6", 3.0}})));
  }
}

// Cyclic curves: strains are positive and no point is dropped.

struct Clay {
  Points stiffness;
  Points damping;
  double stiffnessWeight = 1.0;
  double dampingWeight = 1.0;
};

Fit::CyclicData ToData(const Clay& clay, CyclicForm form) {
  Fit::CyclicData data;
  data.stiffness = FitCurve(clay.stiffness);
  data.damping = FitCurve(clay.damping);
  data.stiffness.weight = clay.stiffnessWeight;
  data.damping.weight = clay.dampingWeight;
  data.form = form;
  return data;
}

/// A reference strain that the options do not give comes from the stiffness curve.
Row Cyclic(const Clay& clay, bool power, CyclicForm form, const Options& options) {
  return {{power ? "power" : "hyperbolic", 0}, ToData(clay, form), options, [=](Arguments& a) {
            const double usual = power ? 2.0 : 0.0;
            const double code = form == CyclicForm::Ordinate ? usual : static_cast<double>(form) - 1.0;
            Fill(a.settings, {power ? 0.0 : 1.0, code, 1.0 * a.variant});
            Fill(a.curves[0], clay.stiffness);
            Fill(a.curves[1], clay.damping);
            Fill(a.fitted, {Given(options, "gamma_r")});
            Fill(a.flags, {Flag(options, "gamma_r")});
            Fill(a.further, {clay.stiffnessWeight, clay.dampingWeight});
            if (power) a.fitted.Add(Given(options, "hmax", 0.2));
            if (power) a.flags.Add(Flag(options, "hmax"));
            if (a.fitted[0] == 0.0) Ask("InitialDynamicMatParameters", a);
            Fill(a.parameters, Values(a.fitted));
            if (clay.damping.empty()) return Ask("CurveFitting4DynamicMatShearStiff", a);
            return Ask(clay.stiffness.empty() ? "CurveFitting4DynamicMatDamping" : "CurveFitting4DynamicMatParameters",
                       a);
          }};
}

/// The generalised equation, then its damping over the measured stiffness or, without one, over the held equation. A
/// reference strain that the options do not give comes from the curve, and parameters start at the exports' own values.
Row Generalised(const Clay& clay, CyclicForm form, const Options& options) {
  return {{"ghe", 0}, ToData(clay, form), options, [=](Arguments& a) {
            const auto given = [&](std::initializer_list<const char*> names) {
              a.parameters.RemoveAll();
              a.flags.RemoveAll();
              for (const char* name : names) {
                a.parameters.Add(Given(options, name));
                a.flags.Add(Flag(options, name));
              }
            };
            Fill(a.curves[0], clay.stiffness);
            Fill(a.curves[1], clay.damping);
            Fill(a.settings, {0.0, form == CyclicForm::Stress ? 2.0 : 0.0, 1.0 * a.variant});
            a.referenceStrain = Given(options, "gamma_r");
            given({"C1_0", "C1_inf", "C2_0", "C2_inf", "alpha", "beta"});
            Answer answer = Ask("CurveFitting4GHEModel6Parameters", a);
            answer.parameters.insert(answer.parameters.begin(), a.measures[0]);
            if (clay.damping.empty()) return answer;
            Fill(a.settings, {clay.stiffness.empty() ? 1.0 : 0.0, 0.0, 1.0 * a.variant});
            given({"hmax", "kappa"});
            for (const double value : answer.parameters) a.parameters.Add(value);  // read when the model is asked for
            const Answer damping = Ask("CurveFitting4GHEModelDamping", a);
            answer.parameters.insert(answer.parameters.end(), damping.parameters.begin(), damping.parameters.end());
            answer.converged = *answer.converged && *damping.converged;
            return answer;
          }};
}

/// Two soils, each with both curves and with one of them: a published one, and one that stays below 1 and below its
/// largest damping, so that every form has values.
std::vector<Clay> Clays() {
  Clay madeUp;
  for (int i = 0; i < 16; ++i) {
    const double strain = std::pow(10.0, -5.5 + 0.25 * i);
    const double ratio = 0.98 / (1.0 + std::pow(strain / 6e-4, 0.9)) * (1.0 + 0.01 * std::sin(i));
    madeUp.stiffness.emplace_back(strain, ratio);
    madeUp.damping.emplace_back(strain, 0.2 * (1.0 - ratio) + 0.002 * std::cos(i));
  }
  const Clay published{BundledCurve("vucetic_dobry1991_pi30_stiffness.csv", "shear_strain", "G_over_Gmax"),
                       BundledCurve("vucetic_dobry1991_pi30_damping.csv", "shear_strain", "damping")};
  std::vector<Clay> clays;
  for (const Clay& clay : {published, madeUp}) {
    clays.insert(clays.end(), {{clay.stiffness, {}}, {{}, clay.damping}, clay});
  }
  return clays;
}

void PowerRows(const Options& plain, Rows& rows) {
  const Options every[] = {plain,
                           With(plain, {{"hmax", 0.3}}),
                           With(plain, {{"gamma_r", 1e-3}}),
                           With(plain, {{"gamma_r", 1e-3}, {"hmax", 0.3}}),
                           With(plain, {}, {{"hmax", 0.24}}),
                           With(plain, {}, {{"gamma_r", 5e-4}, {"hmax", 0.24}})};
  for (const CyclicForm form : {CyclicForm::Ordinate, CyclicForm::Strain, CyclicForm::LogStrain, CyclicForm::Stress}) {
    for (const Clay& clay : Clays()) {
      for (const Options& options : every) rows.push_back(Cyclic(clay, true, form, options));
    }
  }
  Clay weighted = Clays().back();
  weighted.stiffnessWeight = 3.0;
  weighted.dampingWeight = 7.0;
  rows.push_back(Cyclic(weighted, true, CyclicForm::Stress, plain));
  weighted.dampingWeight = 1e-8;  // so small that the curve is left out
  if (plain.residual == Residual::Relative) rows.push_back(Cyclic(weighted, true, CyclicForm::Stress, plain));
}

void HyperbolicRows(const Options& plain, Rows& rows) {
  for (const CyclicForm form : {CyclicForm::Ordinate, CyclicForm::Strain, CyclicForm::LogStrain}) {
    for (const Clay& clay : Clays()) {
      for (const Options& options : {plain, With(plain, {{"gamma_r", 1e-3}}), With(plain, {}, {{"gamma_r", 5e-4}})}) {
        rows.push_back(Cyclic(clay, false, form, options));
      }
    }
  }
}

void GeneralisedRows(const Options& plain, Rows& rows) {
  const Named six{{"C1_0", 1.0}, {"C1_inf", 0.2}, {"C2_0", 0.9}, {"C2_inf", 2.0}, {"alpha", 2.0}, {"beta", 3.0}};
  Named all = six;
  all["gamma_r"] = 7e-4;
  for (const Clay& clay : Clays()) {
    if (clay.stiffness.empty()) {
      rows.push_back(Generalised(clay, CyclicForm::Ordinate, With(plain, all)));
      continue;
    }
    const auto add = [&](const Named& held, const Named& start = {}) {
      rows.push_back(Generalised(clay, CyclicForm::Ordinate, With(plain, held, start)));
      rows.push_back(Generalised(clay, CyclicForm::Stress, With(plain, held, start)));
    };
    for (const Named& held : {Named{}, {{"C1_0", 1.0}}, six, all, {{"gamma_r", 7e-4}}}) add(held);
    for (const Named& start : {Named{{"gamma_r", 7e-4}}, six, all}) add({}, start);
    if (clay.damping.empty()) continue;
    for (const Named& held : {Named{{"kappa", 1.0}}, {{"hmax", 0.2}, {"kappa", 1.2}}}) add(held);
    for (const Named& start : {Named{{"hmax", 0.1}}, {{"hmax", 0.1}, {"kappa", 0.8}}}) add({}, start);
  }
  Clay stiff{{}, {{1e-5, 0.01}, {1e-4, 0.02}, {1e-3, 0.03}}};  // no degradation
  for (int i = 0; i < 8; ++i) stiff.stiffness.emplace_back(std::pow(10.0, -5.0 + 0.4 * i), 1.0);
  rows.push_back(Generalised(stiff, CyclicForm::Ordinate, plain));
}

// Water retention: suctions in kPa, contents, diameters in mm. psi_r is held at its usual value unless it is mentioned.

struct Soil {
  Points measured;
  Points grading;
};

Row Retention(const Soil& soil, std::size_t model, Fit::RetentionPoints points, const Options& options) {
  const std::string name = Fit::RetentionModels()[model];
  Fit::RetentionData data;
  data.retention = FitCurve(soil.measured);
  data.grading = FitCurve(soil.grading);
  data.points = points;
  return {
      {name, 0}, data, options, [=](Arguments& a) {
        Fill(a.settings, {static_cast<double>(model), static_cast<double>(points), 1.0 * a.variant, -1.0, 0.0, 0.0});
        for (const Fit::ParameterInfo& parameter : Fit::ModelParameters(name)) {
          const bool usual = parameter.name == "psi_r" && std::isnan(Given(options, "psi_r", kNaN));
          if (!usual) a.settings.Add(Flag(options, parameter.name));
          if (options.held.empty() && options.start.empty()) continue;
          a.fitted.Add(Given(options, parameter.name, usual ? 1500.0 : kNaN));
        }
        Fill(a.soil.first, soil.measured);
        Fill(a.soil.second, soil.grading);
        return Ask("CurveFitting4UnsaturatedSoil", a);
      }};
}

void RetentionRows(const Options& plain, Rows& rows) {
  using enum Fit::RetentionPoints;
  Soil loam{BundledCurve("unsoda_retention.csv", "suction_kPa", "theta", "soil", "4170"), {}};
  for (const auto& [size, finer] :
       BundledCurve("unsoda_grain_size.csv", "particle_size_um", "fraction_finer", "soil", "4170")) {
    loam.grading.emplace_back(size / 1000.0, finer);
  }
  Soil madeUp{{}, {{0.002, 12}, {0.02, 33}, {0.06, 71}, {0.2, 93}, {2, 100}}};
  for (int i = 0; i < 14; ++i) {
    const double s = std::pow(10.0, -0.5 + 0.3 * i);
    madeUp.measured.emplace_back(s, 0.07 + 0.36 * std::pow(1 + std::pow(s / 9, 1.7), -0.4) + 0.003 * std::sin(i));
  }
  const std::vector<Numbers> starts{
      {0.41, 0.06, 0.08, 1.4}, {0.41, 0.06, 0.08, 1.4, 0.4}, {0.41, 20, 1.3, 1.1, 900}, {0.41, 0.06, 5, 0.5}};
  for (const Soil& soil : {loam, madeUp}) {
    for (std::size_t model = 0; model < starts.size(); ++model) {
      // One parameter held, all started, all but psi_r started, and one held among others that are started.
      std::vector<Options> every(5, plain);
      const auto parameters = Fit::ModelParameters(Fit::RetentionModels()[model]);
      for (std::size_t k = 0; k < parameters.size(); ++k) {
        const std::string& name = parameters[k].name;
        if (k == 1) every[1].held[name] = starts[model][k];
        every[2].start[name] = starts[model][k];
        if (name != "psi_r") every[3].start[name] = starts[model][k];
        (k == 1 ? every[4].held : every[4].start)[name] = starts[model][k];
      }
      for (const Options& options : every) rows.push_back(Retention(soil, model, Measured, options));
      for (const auto points : {Grading, Both}) rows.push_back(Retention(soil, model, points, plain));
    }
  }
  rows.push_back(Retention(madeUp, 3, Measured, With(plain, {{"psi_b", 5e4}})));  // no point dries: no shape either
}

struct Family {
  const char* name;
  void (*rows)(const Options& plain, Rows& rows);
};
class ExportEngine : public testing::TestWithParam<Family> {};

INSTANTIATE_TEST_SUITE_P(Families, ExportEngine,
                         testing::Values(Family{"Polynomial", PolynomialRows}, Family{"Ogden", OgdenRows},
                                         Family{"BlatzKo", BlatzKoRows}, Family{"Volumetric", VolumetricRows},
                                         Family{"Prony", PronyRows}, Family{"Creep", CreepRows},
                                         Family{"Power", PowerRows}, Family{"Hyperbolic", HyperbolicRows},
                                         Family{"Generalised", GeneralisedRows}, Family{"Retention", RetentionRows}),
                         [](const auto& family) { return family.param.name; });

TEST_P(ExportEngine, AnswersWithTheBitsOfTheExport) {
  int answers = 0;
  int failures = 0;
  for (const Residual residual : {Residual::Absolute, Residual::Relative}) {
    Options plain;
    plain.engine = Fit::Engine::Export;
    plain.residual = residual;
    Rows rows;
    GetParam().rows(plain, rows);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      SCOPED_TRACE(rows[i].model.Label() + ", row " + std::to_string(i) +
                   (residual == Residual::Absolute ? ", absolute" : ", relative"));
      // The export first: some set the number of BLAS threads, which must be the same for both.
      const std::optional<Answer> exported = AskExport(rows[i]);
      ++(exported ? answers : failures);
      EXPECT_EQ(Difference(rows[i], exported), "");
    }
  }
  // Of both kinds there must be some, or the table says less than it should.
  EXPECT_GT(answers, 1);
  EXPECT_GT(failures, 0);
}

}  // namespace
}  // namespace Xem::Testing
