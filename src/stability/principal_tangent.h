#pragma once

#include <array>
#include <span>

#include "stability/voigt.h"

/// The tangent of an isotropic energy from its principal stresses (Simo and Taylor 1991).
namespace Xem::MaterialUtil {

/// Principal stretches, and the rotation whose columns are the principal directions after the deformation.
struct PrincipalAxes {
  std::array<double, 3> stretches{};
  Matrix3 directions{};
};
PrincipalAxes FindPrincipalAxes(const Matrix3& deformationGradient);

/// ln of the stretches with the change of volume taken out.
std::array<double, 3> IsochoricLogarithms(const std::array<double, 3>& stretches);

/// Principal Kirchhoff stresses and their derivatives with respect to the logarithmic stretches.
struct PrincipalResponse {
  std::array<double, 3> stress{};
  Matrix3 slope{};
};

/// Of an energy of isochoric stretches l_a: beta_a = dW/d ln l_a, gamma_ab = d beta_a / d ln l_b, symmetric.
PrincipalResponse Deviator(const std::array<double, 3>& beta, const Matrix3& gamma);

/// Adds U = sum D_k (J - 1)^(2k).
void AddVolumetric(std::span<const double> volumetric, double volumeRatio, PrincipalResponse& response);

/// In global axes.
Tangent PrincipalTangent(const PrincipalAxes& axes, const PrincipalResponse& response);

}  // namespace Xem::MaterialUtil
