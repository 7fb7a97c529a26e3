#include "viscoelastic/creep.h"

#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <numeric>
#include <set>
#include <span>
#include <utility>

#include "fit/assemble.h"
#include "fit/models/models.h"
#include "fit/models/tertiary.h"
#include "fit/screening.h"
#include "solver/linalg/non_negative.h"
#include "viscoelastic/creep_law.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

using Constants = std::array<double, kCreepConstants>;

constexpr double kLargestStressExponent = 25.0;
constexpr double kLeastTimeExponent = 0.01;
/// Beside a secondary term the primary one must not become a straight line.
constexpr double kMostTimeExponent = 0.999;
constexpr double kMostTimeExponentAlone = 2.0;

/// The stress exponents where one stress leaves them open.
constexpr double kConventionalExponent = 1.0;

/// Time exponents to start from.
constexpr double kStartExponents[] = {0.15, 0.25, 0.35, 0.5, 0.65, 0.8};

bool HasPrimary(CreepTerms terms) { return terms != CreepTerms::Secondary; }
bool HasSecondary(CreepTerms terms) { return terms != CreepTerms::Primary; }

/// The tests as they are fitted.
struct Screened {
  std::vector<Curve> curves;
  std::vector<double> stresses;
  std::vector<DroppedPoint> dropped;
  std::vector<std::string> notes;

  bool OneStress() const {
    return std::all_of(stresses.begin(), stresses.end(), [&](double stress) { return stress == stresses.front(); });
  }
};

std::string ObjectToCreep(double time, double strain) {
  if (time <= 0.0) return "time " + Text(time) + " is not positive";
  if (strain <= 0.0) return "strain " + Text(strain) + " is not positive";
  return {};
}

Curve SortedByTime(const Curve& curve) {
  std::vector<std::size_t> order(curve.x.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return curve.x[a] < curve.x[b]; });
  Curve sorted;
  for (const std::size_t i : order) {
    sorted.x.push_back(curve.x[i]);
    sorted.y.push_back(curve.y[i]);
  }
  return sorted;
}

/// Takes the points of an accelerating last stage out of `curve`.
void DropTertiary(Curve& curve, int fewest, Screened& screened) {
  const Curve sorted = SortedByTime(curve);
  const auto first = FirstTertiaryPoint(sorted);
  if (!first) return;
  const double onset = sorted.x[*first];
  if (static_cast<int>(*first) < fewest) {
    screened.notes.push_back("curve " + curve.name + ": creep accelerates from the start (time " + Text(onset) +
                             "): what is fitted is a tertiary stage, which the law does not have");
    return;
  }
  const auto objection = [onset](double time, double) {
    return time >= onset ? "tertiary stage, from time " + Text(onset) + " on" : std::string();
  };
  const std::size_t before = screened.dropped.size();
  curve = Screen(curve, "strain", objection, fewest, screened.dropped);
  screened.notes.push_back("curve " + curve.name + ": creep accelerates from time " + Text(onset) + " on; " +
                           std::to_string(screened.dropped.size() - before) +
                           " points of this tertiary stage, which the law does not have, were left out");
}

Screened ScreenTests(const CreepData& data, int fewest, bool dropTertiary) {
  if (data.tests.empty()) throw Error(ErrorKind::BadData, "there is no creep test to fit");
  Screened screened;
  std::set<std::string> names;
  for (const CreepTest& test : data.tests) {
    Curve curve = test.curve;
    if (curve.name.empty()) curve.name = "creep";
    if (!names.insert(curve.name).second) {
      throw Error(ErrorKind::BadInput, "two creep tests are called " + curve.name + "; give each its own name");
    }
    if (!(test.stress > 0.0) || !std::isfinite(test.stress)) {
      throw Error(ErrorKind::BadData, "curve " + curve.name + ": stress " + Text(test.stress) + " is not positive");
    }
    Curve kept = Screen(curve, "strain", ObjectToCreep, fewest, screened.dropped);
    NoteOddities("creep", kept, screened.notes);
    if (dropTertiary) DropTertiary(kept, fewest, screened);
    screened.curves.push_back(std::move(kept));
    screened.stresses.push_back(test.stress);
  }
  return screened;
}

