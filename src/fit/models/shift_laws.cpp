#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <utility>

#include "fit/assemble.h"
#include "fit/model.h"
#include "fit/models/models.h"
#include "fit/screening.h"
#include "viscoelastic/shift_law.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

constexpr const char* kCurve = "shift_factors";
constexpr const char* kReference = "reference_temperature";
constexpr const char* kUnit = "temperature_unit";

enum class Law { Wlf, Arrhenius };

double LawValue(Law law, std::span<const double> parameters, double temperature, double reference, TemperatureUnit unit,
                std::span<double> gradient = {}) {
  if (law == Law::Wlf) return WlfShift(parameters, temperature - reference, gradient);
  const double perEnergy = ArrheniusShift(1.0, InKelvin(temperature, unit), InKelvin(reference, unit));
  if (!gradient.empty()) gradient[0] = perEnergy;
  return parameters[0] * perEnergy;
}

/// Factors and the law, both over the scatter of each factor.
class ShiftFunction final : public BlockTestFunction {
 public:
  ShiftFunction(Law law, const Curve& curve, double reference, TemperatureUnit unit, std::vector<double> scatter)
      : law_(law), reference_(reference), unit_(unit), scatter_(std::move(scatter)) {
    const auto keepAll = [](const _T_FUNT_BASE&) { return true; };  // 0 is the factor of the reference
    const std::vector<_T_FUNT_BASE> points = CorePoints(curve);
    Load(std::span<const _T_FUNT_BASE>(points), keepAll, AsItStands);
    for (std::int32_t i = 0; i < PointCount(); ++i) compared_[i] = curve_.measured[i] / scatter_[i];
  }

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    const auto at = [&](std::int32_t point, std::span<double> gradient) {
      const double value = LawValue(law_, parameters, curve_.abscissa[point], reference_, unit_, gradient);
      for (double& slope : gradient) slope /= scatter_[point];
      return value / scatter_[point];
    };
    EvaluateByPoint<2>(
        first, model, derivatives, [&](std::int32_t point) { return at(point, {}); }, at);
  }

 private:
  Law law_;
  double reference_;
  TemperatureUnit unit_;
  std::vector<double> scatter_;
};

class ShiftFit final : public ModelFit {
 public:
  ShiftFit(Law law, const ShiftFactorData& data, std::vector<ParameterInfo> infos)
      : law_(law), data_(data), infos_(std::move(infos)) {}

  void Screen() override {
    if (options.residual == Residual::Relative) {
      throw Error(ErrorKind::BadInput,
                  "shift factors pass through 0 at the reference, so their residuals are absolute");
    }
    const Curve& measured = data_.curve;
    if (measured.y.size() != measured.x.size() ||
        (!data_.standardErrors.empty() && data_.standardErrors.size() != measured.x.size())) {
      throw Error(ErrorKind::BadData, "temperatures, factors and their errors differ in number");
    }
    // Not the screening of other families: the factor of the reference is 0.
    Curve kept;
    kept.name = measured.name.empty() ? kCurve : measured.name;
    for (std::size_t i = 0; i < measured.x.size(); ++i) {
      const double error = data_.standardErrors.empty() ? 0.0 : data_.standardErrors[i];
      if (!std::isfinite(measured.y[i]) || !std::isfinite(error) || !(InKelvin(measured.x[i], data_.unit) > 0.0)) {
        dropped.push_back({kept.name, measured.Row(i), "not a finite factor, with a finite error, above 0 K"});
        continue;
      }
      kept.x.push_back(measured.x[i]);
      kept.y.push_back(measured.y[i]);
      kept.rows.push_back(measured.Row(i));
      errors_.push_back(error);
    }
    if (kept.x.size() < 2) throw Error(ErrorKind::BadData, "a law needs factors at two temperatures at least");
    curves = {std::move(kept)};
  }

  void Describe() override {
    for (const ParameterInfo& info : infos_) {
      problem.parameters.push_back({info.name, info.unit, info.lower, info.upper});
    }
    if (law_ == Law::Wlf) {
      // The law has a pole at T_ref - C2, which must lie below every temperature.
      const auto& x = curves.front().x;
      const double below = data_.reference - *std::min_element(x.begin(), x.end());
      problem.parameters[1].lower = std::max(kNextToPole, (1.0 + 1e-3) * below);
      problem.parameters[1].unit = std::string(1, data_.unit == TemperatureUnit::Fahrenheit ? 'F' : 'K');
    }
    problem.weights = {curves.front().weight};
    problem.functions = {
        boost::make_shared<ShiftFunction>(law_, curves.front(), data_.reference, data_.unit, Scatter())};
    given.assign(problem.parameters.size(), std::numeric_limits<double>::quiet_NaN());
  }

  Minimum Minimise() override { return Xem::Fit::Minimise(problem, Starts()); }

  Evaluator MakeEvaluator(const std::vector<double>& parameters) const override {
    return Of(law_, parameters, data_.reference, data_.unit, curves.front().name);
  }

  void Complete(const Minimum&, Result& result) override {
    result.curves.front().conditions[kReference] = data_.reference;
    result.curves.front().conditions[kUnit] = static_cast<double>(data_.unit);
  }

