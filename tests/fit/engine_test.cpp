#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "support/curves.h"
#include "support/fit_curves.h"
#include "xem/fit/cyclic.h"
#include "xem/fit/hyperelastic.h"
#include "xem/fit/soil.h"
#include "xem/fit/viscoelastic.h"
#include "xem/material_util.h"

// Every model of the fit layer with Engine::Export and the plain export on the same inputs: the same bits, or neither
// has an answer. Curves are such that the fit layer's screening and its units change nothing that an export sees.
namespace Xem::Testing {
namespace {

using Fit::CreepTerms;
using Fit::CyclicFamily;
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

struct Row {
  std::string name;
  std::function<Answer()> exported;
  std::function<Fit::Result()> engine;
  double tolerance = 0.0;  ///< 0: the same bits
};

/// Nothing when the export throws.
std::optional<Answer> AskExport(const Row& row) {
  try {
    return row.exported();
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
    const Fit::Result result = row.engine();
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

Options Plain(Residual residual, const Named& held = {}, const Named& start = {}) {
  Options options;
  options.engine = Fit::Engine::Export;
  options.residual = residual;
  options.held = held;
  options.start = start;
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

int Variant(const Options& options) { return options.residual == Residual::Absolute ? 1 : 0; }

struct Doubles : DoubleArray {
  Doubles() = default;
  Doubles(const Numbers& values) { Fill(*this, values); }
};

struct Curve : PointArray {
  explicit Curve(const Points& points) { Fill(*this, points); }
};

// Hyperelastic models. Output curves are empty, so that the exports draw nothing.

/// Test curves (strain, lateral strain, stress) per mode.
struct Rubber {
  std::string name;
  std::array<std::vector<_T_FUNT_BASE3>, 4> modes;
};

/// Lateral strains as of a foam, so that all models can have them.
std::vector<_T_FUNT_BASE3> WithLateral(const Points& points) {
  std::vector<_T_FUNT_BASE3> all;
  for (const auto& [strain, stress] : points) all.emplace_back(strain, std::pow(1.0 + strain, -0.3) - 1.0, stress);
  return all;
}

Rubber Published(const std::string& name, const Points& uniaxial, const Points& equibiaxial, const Points& pureShear) {
  return {name, {WithLateral(uniaxial), WithLateral(equibiaxial), WithLateral(pureShear), {}}};
}

/// Compression, tension and simple shear of a made-up rubber with a reading error.
Rubber MadeUpRubber() {
  Points uniaxial, shear;
  for (int i = -6; i <= 25; ++i) {
    const double stretch = 1.0 + 0.07 * i;
    const double stress = 0.8 * (stretch - std::pow(stretch, -2)) + 0.01 * std::pow(stretch, 4) - 0.01;
    uniaxial.emplace_back(stretch - 1.0, stress * (1.0 + 0.02 * std::sin(3.0 * i)));
    if (i > 0) shear.emplace_back(0.1 * i, 0.08 * i * (1.0 + 0.02 * std::cos(2.0 * i)));
  }
  return {"made-up", {WithLateral(uniaxial), {}, {}, WithLateral(shear)}};
}

std::vector<Rubber> Rubbers() {
  const auto silicone = [](const std::string& mode) {
    return BundledCurve("silicone_" + mode + ".csv", "nominal_strain", "nominal_stress_MPa");
  };
  const auto treloar = TreloarCurves();
  return {Published("silicone", silicone("uniaxial"), silicone("equibiaxial"), silicone("pure_shear")),
          Published("treloar", treloar[0], treloar[1], treloar[2]), MadeUpRubber()};
}

Rubber PureShearAlone() { return Published("pure shear alone", {}, {}, TreloarCurves()[2]); }

/// Stress without strain: no parameter has any influence.
Rubber Undeformed() { return Published("undeformed", {{0.0, 1.0}, {0.0, 2.0}}, {}, {}); }

Fit::HyperelasticData ToData(const Rubber& rubber, bool lateral) {
  Fit::HyperelasticData data;
  Fit::Curve* const curves[] = {&data.uniaxial, &data.equibiaxial, &data.pureShear, &data.simpleShear};
  for (std::size_t m = 0; m < 4; ++m) {
    for (const _T_FUNT_BASE3& point : rubber.modes[m]) {
      curves[m]->x.push_back(point.first);
      curves[m]->y.push_back(point.third);
      if (lateral) curves[m]->lateral.push_back(point.second);
    }
  }
  return data;
}

template <class Array>
struct ModeArrays {
  Array in[4];
  PointArray out[4];
  int use[4];
  DoubleArray coefficients;

  explicit ModeArrays(const Rubber& rubber) {
    for (std::size_t m = 0; m < 4; ++m) {
      use[m] = rubber.modes[m].empty() ? 0 : 1;
      for (const _T_FUNT_BASE3& point : rubber.modes[m]) Add(point, in[m]);
    }
  }
  static void Add(const _T_FUNT_BASE3& point, PointArray& array) { array.Add({point.first, point.third}); }
  static void Add(const _T_FUNT_BASE3& point, Point3Array& array) { array.Add(point); }
};

Row Polynomial(const Rubber& rubber, int order, const Options& options) {
  return {rubber.name + ", order " + std::to_string(order),
          [=] {
            ModeArrays<PointArray> a(rubber);
            CurveFitting4Polynominal(a.in[0], a.in[1], a.in[2], a.in[3], a.use[0], a.use[1], a.use[2], a.use[3], order,
                                     Variant(options), options.conditionLimit, a.coefficients, a.out[0], a.out[1],
                                     a.out[2], a.out[3], 0.0, 0.0);
            return Answer{Values(a.coefficients), {}};
          },
          [=] { return Fit::FitPolynomial(ToData(rubber, false), order, options); }};
}

/// Simple shear is neutral here: with this engine the fit layer does not convert its stresses.
Row Ogden(const Rubber& rubber, int terms, const Options& options) {
  return {rubber.name + ", terms " + std::to_string(terms),
          [=] {
            ModeArrays<PointArray> a(rubber);
            const int status =
                CurveFitting4Ogden(a.in[0], a.in[1], a.in[2], a.in[3], a.use[0], a.use[1], a.use[2], a.use[3], terms,
                                   Variant(options), a.coefficients, a.out[0], a.out[1], a.out[2], a.out[3], 0.0, 0.0);
            return Answer{Values(a.coefficients), status == 0};
          },
          [=] { return Fit::FitOgden(ToData(rubber, false), terms, options); }};
}

/// Curves without lateral strains take the export's fixed exponents.
Row BlatzKo(const Rubber& rubber, bool lateral, const Options& options) {
  return {rubber.name + (lateral ? ", measured lateral strains" : ""),
          [=] {
            ModeArrays<Point3Array> a(rubber);
            const int status =
                CurveFitting4BlatzKo(a.in[0], a.in[1], a.in[2], a.in[3], a.use[0], a.use[1], a.use[2], a.use[3],
                                     lateral ? 0.0 : 1.0, Variant(options), options.conditionLimit, a.coefficients,
                                     a.out[0], a.out[1], a.out[2], a.out[3], 0.0, 0.0);
            return Answer{Values(a.coefficients), status == 0};
          },
          [=] { return Fit::FitBlatzKo(ToData(rubber, lateral), options); }};
}

Row Volumetric(const std::string& name, const Points& points, int terms, const Options& options) {
  return {name + ", terms " + std::to_string(terms),
          [=] {
            DoubleArray coefficients;
            PointArray out;
            CurveFitting4Volume(Curve(points), terms, Variant(options), options.conditionLimit, coefficients, out, 0.0,
                                0.0);
            return Answer{Values(coefficients), {}};
          },
          [=] {
            return Fit::FitVolumetric(Fit::VolumetricData{FitCurve(points), ""}, terms, options);
          }};
}

void PolynomialRows(Residual residual, std::vector<Row>& rows) {
  Options limited = Plain(residual);
  limited.conditionLimit = 1e8;
  for (int order = 1; order <= 3; ++order) {
    for (const Rubber& rubber : Rubbers()) rows.push_back(Polynomial(rubber, order, Plain(residual)));
    rows.push_back(Polynomial(PureShearAlone(), order, limited));
  }
  rows.push_back(Polynomial(Undeformed(), 1, Plain(residual)));
}

void OgdenRows(Residual residual, std::vector<Row>& rows) {
  for (int terms = 1; terms <= 3; ++terms) {
    for (const Rubber& rubber : Rubbers()) rows.push_back(Ogden(rubber, terms, Plain(residual)));
    rows.push_back(Ogden(PureShearAlone(), terms, Plain(residual)));
  }
  rows.push_back(Ogden(Undeformed(), 1, Plain(residual)));
}

void BlatzKoRows(Residual residual, std::vector<Row>& rows) {
  for (const Rubber& rubber : Rubbers()) {
    rows.push_back(BlatzKo(rubber, true, Plain(residual)));
    rows.push_back(BlatzKo(rubber, false, Plain(residual)));
    // The engine turns the fixed exponents into strains and the core these into stretches, which costs last bits.
    rows.back().tolerance = 1e-14;
  }
  rows.push_back(BlatzKo(Undeformed(), true, Plain(residual)));
}

void VolumetricRows(Residual residual, std::vector<Row>& rows) {
  Points madeUp;
  for (int i = 1; i <= 12; ++i) madeUp.emplace_back(1.0 - 0.01 * i, 40.0 * i * (1.0 + 0.02 * std::sin(2.0 * i)));
  const Points silicone = BundledCurve("silicone_volumetric.csv", "linear_stretch", "pressure_MPa");
  Options limited = Plain(residual);
  limited.conditionLimit = 1e3;
  for (int terms = 1; terms <= 3; ++terms) {
    rows.push_back(Volumetric("silicone", silicone, terms, Plain(residual)));
    rows.push_back(Volumetric("made-up", madeUp, terms, limited));
  }
  // The third power of such a stretch is no number any more.
  rows.push_back(Volumetric("overflow", {{1e120, 1.0}, {1.1, 2.0}, {0.9, 3.0}}, 3, Plain(residual)));
}

// Curves over time. Ratios are given as such, so that nothing is normalised.

Row Prony(const std::string& name, const Points& points, int terms, const Options& options) {
  return {name + ", terms " + std::to_string(terms),
          [=] {
            DoubleArray series;
            const int status = CurveFitting4Relaxation(Curve(points), terms, Variant(options), series);
            return Answer{Values(series), status == 0};
          },
          [=] {
            Fit::RelaxationData data;
            data.curve = FitCurve(points);
            return Fit::FitProny(data, terms, options);
          }};
}

void PronyRows(Residual residual, std::vector<Row>& rows) {
  const Points polymer = BundledCurve("polymer_relaxation.csv", "time_s", "g");
  Points madeUp;
  for (int i = 0; i < 40; ++i) {
    const double time = std::pow(10.0, -2.0 + 0.1 * i);
    madeUp.emplace_back(time, 0.3 + 0.3 * std::exp(-time) + 0.4 * std::exp(-time / 30.0) + 0.003 * std::sin(i));
  }
  for (int terms = 1; terms <= 4; ++terms) {
    rows.push_back(Prony("polymer", polymer, terms, Plain(residual)));
    rows.push_back(Prony("made-up", madeUp, terms, Plain(residual)));
  }
  // One time cannot tell two.
  rows.push_back(Prony("one time", {{1.0, 0.5}, {1.0, 0.6}, {1.0, 0.7}, {1.0, 0.8}}, 2, Plain(residual)));
}

/// Of the seven constants those that the terms have. Numbers that are not finite count as no answer, which is how the
/// fit layer takes them.
Answer CreepAnswer(const DoubleArray& all, CreepTerms terms, bool converged) {
  Answer answer{{}, converged};
  for (const double value : Values(all)) {
    if (!std::isfinite(value)) throw 0;
  }
  if (terms != CreepTerms::Secondary) answer.parameters = {all[0], all[1], all[3]};
  if (terms != CreepTerms::Primary) answer.parameters.insert(answer.parameters.end(), {all[4], all[5]});
  return answer;
}

/// Absolute residuals are the export by straight lines, relative ones the iterative one.
Row Creep(const std::string& name, const Points& points, double stress, CreepTerms terms, const Options& options) {
  return {name + ", stress " + std::to_string(stress) + ", terms " + std::to_string(static_cast<int>(terms)),
          [=] {
            Doubles constants(Numbers(7, 0.0));
            double determination = 0.0;
            if (options.residual == Residual::Relative) {
              const int status = CurveFitting4CreepLMMethod(Curve(points), 0, stress, constants, &determination);
              return CreepAnswer(constants, terms, status == 0);
            }
            const auto type = static_cast<std::int32_t>(terms);
            const double primary = Given(options, "C2", 1.0);
            const double secondary = Given(options, "C6", 1.0);
            CurveFitting4Creep(Curve(points), &type, &stress, &primary, &secondary, constants, &determination);
            return CreepAnswer(constants, terms, true);
          },
          [=] {
            Fit::CreepData data;
            data.tests.push_back({FitCurve(points), stress});
            return Fit::FitCreep(data, terms, options);
          }};
}

void CreepRows(Residual residual, std::vector<Row>& rows) {
  Points metal = BundledCurve("metal_creep_500MPa.csv", "time_h", "creep_strain");
  metal.erase(metal.begin());  // its strain is negative, which only the export by lines leaves out
  Points madeUp;
  for (int i = 1; i <= 20; ++i) {
    madeUp.emplace_back(i, (1e-3 * std::pow(i, 0.4) + 1e-4 * i) * (1.0 + 0.01 * std::sin(i)));
  }
  const Points oneTime{{2, 0.1}, {2, 0.2}, {2, 0.4}};
  for (const auto& [name, points] : {std::pair("metal", metal), {"made-up", madeUp}, {"one time", oneTime}}) {
    for (const double stress : {0.3, 500.0}) {
      rows.push_back(Creep(name, points, stress, CreepTerms::Both, Plain(residual)));
    }
    if (residual == Residual::Relative) continue;  // the iterative export has both terms and holds nothing
    for (const CreepTerms terms : {CreepTerms::Primary, CreepTerms::Secondary}) {
      rows.push_back(Creep(name, points, 500.0, terms, Plain(residual)));
    }
    rows.push_back(Creep(name, points, 500.0, CreepTerms::Both, Plain(residual, {{"C2", 2.0}, {"C6", 3.0}})));
  }
}

// Cyclic curves: strains are positive and no point is dropped.

struct Clay {
  std::string name;
  Points stiffness;
  Points damping;
  double stiffnessWeight = 1.0;
  double dampingWeight = 1.0;
};

Fit::CyclicData ToData(const Clay& clay) {
  Fit::CyclicData data;
  data.stiffness = FitCurve(clay.stiffness);
  data.damping = FitCurve(clay.damping);
  data.stiffness.weight = clay.stiffnessWeight;
  data.damping.weight = clay.dampingWeight;
  return data;
}

Row CyclicRow(const Clay& clay, CyclicFamily family, CyclicForm form, const Options& options,
              std::function<Answer()> exported) {
  return {clay.name + (clay.stiffness.empty() ? "" : " stiffness") + (clay.damping.empty() ? "" : " damping") + ", " +
              Fit::CyclicFamilyNames()[static_cast<std::size_t>(family)] + ", form " +
              std::to_string(static_cast<int>(form)),
          std::move(exported), [=] { return Fit::FitCyclic(ToData(clay), family, options, form); }};
}

/// A reference strain that the options do not give comes from the stiffness curve.
Row Cyclic(const Clay& clay, CyclicFamily family, CyclicForm form, const Options& options) {
  return CyclicRow(clay, family, form, options, [=] {
    const bool power = family == CyclicFamily::Power;
    const double usual = power ? 2.0 : 0.0;
    const double code = form == CyclicForm::Ordinate ? usual : static_cast<double>(form) - 1.0;
    const Doubles settings({power ? 0.0 : 1.0, code, 1.0 * Variant(options)});
    const Curve stiffness(clay.stiffness), damping(clay.damping);
    Doubles parameters({Given(options, "gamma_r")}), flags({Flag(options, "gamma_r")});
    if (power) parameters.Add(Given(options, "hmax", 0.2));
    if (power) flags.Add(Flag(options, "hmax"));
    if (parameters[0] == 0.0) InitialDynamicMatParameters(settings, parameters, flags, stiffness);
    Doubles fitted, weights({clay.stiffnessWeight, clay.dampingWeight});
    PointArray out, more;
    int status = 0;
    if (clay.damping.empty()) {
      status = CurveFitting4DynamicMatShearStiff(settings, parameters, flags, stiffness, fitted, out);
    } else if (clay.stiffness.empty()) {
      status = CurveFitting4DynamicMatDamping(settings, parameters, flags, damping, stiffness, fitted, out);
    } else {
      status = CurveFitting4DynamicMatParameters(settings, parameters, flags, weights, stiffness, damping, fitted, out,
                                                 more);
    }
    return Answer{Values(fitted), status == 0};
  });
}

/// The generalised equation, then its damping over the measured stiffness or, without one, over the held equation. A
/// reference strain that the options do not give comes from the curve, and parameters start at the exports' own values.
Row Generalised(const Clay& clay, CyclicForm form, const Options& options) {
  return CyclicRow(clay, CyclicFamily::Ghe, form, options, [=] {
    const Curve stiffness(clay.stiffness), damping(clay.damping);
    const double variant = Variant(options);
    const double fromModel = clay.stiffness.empty() ? 1.0 : 0.0;
    Doubles six, sixFlags, two, twoFlags, fitted, measures;
    for (const char* name : {"C1_0", "C1_inf", "C2_0", "C2_inf", "alpha", "beta"}) {
      six.Add(Given(options, name));
      sixFlags.Add(Flag(options, name));
    }
    for (const char* name : {"hmax", "kappa"}) {
      two.Add(Given(options, name));
      twoFlags.Add(Flag(options, name));
    }
    PointArray out;
    int status =
        CurveFitting4GHEModel6Parameters(Doubles({0.0, form == CyclicForm::Stress ? 2.0 : 0.0, variant}), six, sixFlags,
                                         stiffness, Given(options, "gamma_r"), fitted, out, measures);
    Numbers all{measures[0]};
    for (const double value : Values(fitted)) all.push_back(value);
    if (clay.damping.empty()) return Answer{all, status == 0};
    for (const double value : all) two.Add(value);  // read when the model is asked for
    status |= CurveFitting4GHEModelDamping(Doubles({fromModel, 0.0, variant}), two, twoFlags, damping, stiffness,
                                           fitted, out);
    for (const double value : Values(fitted)) all.push_back(value);
    return Answer{all, status == 0};
  });
}

Clay PublishedClay(const std::string& soil) {
  return {soil, BundledCurve(soil + "_stiffness.csv", "shear_strain", "G_over_Gmax"),
          BundledCurve(soil + "_damping.csv", "shear_strain", "damping")};
}

/// A curve that stays below 1 and below its largest damping, so that every form has values.
Clay MadeUpClay() {
  Clay clay{"made-up", {}, {}};
  for (int i = 0; i < 16; ++i) {
    const double strain = std::pow(10.0, -5.5 + 0.25 * i);
    const double ratio = 0.98 / (1.0 + std::pow(strain / 6e-4, 0.9)) * (1.0 + 0.01 * std::sin(i));
    clay.stiffness.emplace_back(strain, ratio);
    clay.damping.emplace_back(strain, 0.2 * (1.0 - ratio) + 0.002 * std::cos(i));
  }
  return clay;
}

/// Each soil with both curves and with one of them.
std::vector<Clay> Clays() {
  std::vector<Clay> clays;
  for (const Clay& clay :
       {PublishedClay("seed_idriss1970_sand"), PublishedClay("vucetic_dobry1991_pi30"), MadeUpClay()}) {
    clays.insert(clays.end(), {clay, clay, clay});
    (clays.end() - 1)->stiffness.clear();
    (clays.end() - 2)->damping.clear();
  }
  return clays;
}

void PowerRows(Residual residual, std::vector<Row>& rows) {
  const Options every[] = {Plain(residual),
                           Plain(residual, {{"hmax", 0.3}}),
                           Plain(residual, {{"gamma_r", 1e-3}}),
                           Plain(residual, {{"gamma_r", 1e-3}, {"hmax", 0.3}}),
                           Plain(residual, {}, {{"hmax", 0.24}}),
                           Plain(residual, {}, {{"gamma_r", 5e-4}, {"hmax", 0.24}})};
  for (const CyclicForm form : {CyclicForm::Ordinate, CyclicForm::Strain, CyclicForm::LogStrain, CyclicForm::Stress}) {
    for (const Clay& clay : Clays()) {
      for (const Options& options : every) rows.push_back(Cyclic(clay, CyclicFamily::Power, form, options));
    }
  }
  Clay weighted = MadeUpClay();
  weighted.stiffnessWeight = 3.0;
  weighted.dampingWeight = 7.0;
  rows.push_back(Cyclic(weighted, CyclicFamily::Power, CyclicForm::Stress, Plain(residual)));
  // A weight so small that the curve is left out.
  weighted.dampingWeight = 1e-8;
  rows.push_back(Cyclic(weighted, CyclicFamily::Power, CyclicForm::Stress, Plain(Residual::Relative)));
}

void HyperbolicRows(Residual residual, std::vector<Row>& rows) {
  for (const CyclicForm form : {CyclicForm::Ordinate, CyclicForm::Strain, CyclicForm::LogStrain}) {
    for (const Clay& clay : Clays()) {
      for (const Options& options :
           {Plain(residual), Plain(residual, {{"gamma_r", 1e-3}}), Plain(residual, {}, {{"gamma_r", 5e-4}})}) {
        rows.push_back(Cyclic(clay, CyclicFamily::Hyperbolic, form, options));
      }
    }
  }
}

void GeneralisedRows(Residual residual, std::vector<Row>& rows) {
  const Named six{{"C1_0", 1.0}, {"C1_inf", 0.2}, {"C2_0", 0.9}, {"C2_inf", 2.0}, {"alpha", 2.0}, {"beta", 3.0}};
  Named all = six;
  all["gamma_r"] = 7e-4;
  const Options ofStiffness[] = {
      Plain(residual),         Plain(residual, {{"C1_0", 1.0}}),         Plain(residual, six),
      Plain(residual, all),    Plain(residual, {}, {{"gamma_r", 7e-4}}), Plain(residual, {}, six),
      Plain(residual, {}, all)};
  const Options ofDamping[] = {Plain(residual, {{"kappa", 1.0}}), Plain(residual, {{"hmax", 0.2}, {"kappa", 1.2}}),
                               Plain(residual, {}, {{"hmax", 0.1}}),
                               Plain(residual, {}, {{"hmax", 0.1}, {"kappa", 0.8}})};
  for (const Clay& clay : Clays()) {
    if (clay.stiffness.empty()) {
      rows.push_back(Generalised(clay, CyclicForm::Ordinate, Plain(residual, all)));
      continue;
    }
    for (const CyclicForm form : {CyclicForm::Ordinate, CyclicForm::Stress}) {
      for (const Options& options : ofStiffness) rows.push_back(Generalised(clay, form, options));
      rows.push_back(Generalised(clay, form, Plain(residual, {{"gamma_r", 7e-4}})));
    }
    for (const Options& options : ofDamping) {
      if (!clay.damping.empty()) rows.push_back(Generalised(clay, CyclicForm::Ordinate, options));
    }
  }
  Clay stiff{"no degradation", {}, {{1e-5, 0.01}, {1e-4, 0.02}, {1e-3, 0.03}}};
  for (int i = 0; i < 8; ++i) stiff.stiffness.emplace_back(std::pow(10.0, -5.0 + 0.4 * i), 1.0);
  rows.push_back(Generalised(stiff, CyclicForm::Ordinate, Plain(residual)));
}

// Water retention: suctions in kPa, contents, diameters in mm. psi_r is held at its usual value unless it is mentioned.

struct Soil {
  std::string name;
  Points measured;
  Points grading;
};

struct Model {
  const char* name;
  std::vector<std::string> parameters;
  Numbers start;
};
const std::vector<Model> kModels{
    {"van-genuchten", {"theta_s", "theta_r", "alpha", "n"}, {0.41, 0.06, 0.08, 1.4}},
    {"van-genuchten-m", {"theta_s", "theta_r", "alpha", "n", "m"}, {0.41, 0.06, 0.08, 1.4, 0.4}},
    {"fredlund-xing", {"theta_s", "a", "n", "m", "psi_r"}, {0.41, 20, 1.3, 1.1, 900}},
    {"brooks-corey", {"theta_s", "theta_r", "psi_b", "lambda"}, {0.41, 0.06, 5, 0.5}}};

Row Retention(const Soil& soil, std::size_t model, Fit::RetentionPoints points, const Options& options) {
  return {
      soil.name + ", " + kModels[model].name + ", points " + std::to_string(static_cast<int>(points)),
      [=] {
        Doubles settings({static_cast<double>(model), static_cast<double>(points), 1.0 * Variant(options), -1, 0, 0});
        Doubles parameters;
        for (const std::string& name : kModels[model].parameters) {
          const bool usual = name == "psi_r" && std::isnan(Given(options, name, kNaN));
          if (!usual) settings.Add(Flag(options, name));
          if (!options.held.empty() || !options.start.empty()) {
            parameters.Add(Given(options, name, usual ? 1500.0 : kNaN));
          }
        }
        CArray22 in, out;
        Fill(in.first, soil.measured);
        Fill(in.second, soil.grading);
        const int status = CurveFitting4UnsaturatedSoil(settings, in, parameters, out);
        return Answer{Values(parameters), status == 0};
      },
      [=] {
        Fit::RetentionData data;
        data.retention = FitCurve(soil.measured);
        data.grading = FitCurve(soil.grading);
        data.points = points;
        return Fit::FitRetention(data, kModels[model].name, options);
      }};
}

Soil Unsoda(const std::string& code) {
  Soil soil{"soil " + code, BundledCurve("unsoda_retention.csv", "suction_kPa", "theta", "soil", code), {}};
  for (const auto& [size, finer] :
       BundledCurve("unsoda_grain_size.csv", "particle_size_um", "fraction_finer", "soil", code)) {
    soil.grading.emplace_back(size / 1000.0, finer);
  }
  return soil;
}

Soil MadeUpSoil() {
  Soil soil{"made-up", {}, {{0.002, 12}, {0.02, 33}, {0.06, 71}, {0.2, 93}, {2, 100}}};
  for (int i = 0; i < 14; ++i) {
    const double suction = std::pow(10.0, -0.5 + 0.3 * i);
    soil.measured.emplace_back(suction,
                               0.07 + 0.36 * std::pow(1 + std::pow(suction / 9, 1.7), -0.4) + 0.003 * std::sin(i));
  }
  return soil;
}

/// One parameter held, all started, and one held among others that are started.
std::vector<Options> RetentionOptions(const Model& model, Residual residual) {
  std::vector<Options> all(5, Plain(residual));
  for (std::size_t k = 0; k < model.parameters.size(); ++k) {
    const std::string& name = model.parameters[k];
    if (k == 1) all[1].held[name] = model.start[k];
    all[2].start[name] = model.start[k];
    if (name != "psi_r") all[3].start[name] = model.start[k];
    (k == 1 ? all[4].held : all[4].start)[name] = model.start[k];
  }
  return all;
}

void RetentionRows(Residual residual, std::vector<Row>& rows) {
  using enum Fit::RetentionPoints;
  for (const Soil& soil : {Unsoda("4170"), Unsoda("4521"), MadeUpSoil()}) {
    for (std::size_t model = 0; model < kModels.size(); ++model) {
      for (const Options& options : RetentionOptions(kModels[model], residual)) {
        rows.push_back(Retention(soil, model, Measured, options));
      }
      for (const auto points : {Grading, Both}) rows.push_back(Retention(soil, model, points, Plain(residual)));
    }
  }
  // No point dries, so the shape has no influence.
  rows.push_back(Retention(MadeUpSoil(), 3, Measured, Plain(residual, {{"psi_b", 5e4}})));
}

struct Family {
  const char* name;
  void (*rows)(Residual residual, std::vector<Row>& rows);
};
void PrintTo(const Family& family, std::ostream* out) { *out << family.name; }

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
    std::vector<Row> rows;
    GetParam().rows(residual, rows);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      SCOPED_TRACE(rows[i].name + ", row " + std::to_string(i) +
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
