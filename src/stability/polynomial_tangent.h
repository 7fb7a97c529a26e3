#pragma once

#include <cstdint>
#include <span>

#include "stability/voigt.h"

namespace Xem::MaterialUtil {

/// Tangent of the nearly incompressible polynomial model (Rivlin 1948 in the reduced invariants of Penn 1970),
///
///   W = sum C_ij A^i B^j + U(J),   A = I3^(-1/3) I1 - 3,   B = I3^(-2/3) I2 - 3,   J = sqrt(I3)
///
/// at a deformation gradient: S = 2 dW/dC and L = 4 d2W/dCdC from the right Cauchy-Green tensor C, pushed forward, plus
/// the stress terms of the Jaumann rate. `coefficients` stand in the term order of ForEachTerm.
Tangent PolynomialTangent(std::int32_t order, std::span<const double> coefficients, std::span<const double> volumetric,
                          const Matrix3& deformationGradient);

}  // namespace Xem::MaterialUtil
