#include "fit/assemble.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <utility>

#include "fit/uncertainty.h"

namespace Xem::Fit {
namespace {

/// Sums of one or more curves, for R^2 and RMSE.
struct Sums {
  int points = 0;
  double sum = 0.0;
  double residual = 0.0;
};

void Add(const CurveResult& curve, Sums& sums) {
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    const double difference = curve.measured[i] - curve.fitted[i];
    sums.sum += curve.measured[i];
    sums.residual += difference * difference;
    ++sums.points;
  }
}

double TotalSquares(const CurveResult& curve, double mean) {
  double total = 0.0;
  for (const double measured : curve.measured) total += (measured - mean) * (measured - mean);
  return total;
}

void SetMeasures(const Sums& sums, double total, Measures& measures) {
  measures.points = sums.points;
  measures.sse = sums.residual;
  measures.rmse = std::sqrt(sums.residual / sums.points);
  measures.r2 = 1.0 - sums.residual / total;
}

int DroppedFrom(const std::string& curve, const std::vector<DroppedPoint>& dropped) {
  return static_cast<int>(
      std::count_if(dropped.begin(), dropped.end(), [&](const DroppedPoint& point) { return point.curve == curve; }));
}

std::string Join(const std::vector<FreeOrHeld>& parameters) {
  std::string names;
  for (const auto& parameter : parameters) {
    if (!parameter.hidden) names += (names.empty() ? "" : ", ") + parameter.name;
  }
  return names;
}

std::size_t IndexOf(const std::string& name, const char* option, const Problem& problem) {
  for (std::size_t k = 0; k < problem.parameters.size(); ++k) {
    if (problem.parameters[k].name == name && !problem.parameters[k].hidden) return k;
  }
  throw Error(ErrorKind::BadInput,
              std::string("cannot ") + option + " parameter " + name + ": the model has " + Join(problem.parameters));
}

/// Narrows the range of a parameter.
void ApplyBounds(const std::string& name, const Interval& bounds, Problem& problem) {
  FreeOrHeld& parameter = problem.parameters[IndexOf(name, "bound", problem)];
  if (!(bounds.lower < bounds.upper)) {
    throw Error(ErrorKind::BadInput, "the bounds " + Text(bounds) + " of parameter " + name +
                                         " leave it no room; hold it at a value instead");
  }
  if (parameter.held) {
    throw Error(ErrorKind::BadInput,
                "parameter " + name + " is not free in this fit, so it has no bounds; hold it at a value instead");
  }
  const Interval range{parameter.lower * parameter.scale, parameter.upper * parameter.scale};
  if (bounds.lower > range.upper || bounds.upper < range.lower) {
    throw Error(ErrorKind::BadInput,
                "the bounds " + Text(bounds) + " of parameter " + name + " lie outside its range, " + Text(range));
  }
  parameter.lower = std::max(parameter.lower, bounds.lower / parameter.scale);
  parameter.upper = std::min(parameter.upper, bounds.upper / parameter.scale);
}

/// Two curves whose scatter can be told by one number: the same unit, or the same pure number.
bool SameQuantity(const CurveInfo& a, const CurveInfo& b) {
  return a.yUnit == b.yUnit && (!a.yUnit.empty() || a.y == b.y);
}

}  // namespace

double CorrectedInformation(double objective, int points, int freeParameters) {
  const int k = freeParameters + 1;
  if (points - k - 1 <= 0) return std::numeric_limits<double>::quiet_NaN();
  const double m = points;
  // A perfect fit would be minus infinity; the smallest number keeps comparisons meaningful.
  const double perPoint = std::max(objective / m, std::numeric_limits<double>::min());
  return m * std::log(perPoint) + 2.0 * k + 2.0 * k * (k + 1.0) / (m - k - 1.0);
}

void Measure(CurveResult& curve) {
  Sums own;
  Add(curve, own);
  SetMeasures(own, TotalSquares(curve, own.sum / own.points), curve.measures);
}

std::string Text(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%.6g", value);
  return buffer;
}

std::string Text(const Interval& interval) {
  if (std::isinf(interval.lower)) return "up to " + Text(interval.upper);
  if (std::isinf(interval.upper)) return "from " + Text(interval.lower) + " on";
  return Text(interval.lower) + " to " + Text(interval.upper);
}

