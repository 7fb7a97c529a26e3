#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>

#include "fit/assemble.h"
#include "fit/hardening_test_function.h"
#include "fit/screening.h"
#include "sheetmetal/hardening_rule.h"
#include "xem/fit/sheet_metal.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil::SheetMetalForming;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// So many of the best starting points are followed to a minimum.
constexpr std::size_t kMostStarts = 8;

using Parameters = std::vector<double>;

/// Both laws are a + b f(strain) once two of their parameters are chosen.
struct Line {
  double a = 0.0;
  double b = 0.0;
};

/// The line through (f(strain), stress); `a` is given where the caller holds it.
template <class Shape>
Line Regress(const Curve& flow, const std::optional<double>& a, Shape f) {
  const auto count = static_cast<double>(flow.x.size());
  double meanF = 0.0;
  double meanY = 0.0;
  for (std::size_t i = 0; i < flow.x.size() && !a; ++i) {
    meanF += f(flow.x[i]) / count;
    meanY += flow.y[i] / count;
  }
  const double originF = a ? 0.0 : meanF;
  const double originY = a ? *a : meanY;
  double product = 0.0;
  double square = 0.0;
  for (std::size_t i = 0; i < flow.x.size(); ++i) {
    const double fromOrigin = f(flow.x[i]) - originF;
    product += fromOrigin * (flow.y[i] - originY);
    square += fromOrigin * fromOrigin;
  }
  const double b = product / square;
  return {originY - b * originF, b};
}

std::optional<double> Held(const Options& options, const std::string& name) {
  const auto found = options.held.find(name);
  return found == options.held.end() ? std::nullopt : std::optional(found->second);
}

std::vector<Parameters> GhoshStarts(const Curve& flow, const Options& options) {
  const double end = *std::max_element(flow.x.begin(), flow.x.end());
  std::optional<double> intercept = Held(options, "p");
  if (intercept) *intercept = -*intercept;
  std::vector<Parameters> starts;
  for (const double share : {1e-4, 3e-3, 0.03, 0.2, 1.0}) {
    for (const double n : {0.03, 0.1, 0.2, 0.3, 0.5, 0.8, 1.2}) {
      const double e0 = share * end;
      const Line line = Regress(flow, intercept, [&](double strain) { return std::pow(e0 + strain, n); });
      starts.push_back({line.b, e0, n, -line.a});
    }
  }
  return starts;
}

std::vector<Parameters> HockettSherbyStarts(const Curve& flow, const Options& options) {
  const double end = *std::max_element(flow.x.begin(), flow.x.end());
  std::vector<Parameters> starts;
  for (const double atEnd : {0.1, 0.3, 1.0, 3.0, 8.0}) {  // N eps^p at the end of the curve
    for (const double p : {0.2, 0.4, 0.7, 1.0, 1.5, 2.0, 3.0}) {
      const double rate = atEnd * std::pow(end, -p);
      const Line line =
          Regress(flow, Held(options, "ss"), [&](double strain) { return -std::exp(-rate * std::pow(strain, p)); });
      starts.push_back({line.a - line.b, line.a, rate, p});
    }
  }
  return starts;
}

/// What the fit layer knows of a law beside its formula.
struct FittedLaw {
  const HardeningLaw& law;
  std::vector<double> lower;
  std::vector<bool> isStress;
  std::vector<Parameters> (*starts)(const Curve& flow, const Options& options);
};

FittedLaw LawCalled(const std::string& name) {
  if (name == "ghosh" || name == "swift") {
    return {kGhoshLaw, {0.0, 0.0, 0.0, -kInfinity}, {true, false, false, true}, GhoshStarts};
  }
  if (name == "hockett-sherby") {
    return {kHockettSherbyLaw, {0.0, 0.0, 1e-9, 1e-3}, {true, true, false, false}, HockettSherbyStarts};
  }
  throw Error(ErrorKind::BadInput,
              "there is no hardening law " + name + "; the laws are ghosh, swift and hockett-sherby");
}

