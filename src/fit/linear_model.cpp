#include "fit/linear_model.h"

#include <cmath>
#include <numeric>
#include <utility>

#include "solver/linalg/least_squares.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// Directions of the column-scaled design matrix beyond this condition are left at their smallest values.
constexpr double kConditionLimit = 1e12;

}  // namespace

void SolveCoefficients(const Problem& problem, std::span<const std::size_t> coefficients,
                       std::vector<double>& parameters) {
  const auto points = static_cast<std::size_t>(problem.PointCount());
  const std::vector<double> columns = Jacobian(problem, parameters);
  std::vector<double> target = WeightedMeasured(problem);
  std::vector<std::size_t> free;
  for (const std::size_t k : coefficients) {
    if (!problem.parameters[k].held) {
      free.push_back(k);
      continue;
    }
    for (std::size_t i = 0; i < points; ++i) target[i] -= columns[k * points + i] * parameters[k];
  }

  Matrix design(static_cast<std::int32_t>(points), static_cast<std::int32_t>(free.size()));
  std::vector<double> norms(free.size(), 1.0);
  for (std::size_t j = 0; j < free.size(); ++j) {
    const double* column = columns.data() + free[j] * points;
    double square = 0.0;
    for (std::size_t i = 0; i < points; ++i) square += column[i] * column[i];
    if (square > 0.0) norms[j] = std::sqrt(square);
    const auto scaled = design.Column(j);
    for (std::size_t i = 0; i < points; ++i) scaled[i] = column[i] / norms[j];
  }
  const Vector solution = SolveTruncated(std::move(design), target, kConditionLimit);
  for (std::size_t j = 0; j < free.size(); ++j) {
    parameters[free[j]] = solution[j] / norms[j];
  }
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
  minimum.objective = Objective(problem, minimum.parameters);
  minimum.converged = std::isfinite(minimum.objective);
  minimum.atBound.assign(problem.parameters.size(), false);
  return minimum;
}

}  // namespace Xem::Fit
