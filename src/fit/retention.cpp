#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>

#include "fit/assemble.h"
#include "fit/retention_soil.h"
#include "soil/retention_fit.h"
#include "xem/fit/soil.h"

namespace Xem::Fit {
namespace {

namespace Core = MaterialUtil;
using Core::RetentionModel;
using Core::Suction;
using Core::XemUnsaturatedSoilTestFunction;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// More than this share of the drainable water left in the driest point makes theta_r an extrapolation.
constexpr double kDryEnough = 0.3;

/// So does a standard error of more than this share of theta_s.
constexpr double kWidestError = 0.25;

boost::shared_ptr<XemUnsaturatedSoilTestFunction> MakeFunction(RetentionModel model,
                                                               std::span<const _T_FUNT_BASE> points,
                                                               const Core::FixedTermMask& mask) {
  std::vector<std::int32_t> options{static_cast<std::int32_t>(model)};
  options.insert(options.end(), mask.Span().begin(), mask.Span().end());
  const auto function = boost::make_shared<XemUnsaturatedSoilTestFunction>();
  function->SetParameters({}, options);
  function->SetTestData(points);
  return function;
}

/// How a parameter is reported: its value in `unit` is the law's own times `scale`.
struct Reported {
  std::string unit;
  double scale = 1.0;
};
Reported ReportScale(const Core::RetentionParameter& parameter, const SuctionUnit& unit) {
  const std::string own = parameter.unit;
  if (own == "kPa") return {unit.reported, 1.0 / unit.kPa};
  if (own == "1/kPa") return {std::string("1/") + unit.reported, unit.kPa};
  return {own, 1.0};
}

/// Parameters in the units of the report, kPa inside. theta_r stays below the contents that it is a part of.
std::vector<FreeOrHeld> DescribeParameters(RetentionModel model, const Soil& soil) {
  double wettest = 0.0;
  for (const Curve& curve : soil.fitted) wettest = std::max(wettest, *std::max_element(curve.y.begin(), curve.y.end()));
  std::vector<FreeOrHeld> parameters;
  for (const Core::RetentionParameter& known : Core::RetentionParameters(model)) {
    const Reported reported = ReportScale(known, *soil.unit);
    FreeOrHeld parameter;
    parameter.name = known.name;
    parameter.unit = reported.unit;
    parameter.scale = reported.scale;
    parameter.lower = known.lower;
    parameter.upper = known.upper;
    parameters.push_back(parameter);
  }
  if (Core::HasResidualContent(model)) {
    parameters[Core::kResidualContent].upper = Core::kLargestResidualShare * wettest;
  }
  return parameters;
}

Core::FixedTermMask MaskOf(const Problem& problem) {
  Core::FixedTermMask mask(static_cast<std::int64_t>(problem.parameters.size()));
  for (std::size_t k = 0; k < problem.parameters.size(); ++k) {
    mask[static_cast<std::int64_t>(k)] = problem.parameters[k].held ? 1 : 0;
  }
  return mask;
}

/// The problem, and in `given` held values and starts (NaN where there is neither). psi_r is held unless asked for.
Problem MakeProblem(RetentionModel model, const Soil& soil, const Options& options, std::vector<double>& given) {
  Problem problem;
  problem.residual = options.residual;
  problem.parameters = DescribeParameters(model, soil);
  problem.termCount = static_cast<std::int32_t>(problem.parameters.size());
  given.assign(problem.parameters.size(), kNaN);
  ApplyOptions(options, problem, given);
  if (model == RetentionModel::FredlundXing && std::isnan(given[Core::kResidualSuction])) {
    given[Core::kResidualSuction] = Core::kUsualResidualSuction;
    problem.parameters[Core::kResidualSuction].held = true;
  }
  for (const Curve& curve : soil.fitted) {
    problem.functions.push_back(MakeFunction(model, soil.InKilopascal(curve), MaskOf(problem)));
    // The test functions count in percent; the objective shall be in the unit of the contents.
    problem.weights.push_back(curve.weight / XemUnsaturatedSoilTestFunction::kPercent);
  }
  return problem;
}

/// Data that cannot tell the parameters apart, whatever the fit.
void RequireEnough(const Soil& soil, const Problem& problem) {
  std::vector<_T_FUNT_BASE> points = soil.FittedPoints();
  const auto [driest, wettest] = std::minmax_element(
      points.begin(), points.end(), [](const _T_FUNT_BASE& a, const _T_FUNT_BASE& b) { return a.second < b.second; });
  const bool dries = driest->second < wettest->second;
  std::sort(points.begin(), points.end(),
            [](const _T_FUNT_BASE& a, const _T_FUNT_BASE& b) { return a.first < b.first; });
  const auto end = std::unique(points.begin(), points.end(),
                               [](const _T_FUNT_BASE& a, const _T_FUNT_BASE& b) { return a.first == b.first; });
  const auto distinct = end - points.begin();
  const int free = problem.FreeCount();
  if (distinct < free) {
    throw Error(ErrorKind::BadData, "fewer different suctions (" + std::to_string(distinct) +
                                        ") than free parameters (" + std::to_string(free) +
                                        "); add points or hold some parameters");
  }
  if (free > 1 && !dries) {
    throw Error(ErrorKind::BadData, "the water content is " + Text(points.front().second) +
                                        " at every suction; a curve needs points that dry");
  }
}

/// Shape parameters that starts are spread over, with their values.
struct Spread {
  std::size_t parameter;
  std::vector<double> values;
};
std::vector<Spread> SpreadOf(RetentionModel model) {
  switch (model) {
    case RetentionModel::VanGenuchten:
      return {{3, {1.1, 1.5, 2.5, 6.0}}};
    case RetentionModel::VanGenuchtenFreeM:
      return {{3, {0.75, 1.5, 4.0, 8.0, 16.0}}, {4, {0.05, 0.2, 0.8, 4.0, 9.0}}};
    case RetentionModel::FredlundXing:
      return {{2, {0.75, 2.0, 5.0}}, {3, {0.3, 0.8, 2.0}}};
    case RetentionModel::BrooksCorey:
      return {{3, {0.1, 0.35, 0.8, 2.0}}};
  }
  return {};
}

/// The best candidate of the core's grid when some parameters are held at `values`.
std::vector<double> GridStart(RetentionModel model, const Problem& problem, std::span<const _T_FUNT_BASE> points,
                              const Core::FixedTermMask& mask, std::span<const double> values) {
  const auto function = MakeFunction(model, points, mask);
  const auto residual =
      problem.residual == Residual::Absolute ? Core::ResidualKind::Absolute : Core::ResidualKind::Relative;
  std::vector<double> start(values.size());
  Core::FindRetentionStart(*function, residual, {.held = values, .caller = {}}, start);
  return start;
}

/// The caller's start if there is one, the best of the grid, and the best ones with a shape parameter spread over its
/// usual values: the misfit of retention models has several valleys.
std::vector<std::vector<double>> Starts(RetentionModel model, const Soil& soil, const Problem& problem,
                                        const std::vector<double>& given) {
  const std::vector<_T_FUNT_BASE> points = soil.FittedPoints();
  const Core::FixedTermMask mask = MaskOf(problem);
  std::vector<std::vector<double>> starts;
  const std::vector<double> best = GridStart(model, problem, points, mask, given);
  std::vector<double> callers = best;
  for (std::size_t k = 0; k < given.size(); ++k) {
    if (!std::isnan(given[k])) callers[k] = given[k];
  }
  if (callers != best) starts.push_back(callers);
  starts.push_back(best);
  for (const Spread& spread : SpreadOf(model)) {
    if (problem.parameters[spread.parameter].held) continue;
    Core::FixedTermMask spreadMask = mask;
    spreadMask[static_cast<std::int64_t>(spread.parameter)] = 1;
    std::vector<double> values = given;
    for (const double value : spread.values) {
      values[spread.parameter] = value;
      starts.push_back(GridStart(model, problem, points, spreadMask, values));
    }
  }
  return starts;
}

/// What the plain export returns for the same points.
Minimum RunExport(RetentionModel model, const Soil& soil, const Problem& problem, const Options& options,
                  const std::vector<double>& given) {
  for (const Curve& curve : soil.fitted) {
    if (curve.weight != 1.0) throw Error(ErrorKind::BadInput, "the export engine knows no weights");
  }
  const auto started = std::count_if(given.begin(), given.end(), [](double value) { return !std::isnan(value); });
  if (!options.start.empty() && static_cast<std::size_t>(started) < given.size()) {
    throw Error(ErrorKind::BadInput, "the export engine takes a start for every parameter or for none");
  }
  Core::RetentionSettings settings;
  settings.model = model;
  settings.residual =
      options.residual == Residual::Absolute ? Core::ResidualKind::Absolute : Core::ResidualKind::Relative;
  settings.mask = MaskOf(problem);
  const bool mentionsResidualSuction = options.held.count("psi_r") + options.start.count("psi_r") > 0;
  settings.usualResidualSuctionHeld = model == RetentionModel::FredlundXing && !mentionsResidualSuction;
  Core::RetentionData data;
  data.porosity = Core::RetentionPorosity(soil.porosity, soil.InKilopascal(soil.retention));
  data.fitted = soil.FittedPoints();
  Minimum minimum;
  try {
    const Core::RetentionFit fit = Core::FitRetention(settings, data, given);
    minimum.parameters.assign(fit.parameters.Span().begin(), fit.parameters.Span().end());
    minimum.converged = fit.status == 0;
  } catch (int info) {
    throw Error(ErrorKind::NotConverged, "the export fails on these points: LAPACK reports " + std::to_string(info) +
                                             "; a parameter has no influence on any of them");
  }
  minimum.objective = Objective(problem, minimum.parameters);
  minimum.atBound.assign(problem.parameters.size(), false);
  return minimum;
}

/// A curve that is shown beside the fit, with measures of its own.
CurveResult Compare(const Curve& curve, const Result& result) {
  CurveResult compared;
  compared.name = curve.name;
  compared.x = curve.x;
  compared.measured = curve.y;
  double sum = 0.0;
  for (const double content : curve.y) sum += content;
  const auto count = static_cast<double>(curve.y.size());
  double total = 0.0;
  Measures& measures = compared.measures;
  measures.points = static_cast<int>(curve.y.size());
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    compared.fitted.push_back(result.evaluate(curve.name, curve.x[i]));
    measures.sse += std::pow(curve.y[i] - compared.fitted[i], 2);
    total += std::pow(curve.y[i] - sum / count, 2);
  }
  measures.rmse = std::sqrt(measures.sse / count);
  measures.r2 = 1.0 - measures.sse / total;
  return compared;
}

/// Says so when theta_r lies beyond what the data can tell.
void JudgeResidualContent(RetentionModel model, const Soil& soil, const Problem& problem, const Minimum& minimum,
                          Result& result) {
  constexpr std::size_t k = Core::kResidualContent;
  if (!Core::HasResidualContent(model) || problem.parameters[k].held) return;
  const std::vector<_T_FUNT_BASE> points = soil.FittedPoints();
  const auto driest = std::max_element(points.begin(), points.end(),
                                       [](const _T_FUNT_BASE& a, const _T_FUNT_BASE& b) { return a.first < b.first; });
  const double left = Core::RetentionShape(model, minimum.parameters, Suction(driest->first));
  Parameter& residual = result.parameters[k];
  // A comparison with NaN, of a parameter at a bound, is false.
  const double widest = kWidestError * minimum.parameters[Core::kSaturatedContent];
  if (!(left > kDryEnough) && !(residual.standardError > widest)) return;
  residual.identifiable = false;
  residual.standardError = residual.lower = residual.upper = kNaN;
  for (std::size_t j = 0; j < result.correlation.size(); ++j) {
    result.correlation[k][j] = result.correlation[j][k] = kNaN;
  }
  result.notes.push_back("theta_r is not identifiable: the data do not dry far enough, at the largest suction of " +
                         Text(driest->first / soil.unit->kPa) + " " + soil.unit->reported + " the model still holds " +
                         Text(std::round(100.0 * left)) +
                         " % of the drainable water; hold theta_r or add drier points");
}

std::function<double(const std::string&, double)> Evaluator(RetentionModel model, double kPa,
                                                            const std::vector<double>& parameters) {
  return [=](const std::string& curve, double suction) {
    if (curve != "retention" && curve != "grading") {
      throw Error(ErrorKind::BadInput, "there is no curve " + curve + ": use retention or grading");
    }
    return Core::WaterContent(model, parameters, Suction(suction * kPa));
  };
}

}  // namespace

