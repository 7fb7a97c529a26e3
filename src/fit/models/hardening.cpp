#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <map>
#include <optional>
#include <span>

#include "fit/assemble.h"
#include "fit/models/hardening_test_function.h"
#include "fit/models/models.h"
#include "fit/screening.h"
#include "sheetmetal/hardening_rule.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil::SheetMetalForming;

constexpr double kUnbounded = std::numeric_limits<double>::infinity();

/// So many of the best starting points are followed to a minimum.
constexpr std::size_t kMostHardeningStarts = 8;

/// w of Swift and Voce; the parameters of the two laws come before it, each law's as many.
constexpr std::size_t kSwiftShare = 6;
constexpr std::size_t kOfEachLaw = 3;

using HardeningConstants = std::vector<double>;

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

std::vector<HardeningConstants> GhoshStarts(const Curve& flow, const Options& options) {
  const double end = *std::max_element(flow.x.begin(), flow.x.end());
  std::optional<double> intercept = Held(options, "p");
  if (intercept) *intercept = -*intercept;
  std::vector<HardeningConstants> starts;
  for (const double share : {1e-4, 3e-3, 0.03, 0.2, 1.0}) {
    for (const double n : {0.03, 0.1, 0.2, 0.3, 0.5, 0.8, 1.2}) {
      const double e0 = share * end;
      const Line line = Regress(flow, intercept, [&](double strain) { return std::pow(e0 + strain, n); });
      starts.push_back({line.b, e0, n, -line.a});
    }
  }
  return starts;
}