/// The units that the fit works in: geometric means, so that numbers are of the order of 1, where C1 of a test in MPa
/// and hours is easily 1e-30; the law keeps its form (docs/theory/viscoelastic.md). One stress or time is `stress` or
/// `time` of the caller's.
struct Units {
  double stress = 1.0;
  double time = 1.0;

  Constants FromOwn(Constants c) const {
    c[kC1] /= std::pow(stress, c[kC2]) * std::pow(time, c[kC4]);
    c[kC5] /= std::pow(stress, c[kC6]) * time;
    return c;
  }
};

double GeometricMean(const std::vector<double>& values) {
  double sum = 0.0;
  for (const double value : values) sum += std::log(value);
  return std::exp(sum / static_cast<double>(values.size()));
}

Units WorkingUnits(const Screened& screened) {
  std::vector<double> times;
  for (const Curve& curve : screened.curves) times.insert(times.end(), curve.x.begin(), curve.x.end());
  return {GeometricMean(screened.stresses), GeometricMean(times)};
}

std::vector<int> Shown(CreepTerms terms) {
  if (terms == CreepTerms::Primary) return {kC1, kC2, kC4};
  if (terms == CreepTerms::Secondary) return {kC5, kC6};
  return {kC1, kC2, kC4, kC5, kC6};
}

/// C1 ... C7 with their ranges; what the terms do not have is held and hidden.
std::vector<FreeOrHeld> DescribeConstants(CreepTerms terms, bool oneStress) {
  std::vector<FreeOrHeld> parameters(kCreepConstants);
  for (std::size_t k = 0; k < parameters.size(); ++k) parameters[k].name = "C" + std::to_string(k + 1);
  parameters[kC1].lower = parameters[kC5].lower = 0.0;
  for (const int k : {kC2, kC6}) {
    parameters[k].lower = 0.0;
    parameters[k].upper = kLargestStressExponent;
    parameters[k].held = oneStress;
  }
  parameters[kC4].lower = kLeastTimeExponent;
  parameters[kC4].upper = HasSecondary(terms) ? kMostTimeExponent : kMostTimeExponentAlone;
  parameters[kC3].held = parameters[kC7].held = true;
  if (!HasPrimary(terms)) parameters[kC1].held = parameters[kC2].held = parameters[kC4].held = true;
  if (!HasSecondary(terms)) parameters[kC5].held = parameters[kC6].held = true;
  for (FreeOrHeld& parameter : parameters) parameter.hidden = true;
  for (const int k : Shown(terms)) parameters[k].hidden = false;
  return parameters;
}

/// Only constants of the law's chosen terms can be held or started.
void RequireNames(const Options& options, CreepTerms terms) {
  std::string known;
  std::set<std::string> names;
  for (const int k : Shown(terms)) {
    names.insert("C" + std::to_string(k + 1));
    known += (known.empty() ? "C" : ", C") + std::to_string(k + 1);
  }
  const auto require = [&](const std::string& name) {
    if (names.count(name) > 0) return;
    throw Error(ErrorKind::BadInput, "the creep law has no constant " + name + " here; it has " + known);
  };
  for (const auto& bounds : options.bounds) require(bounds.first);
  for (const auto* values : {&options.held, &options.start}) {
    for (const auto& [name, value] : *values) {
      require(name);
      const bool positive = name == "C1" || name == "C4" || name == "C5";
      if (positive && value < 0.0) throw Error(ErrorKind::BadInput, name + " must not be negative");
    }
  }
}

/// A creep curve at one stress, many points at a time. The exported function's own adds up in the order of its formula.
class CreepFunction final : public BlockTestFunction {
 public:
  CreepFunction(const Curve& curve, double stress) : stress_(stress) {
    SetTestData(std::span<const _T_FUNT_BASE>(CorePoints(curve)));
    for (const double time : Stretch()) logTimes_.push_back(std::log(time));
  }

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    CreepAtStress(parameters, stress_)
        .Strains(Stretch().begin() + first, logTimes_.data() + first,
                 {model.size(),
                  model.data(),
                  {derivatives.Empty() ? nullptr : derivatives.data, derivatives.leadingDimension}});
  }

 private:
  double stress_;
  std::vector<double> logTimes_;
};

