#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "hyperelastic/models.h"
#include "solver/make_solver.h"
#include "testfunctions/test_function_base.h"

/// What the exported fits of rubber do once their curves are loaded.
namespace Xem::MaterialUtil {

/// Called with parameters as soon as they are the result; later ones replace them.
using Found = std::function<void(std::span<const double>)>;

/// The fit of a model that is linear in its parameters, polynomial or Blatz-Ko: linear least squares by the method code
/// of the interface, then refinement by Levenberg-Marquardt (see refinement.h). `functions` are over the same curves
/// and take `termCount`, see refinement.h. `found` hears of the linear solution before the refinement, which may throw,
/// begins. Returns the status of the refinement.
std::int32_t FitLinearModel(const XemMaterialCurvefittingModelBase& model, const TestFunctionList& functions,
                            std::int32_t termCount, std::int32_t method, double conditionLimit,
                            std::span<double> parameters, const Found& found = {});

/// How the fit of an Ogden series went.
struct OgdenFitStatus {
  std::int32_t solverStatus = 0;
  std::int32_t iterations = 0;
};

/// The fit of an Ogden series from its seeds; `pairs` (mu_1, alpha_1, ...) receives the result.
OgdenFitStatus FitOgdenSeries(const TestFunctionList& functions, ResidualKind residual, std::span<double> pairs);

}  // namespace Xem::MaterialUtil
