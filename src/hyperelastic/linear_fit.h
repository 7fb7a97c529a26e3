#pragma once

#include <cstdint>
#include <span>

#include "hyperelastic/models.h"

namespace Xem::MaterialUtil {

/// Linear least squares by the method code of the interface: 1 absolute residuals, 0 relative residuals, anything else
/// leaves the parameters alone. Fitted values go into the entries whose mask is 0; the others contribute their stress.
void SolveLinear(const XemMaterialCurvefittingModelBase& model, const FixedTermMask& mask, std::span<double> parameters,
                 std::int32_t method, double conditionLimit);

}  // namespace Xem::MaterialUtil