std::vector<HardeningConstants> HockettSherbyStarts(const Curve& flow, const Options& options) {
  const double end = *std::max_element(flow.x.begin(), flow.x.end());
  std::vector<HardeningConstants> starts;
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

std::vector<HardeningConstants> VoceStarts(const Curve& flow, const Options& options) {
  const double end = *std::max_element(flow.x.begin(), flow.x.end());
  std::vector<HardeningConstants> starts;
  for (const double atEnd : {0.1, 0.5, 1.0, 2.0, 4.0, 8.0, 16.0}) {  // b eps at the end of the curve
    const double b = atEnd / end;
    const Line line = Regress(flow, Held(options, "s0"), [&](double strain) { return -std::expm1(-b * strain); });
    starts.push_back({line.a, line.b, b});
  }
  return starts;
}

/// What the fit layer knows of a law beside its formula.
struct FittedLaw {
  const HardeningLaw& law;
  std::vector<double> lower;
  std::vector<bool> isStress;
  std::vector<const char*> meanings;
  std::vector<HardeningConstants> (*starts)(const Curve& flow, const Options& options);
};

FittedLaw RuleCalled(const std::string& name) {
  if (name == "ghosh" || name == "swift") {
    return {kGhoshLaw,
            {0.0, 0.0, 0.0, -kUnbounded},
            {true, false, false, true},
            {"stress at a strain of 1 - e0", "strain offset", "hardening exponent", "stress offset"},
            GhoshStarts};
  }
  if (name == "hockett-sherby") {
    return {kHockettSherbyLaw,
            {0.0, 0.0, 1e-9, 1e-3},
            {true, true, false, false},
            {"initial stress", "saturation stress", "rate of saturation", "exponent of the strain"},
            HockettSherbyStarts};
  }
  if (name == "voce") {
    return {kVoceLaw,
            {0.0, 0.0, 1e-9},
            {true, true, false},
            {"initial stress", "rise to the saturation stress", "rate of saturation"},
            VoceStarts};
  }
  if (name == "swift-voce") {
    return {kSwiftVoceLaw,
            {0.0, 0.0, 0.0, 0.0, 0.0, 1e-9, 0.0},
            {true, false, false, true, true, false, false},
            {"stress at a strain of 1 - e0", "strain offset", "hardening exponent", "initial stress",
             "rise to the saturation stress", "rate of saturation", "share of the first law"},
            nullptr};
  }
  throw Error(ErrorKind::BadInput,
              "there is no hardening law " + name + "; the laws are ghosh, swift, hockett-sherby, voce and swift-voce");
}

std::vector<ParameterInfo> ParametersOf(const std::string& name) {
  const FittedLaw fitted = RuleCalled(name);
  std::vector<ParameterInfo> parameters;
  for (std::size_t k = 0; k < fitted.lower.size(); ++k) {
    ParameterInfo parameter;
    parameter.name = fitted.law.parameters[k];
    parameter.unit = fitted.isStress[k] ? "stress" : "";
    parameter.lower = fitted.lower[k];
    if (name == "swift-voce" && k == kSwiftShare) parameter.upper = 1.0;
    parameter.meaning = fitted.meanings[k];
    parameters.push_back(parameter);
  }
  return parameters;
}

class HardeningFit final : public ModelFit {
 public:
  HardeningFit(const TensileData& data, const std::string& law) : data_(data), law_(law), fitted_(RuleCalled(law)) {
    if (law == "swift") options.held.emplace("p", 0.0);
  }

  void Screen() override {
    const auto parameters = static_cast<int>(ParametersOf(law_).size());
    FlowCurve flow = MakeFlowCurve(data_, parameters - static_cast<int>(options.held.size()) + 1);
    curves = {flow.curve};
    dropped = std::move(flow.dropped);
    notes = std::move(flow.notes);
  }

  void Describe() override {
    problem.residual = options.residual;
    problem.termCount = static_cast<std::int32_t>(fitted_.lower.size());
    problem.parameters = Fit::Describe(ParametersOf(law_), data_.stressUnit);
    const auto function = boost::make_shared<HardeningTestFunction>(fitted_.law);
    function->SetTestData(std::span<const _T_FUNT_BASE>(CorePoints(curves.front())));
    problem.functions = {function};
    problem.weights = {curves.front().weight};
    given.assign(problem.parameters.size(), std::numeric_limits<double>::quiet_NaN());
  }

  Minimum Minimise() override {
    return fitted_.starts == nullptr ? MinimiseInParts() : Fit::Minimise(problem, Starts());
  }

  void RequirePlainOptions() const override {
    throw Error(ErrorKind::BadInput, "no exported function fits hardening laws; use the best fit");
  }

  Evaluator MakeEvaluator(const std::vector<double>& constants) const override {
    return [&law = fitted_.law, constants, name = curves.front().name](const std::string& curve, double x) {
      if (curve != name) throw Error(ErrorKind::BadInput, "there is no curve " + curve);
      return law.stress(constants, x);
    };
  }

  void Complete(const Minimum&, Result& result) override {
    result.measures.unit = data_.stressUnit;
    if (!parts_.empty()) TakeParts(result);
  }

 private:
  /// What concerns the parameters of one of the two laws.
  template <class Value>
  static std::map<std::string, Value> Of(const std::vector<const char*>& names,
                                         const std::map<std::string, Value>& values) {
    std::map<std::string, Value> own;
    for (const char* name : names) {
      const auto found = values.find(name);
      if (found != values.end()) own.insert(*found);
    }
    return own;
  }

  /// All seven together are not to be told apart: the two laws by themselves, then their shares.
  Minimum MinimiseInParts() {
    Minimum minimum;
    minimum.converged = true;
    for (const char* law : {"swift", "voce"}) {
      const FittedLaw part = RuleCalled(law);
      Options own;
      own.residual = options.residual;
      own.level = options.level;
      own.held = Of(part.law.parameters, options.held);
      own.start = Of(part.law.parameters, options.start);
      own.bounds = Of(part.law.parameters, options.bounds);
      parts_.push_back(Fit::Fit({law, 0}, data_, own));
      for (std::size_t k = 0; k < kOfEachLaw; ++k) {
        minimum.parameters.push_back(parts_.back().parameters[k].value);
        minimum.atBound.push_back(false);
      }
      minimum.converged = minimum.converged && parts_.back().converged;
      minimum.iterations += parts_.back().iterations;
    }
    const FreeOrHeld& share = problem.parameters[kSwiftShare];
    const double found =
        std::isnan(given[kSwiftShare]) || !share.held ? BestShare(minimum.parameters) : given[kSwiftShare];
    minimum.parameters.push_back(share.held ? found : std::clamp(found, share.lower, share.upper));
    minimum.atBound.push_back(minimum.parameters.back() != found);
    for (std::size_t k = 0; k < kSwiftShare; ++k) problem.parameters[k].held = true;
    return minimum;
  }

  /// Of the first law, by linear least squares.
  double BestShare(const HardeningConstants& both) const {
    const Curve& flow = curves.front();
    double product = 0.0;
    double square = 0.0;
    for (std::size_t i = 0; i < flow.x.size(); ++i) {
      const double voce = VoceStress(both[3], both[4], both[5], flow.x[i]);
      const double difference = GhoshStress(both[0], both[1], both[2], 0.0, flow.x[i]) - voce;
      const double scale = options.residual == Residual::Relative ? 1.0 / (flow.y[i] * flow.y[i]) : 1.0;
      product += scale * difference * (flow.y[i] - voce);
      square += scale * difference * difference;
    }
    return square > 0.0 ? product / square : 0.5;
  }

  /// What the fits of the two laws know of their parameters.
  void TakeParts(Result& result) const {
    for (std::size_t part = 0; part < parts_.size(); ++part) {
      const std::size_t first = part * kOfEachLaw;
      for (std::size_t i = 0; i < kOfEachLaw; ++i) {
        result.parameters[first + i] = parts_[part].parameters[i];
        for (std::size_t j = 0; j < kOfEachLaw; ++j) {
          result.correlation[first + i][first + j] = parts_[part].correlation[i][j];
          result.covariance[first + i][first + j] = parts_[part].covariance[i][j];
        }
      }
    }
    result.measures.aicc =
        CorrectedInformation(result.measures.objective, problem.PointCount(), CountedParameters(result));
    result.notes.push_back(
        "w is fitted to the two laws, whose parameters and intervals are those of each law fitted by itself");
  }

  /// Automatic starts with the held values put in, best first; a start by the caller comes before them.
  std::vector<HardeningConstants> Starts() const {
    std::vector<HardeningConstants> automatic = fitted_.starts(curves.front(), options);
    PutHeld(automatic);
    std::vector<std::pair<double, HardeningConstants>> ranked;
    for (const HardeningConstants& start : automatic) {
      const double objective = Objective(problem, start);
      if (std::isfinite(objective)) ranked.emplace_back(objective, start);
    }
    std::sort(ranked.begin(), ranked.end());
    std::vector<HardeningConstants> starts;
    for (std::size_t i = 0; i < std::min(ranked.size(), kMostHardeningStarts); ++i) starts.push_back(ranked[i].second);
    return WithGiven(starts, starts.empty() ? automatic.front() : starts.front(), Proposed::First);
  }

  TensileData data_;
  std::string law_;
  FittedLaw fitted_;
  std::vector<Result> parts_;  // of swift-voce
};

boost::shared_ptr<ModelFit> MakeFit(const Tests& tests, const std::string& law) {
  return boost::make_shared<HardeningFit>(TestsOf<TensileData>(tests, law.c_str()), law);
}

Evaluator RestoreHardening(const Result& stored) {
  Hardening hardening;
  hardening.law = stored.model;
  hardening.constants = ParameterValues(stored);
  FlowStress(hardening, 0.01);  // says what is wrong with the constants
  return [hardening](const std::string&, double strain) { return FlowStress(hardening, strain); };
}

ModelInfo RuleInfo(const char* name, const char* title, const char* formula, const char* source) {
  return {.name = name,
          .title = title,
          .family = "hardening",
          .curves = {{"tensile_test", "plastic strain", "", "true stress", "stress"}},
          .formula = formula,
          .source = source,
          .page = "theory/forming_limit.md"};
}

}  // namespace

