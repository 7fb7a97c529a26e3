#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "fit/models/models.h"
#include "fit/models/retention.h"
#include "soil/retention_start.h"

/// The models of water retention that the exported function knows, over the core's laws and its table of shapes.
namespace Xem::Fit {
namespace {

namespace Core = MaterialUtil;
using Core::RetentionModel;
using Core::XemUnsaturatedSoilTestFunction;

/// Where Brooks and Corey's model has its air entry.
constexpr std::size_t kAirEntry = 2;
constexpr std::size_t kMostAirEntries = 60;

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
std::vector<double> AirEntries(std::span<const _T_FUNT_BASE> points) {
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
template <RetentionModel model>
std::vector<std::vector<double>> Starts(const Problem& problem, std::span<const _T_FUNT_BASE> points,
                                        const std::vector<double>& given) {
  Core::FixedTermMask mask(problem.parameters.size());
  for (std::size_t k = 0; k < problem.parameters.size(); ++k) mask[k] = problem.parameters[k].held ? 1 : 0;
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

const char* MeaningOf(const std::string& parameter) {
  if (parameter == "theta_s") return "saturated water content";
  if (parameter == "theta_r") return "residual water content, up to 0.95 of the largest measured one";
  if (parameter == "alpha") return "about the inverse of the air-entry suction";
  if (parameter == "psi_b") return "air-entry suction";
  if (parameter == "psi_r") return "residual suction";
  if (parameter == "a") return "about the suction at the inflection";
  if (parameter == "lambda") return "index of the pore sizes";
  return "shape of the curve";
}

double VanGenuchtenConductivity(std::span<const double> p, Core::Suction suction) {
  return MualemConductivity(Core::RetentionShape(RetentionModel::VanGenuchten, p, suction),
                            VanGenuchtenReach(p[2], p[3], suction));
}

/// F(Se)/F(1) = Se^(1 + 1/lambda), and Se^(1/lambda) = psi_b/psi.
double BrooksCoreyConductivity(std::span<const double> p, Core::Suction suction) {
  if (suction.value <= p[kAirEntry]) return 1.0;
  const double saturation = Core::RetentionShape(RetentionModel::BrooksCorey, p, suction);
  return MualemConductivity(saturation, saturation * p[kAirEntry] / suction.value);
}

template <RetentionModel model>
RetentionLaw SoilLawOf() {
  RetentionLaw law;
  for (const Core::RetentionParameter& known : Core::RetentionParameters(model)) {
    const bool content = known.name[0] == 't';
    law.parameters.push_back({known.name, known.unit, known.lower, known.upper, MeaningOf(known.name), content});
  }
  law.saturated = Core::kSaturatedContent;
  if (Core::HasResidualContent(model)) law.residual = Core::kResidualContent;
  law.saturation = [](std::span<const double> parameters, Core::Suction suction) {
    return Core::RetentionShape(model, parameters, suction);
  };
  law.function = [](std::span<const _T_FUNT_BASE> points) -> Core::TestFunctionList::value_type {
    return MakeFunction(model, points, {});
  };
  law.starts = Starts<model>;
  if (model == RetentionModel::VanGenuchten) {
    law.conductivity = VanGenuchtenConductivity;
    law.conductivityFormula = "sqrt(Se) (1 - (1 - Se^(1/m))^m)^2";
  }
  if (model == RetentionModel::BrooksCorey) {
    law.conductivity = BrooksCoreyConductivity;
    law.conductivityFormula = "Se^(5/2 + 2/lambda)";
  }
  if (model == RetentionModel::FredlundXing) law.usual = {{"psi_r", Core::kUsualResidualSuction}};
  law.plain = model;
  return law;
}

const RetentionLaw kVanGenuchtenLaw = SoilLawOf<RetentionModel::VanGenuchten>();
const RetentionLaw kVanGenuchtenFreeMLaw = SoilLawOf<RetentionModel::VanGenuchtenFreeM>();
const RetentionLaw kFredlundXingLaw = SoilLawOf<RetentionModel::FredlundXing>();
const RetentionLaw kBrooksCoreyLaw = SoilLawOf<RetentionModel::BrooksCorey>();

ModelInfo SoilInfo(const char* name, const char* title, const char* formula, const char* source) {
  ModelInfo info = RetentionInfo(name, title, formula, source);
  info.plainExport = "CurveFitting4UnsaturatedSoil";
  return info;
}

}  // namespace

const Model kVanGenuchten = RetentionModelOf<kVanGenuchtenLaw>(
    SoilInfo("van-genuchten", "van Genuchten",
             "theta = theta_r + (theta_s - theta_r) (1 + (alpha psi)^n)^-m, m = 1 - 1/n", "van Genuchten 1980"));

const Model kVanGenuchtenFreeM = RetentionModelOf<kVanGenuchtenFreeMLaw>(
    SoilInfo("van-genuchten-m", "van Genuchten, m free", "theta = theta_r + (theta_s - theta_r) (1 + (alpha psi)^n)^-m",
             "van Genuchten 1980"));

const Model kFredlundXing = RetentionModelOf<kFredlundXingLaw>(
    SoilInfo("fredlund-xing", "Fredlund and Xing",
             "theta = C theta_s (ln(e + (psi/a)^n))^-m, C = 1 - ln(1 + psi/psi_r)/ln(1 + 1e6 kPa/psi_r)",
             "Fredlund and Xing 1994"));

const Model kBrooksCorey = RetentionModelOf<kBrooksCoreyLaw>(SoilInfo(
    "brooks-corey", "Brooks and Corey",
    "theta = theta_r + (theta_s - theta_r) (psi_b/psi)^lambda above psi_b, theta_s below", "Brooks and Corey 1964"));

}  // namespace Xem::Fit
