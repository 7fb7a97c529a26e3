#include "fit/linear_model.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <utility>

#include "solver/linalg/least_squares.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// Directions of the column-scaled design matrix beyond this condition are left at their smallest values.
constexpr double kConditionLimit = 1e12;

/// SolveCoefficients for those that are not `fixed`.
void SolveCoefficients(const Problem& problem, std::span<const std::size_t> coefficients,
                       const std::vector<bool>& fixed, std::vector<double>& parameters) {
  std::vector<std::size_t> free;
  std::vector<std::size_t> held;
  for (const std::size_t k : coefficients) (fixed[k] ? held : free).push_back(k);

  LeastSquares system(problem.PointCount(), static_cast<std::int32_t>(free.size()));
  ForEachBlock(problem, parameters, [&](std::span<const double> measured, const MatrixView& jacobian) {
    const MatrixView rows = system.Append(jacobian.rows);
    for (std::size_t j = 0; j < free.size(); ++j) std::ranges::copy(jacobian.Column(free[j]), rows.Column(j).begin());
    const std::span<double> target = rows.Column(free.size());
    std::ranges::copy(measured, target.begin());
    for (const std::size_t k : held) {
      const std::span<const double> column = jacobian.Column(k);
      for (std::size_t i = 0; i < target.size(); ++i) target[i] -= column[i] * parameters[k];
    }
  });
  const Vector solution = system.SolveEquilibrated(kConditionLimit);
  for (std::size_t j = 0; j < free.size(); ++j) parameters[free[j]] = solution[j];
}

double Within(const FreeOrHeld& range, double value) { return std::clamp(value, range.lower, range.upper); }

bool Inside(const Problem& problem, const std::vector<double>& parameters) {
  for (std::size_t k = 0; k < parameters.size(); ++k) {
    const FreeOrHeld& range = problem.parameters[k];
    if (!range.held && (parameters[k] < range.lower || parameters[k] > range.upper)) return false;
  }
  return true;
}

/// Moves the free ones of `parameters` towards `target` until the first reaches a bound, which holds it from then on.
/// False when none does.
bool StepTowards(const Problem& problem, const std::vector<double>& target, std::vector<double>& parameters,
                 std::vector<bool>& atBound) {
  double length = 1.0;
  std::size_t first = parameters.size();
  for (std::size_t k = 0; k < parameters.size(); ++k) {
    if (problem.parameters[k].held || atBound[k]) continue;
    const double bound = Within(problem.parameters[k], target[k]);
    if (bound == target[k]) continue;
    const double share = (bound - parameters[k]) / (target[k] - parameters[k]);
    if (first < parameters.size() && share >= length) continue;
    length = share;
    first = k;
  }
  if (first == parameters.size()) return false;
  const double bound = Within(problem.parameters[first], target[first]);
  for (std::size_t k = 0; k < parameters.size(); ++k) {
    if (!problem.parameters[k].held && !atBound[k]) parameters[k] += length * (target[k] - parameters[k]);
  }
  parameters[first] = bound;
  atBound[first] = true;
  return true;
}

/// The parameter whose bound holds it back most from lowering the misfit, the number of parameters if none does. In
/// parts of the length of its column, so that units do not matter.
std::size_t MostHeldBack(const Problem& problem, const std::vector<double>& parameters,
                         const std::vector<bool>& atBound) {
  constexpr double kFlat = 1e-12;
  const auto points = static_cast<std::size_t>(problem.PointCount());
  const std::vector<double> columns = Jacobian(problem, parameters);
  const std::vector<double> measured = WeightedMeasured(problem);
  const std::vector<double> fitted = WeightedFitted(problem, parameters);
  std::size_t most = parameters.size();
  double steepest = kFlat * std::sqrt(std::inner_product(measured.begin(), measured.end(), measured.begin(), 0.0));
  for (std::size_t k = 0; k < parameters.size(); ++k) {
    if (!atBound[k]) continue;
    double slope = 0.0;
    double square = 0.0;
    for (std::size_t i = 0; i < points; ++i) {
      const double entry = columns[k * points + i];
      slope += entry * (measured[i] - fitted[i]);
      square += entry * entry;
    }
    const bool atLower = parameters[k] <= problem.parameters[k].lower;
    const double inwards = (atLower ? slope : -slope) / std::sqrt(std::max(square, 1e-300));
    if (!(inwards > steepest)) continue;
    steepest = inwards;
    most = k;
  }
  return most;
}

/// Bounded least squares by active sets: those at a bound stay there until the misfit would fall inwards (Stark and
/// Parker 1995).
void SolveBounded(const Problem& problem, Minimum& minimum) {
  std::vector<double>& parameters = minimum.parameters;
  std::vector<bool>& atBound = minimum.atBound;
  for (std::size_t k = 0; k < parameters.size(); ++k) {
    const FreeOrHeld& range = problem.parameters[k];
    if (range.held) continue;
    const double inside = Within(range, parameters[k]);
    atBound[k] = inside != parameters[k];
    parameters[k] = inside;
  }
  std::vector<std::size_t> all(parameters.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  // Each round lowers the misfit, so none comes twice; the number of rounds is for rounding.
  const std::size_t rounds = 10 * parameters.size() + 10;
  for (std::size_t round = 0; round < rounds; ++round) {
    const std::vector<double> before = parameters;
    for (bool moving = true; moving;) {
      std::vector<bool> fixed = atBound;
      for (std::size_t k = 0; k < fixed.size(); ++k) fixed[k] = fixed[k] || problem.parameters[k].held;
      std::vector<double> target = parameters;
      SolveCoefficients(problem, all, fixed, target);
      moving = StepTowards(problem, target, parameters, atBound);
      if (!moving) parameters = target;
      ++minimum.iterations;
    }
    const std::size_t released = MostHeldBack(problem, parameters, atBound);
    // One that was let go and comes straight back was held by rounding.
    if (released == parameters.size() || (round > 0 && parameters == before)) {
      minimum.converged = true;
      return;
    }
    atBound[released] = false;
  }
}

}  // namespace

void SolveCoefficients(const Problem& problem, std::span<const std::size_t> coefficients,
                       std::vector<double>& parameters) {
  std::vector<bool> fixed;
  for (const FreeOrHeld& parameter : problem.parameters) fixed.push_back(parameter.held);
  SolveCoefficients(problem, coefficients, fixed, parameters);
}

Minimum MinimiseLinear(const Problem& problem, std::vector<double> given) {
  std::vector<double> parameters = std::move(given);
  for (double& parameter : parameters) {
    if (std::isnan(parameter)) parameter = 0.0;
  }
  std::vector<std::size_t> all(parameters.size());
  std::iota(all.begin(), all.end(), std::size_t{0});
  SolveCoefficients(problem, all, parameters);
  Minimum minimum;
  minimum.parameters = std::move(parameters);
  minimum.atBound.assign(problem.parameters.size(), false);
  minimum.converged = true;
  if (!Inside(problem, minimum.parameters)) {
    minimum.converged = false;
    SolveBounded(problem, minimum);
  }
  minimum.objective = Objective(problem, minimum.parameters);
  minimum.converged = minimum.converged && std::isfinite(minimum.objective);
  return minimum;
}

}  // namespace Xem::Fit