boost::shared_ptr<XemMaterialCreepType300> MakeCreepFunction(const Curve& curve, double stress) {
  const std::int32_t unused = 0;
  const auto function = boost::make_shared<XemMaterialCreepType300>();
  function->SetParameters({&stress, 1}, {&unused, 1});
  function->SetTestData(std::span<const _T_FUNT_BASE>(CorePoints(curve)));
  return function;
}

Problem MakeProblem(const Screened& screened, const Units& units, std::vector<FreeOrHeld> parameters,
                    Residual residual) {
  Problem problem;
  problem.residual = residual;
  problem.termCount = kCreepConstants;
  problem.parameters = std::move(parameters);
  for (std::size_t i = 0; i < screened.curves.size(); ++i) {
    Curve scaled = screened.curves[i];
    for (double& time : scaled.x) time /= units.time;
    problem.functions.push_back(boost::make_shared<CreepFunction>(scaled, screened.stresses[i] / units.stress));
    problem.weights.push_back(scaled.weight);
  }
  return problem;
}

/// a >= 0 and b >= 0 of a t^m + b t for one test and a given m, t in working units.
CreepLine FitLine(const Curve& curve, const Units& units, double exponent, CreepTerms terms, Residual residual) {
  const std::int32_t columns = HasPrimary(terms) && HasSecondary(terms) ? 2 : 1;
  Matrix design(static_cast<std::int32_t>(curve.x.size()), columns);
  std::vector<double> target(curve.x.size());
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    const auto row = static_cast<std::int64_t>(i);
    const double scale = residual == Residual::Relative ? 1.0 / curve.y[i] : 1.0;
    const double time = curve.x[i] / units.time;
    if (HasPrimary(terms)) design(row, 0) = std::pow(time, exponent) * scale;
    if (HasSecondary(terms)) design(row, columns - 1) = time * scale;
    target[i] = curve.y[i] * scale;
  }
  const std::vector<double> solution = SolveNonNegative(std::move(design), target).x;
  CreepLine line;
  line.exponent = exponent;
  if (HasPrimary(terms)) line.amplitude = solution.front();
  if (HasSecondary(terms)) line.rate = solution.back();
  return line;
}

/// C and n of value = C stress^n by the logarithms of the positive values; few of them leave n as it is.
void FitPower(const std::vector<double>& stresses, const std::vector<double>& values, bool fitExponent, double& factor,
              double& exponent) {
  std::vector<double> logStress, logValue;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (!(values[i] > 0.0)) continue;
    logStress.push_back(std::log(stresses[i]));
    logValue.push_back(std::log(values[i]));
  }
  if (values.empty() || logValue.empty()) return;
  // In logarithms, because a power law over stresses is judged by ratios; one stress gives no slope and keeps the
  // exponent.
  const double slope = FitRate(logStress, logValue);
  if (fitExponent && std::isfinite(slope)) exponent = std::clamp(slope, 0.0, kLargestStressExponent);
  double sum = 0.0;
  for (std::size_t i = 0; i < logValue.size(); ++i) sum += logValue[i] - exponent * logStress[i];
  factor = std::exp(sum / static_cast<double>(logValue.size()));
}

/// One start in working units, for a time exponent.
Constants StartWith(const Screened& screened, const Units& units, double exponent, CreepTerms terms, Residual residual,
                    const Constants& given, const std::vector<FreeOrHeld>& parameters) {
  std::vector<double> stresses, amplitudes, rates;
  double typicalRate = 0.0;
  for (std::size_t i = 0; i < screened.curves.size(); ++i) {
    const Curve& curve = screened.curves[i];
    const CreepLine line = FitLine(curve, units, exponent, terms, residual);
    stresses.push_back(screened.stresses[i] / units.stress);
    amplitudes.push_back(line.amplitude);
    rates.push_back(line.rate);
    typicalRate += curve.y.back() / (curve.x.back() / units.time);
  }
  Constants start = given;
  if (HasPrimary(terms)) {
    start[kC4] = exponent;
    // An amplitude of 0 in every test would leave its stress exponent without a slope: a thousandth of what the curve
    // does lets both move.
    start[kC1] = 1e-3 * typicalRate;
    FitPower(stresses, amplitudes, !parameters[kC2].held, start[kC1], start[kC2]);
  }
  if (HasSecondary(terms)) {
    // The same for the rate.
    start[kC5] = 1e-3 * typicalRate;
    FitPower(stresses, rates, !parameters[kC6].held, start[kC5], start[kC6]);
  }
  return start;
}