const Model kSwift{.info = RuleInfo("swift", "Swift", "stress = K (e0 + e)^n", "Swift 1952"),
                   .parameters =
                       [](int) {
                         std::vector<ParameterInfo> parameters = ParametersOf("swift");
                         parameters.pop_back();  // p is held at 0
                         return parameters;
                       },
                   .fit = [](const Tests& tests, int) { return MakeFit(tests, "swift"); },
                   .restore = RestoreHardening};

const Model kGhosh{.info = RuleInfo("ghosh", "Ghosh", "stress = K (e0 + e)^n - p", "Ghosh 1977"),
                   .parameters = [](int) { return ParametersOf("ghosh"); },
                   .fit = [](const Tests& tests, int) { return MakeFit(tests, "ghosh"); },
                   .restore = RestoreHardening};

const Model kHockettSherby{.info = RuleInfo("hockett-sherby", "Hockett and Sherby",
                                            "stress = ss - (ss - si) exp(-N e^p)", "Hockett and Sherby 1975"),
                           .parameters = [](int) { return ParametersOf("hockett-sherby"); },
                           .fit = [](const Tests& tests, int) { return MakeFit(tests, "hockett-sherby"); },
                           .restore = RestoreHardening};

const Model kVoce{.info = RuleInfo("voce", "Voce", "stress = s0 + q (1 - exp(-b e))", "Voce 1948"),
                  .parameters = [](int) { return ParametersOf("voce"); },
                  .fit = [](const Tests& tests, int) { return MakeFit(tests, "voce"); },
                  .restore = RestoreHardening};

