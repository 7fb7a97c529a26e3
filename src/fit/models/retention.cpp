#include "fit/models/retention.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>

#include "fit/assemble.h"
#include "fit/linear_model.h"
#include "fit/models/retention_soil.h"
#include "fit/no_number.h"
#include "fit/search.h"
#include "soil/retention_fit.h"

namespace Xem::Fit {
namespace {

namespace Core = MaterialUtil;
using Core::Suction;
using Core::XemUnsaturatedSoilTestFunction;

/// More than this share of the drainable water left in the driest point makes theta_r an extrapolation.
constexpr double kDryEnough = 0.3;

/// So does a standard error of more than this share of theta_s.
constexpr double kWidestError = 0.25;

/// The curve of the conductivity has so many points over the measured suctions.
constexpr int kConductivityPoints = 61;
constexpr const char* kConductivity = "conductivity";
/// In Result::derived.
constexpr const char* kSaturatedConductivity = "saturated_conductivity";

/// How a parameter is reported: its value in `unit` is the law's own times `scale`.
struct Reported {
  std::string unit;
  double scale = 1.0;
};
Reported ReportScale(const ParameterInfo& parameter, const SuctionUnit& unit) {
  const std::string& own = parameter.unit;
  if (own == "kPa") return {unit.reported, 1.0 / unit.kPa};
  if (own == "1/kPa") return {std::string("1/") + unit.reported, unit.kPa};
  return {own, 1.0};
}

/// Parameters in the units of the report, kPa inside. theta_r stays below the contents that it is a part of.
std::vector<FreeOrHeld> DescribeParameters(const RetentionLaw& law, const Soil& soil) {
  double wettest = 0.0;
  for (const Curve& curve : soil.fitted) wettest = std::max(wettest, *std::max_element(curve.y.begin(), curve.y.end()));
  std::vector<FreeOrHeld> parameters;
  for (const ParameterInfo& known : law.parameters) {
    const Reported reported = ReportScale(known, *soil.unit);
    FreeOrHeld parameter;
    parameter.name = known.name;
    parameter.unit = reported.unit;
    parameter.scale = reported.scale;
    parameter.lower = known.lower;
    parameter.upper = known.upper;
    parameters.push_back(parameter);
  }
  // At theta_r = theta_s the curve is flat and its shape says nothing: the minimiser must not get stuck there.
  if (law.residual) parameters[*law.residual].upper = Core::kLargestResidualShare * wettest;
  return parameters;
}

Core::FixedTermMask MaskOf(const Problem& problem) {
  Core::FixedTermMask mask(problem.parameters.size());
  for (std::size_t k = 0; k < problem.parameters.size(); ++k) {
    mask[k] = problem.parameters[k].held ? 1 : 0;
  }
  return mask;
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

/// A curve that is shown beside the fit, with measures of its own.
CurveResult Compare(const Curve& curve, const Result& result) {
  CurveResult compared;
  compared.name = curve.name;
  compared.x = curve.x;
  compared.measured = curve.y;
  for (const double suction : curve.x) compared.fitted.push_back(result.evaluate(curve.name, suction));
  Measure(compared);
  return compared;
}

/// Says so when theta_r lies beyond what the data can tell.
void JudgeResidualContent(const RetentionLaw& law, const Soil& soil, const Problem& problem, const Minimum& minimum,
                          Result& result) {
  if (!law.residual) return;
  const std::size_t k = *law.residual;
  // Found at 0 it is a model without a residual content, like one held there.
  if (problem.parameters[k].held || minimum.atBound[k]) return;
  const std::vector<_T_FUNT_BASE> points = soil.FittedPoints();
  const auto driest = std::max_element(points.begin(), points.end(),
                                       [](const _T_FUNT_BASE& a, const _T_FUNT_BASE& b) { return a.first < b.first; });
  const double left = law.saturation(minimum.parameters, Suction(driest->first));
  Parameter& residual = result.parameters[k];
  // A comparison with NaN, of a parameter at a bound, is false.
  const double widest = kWidestError * minimum.parameters[law.saturated];
  // Linearised standard errors look small where the curve hasn't begun to level off: the least-squares theta_r is then
  // a matter of the model, not of the data, so the water left at the driest point decides too.
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

/// `conductivity` is the saturated one, NaN where none is known.
Evaluator MakeRetentionEvaluator(const RetentionLaw& law, double kPa, double conductivity,
                                 const std::vector<double>& parameters) {
  return [&law, kPa, conductivity, parameters](const std::string& curve, double suction) {
    if (curve == kConductivity && law.conductivity != nullptr) {
      if (std::isnan(conductivity)) {
        throw Error(ErrorKind::BadInput, "there is no curve conductivity: the fit was given no saturated conductivity");
      }
      return conductivity * law.conductivity(parameters, Suction(suction * kPa));
    }
    if (curve != "retention" && curve != "grading") {
      throw Error(ErrorKind::BadInput, "there is no curve " + curve + ": use retention or grading");
    }
    return law.Content(parameters, Suction(suction * kPa));
  };
}

class RetentionFit final : public ModelFit {
 public:
  RetentionFit(const RetentionData& data, const RetentionLaw& law) : data_(data), law_(law) {}

  void Screen() override {
    RequireConductivity();
    soil_ = LoadSoil(data_);
    curves = soil_.fitted;
    dropped = soil_.dropped;
    notes = soil_.notes;
  }

  void Describe() override {
    problem.residual = options.residual;
    problem.parameters = DescribeParameters(law_, soil_);
    problem.termCount = static_cast<std::int32_t>(problem.parameters.size());
    given.assign(problem.parameters.size(), kNaN);
    for (const auto& [name, value] : law_.usual) {
      if (Mentions(name)) continue;
      const std::size_t k = PlaceOf(name);
      given[k] = value;
      problem.parameters[k].held = true;
    }
    for (const Curve& curve : soil_.fitted) {
      problem.functions.push_back(law_.function(soil_.InKilopascal(curve)));
      // The test functions count in percent; the objective shall be in the unit of the contents.
      problem.weights.push_back(curve.weight / XemUnsaturatedSoilTestFunction::kPercent);
    }
  }

  void RequireDetermined() const override { RequireEnough(soil_, problem); }

  Minimum Minimise() override {
    const auto starts = law_.starts(problem, soil_.FittedPoints(), given);
    if (law_.minimise == nullptr) return MinimiseValleys(problem, starts, kFollowedStarts);
    const bool fixed = std::any_of(law_.ordered.begin(), law_.ordered.end(), [&](const std::string& name) {
      return options.held.count(name) + options.bounds.count(name) > 0;
    });
    return law_.minimise(problem, starts, fixed);
  }

  void RequirePlainOptions() const override {
    if (Weighted()) throw Error(ErrorKind::BadInput, "the export engine knows no weights");
    const auto started = std::count_if(given.begin(), given.end(), [](double value) { return !std::isnan(value); });
    if (!options.start.empty() && static_cast<std::size_t>(started) < given.size()) {
      throw Error(ErrorKind::BadInput, "the export engine takes a start for every parameter or for none");
    }
  }

  Minimum RunExport() override {
    if (!law_.plain) return ModelFit::RunExport();
    Core::RetentionSettings settings;
    settings.model = *law_.plain;
    settings.residual = KindOf(options.residual);
    settings.mask = MaskOf(problem);
    settings.usualResidualSuctionHeld = !law_.usual.empty() && !Mentions(law_.usual.begin()->first);
    Core::RetentionPoints data;
    data.porosity = Core::RetentionPorosity(soil_.porosity, soil_.InKilopascal(soil_.retention));
    data.fitted = soil_.FittedPoints();
    const Core::RetentionFit fit = Core::FitRetention(settings, data, given);
    Minimum minimum;
    minimum.parameters.assign(fit.parameters.begin(), fit.parameters.end());
    minimum.converged = fit.status == 0;
    return minimum;
  }
  std::string ExportRemedy() const override { return "a parameter has no influence on any point"; }

  Evaluator MakeEvaluator(const std::vector<double>& parameters) const override {
    return MakeRetentionEvaluator(law_, soil_.unit->kPa, data_.saturatedConductivity, parameters);
  }

  void Complete(const Minimum& minimum, Result& result) override {
    JudgeResidualContent(law_, soil_, problem, minimum, result);
    if (data_.points == RetentionPoints::Measured && !soil_.derived.Empty()) {
      result.curves.push_back(Compare(soil_.derived, result));
      result.notes.push_back("curve grading is compared with the fit and takes no part in it");
    }
    if (!std::isnan(soil_.porosity)) result.derived["porosity"] = soil_.porosity;
    AddConductivity(result);
  }

 private:
  void RequireConductivity() const {
    const double saturated = data_.saturatedConductivity;
    if (std::isnan(saturated)) return;
    if (!(saturated > 0.0) || !std::isfinite(saturated)) {
      throw Error(ErrorKind::BadInput, "the saturated conductivity " + Text(saturated) + " is not a positive number");
    }
    if (law_.conductivity != nullptr) return;
    std::string known;
    for (const Model* model : Catalogue()) {
      if (model->retention == nullptr || model->retention->conductivity == nullptr) continue;
      known += (known.empty() ? "" : ", ") + model->info.name;
    }
    throw Error(ErrorKind::BadInput, "no closed form of Mualem's conductivity; those that have one are " + known);
  }

  /// K over the suctions that are fitted; none is measured.
  void AddConductivity(Result& result) const {
    if (std::isnan(data_.saturatedConductivity)) return;
    CurveResult curve;
    curve.name = kConductivity;
    for (const double suction : PlacesOf(soil_.FittedPoints(), kConductivityPoints)) {
      curve.x.push_back(suction / soil_.unit->kPa);
      curve.fitted.push_back(result.evaluate(kConductivity, curve.x.back()));
    }
    curve.measures.r2 = curve.measures.rmse = curve.measures.sse = kNaN;
    curve.measures.unit = data_.conductivityUnit;
    result.curves.push_back(std::move(curve));
    result.derived[kSaturatedConductivity] = data_.saturatedConductivity;
    if (!data_.conductivityUnit.empty()) result.derivedUnits[kSaturatedConductivity] = data_.conductivityUnit;
  }

  bool Mentions(const std::string& name) const {
    return options.held.count(name) + options.start.count(name) + options.bounds.count(name) > 0;
  }
  std::size_t PlaceOf(const std::string& name) const {
    const auto at = std::find_if(law_.parameters.begin(), law_.parameters.end(),
                                 [&](const ParameterInfo& known) { return known.name == name; });
    return static_cast<std::size_t>(at - law_.parameters.begin());
  }

  RetentionData data_;
  const RetentionLaw& law_;
  Soil soil_;
};

/// kPa in one unit of the suctions that a stored result is in.
double StoredKilopascal(const RetentionLaw& law, const Result& stored) {
  for (std::size_t k = 0; k < std::min(law.parameters.size(), stored.parameters.size()); ++k) {
    const std::string& own = law.parameters[k].unit;
    std::string unit = stored.parameters[k].unit;
    if (own == "1/kPa" && unit.rfind("1/", 0) == 0) unit.erase(0, 2);
    if ((own == "1/kPa" || own == "kPa") && !unit.empty()) return SuctionUnitCalled(unit).kPa;
  }
  return 1.0;
}

/// Parameters as reported, in a unit of so many kPa, as those of the law. `name` is for the message of a wrong number.
std::vector<double> InKilopascal(const RetentionLaw& law, const std::string& name, std::vector<double> parameters,
                                 double kPa) {
  if (parameters.size() != law.parameters.size()) {
    throw Error(ErrorKind::BadInput, "model " + name + " has " + std::to_string(law.parameters.size()) +
                                         " parameters, not " + std::to_string(parameters.size()));
  }
  for (std::size_t k = 0; k < parameters.size(); ++k) {
    parameters[k] /= ReportScale(law.parameters[k], {"", kPa, ""}).scale;
  }
  return parameters;
}

const RetentionLaw& LawCalled(const std::string& name) {
  std::string known;
  for (const Model* model : Catalogue()) {
    if (model->retention == nullptr) continue;
    if (model->info.name == name) return *model->retention;
    known += (known.empty() ? "" : ", ") + model->info.name;
  }
  throw Error(ErrorKind::BadInput, "unknown retention model " + name + ": use one of " + known);
}

/// The best shape of a group, with the contents solved for. A residual content that the data want below 0 is 0.
std::pair<double, std::vector<double>> BestOf(const Problem& problem, const std::vector<std::vector<double>>& shapes,
                                              const std::array<std::size_t, 2>& contents) {
  Problem dry = problem;
  dry.parameters[contents.front()].held = true;
  std::pair<double, std::vector<double>> best{std::numeric_limits<double>::infinity(), {}};
  for (std::vector<double> shape : shapes) {
    SolveCoefficients(problem, contents, shape);
    for (const std::size_t k : contents) {
      const FreeOrHeld& range = problem.parameters[k];
      const double inside = range.held ? shape[k] : std::clamp(shape[k], range.lower, range.upper);
      const bool moved = inside != shape[k];
      shape[k] = inside;
      if (moved && k == contents.front()) SolveCoefficients(dry, contents, shape);
    }
    const double objective = Objective(problem, shape);
    if (objective < best.first) best = {objective, std::move(shape)};
  }
  return best;
}

}  // namespace

double RetentionLaw::Content(std::span<const double> values, Suction suction) const {
  const double share = saturation(values, suction);
  if (share == 1.0) return values[saturated];
  const double least = residual ? values[*residual] : 0.0;
  return least + (values[saturated] - least) * share;
}

ModelInfo RetentionInfo(const char* name, const char* title, const char* formula, const char* source) {
  return {.name = name,
          .title = title,
          .family = "retention",
          .curves = {{"retention", "suction", "suction", "water content", "m3/m3", "", true}},
          .formula = formula,
          .source = source,
          .page = "theory/unsaturated_soil.md"};
}

std::vector<ParameterInfo> RetentionParameters(const RetentionLaw& law) {
  std::vector<ParameterInfo> parameters = law.parameters;
  for (ParameterInfo& parameter : parameters) {
    if (parameter.unit == "kPa") parameter.unit = "suction";
    if (parameter.unit == "1/kPa") parameter.unit = "1/suction";
  }
  return parameters;
}

boost::shared_ptr<ModelFit> MakeRetentionFit(const RetentionLaw& law, const Tests& tests) {
  return boost::make_shared<RetentionFit>(TestsOf<RetentionData>(tests, "retention"), law);
}

Evaluator RestoreRetention(const RetentionLaw& law, const Result& stored) {
  const double kPa = StoredKilopascal(law, stored);
  const auto known = stored.derived.find(kSaturatedConductivity);
  return MakeRetentionEvaluator(law, kPa, known == stored.derived.end() ? kNaN : known->second,
                                InKilopascal(law, stored.model, ParameterValues(stored), kPa));
}

std::vector<double> PlacesOf(std::span<const _T_FUNT_BASE> points, int count) {
  double lowest = std::numeric_limits<double>::infinity();
  double highest = 0.0;
  for (const _T_FUNT_BASE& point : points) {
    if (!(point.first > 0.0)) continue;
    lowest = std::min(lowest, point.first);
    highest = std::max(highest, point.first);
  }
  if (!(highest > 0.0)) return {1.0};
  std::vector<double> places;
  for (int i = 0; i < count; ++i) places.push_back(lowest * std::pow(highest / lowest, i / (count - 1.0)));
  return places;
}

std::vector<std::vector<double>> StartsFromShapes(const Problem& problem, const ShapeGroups& groups,
                                                  const std::array<std::size_t, 2>& contents,
                                                  const std::vector<double>& given) {
  std::vector<std::pair<double, std::vector<double>>> ranked;
  for (std::vector<std::vector<double>> shapes : groups) {
    for (std::vector<double>& shape : shapes) {
      for (std::size_t k = 0; k < shape.size(); ++k) {
        const FreeOrHeld& range = problem.parameters[k];
        shape[k] = range.held ? given[k] : std::clamp(shape[k], range.lower, range.upper);
      }
    }
    auto best = BestOf(problem, shapes, contents);
    if (std::isfinite(best.first)) ranked.push_back(std::move(best));
  }
  std::sort(ranked.begin(), ranked.end());
  std::vector<std::vector<double>> starts;
  for (auto& [objective, start] : ranked) {
    if (starts.empty()) {
      std::vector<double> callers = start;
      for (std::size_t k = 0; k < given.size(); ++k) {
        if (!std::isnan(given[k])) callers[k] = given[k];
      }
      if (callers != start) starts.push_back(callers);
    }
    starts.push_back(std::move(start));
  }
  return starts;
}

std::vector<std::string> RetentionModels() {
  std::vector<std::string> names;
  for (const Model* model : Catalogue()) {
    if (model->retention != nullptr) names.push_back(model->info.name);
  }
  return names;
}

Result FitRetention(const RetentionData& data, const std::string& model, const Options& options) {
  LawCalled(model);  // the words of this family for an unknown name
  return Fit({model, 0}, data, options);
}

double RetentionContent(const std::string& model, const std::vector<double>& parameters, double suction,
                        const std::string& suctionUnit) {
  const RetentionLaw& law = LawCalled(model);
  const SuctionUnit& unit = SuctionUnitCalled(suctionUnit);
  const std::vector<double> own = InKilopascal(law, model, parameters, unit.kPa);
  const double reported = unit.logarithm ? std::pow(10.0, suction) : suction;
  return law.Content(own, Suction(reported * unit.kPa));
}

}  // namespace Xem::Fit