Result FitRetention(const RetentionData& data, const std::string& model, const Options& options) {
  const RetentionModel known = RetentionModelCalled(model);
  const Soil soil = LoadSoil(data);
  std::vector<double> given;
  const Problem problem = MakeProblem(known, soil, options, given);
  RequireEnough(soil, problem);
  const Minimum minimum = options.engine == Engine::Export ? RunExport(known, soil, problem, options, given)
                                                           : Minimise(problem, Starts(known, soil, problem, given));
  Result result =
      Assemble(problem, minimum, soil.fitted, soil.dropped, Evaluator(known, soil.unit->kPa, minimum.parameters));
  result.model = model;
  for (Parameter& parameter : result.parameters) {
    // Conversion to kPa and back may cost the last bit.
    if (options.held.count(parameter.name) > 0) parameter.value = options.held.at(parameter.name);
  }
  result.notes.insert(result.notes.end(), soil.notes.begin(), soil.notes.end());
  JudgeResidualContent(known, soil, problem, minimum, result);
  if (data.points == RetentionPoints::Measured && !soil.derived.Empty()) {
    result.curves.push_back(Compare(soil.derived, result));
    result.notes.push_back("curve grading is compared with the fit and takes no part in it");
  }
  if (!std::isnan(soil.porosity)) result.derived["porosity"] = soil.porosity;
  return result;
}

double RetentionContent(const std::string& model, const std::vector<double>& parameters, double suction,
                        const std::string& suctionUnit) {
  const RetentionModel known = RetentionModelCalled(model);
  const SuctionUnit& unit = SuctionUnitCalled(suctionUnit);
  const auto ranges = Core::RetentionParameters(known);
  if (parameters.size() != ranges.size()) {
    throw Error(ErrorKind::BadInput, "model " + model + " has " + std::to_string(ranges.size()) + " parameters, not " +
                                         std::to_string(parameters.size()));
  }
  std::vector<double> own = parameters;
  for (std::size_t k = 0; k < own.size(); ++k) own[k] /= ReportScale(ranges[k], unit).scale;
  const double reported = unit.logarithm ? std::pow(10.0, suction) : suction;
  return Core::WaterContent(known, own, Suction(reported * unit.kPa));
}

}  // namespace Xem::Fit