/// Held constants in the caller's units; the others at what the law has without them.
Constants GivenConstants(const Options& options, CreepTerms terms) {
  Constants given{};
  if (HasPrimary(terms)) given[kC2] = kConventionalExponent;
  if (HasSecondary(terms)) given[kC6] = kConventionalExponent;
  if (!HasPrimary(terms)) given[kC4] = 1.0;
  for (const auto& [name, value] : options.held) given[static_cast<std::size_t>(name[1] - '1')] = value;
  return given;
}

/// In working units from several time exponents; the result is in the caller's units.
Minimum RunBest(const Screened& screened, CreepTerms terms, const Options& options,
                const std::vector<FreeOrHeld>& parameters) {
  const auto mentions = [&](const char* name) {
    return options.held.count(name) + options.start.count(name) + options.bounds.count(name) > 0;
  };
  // A factor that the caller gives or bounds binds the units: they are his then.
  const Units units = mentions("C1") || mentions("C5") ? Units{} : WorkingUnits(screened);
  const Constants given = GivenConstants(options, terms);
  const Problem problem = MakeProblem(screened, units, parameters, options.residual);

  std::vector<std::vector<double>> starts;
  const auto add = [&](Constants start) {
    for (const auto& [name, value] : options.held) start[static_cast<std::size_t>(name[1] - '1')] = value;
    starts.emplace_back(start.begin(), start.end());
  };
  for (const double exponent : kStartExponents) {
    add(StartWith(screened, units, parameters[kC4].held ? given[kC4] : exponent, terms, options.residual, given,
                  parameters));
    if (parameters[kC4].held) break;
  }
  if (!options.start.empty()) {
    Constants start;
    std::copy(starts.front().begin(), starts.front().end(), start.begin());
    for (const auto& [name, value] : options.start) start[static_cast<std::size_t>(name[1] - '1')] = value;
    add(start);
  }
  Minimum minimum = Minimise(problem, starts);
  Constants own;
  std::copy(minimum.parameters.begin(), minimum.parameters.end(), own.begin());
  const Constants constants = units.FromOwn(own);
  minimum.parameters.assign(constants.begin(), constants.end());
  return minimum;
}

void RequirePlainCreep(const Screened& screened, CreepTerms terms, const Options& options) {
  const bool exponentsOnly = std::all_of(options.held.begin(), options.held.end(),
                                         [](const auto& held) { return held.first == "C2" || held.first == "C6"; });
  if (screened.curves.size() != 1) throw Error(ErrorKind::BadInput, "the export engine fits one creep test at a time");
  if (!options.start.empty() || !exponentsOnly || screened.curves.front().weight != 1.0) {
    throw Error(ErrorKind::BadInput, "the export engine knows no starting values or weights and holds C2 and C6 only");
  }
  if (options.residual == Residual::Relative && (terms != CreepTerms::Both || !options.held.empty())) {
    throw Error(ErrorKind::BadInput,
                "the iterative export, which has relative residuals, fits both terms and holds nothing");
  }
}

Minimum RunLinearisedExport(const Screened& screened, CreepTerms terms, const Constants& given) {
  CreepType type = CreepType::Both;
  if (terms == CreepTerms::Primary) type = CreepType::Primary;
  if (terms == CreepTerms::Secondary) type = CreepType::Secondary;
  XemMaterialTestDataCreep data({type, screened.stresses.front(), given[kC2], given[kC6]});
  data.SetTestData(std::span<const _T_FUNT_BASE>(CorePoints(screened.curves.front())));
  std::array<double, 3> fit{};
  double determination = 0.0;
  data.FitCreepLaw(fit, data.Stress(), data.Stretch(), &determination);
  Minimum minimum;
  const auto constants = data.Constants(fit);
  minimum.parameters.assign(constants.begin(), constants.end());
  minimum.parameters.resize(kCreepConstants, 0.0);
  minimum.converged = true;
  return minimum;
}

