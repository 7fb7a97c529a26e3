#pragma once

#include <span>

#include "stability/stability_scan.h"

namespace Xem::MaterialUtil {

/// Marks the states that an Ogden series keeps stable by far more than rounding, all of them from a few exponentials at
/// once.
///
/// Where the volume is kept and axes are principal, the tangent falls apart: the change of volume, shear in three
/// planes, and the normal strains without change of volume. With h_a = sum mu_k alpha_k lambda_a^alpha_k the
/// eigenvalues of the last add up to 2/3 (h_1 + h_2 + h_3) and have the product 1/3 (h_1 h_2 + h_2 h_3 + h_3 h_1).
void MarkClearlyStable(std::span<const double> pairs, std::span<const double> volumetric, const ScannedStates& states,
                       std::span<bool> clear);

}  // namespace Xem::MaterialUtil