  static Evaluator Of(Law law, const std::vector<double>& parameters, double reference, TemperatureUnit unit,
                      const std::string& name) {
    if (parameters.size() != (law == Law::Wlf ? 2U : 1U)) {
      throw Error(ErrorKind::BadData, "these are not the parameters of the law");
    }
    return [=](const std::string& called, double temperature) {
      if (called != name) throw Error(ErrorKind::BadInput, "there is no curve " + called);
      return LawValue(law, parameters, temperature, reference, unit);
    };
  }

  static Evaluator Restored(Law law, const Result& stored) {
    if (stored.curves.empty() || stored.curves.front().conditions.count(kReference) == 0) {
      throw Error(ErrorKind::BadData, "the reference temperature of the factors is missing");
    }
    const auto& conditions = stored.curves.front().conditions;
    const auto unit = conditions.find(kUnit);
    return Of(law, ParameterValues(stored), conditions.at(kReference),
              unit == conditions.end() ? TemperatureUnit::Celsius : static_cast<TemperatureUnit>(unit->second),
              stored.curves.front().name);
  }

 private:
  static constexpr double kNextToPole = 1e-3;

  bool HasErrors() const {
    return std::any_of(errors_.begin(), errors_.end(), [](double error) { return error > 0.0; });
  }

  /// What each factor is known to. Without errors all are alike.
  std::vector<double> Scatter() const {
    std::vector<double> scatter(errors_.size(), 1.0);
    if (!HasErrors()) return scatter;
    // However small the scatter of curves: their temperatures are not known better, and none may outweigh all others.
    constexpr double kLeast = 1e-3;
    for (std::size_t i = 0; i < scatter.size(); ++i) scatter[i] = std::max(errors_[i], kLeast);
    return scatter;
  }

  std::vector<std::vector<double>> Starts() const {
    std::vector<std::vector<double>> starts;
    if (law_ == Law::Arrhenius) return WithGiven({{100.0}}, {100.0}, Proposed::Last);
    // At a given C2 the law is a straight line through the reference.
    const Curve& curve = curves.front();
    for (const double distance : {3.0, 10.0, 30.0, 100.0, 300.0, 1000.0}) {
      const double c2 = problem.parameters[1].lower + distance;
      double product = 0.0;
      double square = 0.0;
      for (std::size_t i = 0; i < curve.x.size(); ++i) {
        const double slope = WlfShift(std::vector{1.0, c2}, curve.x[i] - data_.reference);
        product += slope * curve.y[i];
        square += slope * slope;
      }
      starts.push_back({square > 0.0 ? std::max(product / square, 1e-3) : 10.0, c2});
    }
    return WithGiven(starts, starts.front(), Proposed::Last);
  }

  Law law_;
  ShiftFactorData data_;
  std::vector<ParameterInfo> infos_;
  std::vector<double> errors_;
};

std::vector<CurveInfo> ShiftCurves() {
  return {{kCurve, "temperature", "temperature", "log10 of the shift factor", ""}};
}

std::vector<ParameterInfo> WlfParameters(int) {
  return {{"C1", "", 0.0, std::numeric_limits<double>::infinity(),
           "decades from the reference to the highest temperatures"},
          {"C2", "temperature", 0.0, std::numeric_limits<double>::infinity(),
           "how far below the reference the factors grow beyond all bounds"}};
}

std::vector<ParameterInfo> ArrheniusParameters(int) {
  return {{.name = "E_a", .unit = "kJ/mol", .meaning = "activation energy"}};
}

}  // namespace

double InKelvin(double temperature, TemperatureUnit unit) {
  switch (unit) {
    case TemperatureUnit::Kelvin:
      return temperature;
    case TemperatureUnit::Celsius:
      return temperature + 273.15;
    case TemperatureUnit::Fahrenheit:
      return (temperature + 459.67) / 1.8;
  }
  return temperature;
}

const Model kWlf{.info = {.name = "wlf",
                          .title = "Williams, Landel and Ferry",
                          .family = "shift",
                          .curves = ShiftCurves(),
                          .formula = "log10 a_T = -C1 (T - T_ref)/(C2 + T - T_ref)",
                          .source = "Williams, Landel and Ferry 1955",
                          .page = "theory/superposition.md"},
                 .parameters = WlfParameters,
                 .fit = [](const Tests& tests, int) -> boost::shared_ptr<ModelFit> {
                   return boost::make_shared<ShiftFit>(Law::Wlf, TestsOf<ShiftFactorData>(tests, "wlf"),
                                                       WlfParameters(0));
                 },
                 .restore = [](const Result& stored) { return ShiftFit::Restored(Law::Wlf, stored); }};

const Model kArrhenius{.info = {.name = "arrhenius",
                                .title = "Arrhenius",
                                .family = "shift",
                                .curves = ShiftCurves(),
                                .formula = "log10 a_T = E_a/(R ln 10) (1/T - 1/T_ref), T in kelvin",
                                .source = "Ferry 1980",
                                .page = "theory/superposition.md"},
                       .parameters = ArrheniusParameters,
                       .fit = [](const Tests& tests, int) -> boost::shared_ptr<ModelFit> {
                         return boost::make_shared<ShiftFit>(
                             Law::Arrhenius, TestsOf<ShiftFactorData>(tests, "arrhenius"), ArrheniusParameters(0));
                       },
                       .restore = [](const Result& stored) { return ShiftFit::Restored(Law::Arrhenius, stored); }};

}  // namespace Xem::Fit