Minimum RunIterativeExport(const Screened& screened) {
  const auto function = MakeCreepFunction(screened.curves.front(), screened.stresses.front());
  Minimum minimum;
  minimum.parameters.resize(kCreepConstants);
  double determination = 0.0;
  minimum.converged = FitCreepConstants(function, minimum.parameters, determination) == 0;
  return minimum;
}

std::string FactorUnit(const std::string& stressUnit, const std::string& stressExponent, const std::string& timeUnit,
                       const std::string& timeExponent) {
  std::string unit;
  if (!stressUnit.empty()) unit = stressUnit + "^-" + stressExponent;
  if (!timeUnit.empty()) unit += (unit.empty() ? "" : " ") + timeUnit + "^-" + timeExponent;
  return unit;
}

/// One stress cannot tell its exponents.
void MarkOpenExponents(const Options& options, Result& result) {
  std::string open;
  for (Parameter& parameter : result.parameters) {
    const bool exponent = parameter.name == "C2" || parameter.name == "C6";
    if (!exponent || !parameter.held || options.held.count(parameter.name) > 0) continue;
    parameter.identifiable = false;
    open += (open.empty() ? "" : " and ") + parameter.name;
  }
  if (open.empty()) return;
  result.notes.push_back("one stress does not tell the stress exponents: " + open + " = " +
                         Text(kConventionalExponent) +
                         " by convention; hold them at known values or add tests at other stresses. a, m and b hold "
                         "whatever the exponents are");
}

void AddLines(const Screened& screened, CreepTerms terms, const std::vector<double>& constants, Result& result) {
  for (std::size_t i = 0; i < screened.curves.size(); ++i) {
    const std::string suffix = screened.curves.size() > 1 ? "_" + screened.curves[i].name : "";
    const double stress = screened.stresses[i];
    if (HasPrimary(terms)) result.derived["a" + suffix] = constants[kC1] * std::pow(stress, constants[kC2]);
    if (HasSecondary(terms)) result.derived["b" + suffix] = constants[kC5] * std::pow(stress, constants[kC6]);
  }
  if (HasPrimary(terms)) result.derived["m"] = constants[kC4];
}

std::vector<ParameterInfo> CreepParameters(int variant) {
  const auto terms = static_cast<CreepTerms>(variant - 1);
  const char* const meanings[] = {
      "factor of the primary strain",   "its stress exponent",         "", "its time exponent",
      "factor of the secondary strain", "stress exponent of the rate", ""};
  const std::vector<FreeOrHeld> constants = DescribeConstants(terms, false);
  std::vector<ParameterInfo> parameters;
  for (const int k : Shown(terms)) {
    const FreeOrHeld& constant = constants[k];
    parameters.push_back({constant.name, "", constant.lower, constant.upper, meanings[k]});
    if (k == kC1) parameters.back().unit = "stress^-C2 time^-C4";
    if (k == kC5) parameters.back().unit = "stress^-C6 time^-1";
  }
  return parameters;
}

class CreepFit final : public ModelFit {
 public:
  CreepFit(const CreepData& data, CreepTerms chosen) : data_(data), terms_(chosen) {}

  void Screen() override {
    constexpr int kFewestPoints = 2;
    screened_ = ScreenTests(data_, kFewestPoints, !Plain() && data_.tertiary == Tertiary::Drop);
    curves = screened_.curves;
    dropped = screened_.dropped;
  }

  void Describe() override {
    if (!Plain()) RequireNames(options, terms_);
    std::vector<FreeOrHeld> parameters = DescribeConstants(terms_, screened_.OneStress());
    parameters[kC1].unit = FactorUnit(data_.stressUnit, "C2", data_.timeUnit, "C4");
    parameters[kC5].unit = FactorUnit(data_.stressUnit, "C6", data_.timeUnit, "1");
    problem = MakeProblem(screened_, Units{}, std::move(parameters), options.residual);
    given.assign(problem.parameters.size(), std::numeric_limits<double>::quiet_NaN());
  }