const Model kSwiftVoce{
    .info = RuleInfo("swift-voce", "Swift and Voce", "stress = w K (e0 + e)^n + (1 - w) (s0 + q (1 - exp(-b e)))",
                     "Swift 1952, Voce 1948"),
    .parameters = [](int) { return ParametersOf("swift-voce"); },
    .fit = [](const Tests& tests, int) { return MakeFit(tests, "swift-voce"); },
    .restore = RestoreHardening};

const HardeningLaw kVoceLaw{
    "voce",
    {"s0", "q", "b"},
    [](std::span<const double> c, double strain) { return VoceStress(c[0], c[1], c[2], strain); },
    [](std::span<const double> c, double strain, std::span<double> gradient) {
      VoceGradient(c[1], c[2], strain, gradient);
    }};

const HardeningLaw kSwiftVoceLaw{
    "swift-voce",
    {"K", "e0", "n", "s0", "q", "b", "w"},
    [](std::span<const double> c, double strain) {
      return c[6] * GhoshStress(c[0], c[1], c[2], 0.0, strain) + (1.0 - c[6]) * VoceStress(c[3], c[4], c[5], strain);
    },
    [](std::span<const double> c, double strain, std::span<double> gradient) {
      double swift[4];
      GhoshGradient(c[0], c[1], c[2], strain, swift);
      VoceGradient(c[4], c[5], strain, gradient.subspan(3, 3));
      for (std::size_t k = 0; k < 3; ++k) gradient[k] = c[6] * swift[k];
      for (std::size_t k = 3; k < 6; ++k) gradient[k] *= 1.0 - c[6];
      gradient[6] = GhoshStress(c[0], c[1], c[2], 0.0, strain) - VoceStress(c[3], c[4], c[5], strain);
    }};

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

Result FitHardening(const std::string& law, const TensileData& data, const Options& options) {
  RuleCalled(law);  // the words of this family for an unknown name
  return Fit({law, 0}, data, options);
}

std::vector<std::string> HardeningConstants(const std::string& law) {
  if (law == "table") return {};
  const auto& names = RuleCalled(law).law.parameters;
  return {names.begin(), names.end() - (law == "swift" ? 1 : 0)};
}

}  // namespace Xem::Fit
