#include "fit/linear_model.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
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
  std::vector<std::size_t> free;
  std::vector<std::size_t> held;
  for (const std::size_t k : coefficients) (problem.parameters[k].held ? held : free).push_back(k);

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
