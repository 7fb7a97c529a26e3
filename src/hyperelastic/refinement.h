#pragma once

#include <cstdint>
#include <span>

#include "testfunctions/test_function_base.h"

namespace Xem::MaterialUtil {

struct Refinement {
  std::int32_t solverStatus = 0;  ///< 0 converged, -1 iteration limit
  bool replaced = true;           ///< the parameters hold the kept candidate; false: they are untouched
};

/// Refines a linear solution by Levenberg-Marquardt and keeps the better of the two by |1 - determination|, the linear
/// one on a tie. `termCount` is the order of a polynomial, 1 for Blatz-Ko; `method` 1 selects absolute
/// residuals.
///
/// The linear candidate is the solution after the constraints of the first test function. When these changed it and
/// the solver did not converge, nothing is replaced.
Refinement RefineLinearSolution(const TestFunctionList& functions, std::int32_t termCount, std::int32_t method,
                                std::span<double> parameters);

}  // namespace Xem::MaterialUtil
