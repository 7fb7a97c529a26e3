#include "stability/ogden_tangent.h"

#include <array>
#include <cmath>
#include <cstddef>

#include "stability/symmetric3.h"
#include "stability/volumetric_energy.h"

namespace Xem::MaterialUtil {
namespace {

/// Squared stretches that differ by less than this part of the first count as equal.
constexpr double kEqualStretches = 1e-7;

/// Principal stretches, and the rotation whose columns are the principal directions after the deformation.
struct PrincipalAxes {
  std::array<double, 3> stretches{};
  Matrix3 directions{};
};

PrincipalAxes FindPrincipalAxes(const Matrix3& f) {
  Matrix3 c{};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) {
      for (std::size_t k = 0; k < 3; ++k) c[i][j] += f[k][i] * f[k][j];
    }
  }
  const Eigensystem3 eigen = DecomposeSymmetric3(c);
  PrincipalAxes axes;
  for (std::size_t a = 0; a < 3; ++a) {
    axes.stretches[a] = std::sqrt(eigen.values[a]);
    for (std::size_t i = 0; i < 3; ++i) {
      for (std::size_t k = 0; k < 3; ++k) axes.directions[i][a] += f[i][k] * eigen.vectors[k][a] / axes.stretches[a];
    }
  }
  return axes;
}

/// Principal Kirchhoff stresses and their derivatives with respect to the logarithmic stretches.
struct PrincipalResponse {
  std::array<double, 3> stress{};
  Matrix3 slope{};
};

PrincipalResponse Differentiate(std::span<const double> pairs, std::span<const double> volumetric,
                                const std::array<double, 3>& stretches) {
  const double j = stretches[0] * stretches[1] * stretches[2];
  const double root = std::cbrt(j);
  const std::array<double, 3> logs{std::log(stretches[0] / root), std::log(stretches[1] / root),
                                   std::log(stretches[2] / root)};
  PrincipalResponse response;
  for (std::size_t k = 0; k + 1 < pairs.size(); k += 2) {
    const double alpha = pairs[k + 1];
    std::array<double, 3> q{};
    for (std::size_t a = 0; a < 3; ++a) q[a] = pairs[k] * std::exp(alpha * logs[a]);
    const double sum = q[0] + q[1] + q[2];
    for (std::size_t a = 0; a < 3; ++a) {
      response.stress[a] += q[a] - sum / 3.0;
      for (std::size_t b = 0; b < 3; ++b) {
        response.slope[a][b] += alpha * ((a == b ? q[a] : 0.0) - (q[a] + q[b]) / 3.0 + sum / 9.0);
      }
    }
  }
  const VolumetricDerivatives u = DifferentiateVolumetricEnergy(volumetric, j);
  for (std::size_t a = 0; a < 3; ++a) {
    response.stress[a] += j * u.first;
    for (double& slope : response.slope[a]) slope += j * u.first + j * j * u.second;
  }
  return response;
}

/// Stiffness against shear in the plane of axes a and b.
double ShearStiffness(const PrincipalAxes& axes, const PrincipalResponse& response, std::size_t a, std::size_t b) {
  const double squareA = axes.stretches[a] * axes.stretches[a];
  const double squareB = axes.stretches[b] * axes.stretches[b];
  if (std::abs(squareA - squareB) < kEqualStretches * squareA) {
    return 0.5 * (response.slope[a][a] - response.slope[a][b]);
  }
  return 0.5 * (squareA + squareB) * (response.stress[a] - response.stress[b]) / (squareA - squareB);
}

}  // namespace

Tangent OgdenTangent(std::span<const double> pairs, std::span<const double> volumetric,
                     const Matrix3& deformationGradient) {
  const PrincipalAxes axes = FindPrincipalAxes(deformationGradient);
  const PrincipalResponse response = Differentiate(pairs, volumetric, axes.stretches);
  Tangent principal;
  for (std::size_t a = 0; a < 3; ++a) {
    principal.stress[a] = response.stress[a];
    for (std::size_t b = 0; b < 3; ++b) principal.stiffness[a][b] = response.slope[a][b];
  }
  for (std::size_t p = 3; p < 6; ++p) {
    principal.stiffness[p][p] = ShearStiffness(axes, response, kVoigt[p][0], kVoigt[p][1]);
  }
  const Matrix6 t = PushForward(axes.directions);
  return {Transform(t, principal.stiffness), Multiply(t, principal.stress)};
}

}  // namespace Xem::MaterialUtil
