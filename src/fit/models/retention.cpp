#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <span>
#include <utility>

#include "fit/assemble.h"
#include "fit/models/models.h"
#include "fit/models/retention_soil.h"
#include "fit/search.h"
#include "soil/retention_fit.h"

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

/// Where Brooks and Corey's model has its air entry.
constexpr std::size_t kAirEntry = 2;
constexpr std::size_t kMostAirEntries = 60;

/// So many of the best starts are followed to a minimum.
constexpr std::size_t kFollowed = 6;

boost::shared_ptr<XemUnsaturatedSoilTestFunction> MakeFunction(RetentionModel model,
                                                               std::span<const _T_FUNT_BASE> points,
                                                               const Core::FixedTermMask& mask) {
  std::vector<std::int32_t> options{static_cast<std::int32_t>(model)};
  options.insert(options.end(), mask.begin(), mask.end());
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

const char* MeaningOf(const std::string& parameter) {
  if (parameter == "theta_s") return "saturated water content";
  if (parameter == "theta_r") return "residual water content, up to 0.98 of the largest measured one";
  if (parameter == "alpha") return "about the inverse of the air-entry suction";
  if (parameter == "psi_b") return "air-entry suction";
  if (parameter == "psi_r") return "residual suction";
  if (parameter == "a") return "about the suction at the inflection";
  if (parameter == "lambda") return "index of the pore sizes";
  return "shape of the curve";
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
  // At theta_r = theta_s the curve is flat and its shape says nothing: the minimiser must not get stuck there.
  if (Core::HasResidualContent(model)) {
    parameters[Core::kResidualContent].upper = Core::kLargestResidualShare * wettest;
  }
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
  std::vector<double> start(values.size());
  Core::FindRetentionStart(*function, KindOf(problem.residual), {.held = values, .caller = {}}, start);
  return start;
}

/// Air entries of Brooks and Corey's model, one between every two neighbouring suctions: which points lie on the branch
/// below decides the misfit, so that each such interval has a valley of its own.
std::vector<double> AirEntries(std::vector<_T_FUNT_BASE> points) {
  std::vector<double> suctions;
  for (const _T_FUNT_BASE& point : points) {
    if (point.first > 0.0) suctions.push_back(point.first);
  }
  std::sort(suctions.begin(), suctions.end());
  suctions.erase(std::unique(suctions.begin(), suctions.end()), suctions.end());
  // Of long records as many intervals as grading and retention of one soil ever have.
  const std::size_t stride = suctions.size() / kMostAirEntries + 1;
  std::vector<double> entries;
  for (std::size_t i = stride; i < suctions.size(); i += stride) {
    entries.push_back(std::sqrt(suctions[i - stride] * suctions[i]));
  }
  return entries;
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
  // One best point of the core's coarse grid lies in one valley. With the shape held at other usual values the grid
  // finds points in the others.
  starts.push_back(best);
  std::vector<Spread> spreads = SpreadOf(model);
  if (model == RetentionModel::BrooksCorey) spreads.push_back({kAirEntry, AirEntries(points)});
  for (const Spread& spread : spreads) {
    if (problem.parameters[spread.parameter].held) continue;
    Core::FixedTermMask spreadMask = mask;
    spreadMask[spread.parameter] = 1;
    std::vector<double> values = given;
    for (const double value : spread.values) {
      values[spread.parameter] = value;
      starts.push_back(GridStart(model, problem, points, spreadMask, values));
    }
  }
  return starts;
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
void JudgeResidualContent(RetentionModel model, const Soil& soil, const Problem& problem, const Minimum& minimum,
                          Result& result) {
  constexpr std::size_t k = Core::kResidualContent;
  // Found at 0 it is a model without a residual content, like one held there.
  if (!Core::HasResidualContent(model) || problem.parameters[k].held || minimum.atBound[k]) return;
  const std::vector<_T_FUNT_BASE> points = soil.FittedPoints();
  const auto driest = std::max_element(points.begin(), points.end(),
                                       [](const _T_FUNT_BASE& a, const _T_FUNT_BASE& b) { return a.first < b.first; });
  const double left = Core::RetentionShape(model, minimum.parameters, Suction(driest->first));
  Parameter& residual = result.parameters[k];
  // A comparison with NaN, of a parameter at a bound, is false.
  const double widest = kWidestError * minimum.parameters[Core::kSaturatedContent];
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

Evaluator MakeRetentionEvaluator(RetentionModel model, double kPa, const std::vector<double>& parameters) {
  return [=](const std::string& curve, double suction) {
    if (curve != "retention" && curve != "grading") {
      throw Error(ErrorKind::BadInput, "there is no curve " + curve + ": use retention or grading");
    }
    return Core::WaterContent(model, parameters, Suction(suction * kPa));
  };
}

class RetentionFit final : public ModelFit {
 public:
  RetentionFit(const RetentionData& data, RetentionModel model) : data_(data), model_(model) {}

  void Screen() override {
    soil_ = LoadSoil(data_);
    curves = soil_.fitted;
    dropped = soil_.dropped;
    notes = soil_.notes;
  }

  /// psi_r is held unless asked for.
  void Describe() override {
    problem.residual = options.residual;
    problem.parameters = DescribeParameters(model_, soil_);
    problem.termCount = static_cast<std::int32_t>(problem.parameters.size());
    given.assign(problem.parameters.size(), kNaN);
    if (model_ == RetentionModel::FredlundXing && !MentionsResidualSuction()) {
      given[Core::kResidualSuction] = Core::kUsualResidualSuction;
      problem.parameters[Core::kResidualSuction].held = true;
    }
    for (const Curve& curve : soil_.fitted) {
      problem.functions.push_back(MakeFunction(model_, soil_.InKilopascal(curve), MaskOf(problem)));
      // The test functions count in percent; the objective shall be in the unit of the contents.
      problem.weights.push_back(curve.weight / XemUnsaturatedSoilTestFunction::kPercent);
    }
  }

  void RequireDetermined() const override { RequireEnough(soil_, problem); }

  Minimum Minimise() override { return MinimiseValleys(problem, Starts(model_, soil_, problem, given), kFollowed); }

  void RequirePlainOptions() const override {
    if (Weighted()) throw Error(ErrorKind::BadInput, "the export engine knows no weights");
    const auto started = std::count_if(given.begin(), given.end(), [](double value) { return !std::isnan(value); });
    if (!options.start.empty() && static_cast<std::size_t>(started) < given.size()) {
      throw Error(ErrorKind::BadInput, "the export engine takes a start for every parameter or for none");
    }
  }

  Minimum RunExport() override {
    Core::RetentionSettings settings;
    settings.model = model_;
    settings.residual = KindOf(options.residual);
    settings.mask = MaskOf(problem);
    settings.usualResidualSuctionHeld = model_ == RetentionModel::FredlundXing && !MentionsResidualSuction();
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
    return MakeRetentionEvaluator(model_, soil_.unit->kPa, parameters);
  }

  void Complete(const Minimum& minimum, Result& result) override {
    JudgeResidualContent(model_, soil_, problem, minimum, result);
    if (data_.points == RetentionPoints::Measured && !soil_.derived.Empty()) {
      result.curves.push_back(Compare(soil_.derived, result));
      result.notes.push_back("curve grading is compared with the fit and takes no part in it");
    }
    if (!std::isnan(soil_.porosity)) result.derived["porosity"] = soil_.porosity;
  }

 private:
  bool MentionsResidualSuction() const {
    return options.held.count("psi_r") + options.start.count("psi_r") + options.bounds.count("psi_r") > 0;
  }

  RetentionData data_;
  RetentionModel model_;
  Soil soil_;
};

/// kPa in one unit of the suctions that a stored result is in.
double StoredKilopascal(RetentionModel model, const Result& stored) {
  const auto known = Core::RetentionParameters(model);
  for (std::size_t k = 0; k < std::min(known.size(), stored.parameters.size()); ++k) {
    const std::string own = known[k].unit;
    std::string unit = stored.parameters[k].unit;
    if (own == "1/kPa" && unit.rfind("1/", 0) == 0) unit.erase(0, 2);
    if ((own == "1/kPa" || own == "kPa") && !unit.empty()) return SuctionUnitCalled(unit).kPa;
  }
  return 1.0;
}

/// Parameters as reported, in a unit of so many kPa, as those of the law. `name` is for the message of a wrong number.
std::vector<double> InKilopascal(RetentionModel model, const std::string& name, std::vector<double> parameters,
                                 double kPa) {
  const auto known = Core::RetentionParameters(model);
  if (parameters.size() != known.size()) {
    throw Error(ErrorKind::BadInput, "model " + name + " has " + std::to_string(known.size()) + " parameters, not " +
                                         std::to_string(parameters.size()));
  }
  for (std::size_t k = 0; k < known.size(); ++k) parameters[k] /= ReportScale(known[k], {"", kPa, ""}).scale;
  return parameters;
}

template <RetentionModel model>
std::vector<ParameterInfo> Parameters(int) {
  std::vector<ParameterInfo> parameters;
  for (const Core::RetentionParameter& known : Core::RetentionParameters(model)) {
    const std::string unit = known.unit;
    parameters.push_back({known.name,
                          unit == "kPa"     ? "suction"
                          : unit == "1/kPa" ? "1/suction"
                                            : unit,
                          known.lower, known.upper, MeaningOf(known.name), known.name[0] == 't'});  // contents
  }
  return parameters;
}

template <RetentionModel model>
boost::shared_ptr<ModelFit> MakeFit(const Tests& tests, int) {
  return boost::make_shared<RetentionFit>(TestsOf<RetentionData>(tests, "retention"), model);
}

template <RetentionModel model>
Evaluator Restore(const Result& stored) {
  const double kPa = StoredKilopascal(model, stored);
  return MakeRetentionEvaluator(model, kPa, InKilopascal(model, stored.model, ParameterValues(stored), kPa));
}

ModelInfo Info(const char* name, const char* title, const char* formula, const char* source) {
  return {.name = name,
          .title = title,
          .family = "retention",
          .curves = {{"retention", "suction", "suction", "water content", "m3/m3", "", true}},
          .formula = formula,
          .source = source,
          .plainExport = "CurveFitting4UnsaturatedSoil",
          .page = "theory/unsaturated_soil.md"};
}

}  // namespace

const Model kVanGenuchten{
    .info = Info("van-genuchten", "van Genuchten",
                 "theta = theta_r + (theta_s - theta_r) (1 + (alpha psi)^n)^-m, m = 1 - 1/n", "van Genuchten 1980"),
    .parameters = Parameters<RetentionModel::VanGenuchten>,
    .fit = MakeFit<RetentionModel::VanGenuchten>,
    .restore = Restore<RetentionModel::VanGenuchten>};

const Model kVanGenuchtenFreeM{
    .info = Info("van-genuchten-m", "van Genuchten, m free",
                 "theta = theta_r + (theta_s - theta_r) (1 + (alpha psi)^n)^-m", "van Genuchten 1980"),
    .parameters = Parameters<RetentionModel::VanGenuchtenFreeM>,
    .fit = MakeFit<RetentionModel::VanGenuchtenFreeM>,
    .restore = Restore<RetentionModel::VanGenuchtenFreeM>};

const Model kFredlundXing{
    .info = Info("fredlund-xing", "Fredlund and Xing",
                 "theta = C theta_s (ln(e + (psi/a)^n))^-m, C = 1 - ln(1 + psi/psi_r)/ln(1 + 1e6 kPa/psi_r)",
                 "Fredlund and Xing 1994"),
    .parameters = Parameters<RetentionModel::FredlundXing>,
    .fit = MakeFit<RetentionModel::FredlundXing>,
    .restore = Restore<RetentionModel::FredlundXing>};

const Model kBrooksCorey{
    .info = Info("brooks-corey", "Brooks and Corey",
                 "theta = theta_r + (theta_s - theta_r) (psi_b/psi)^lambda above psi_b, theta_s below",
                 "Brooks and Corey 1964"),
    .parameters = Parameters<RetentionModel::BrooksCorey>,
    .fit = MakeFit<RetentionModel::BrooksCorey>,
    .restore = Restore<RetentionModel::BrooksCorey>};

Result FitRetention(const RetentionData& data, const std::string& model, const Options& options) {
  RetentionModelCalled(model);  // the words of this family for an unknown name
  return Fit({model, 0}, data, options);
}

double RetentionContent(const std::string& model, const std::vector<double>& parameters, double suction,
                        const std::string& suctionUnit) {
  const RetentionModel known = RetentionModelCalled(model);
  const SuctionUnit& unit = SuctionUnitCalled(suctionUnit);
  const std::vector<double> own = InKilopascal(known, model, parameters, unit.kPa);
  const double reported = unit.logarithm ? std::pow(10.0, suction) : suction;
  return Core::WaterContent(known, own, Suction(reported * unit.kPa));
}

}  // namespace Xem::Fit
