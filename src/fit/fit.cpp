#include "xem/fit/fit.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

#include "fit/assemble.h"
#include "fit/model.h"
#include "fit/screening.h"
#include "xem/array.h"
#include "xem/version.h"

namespace Xem::Fit {
namespace {

/// What the export makes of the same curves. The one place where an exception of the core becomes a sentence.
Minimum RunPlain(ModelFit& fit) {
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

/// Conversion into the units of the law and back may cost a held value its last bit.
void RestoreHeldValues(const Options& options, Result& result) {
  for (Parameter& parameter : result.parameters) {
    const auto held = options.held.find(parameter.name);
    if (held != options.held.end()) parameter.value = held->second;
  }
}

Result Drive(const ModelInfo& info, ModelFit& fit) {
  fit.Screen();
  fit.Describe();
  ApplyOptions(fit.options, fit.problem, fit.given);
  fit.RequireDetermined();
  Minimum minimum = fit.options.engine == Engine::Export ? RunPlain(fit) : fit.Minimise();
  minimum.objective = Objective(fit.problem, minimum.parameters);

  Result result =
      Assemble(fit.problem, minimum, fit.curves, std::move(fit.dropped), fit.MakeEvaluator(minimum.parameters));
  result.model = info.name;
  result.terms = fit.terms;
  result.formula = info.formula;
  result.options = fit.options;
  result.version = XEM_VERSION;
  RestoreHeldValues(fit.options, result);
  result.notes.insert(result.notes.end(), fit.notes.begin(), fit.notes.end());
  RemoveHidden(fit.problem, result);
  fit.Complete(minimum, result);
  NoteImpossible(info.family, result, result.notes);
  JoinNotes(result.notes);
  return result;
}

}  // namespace

void ModelFit::RequirePlainOptions() const {
  if (Named() || Weighted()) {
    throw Error(ErrorKind::BadInput, "the export engine knows no held values, starting values or weights");
  }
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
      if (problem.parameters[k].held && !std::isnan(given[k])) start[k] = given[k];
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
  const auto fit = model.fit(tests, choice.terms);
  // A model may have held values of its own in its options already; the caller's go first.
  Options all = options;
  all.held.insert(fit->options.held.begin(), fit->options.held.end());
  fit->options = all;
  return Drive(model.info, *fit);
}

}  // namespace Xem::Fit
