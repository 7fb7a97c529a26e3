#include "fit/superposition_spectrum.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <limits>
#include <utility>

#include "fit/assemble.h"
#include "fit/problem.h"
#include "fit/uncertainty.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// Numbers of lines per decade that are tried.
constexpr double kTriedLinesPerDecade[] = {0.5, 0.75, 1.0, 1.5, 2.0};
constexpr std::size_t kMostLines = 60;
/// Times leave the range that they begin in by this factor at most: shifts move it.
constexpr double kTimesBeyond = 1e3;
constexpr double kSpectrumBeyond = 10.0;
/// Shifts stay within this factor of where a round begins: flat curves would wander without end.
constexpr double kShiftsBeyond = 1e3;
constexpr int kSpectrumEvaluations = 100;
/// A root-mean-square misfit below this is rounding.
constexpr double kExactFit = 1e-9;

/// Where the parameters of the common fit stand: E_1 ... E_n, ln tau_1 ... ln tau_n, E_infinity, ln a_1 ... ln a_m, and
/// ln b_1 ... ln b_m.
struct CommonLayout {
  std::size_t lines = 0;
  std::size_t temperatures = 0;
  std::size_t Time(std::size_t line) const { return lines + line; }
  std::size_t LongTerm() const { return 2 * lines; }
  std::size_t Shift(std::size_t temperature) const { return 2 * lines + 1 + temperature; }
  std::size_t Vertical(std::size_t temperature) const { return Shift(temperatures) + temperature; }
  std::size_t Count() const { return Vertical(temperatures); }
};

/// A term of unit modulus at the logarithm u of w tau or of t / tau: its value, and the derivative by u.
struct Response {
  double value;
  double slope;
};
Response ResponseAt(ModulusKind quantity, double u) {
  const double x = std::exp(u);
  if (quantity == ModulusKind::Relaxation) {
    const double decay = std::exp(-x);
    return {decay, decay > 0.0 ? -x * decay : 0.0};
  }
  const double rest = 1.0 / (1.0 + x * x);
  return {1.0 - rest, 2.0 * (1.0 - rest) * rest};
}

/// All points of one temperature.
class ShiftedCurve final : public BlockTestFunction {
 public:
  ShiftedCurve(const MaxwellCurve& curve, CommonLayout layout, std::size_t temperature)
      : quantity_(curve.quantity), layout_(layout), temperature_(temperature) {
    std::vector<_T_FUNT_BASE> points;
    for (std::size_t i = 0; i < curve.x.size(); ++i) points.emplace_back(curve.x[i], curve.y[i]);
    Load(std::span<const _T_FUNT_BASE>(points), KeepMeasured(), [](double x) { return std::log(x); });
  }

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    derivatives.Fill(0.0);
    // Times fall as frequencies rise: w tau a_T, but t / (tau a_T).
    const double sign = quantity_ == ModulusKind::Relaxation ? -1.0 : 1.0;
    const double factor = std::exp(parameters[layout_.Vertical(temperature_)]);
    const double shift = parameters[layout_.Shift(temperature_)];
    for (std::size_t i = 0; i < model.size(); ++i) {
      const double logX = curve_.abscissa[first + static_cast<std::int32_t>(i)];
      double value = parameters[layout_.LongTerm()];
      double slope = 0.0;
      for (std::size_t k = 0; k < layout_.lines; ++k) {
        const Response response = ResponseAt(quantity_, logX + sign * (shift + parameters[layout_.Time(k)]));
        value += parameters[k] * response.value;
        slope += parameters[k] * response.slope;
        if (derivatives.Empty()) continue;
        derivatives(i, k) = factor * response.value;
        derivatives(i, layout_.Time(k)) = factor * sign * parameters[k] * response.slope;
      }
      model[i] = factor * value;
      if (derivatives.Empty()) continue;
      derivatives(i, layout_.LongTerm()) = factor;
      derivatives(i, layout_.Shift(temperature_)) = factor * sign * slope;
      derivatives(i, layout_.Vertical(temperature_)) = factor * value;
    }
  }

 private:
  ModulusKind quantity_;
  CommonLayout layout_;
  std::size_t temperature_;
};

std::vector<MaxwellCurve> Reduced(std::vector<MaxwellCurve> curves, const std::vector<double>& shifts) {
  for (std::size_t k = 0; k < curves.size(); ++k) {
    const double factor = std::exp(curves[k].quantity == ModulusKind::Relaxation ? -shifts[k] : shifts[k]);
    for (double& x : curves[k].x) x *= factor;
  }
  return curves;
}

struct CommonFit {
  CommonLayout layout;
  Problem problem;
  Minimum minimum;
  double information = std::numeric_limits<double>::infinity();
};