  Minimum Minimise() override { return RunBest(screened_, terms_, options, problem.parameters); }

  void RequirePlainOptions() const override { RequirePlainCreep(screened_, terms_, options); }

  Minimum RunExport() override {
    Minimum minimum;
    if (options.residual == Residual::Relative) {
      problem.parameters[kC2].held = problem.parameters[kC6].held = false;
      minimum = RunIterativeExport(screened_);
    } else {
      minimum = RunLinearisedExport(screened_, terms_, GivenConstants(options, terms_));
    }
    const auto& values = minimum.parameters;
    if (!std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); })) {
      throw Error(ErrorKind::NotConverged, "the export returns numbers that are not finite for curve " +
                                               curves.front().name + "; the secondary strain exceeds the measured one");
    }
    return minimum;
  }
  std::string ExportRemedy() const override {
    return "give the stress, " + Text(screened_.stresses.front()) + " here, in a unit that makes it 0.1 to 0.5";
  }

  Evaluator MakeEvaluator(const std::vector<double>& parameters) const override {
    std::map<std::string, double> stresses;
    for (std::size_t i = 0; i < curves.size(); ++i) stresses[curves[i].name] = screened_.stresses[i];
    return EvaluatorAt(parameters, stresses);
  }

  void Complete(const Minimum& minimum, Result& result) override {
    const std::vector<double>& constants = minimum.parameters;
    if (screened_.OneStress()) MarkOpenExponents(options, result);
    AddLines(screened_, terms_, constants, result);
    if (!screened_.OneStress()) AddReference(constants, result);
    for (std::size_t i = 0; i < curves.size(); ++i) {
      result.curves[i].conditions["stress"] = screened_.stresses[i];
    }
    if (HasSecondary(terms_) && constants[kC5] == 0.0) {
      result.notes.push_back("the curves show no secondary stage: C5 is 0 and C6 has no meaning");
    }
    if (HasPrimary(terms_) && constants[kC1] == 0.0) {
      result.notes.push_back("the curves show no primary stage: C1 is 0, C2 and C4 have no meaning");
    }
    // What was left out of long lists of points comes last.
    result.notes.insert(result.notes.end(), screened_.notes.begin(), screened_.notes.end());
    for (auto& [name, value] : result.derived) {
      if (name == "reference_stress") {
        result.derivedUnits[name] = data_.stressUnit;
        continue;
      }
      if (name == "reference_rate" && !data_.timeUnit.empty()) result.derivedUnits[name] = "1/" + data_.timeUnit;
      if (name == "reference_amplitude" && !data_.timeUnit.empty()) {
        result.derivedUnits[name] = data_.timeUnit + "^-m";
      }
      if (name.front() == 'b' && !data_.timeUnit.empty()) result.derivedUnits[name] = "1/" + data_.timeUnit;
      if (name.front() == 'a' && !data_.timeUnit.empty()) result.derivedUnits[name] = data_.timeUnit + "^-m";
    }
  }

  /// C1 and C5 are strains and rates at a stress of 1, powers away from the tests; at the tests' own mean stress they
  /// are of a size that people can use, and known as well as the curves are.
  void AddReference(const std::vector<double>& constants, Result& result) const {
    const double reference = GeometricMean(screened_.stresses);
    result.derived["reference_stress"] = reference;
    if (HasPrimary(terms_)) {
      result.derived["reference_amplitude"] = constants[kC1] * std::pow(reference, constants[kC2]);
    }
    if (HasSecondary(terms_)) {
      result.derived["reference_rate"] = constants[kC5] * std::pow(reference, constants[kC6]);
    }
    NoteExponents(constants, result);
    std::string extrapolated;
    for (const Parameter& parameter : result.parameters) {
      const bool factor = parameter.name == "C1" || parameter.name == "C5";
      if (!factor || !(parameter.lower <= 0.0) || !(parameter.value > 0.0)) continue;
      extrapolated += (extrapolated.empty() ? "" : " and ") + parameter.name;
    }
    if (extrapolated.empty()) return;
    result.notes.push_back(extrapolated + " refer to a stress of 1" +
                           (data_.stressUnit.empty() ? "" : " " + data_.stressUnit) +
                           ", far from the tests, and cannot be told from 0 there; use reference_amplitude and "
                           "reference_rate, at the mean stress of the tests, with the exponents");
  }

  /// Exponents that no creep mechanism has.
  void NoteExponents(const std::vector<double>& constants, Result& result) const {
    constexpr double kLargestUsual = 15.0;
    for (const auto& [index, has] : {std::pair(kC2, HasPrimary(terms_)), std::pair(kC6, HasSecondary(terms_))}) {
      const double value = constants[static_cast<std::size_t>(index)];
      const std::string name = "C" + std::to_string(index + 1);
      if (!has || options.held.count(name) > 0) continue;
      const bool primary = index == kC2;
      if (constants[primary ? kC1 : kC5] == 0.0) continue;
      if (value == 0.0) {
        result.notes.push_back(name + " = 0: the " + (primary ? "primary strain" : "secondary rate") +
                               " does not grow with stress in these tests; the other stage takes all of the growth, "
                               "which is no law of the material");
      } else if (value > kLargestUsual) {
        result.notes.push_back(name + " = " + Text(value) +
                               " is beyond the stress exponents of creep, 1 to about 12: the tests differ in more than "
                               "their stress, or the law's stages do not tell them apart");
      }
    }
  }

  static Evaluator EvaluatorAt(const std::vector<double>& constants, const std::map<std::string, double>& stresses) {
    return [constants, stresses](const std::string& name, double time) {
      const auto stress = stresses.find(name);
      if (stress == stresses.end()) throw Error(ErrorKind::BadInput, "there is no curve " + name);
      return MaterialUtil::CreepStrain(constants, stress->second, time);
    };
  }

 private:
  CreepData data_;
  CreepTerms terms_;
  Screened screened_;
};

