#include "hyperelastic/refinement.h"

#include <algorithm>
#include <cmath>

#include "solver/make_solver.h"
#include "solver/tolerances.h"

namespace Xem::MaterialUtil {

Refinement RefineLinearSolution(const TestFunctionList& functions, std::int32_t termCount, std::int32_t method,
                                std::span<double> parameters) {
  LevenbergMarquardtMethodOfKind solver(ResidualFromCode(method), functions, termCount);
  solver.SetMask(FixedTermMask(parameters.size()));

  Vector linear{std::span<const double>(parameters)};
  Vector refined = linear;
  Refinement result;
  result.solverStatus = solver.Solve(refined, kRubberTolerance);

  const bool constrained = functions.front()->EnforceParameterConstraints(termCount, linear);
  result.replaced = !(constrained && result.solverStatus != 0);
  if (!result.replaced) return result;

  // The run began with the linear candidate and ended with the other.
  const bool absolute = ResidualFromCode(method) == ResidualKind::Absolute;
  const auto distance = [&](double sumOfSquares, std::span<const double> candidate) {
    return std::abs(1.0 -
                    (absolute ? solver.DeterminationOf(sumOfSquares) : solver.CoefficientOfDetermination(candidate)));
  };
  const double linearDistance = distance(solver.FirstSumOfSquares(), linear);
  const double refinedDistance = distance(solver.LastSumOfSquares(), refined);
  const Vector& kept = refinedDistance < linearDistance ? refined : linear;
  std::copy(kept.begin(), kept.end(), parameters.begin());
  return result;
}

}  // namespace Xem::MaterialUtil