/// With so many lines, from given shifts.
CommonFit FitWith(const std::vector<MaxwellCurve>& curves, std::size_t anchor, const std::vector<double>& shifts,
                  bool vertical, const Spectrum& dense, std::size_t lines) {
  const std::vector<MaxwellCurve> reduced = Reduced(curves, shifts);
  std::vector<double> times;
  for (const SpectrumLine& line : SplitTo(MergedTo(dense, lines), lines)) times.push_back(line.logTime);
  const ScaledSpectrum start = FitMaxwellSpectrum(reduced, Residual::Relative, times, Instantaneous::Free, 1.0);
  const LogRange range = MeasuredTimes(reduced);

  CommonFit fit;
  fit.layout = {lines, curves.size()};
  fit.problem.residual = Residual::Relative;
  fit.problem.parameters.resize(fit.layout.Count());
  std::vector<double> from(fit.layout.Count(), 0.0);
  double longTerm = start.modulus;
  for (std::size_t k = 0; k < lines; ++k) {
    from[k] = std::max(start.lines[k].g, 1e-12) * start.modulus;
    longTerm -= start.lines[k].g * start.modulus;
    fit.problem.parameters[k].lower = 0.0;
    from[fit.layout.Time(k)] = times[k];
    fit.problem.parameters[fit.layout.Time(k)].lower = range.from - std::log(kTimesBeyond);
    fit.problem.parameters[fit.layout.Time(k)].upper = range.to + std::log(kTimesBeyond);
  }
  fit.problem.parameters[fit.layout.LongTerm()].lower = 0.0;
  from[fit.layout.LongTerm()] = std::max(longTerm, 0.0);
  for (std::size_t k = 0; k < curves.size(); ++k) {
    fit.problem.functions.push_back(boost::make_shared<ShiftedCurve>(curves[k], fit.layout, k));
    fit.problem.weights.push_back(curves[k].weight);
    fit.problem.parameters[fit.layout.Shift(k)].held = k == anchor;
    fit.problem.parameters[fit.layout.Vertical(k)].held = !vertical || k == anchor;
    from[fit.layout.Shift(k)] = shifts[k];
    fit.problem.parameters[fit.layout.Shift(k)].lower = shifts[k] - std::log(kShiftsBeyond);
    fit.problem.parameters[fit.layout.Shift(k)].upper = shifts[k] + std::log(kShiftsBeyond);
  }
  for (Minimum& reached : Descend(fit.problem, {from}, kSpectrumEvaluations)) fit.minimum = std::move(reached);
  if (fit.minimum.parameters.empty()) return fit;
  const int points = fit.problem.PointCount();
  const double floor = points * kExactFit * kExactFit;
  fit.information = CorrectedInformation(std::max(fit.minimum.objective, floor), points, fit.problem.FreeCount());
  if (std::isnan(fit.information)) fit.information = std::numeric_limits<double>::infinity();
  return fit;
}

std::vector<double> ShiftsOf(const CommonFit& fit) {
  std::vector<double> shifts(fit.layout.temperatures);
  for (std::size_t k = 0; k < shifts.size(); ++k) shifts[k] = fit.minimum.parameters[fit.layout.Shift(k)];
  return shifts;
}

}  // namespace

double CommonSpectrum::At(ModulusKind quantity, double x) const {
  std::vector<double> series(2 * lines.size());
  for (std::size_t k = 0; k < lines.size(); ++k) {
    series[k] = lines[k].g;
    series[lines.size() + k] = std::exp(lines[k].logTime);
  }
  double value = 0.0;
  MaxwellModuli(quantity, series, {&x, 1}, {&value, 1}, {});
  return modulus * value;
}

CommonSpectrum FitCommonSpectrum(const std::vector<MaxwellCurve>& curves, std::size_t anchor,
                                 const std::vector<double>& shifts, bool vertical) {
  CommonFit best;
  std::vector<double> from = shifts;
  // A second round: the spectrum that the first shifts show is blurred where they were wrong.
  constexpr int kRounds = 2;
  for (int round = 0; round < kRounds; ++round) {
    const std::vector<MaxwellCurve> reduced = Reduced(curves, from);
    const LogRange range = MeasuredTimes(reduced);
    const Spectrum dense =
        DenseMaxwellSpectrum(reduced, Residual::Relative, range, kSpectrumBeyond, Instantaneous::Free, 1.0).lines;
    std::size_t tried = 0;
    for (const double perDecade : kTriedLinesPerDecade) {
      const auto wanted = static_cast<std::size_t>(std::ceil(perDecade * (range.Decades() + 1.0)));
      const std::size_t lines = std::clamp<std::size_t>(wanted, 2, std::min(kMostLines, dense.size() + 2));
      if (lines == std::exchange(tried, lines)) continue;
      CommonFit fit = FitWith(curves, anchor, from, vertical, dense, lines);
      if (fit.minimum.parameters.empty()) continue;
      if (best.minimum.parameters.empty() || fit.information < best.information) best = std::move(fit);
    }
    if (best.minimum.parameters.empty()) break;
    from = ShiftsOf(best);
  }
  if (best.minimum.parameters.empty()) {
    throw Error(ErrorKind::NotConverged, "no common spectrum was found for these temperatures");
  }
  best.minimum = Minimise(best.problem, {best.minimum.parameters}, {4 * kSpectrumEvaluations});

  const Uncertainty uncertainty = EstimateUncertainty(best.problem, best.minimum);
  CommonSpectrum common;
  for (std::size_t k = 0; k < curves.size(); ++k) {
    const Parameter& shift = uncertainty.parameters[best.layout.Shift(k)];
    const Parameter& factor = uncertainty.parameters[best.layout.Vertical(k)];
    common.shifts.push_back(shift.value);
    const bool told = shift.standardError <= std::log(kShiftsBeyond);
    common.errors.push_back(k == anchor ? 0.0 : told ? shift.standardError : std::numeric_limits<double>::quiet_NaN());
    common.vertical.push_back(factor.value);
    common.verticalErrors.push_back(k == anchor ? 0.0 : factor.standardError);
  }
  const std::vector<double>& values = best.minimum.parameters;
  common.modulus = values[best.layout.LongTerm()];
  for (std::size_t k = 0; k < best.layout.lines; ++k) common.modulus += values[k];
  for (std::size_t k = 0; k < best.layout.lines; ++k) {
    common.lines.push_back({values[k] / common.modulus, values[best.layout.Time(k)]});
  }
  return common;
}

}  // namespace Xem::Fit
