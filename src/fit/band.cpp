#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "fit/model.h"
#include "fit/no_number.h"
#include "xem/fit/result.h"

namespace Xem::Fit {
namespace {

/// Differences of fourth order: errors of rounding and of curvature are 1e-11 of a slope or so.
constexpr double kStep = 1e-4;

/// A value nearer to 0 than this part of its standard error is stepped as if it were that far away.
constexpr double kNextToNothing = 1e-3;

/// The model with one parameter at four other values.
struct Slope {
  double step = 0.0;
  double factor = 0.0;  ///< of the interval of the parameter: half its width over the standard error
  std::array<Evaluator, 4> at;

  double Of(const std::string& curve, double x) const {
    const double inner = at[2](curve, x) - at[1](curve, x);
    const double outer = at[3](curve, x) - at[0](curve, x);
    return (8.0 * inner - outer) / (12.0 * step);
  }
};

/// Everything that a band needs of a result.
struct Known {
  Evaluator model;
  std::vector<std::size_t> free;  ///< indices of the free parameters
  std::vector<Slope> slopes;      ///< one per free parameter
  std::vector<std::vector<double>> covariance;
};

Slope MakeSlope(const Model& model, const Result& result, std::size_t k) {
  const Parameter& parameter = result.parameters[k];
  Slope slope;
  slope.factor = (parameter.upper - parameter.lower) / (2.0 * parameter.standardError);
  const double error = std::isfinite(parameter.standardError) ? parameter.standardError : 0.0;
  slope.step = kStep * std::max(std::abs(parameter.value), kNextToNothing * error);
  constexpr std::array kSteps{-2.0, -1.0, 1.0, 2.0};
  Result moved = result;
  for (std::size_t i = 0; i < kSteps.size(); ++i) {
    moved.parameters[k].value = parameter.value + kSteps[i] * slope.step;
    slope.at[i] = model.restore(moved);
  }
  return slope;
}

Interval At(const Known& known, const std::string& curve, double x) {
  constexpr Interval kNone{kNaN, kNaN};
  std::vector<double> gradient;
  for (const Slope& slope : known.slopes) gradient.push_back(slope.step > 0.0 ? slope.Of(curve, x) : kNaN);
  double variance = 0.0;
  double factor = 0.0;
  for (std::size_t i = 0; i < gradient.size(); ++i) {
    if (gradient[i] == 0.0) continue;  // of another curve, or without effect here
    if (std::isfinite(known.slopes[i].factor)) factor = known.slopes[i].factor;
    for (std::size_t j = 0; j < gradient.size(); ++j) {
      if (gradient[j] != 0.0) variance += gradient[i] * gradient[j] * known.covariance[known.free[i]][known.free[j]];
    }
  }
  if (std::isnan(variance)) return kNone;
  const double half = factor * std::sqrt(std::max(variance, 0.0));
  const double value = known.model(curve, x);
  // A conductivity falls over decades: its interval is that of its logarithm and stays above 0.
  if (curve == "conductivity") return {value * std::exp(-half / value), value * std::exp(half / value)};
  return {value - half, value + half};
}

}  // namespace

Band ConfidenceBand(const Result& result) {
  const std::size_t count = result.parameters.size();
  if (count == 0 || result.covariance.size() != count || FindModel(result.model) == nullptr) return {};
  const Model& model = ModelCalled(result.model);
  if (model.restore == nullptr) return {};
  Result bare;  // what restoring a model looks at
  bare.model = result.model;
  bare.terms = result.terms;
  bare.parameters = result.parameters;
  bare.options = result.options;
  bare.derived = result.derived;
  for (const CurveResult& curve : result.curves) {
    CurveResult& one = bare.curves.emplace_back();
    one.name = curve.name;
    if (!curve.companion.empty()) one.x = curve.x;
    one.companion = curve.companion;
    one.conditions = curve.conditions;
  }
  const auto known = boost::make_shared<Known>();
  known->covariance = result.covariance;
  bool any = false;
  try {
    known->model = model.restore(bare);
    for (std::size_t k = 0; k < count; ++k) {
      if (result.parameters[k].held) continue;
      known->free.push_back(k);
      known->slopes.push_back(MakeSlope(model, bare, k));
      any = any || std::isfinite(result.covariance[k][k]);
    }
  } catch (const Error&) {
    return {};  // parameters written by hand
  }
  if (!any) return {};
  return [known](const std::string& curve, double x) -> Interval {
    try {
      return At(*known, curve, x);
    } catch (const Error&) {
      return {kNaN, kNaN};  // a curve that the model does not have
    }
  };
}

}  // namespace Xem::Fit
