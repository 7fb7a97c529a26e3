#pragma once

#include <span>

#include "stability/voigt.h"

namespace Xem::MaterialUtil {

/// Tangent of the nearly incompressible Ogden model (Ogden 1972; in principal axes Simo and Taylor 1991),
///
///   W = sum mu_k / alpha_k (l1^alpha_k + l2^alpha_k + l3^alpha_k - 3) + U(J),   l_a = J^(-1/3) lambda_a
///
/// at a deformation gradient, in global axes. `pairs` holds mu_1, alpha_1, mu_2, alpha_2, ...
Tangent OgdenTangent(std::span<const double> pairs, std::span<const double> volumetric,
                     const Matrix3& deformationGradient);

}  // namespace Xem::MaterialUtil
