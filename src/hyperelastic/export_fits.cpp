#include "hyperelastic/export_fits.h"

#include "hyperelastic/linear_fit.h"
#include "hyperelastic/refinement.h"
#include "solver/tolerances.h"

namespace Xem::MaterialUtil {

std::int32_t FitLinearModel(const XemMaterialCurvefittingModelBase& model, const TestFunctionList& functions,
                            std::int32_t termCount, std::int32_t method, double conditionLimit,
                            std::span<double> parameters, const Found& found) {
  SolveLinear(model, FixedTermMask(parameters.size()), parameters, method, conditionLimit);
  if (found) found(parameters);
  const Refinement refinement = RefineLinearSolution(functions, termCount, method, parameters);
  if (refinement.replaced && found) found(parameters);
  return refinement.solverStatus;
}

OgdenFitStatus FitOgdenSeries(const TestFunctionList& functions, ResidualKind residual, std::span<double> pairs) {
  const FixedTermMask mask(pairs.size());
  OgdenMethodOfKind solver(residual, functions, mask.Size() / 2);
  solver.InitialGuess(mask, pairs);
  solver.SetMask(mask);
  OgdenFitStatus status;
  status.solverStatus = solver.Solve(pairs, kRubberTolerance);
  status.iterations = solver.Iterations();
  return status;
}

}  // namespace Xem::MaterialUtil
