#include "xem/fit/fit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "fit/assemble.h"
#include "fit/bootstrap.h"
#include "fit/model.h"
#include "fit/ranges.h"
#include "fit/screening.h"
#include "xem/array.h"
#include "xem/version.h"

namespace Xem::Fit {
namespace {

/// What the export makes of the same curves. The one place where an exception of the core becomes a sentence.
Minimum RunPlain(ModelFit& fit) {
  if (!fit.options.bounds.empty() || fit.options.bootstrap > 0 || fit.options.stable) {
    throw Error(ErrorKind::BadInput,
                "the export engine knows no bounds of parameters, no bootstrap and no search for stable parameters");
  }
  fit.RequirePlainOptions();
  Minimum minimum;
  try {
    minimum = fit.RunExport();
  } catch (int info) {
    const std::string remedy = fit.ExportRemedy();
    throw Error(ErrorKind::NotConverged, "the export fails on these curves: LAPACK reports " + std::to_string(info) +
                                             (remedy.empty() ? "" : "; " + remedy));
  } catch (const CInvalidArgException& refusal) {
    throw Error(ErrorKind::BadData, std::string("the export refuses these curves: ") + refusal.what());
  }
  minimum.atBound.assign(minimum.parameters.size(), false);
  return minimum;
}

/// Conversion into the units of the law and back may cost a held value, and one at its bound, the last bit.
void RestoreHeldValues(const Options& options, Result& result) {
  for (Parameter& parameter : result.parameters) {
    const auto held = options.held.find(parameter.name);
    const auto bounds = options.bounds.find(parameter.name);
    if (held != options.held.end()) {
      parameter.value = held->second;
    } else if (bounds != options.bounds.end()) {
      parameter.value = std::clamp(parameter.value, bounds->second.lower, bounds->second.upper);
    }
  }
}

void RequireOptions(const Options& options) {
  constexpr int kMostResamplings = 100000;
  if (!(options.level > 0.0 && options.level < 1.0)) {
    throw Error(ErrorKind::BadInput,
                "the level " + Text(options.level) + " of the intervals is not between 0 and 1; 0.95 stands for 95 %");
  }
  if (options.bootstrap != 0 && options.stable) {
    throw Error(ErrorKind::BadInput, "the bootstrap does not keep to stable parameters; ask for one of the two");
  }
  if (options.bootstrap != 0 && (options.bootstrap < 2 || options.bootstrap > kMostResamplings)) {
    throw Error(ErrorKind::BadInput, "a bootstrap of " + std::to_string(options.bootstrap) +
                                         " resamplings is not between 2 and " + std::to_string(kMostResamplings));
  }
}

/// A minimiser that runs out of steps in a valley without a floor has found the curve, though not the parameters:
/// those that still move are not identifiable. Returns which.
std::vector<bool> Settle(const ModelFit& fit, Minimum& minimum) {
  std::vector<bool> wandering;
  if (minimum.converged || fit.options.engine != Engine::Best) return wandering;
  constexpr int kRounds = 6;
  minimum.converged = CurveHasSettled(fit.problem, fit.OnlyRanges() ? kRounds : 1, minimum, wandering);
  return wandering;
}

/// `wandering` is empty for a fit that did not have to settle.
void MarkWandering(const std::vector<bool>& wandering, Result& result) {
  if (wandering.empty() || !result.converged) return;
  std::string names;
  for (std::size_t k = 0; k < wandering.size(); ++k) {
    Parameter& parameter = result.parameters[k];
    if (!wandering[k] || !parameter.identifiable) continue;
    parameter.identifiable = false;
    parameter.standardError = parameter.lower = parameter.upper = std::numeric_limits<double>::quiet_NaN();
    names += (names.empty() ? "" : ", ") + parameter.name;
  }
  const auto open = [](const Parameter& parameter) { return !parameter.identifiable; };
  if (std::any_of(result.parameters.begin(), result.parameters.end(), open)) result.status = kNotIdentifiable;
  if (!names.empty()) {
    result.notes.push_back("not identifiable from these data: " + names +
                           "; they still move while the fitted curve no longer changes, so hold some or fit fewer "
                           "terms");
  }
}

void AddBootstrap(const ModelFit& fit, const Minimum& minimum, Result& result) {
  if (fit.options.bootstrap == 0) return;
  const std::vector<Interval> intervals = BootstrapIntervals(fit.problem, minimum, fit.options, result.notes);
  for (std::size_t k = 0; k < intervals.size(); ++k) {
    if (!result.parameters[k].identifiable) continue;
    result.parameters[k].bootstrapLower = intervals[k].lower;
    result.parameters[k].bootstrapUpper = intervals[k].upper;
  }
}

void AddBands(Result& result) {
  if (!result.options.band) return;
  const Band band = ConfidenceBand(result);
  bool any = false;
  for (CurveResult& curve : result.curves) {
    curve.lower.clear();
    curve.upper.clear();
    if (!band) continue;
    for (const double x : curve.x) {
      const Interval interval = band(curve.name, x);
      curve.lower.push_back(interval.lower);
      curve.upper.push_back(interval.upper);
      any = any || std::isfinite(interval.lower);
    }
  }
  if (!any) {
    result.notes.push_back("there is no confidence band: parameters are not identifiable, or none is free");
  }
}

/// What the whole result says once every curve is in it.
void Conclude(const ModelInfo& info, Result& result) {
  if (!OneQuantity(info, result.curves)) result.measures.r2 = std::numeric_limits<double>::quiet_NaN();
  for (CurveResult& curve : result.curves) {
    curve.measures.dropped =
        static_cast<int>(std::count_if(result.dropped.begin(), result.dropped.end(),
                                       [&](const DroppedPoint& point) { return point.curve == curve.name; }));
  }
  AddBands(result);
}

/// Where the best parameters are unstable, others take their place.
void Stabilise(ModelFit& fit, Minimum& minimum, std::vector<bool>& wandering) {
  Minimum stable = fit.Stabilised(minimum);
  if (stable.parameters == minimum.parameters) return;
  minimum = std::move(stable);
  wandering.clear();
}

std::vector<double> OrdinatesOf(const ModelFit& fit, const std::vector<double>& parameters, const Evaluator& evaluate,
                                const std::string& curve, const std::vector<double>& x) {
  std::vector<double> ordinates = fit.Ordinates(parameters, curve, x);
  if (ordinates.size() == x.size()) return ordinates;
  ordinates.clear();
  for (const double at : x) ordinates.push_back(evaluate(curve, at));
  return ordinates;
}

Result Drive(const ModelInfo& info, ModelFit& fit, const std::vector<DroppedPoint>& outside) {
  RequireOptions(fit.options);
  fit.Screen();
  fit.dropped.insert(fit.dropped.begin(), outside.begin(), outside.end());
  fit.Describe();
  ApplyOptions(fit.options, fit.problem, fit.given);
  fit.RequireDetermined();
  Minimum minimum = fit.options.engine == Engine::Export ? RunPlain(fit) : fit.Minimise();
  minimum.objective = Objective(fit.problem, minimum.parameters);
  std::vector<bool> wandering = Settle(fit, minimum);
  if (fit.options.stable) Stabilise(fit, minimum, wandering);

  Evaluator evaluate = fit.MakeEvaluator(minimum.parameters);
  const FittedOrdinates ordinates = [&](const std::string& curve, const std::vector<double>& x) {
    return OrdinatesOf(fit, minimum.parameters, evaluate, curve, x);
  };
  Result result = Assemble(fit.problem, minimum, fit.curves, std::move(fit.dropped), ordinates, fit.options.level);
  result.evaluate = evaluate;
  result.model = info.name;
  result.terms = fit.terms;
  result.formula = info.formula;
  result.options = fit.options;
  result.version = XEM_VERSION;
  RestoreHeldValues(fit.options, result);
  MarkWandering(wandering, result);
  AddBootstrap(fit, minimum, result);
  result.notes.insert(result.notes.end(), fit.notes.begin(), fit.notes.end());
  RemoveHidden(fit.problem, result);
  fit.Complete(minimum, result);
  evaluate = result.evaluate;  // the model may have added curves of its own
  NoteImpossible(info.family, result, ordinates, result.notes);
  Conclude(info, result);
  JoinNotes(result.notes);
  return result;
}

}  // namespace

void ModelFit::RequirePlainOptions() const {
  if (Named() || Weighted()) {
    throw Error(ErrorKind::BadInput, "the export engine knows no held values, starting values or weights");
  }
}

Minimum ModelFit::Stabilised(const Minimum&) {
  throw Error(ErrorKind::BadInput, "only models of rubber know a search for stable parameters");
}

Minimum ModelFit::RunExport() {
  throw Error(ErrorKind::BadInput, "no exported function fits this model; use the best fit");
}

bool ModelFit::Weighted() const {
  return std::any_of(curves.begin(), curves.end(), [](const Curve& curve) { return curve.weight != 1.0; });
}

void ModelFit::PutHeld(std::vector<std::vector<double>>& starts) const {
  for (auto& start : starts) {
    for (std::size_t k = 0; k < start.size(); ++k) {
      const FreeOrHeld& parameter = problem.parameters[k];
      if (parameter.held && !std::isnan(given[k])) start[k] = given[k];
      if (!parameter.held && options.bounds.count(parameter.name) > 0) {
        start[k] = std::clamp(start[k], parameter.lower, parameter.upper);
      }
    }
  }
}

std::vector<std::vector<double>> ModelFit::WithGiven(std::vector<std::vector<double>> starts, std::vector<double> base,
                                                     Proposed place) const {
  PutHeld(starts);
  if (options.start.empty()) return starts;
  for (std::size_t k = 0; k < base.size(); ++k) {
    if (!std::isnan(given[k])) base[k] = given[k];
  }
  starts.insert(place == Proposed::First ? starts.begin() : starts.end(), std::move(base));
  return starts;
}

std::vector<FreeOrHeld> Describe(const std::vector<ParameterInfo>& infos, const std::string& unitOfStress) {
  std::vector<FreeOrHeld> parameters;
  for (const ParameterInfo& info : infos) {
    parameters.push_back({info.name, info.unit == "stress" ? unitOfStress : info.unit, info.lower, info.upper});
  }
  return parameters;
}

std::vector<double> ParameterValues(const Result& stored) {
  std::vector<double> values;
  for (const Parameter& parameter : stored.parameters) values.push_back(parameter.value);
  return values;
}

Result Fit(const ModelChoice& choice, const Tests& tests, const Options& options) {
  const Model& model = ModelCalled(choice.name);
  if (model.fit == nullptr) throw Error(ErrorKind::BadInput, "model " + choice.name + " is not fitted to curves");
  Tests kept;
  std::vector<DroppedPoint> outside = UnusedRows(tests);
  if (!options.ranges.empty()) {
    kept = tests;
    const std::vector<DroppedPoint> beyond = KeepRanges(options.ranges, kept);
    outside.insert(outside.end(), beyond.begin(), beyond.end());
  }
  const auto fit = model.fit(options.ranges.empty() ? tests : kept, choice.terms);
  // A model may have held values of its own in its options already; the caller's go first.
  Options all = options;
  all.held.insert(fit->options.held.begin(), fit->options.held.end());
  fit->options = all;
  return Drive(model.info, *fit, outside);
}

}  // namespace Xem::Fit