void ApplyOptions(const Options& options, Problem& problem, std::vector<double>& start) {
  for (const auto& [name, bounds] : options.bounds) ApplyBounds(name, bounds, problem);
  const auto requireInside = [&](const std::string& name, const char* what, double value) {
    const auto bounds = options.bounds.find(name);
    if (bounds == options.bounds.end()) return;
    if (value >= bounds->second.lower && value <= bounds->second.upper) return;
    throw Error(ErrorKind::BadInput, std::string("the ") + what + " of parameter " + name + ", " + Text(value) +
                                         ", lies outside its bounds, " + Text(bounds->second));
  };
  for (const auto& [name, value] : options.start) {
    if (!std::isfinite(value))
      throw Error(ErrorKind::BadInput, "the start of parameter " + name + " is not a finite number");
    const std::size_t k = IndexOf(name, "start", problem);
    requireInside(name, "start", value);
    start[k] = value / problem.parameters[k].scale;
  }
  for (const auto& [name, value] : options.held) {
    if (!std::isfinite(value))
      throw Error(ErrorKind::BadInput, "parameter " + name + " cannot be held at a value that is not finite");
    const std::size_t k = IndexOf(name, "hold", problem);
    requireInside(name, "held value", value);
    start[k] = value / problem.parameters[k].scale;
    problem.parameters[k].held = true;
  }
}

int CountedParameters(const Result& result) {
  return static_cast<int>(std::count_if(
      result.parameters.begin(), result.parameters.end(),
      [](const Parameter& parameter) { return parameter.atBound ? parameter.value != 0.0 : !parameter.held; }));
}

bool OneQuantity(const ModelInfo& info, const std::vector<CurveResult>& curves) {
  const CurveInfo* first = nullptr;
  for (const CurveResult& curve : curves) {
    for (const CurveInfo& known : info.curves) {
      if (known.name != curve.name) continue;
      if (first == nullptr) first = &known;
      if (!SameQuantity(*first, known)) return false;
    }
  }
  return true;
}

Result Assemble(const Problem& problem, const Minimum& minimum, const std::vector<Curve>& curves,
                std::vector<DroppedPoint> dropped, const FittedOrdinates& ordinates, double level) {
  Result result;
  result.residual = problem.residual;
  result.converged = minimum.converged;
  result.status = minimum.converged ? "converged" : "stopped before reaching a minimum";
  result.iterations = minimum.iterations;

  Uncertainty uncertainty = EstimateUncertainty(problem, minimum, level);
  result.parameters = std::move(uncertainty.parameters);
  result.correlation = std::move(uncertainty.correlation);
  result.covariance = std::move(uncertainty.covariance);
  result.notes = std::move(uncertainty.notes);

  Sums all;
  for (const Curve& curve : curves) {
    CurveResult fitted;
    fitted.name = curve.name;
    fitted.x = curve.x;
    fitted.measured = curve.y;
    fitted.companion = curve.lateral;
    fitted.fitted = ordinates(curve.name, curve.x);
    Measure(fitted);
    Add(fitted, all);
    fitted.measures.dropped = DroppedFrom(curve.name, dropped);
    result.curves.push_back(std::move(fitted));
  }
  double total = 0.0;
  for (const CurveResult& curve : result.curves) total += TotalSquares(curve, all.sum / all.points);
  SetMeasures(all, total, result.measures);
  result.measures.dropped = static_cast<int>(dropped.size());
  result.measures.objective = minimum.objective;
  result.measures.aicc = CorrectedInformation(minimum.objective, problem.PointCount(), CountedParameters(result));
  result.dropped = std::move(dropped);
  return result;
}

void RemoveHidden(const Problem& problem, Result& result) {
  const auto keepShown = [&](auto& entries) {
    std::size_t kept = 0;
    for (std::size_t k = 0; k < entries.size(); ++k) {
      if (problem.parameters[k].hidden) continue;
      if (kept != k) entries[kept] = std::move(entries[k]);
      ++kept;
    }
    entries.resize(kept);
  };
  keepShown(result.parameters);
  for (auto* matrix : {&result.correlation, &result.covariance}) {
    for (auto& row : *matrix) keepShown(row);
    keepShown(*matrix);
  }
}

double Result::Value(const std::string& name) const {
  for (const Parameter& parameter : parameters) {
    if (parameter.name == name) return parameter.value;
  }
  throw Error(ErrorKind::BadInput, "the result has no parameter " + name);
}

}  // namespace Xem::Fit
