#pragma once

#include "stability/voigt.h"

namespace Xem::MaterialUtil {

/// Tangent of the Blatz-Ko model (Blatz and Ko 1962), W = modulus / 2 (I2 / I3 + 2 J - 5), at a deformation gradient:
/// with the left Cauchy-Green tensor b the Kirchhoff stress is modulus (J 1 - b^-1), and the stiffness takes a strain d
/// to modulus (J tr(d) 1 + d b^-1 + b^-1 d). It is positive definite everywhere for a positive modulus.
Tangent BlatzKoTangent(double modulus, const Matrix3& deformationGradient);

}  // namespace Xem::MaterialUtil