Evaluator RestoreCreep(const Result& stored) {
  std::vector<double> constants(kCreepConstants, 0.0);
  for (const Parameter& parameter : stored.parameters) {
    const bool known =
        parameter.name.size() == 2 && parameter.name[0] == 'C' && parameter.name[1] >= '1' && parameter.name[1] <= '7';
    if (!known) throw Error(ErrorKind::BadInput, "the creep law has no constant " + parameter.name);
    constants[static_cast<std::size_t>(parameter.name[1] - '1')] = parameter.value;
  }
  std::map<std::string, double> stresses;
  for (const CurveResult& curve : stored.curves) {
    const auto stress = curve.conditions.find("stress");
    if (stress != curve.conditions.end()) stresses[curve.name] = stress->second;
  }
  return CreepFit::EvaluatorAt(constants, stresses);
}

}  // namespace

const Model kCreep{.info = {.name = "creep",
                            .title = "Primary and secondary creep",
                            .family = "creep",
                            .variants = {"primary", "secondary", "both"},
                            .curves = {{"creep", "time", "time", "creep strain", ""}},
                            .formula = "strain = C1 s^C2 t^C4 + C5 s^C6 t = a t^m + b t",
                            .source = "Norton 1929, Bailey 1935",
                            .plainExport = "CurveFitting4Creep, CurveFitting4CreepLMMethod",
                            .page = "theory/viscoelastic.md"},
                   .parameters = [](int variant) { return CreepParameters(variant == 0 ? 3 : variant); },
                   .fit = [](const Tests& tests, int variant) -> boost::shared_ptr<ModelFit> {
                     if (variant < 1 || variant > 3)
                       throw Error(ErrorKind::BadInput, "creep is primary, secondary or both");
                     return boost::make_shared<CreepFit>(TestsOf<CreepData>(tests, "creep"),
                                                         static_cast<CreepTerms>(variant - 1));
                   },
                   .restore = RestoreCreep};

Result FitCreep(const CreepData& data, CreepTerms terms, const Options& options) {
  return Fit({"creep", static_cast<int>(terms) + 1}, data, options);
}

}  // namespace Xem::Fit