Problem Describe(const FittedLaw& fitted, const std::string& stressUnit, Residual residual) {
  Problem problem;
  problem.residual = residual;
  problem.termCount = 4;
  for (std::size_t k = 0; k < 4; ++k) {
    FreeOrHeld parameter;
    parameter.name = fitted.law.parameters[k];
    parameter.unit = fitted.isStress[k] ? stressUnit : "";
    parameter.lower = fitted.lower[k];
    problem.parameters.push_back(parameter);
  }
  return problem;
}

/// Automatic starts with the caller's values put in, best first; a start by the caller comes before them.
std::vector<Parameters> Starts(const FittedLaw& fitted, const Curve& flow, const Options& options, Problem& problem) {
  std::vector<std::pair<double, Parameters>> ranked;
  for (Parameters start : fitted.starts(flow, options)) {
    Options heldOnly = options;
    heldOnly.start.clear();
    ApplyOptions(heldOnly, problem, start);
    const double objective = Objective(problem, start);
    if (std::isfinite(objective)) ranked.emplace_back(objective, std::move(start));
  }
  std::sort(ranked.begin(), ranked.end());
  std::vector<Parameters> starts;
  if (!options.start.empty() && !ranked.empty()) {
    starts.push_back(ranked.front().second);
    ApplyOptions(options, problem, starts.back());
  }
  for (std::size_t i = 0; i < std::min(ranked.size(), kMostStarts); ++i) starts.push_back(ranked[i].second);
  return starts;
}

}  // namespace

const HardeningLaw kGhoshLaw{
    "ghosh",
    {"K", "e0", "n", "p"},
    [](std::span<const double> c, double strain) { return GhoshStress(c[0], c[1], c[2], c[3], strain); },
    [](std::span<const double> c, double strain, std::span<double> gradient) {
      GhoshGradient(c[0], c[1], c[2], strain, gradient);
    }};

const HardeningLaw kHockettSherbyLaw{
    "hockett-sherby",
    {"si", "ss", "N", "p"},
    [](std::span<const double> c, double strain) { return HockettSherbyStress(c[0], c[1], c[2], c[3], strain); },
    [](std::span<const double> c, double strain, std::span<double> gradient) {
      HockettSherbyGradient(c[0], c[1], c[2], c[3], strain, gradient);
    }};

Result FitHardening(const std::string& law, const TensileData& data, const Options& given) {
  const FittedLaw fitted = LawCalled(law);
  if (given.engine == Engine::Export) {
    throw Error(ErrorKind::BadInput, "no exported function fits hardening laws; use the best fit");
  }
  Options options = given;
  if (law == "swift") options.held.emplace("p", 0.0);

  Problem problem = Describe(fitted, data.stressUnit, options.residual);
  FlowCurve flow = MakeFlowCurve(data, static_cast<int>(problem.parameters.size() - options.held.size()) + 1);
  const auto function = boost::make_shared<HardeningTestFunction>(fitted.law);
  function->SetTestData(std::span<const _T_FUNT_BASE>(CorePoints(flow.curve)));
  problem.functions = {function};
  problem.weights = {flow.curve.weight};

  const Minimum minimum = Minimise(problem, Starts(fitted, flow.curve, options, problem));
  const Parameters constants = minimum.parameters;
  Result result = Assemble(problem, minimum, {flow.curve}, std::move(flow.dropped),
                           [&used = fitted.law, constants, name = flow.curve.name](const std::string& curve, double x) {
                             if (curve != name) throw Error(ErrorKind::BadInput, "there is no curve " + curve);
                             return used.stress(constants, x);
                           });
  result.model = law;
  result.notes.insert(result.notes.end(), flow.notes.begin(), flow.notes.end());
  return result;
}

std::vector<std::string> HardeningConstants(const std::string& law) {
  if (law == "table") return {};
  const auto& names = LawCalled(law).law.parameters;
  return {names, names + (law == "swift" ? 3 : 4)};
}

}  // namespace Xem::Fit
