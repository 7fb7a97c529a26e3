#pragma once

#include <cstdint>
#include <span>

#include "solver/linalg/vector.h"

/// Volumetric energy U = sum D_k (J - 1)^(2k), k = 1 ... M; bulk modulus 2 D_1.
namespace Xem::MaterialUtil {

struct VolumetricDerivatives {
  double first = 0.0;   ///< dU/dJ
  double second = 0.0;  ///< d2U/dJ2
};
VolumetricDerivatives DifferentiateVolumetricEnergy(std::span<const double> coefficients, double volumeRatio);

/// Coefficients where none were measured: one term gets the shear modulus times 299/6, a Poisson ratio of 0.495; any
/// other number of terms gets zeros. Throws CInvalidArgException for a senseless number.
Vector DefaultVolumetricCoefficients(std::int32_t terms, double shearModulus);

}  // namespace Xem::MaterialUtil
