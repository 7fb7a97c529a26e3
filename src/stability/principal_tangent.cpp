#include "stability/principal_tangent.h"

#include <array>
#include <cmath>
#include <cstddef>

#include "stability/symmetric3.h"
#include "stability/volumetric_energy.h"

namespace Xem::MaterialUtil {
namespace {

/// Squared stretches that differ by less than this part of the first count as equal.
constexpr double kEqualStretches = 1e-7;

constexpr Matrix3 kAlongAxes{{{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}}};

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

std::array<double, 3> IsochoricLogarithms(const std::array<double, 3>& stretches) {
  const double root = std::cbrt(stretches[0] * stretches[1] * stretches[2]);
  return {std::log(stretches[0] / root), std::log(stretches[1] / root), std::log(stretches[2] / root)};
}

PrincipalResponse Deviator(const std::array<double, 3>& beta, const Matrix3& gamma) {
  const double sum = beta[0] + beta[1] + beta[2];
  std::array<double, 3> sums{};
  for (std::size_t a = 0; a < 3; ++a) sums[a] = gamma[a][0] + gamma[a][1] + gamma[a][2];
  PrincipalResponse response;
  for (std::size_t a = 0; a < 3; ++a) {
    response.stress[a] = beta[a] - sum / 3.0;
    for (std::size_t b = 0; b < 3; ++b) {
      response.slope[a][b] = gamma[a][b] - (sums[a] + sums[b]) / 3.0 + (sums[0] + sums[1] + sums[2]) / 9.0;
    }
  }
  return response;
}

void AddVolumetric(std::span<const double> volumetric, double volumeRatio, PrincipalResponse& response) {
  const VolumetricDerivatives u = DifferentiateVolumetricEnergy(volumetric, volumeRatio);
  for (std::size_t a = 0; a < 3; ++a) {
    response.stress[a] += volumeRatio * u.first;
    for (double& slope : response.slope[a]) slope += volumeRatio * u.first + volumeRatio * volumeRatio * u.second;
  }
}

Tangent PrincipalTangent(const PrincipalAxes& axes, const PrincipalResponse& response) {
  Tangent principal;
  for (std::size_t a = 0; a < 3; ++a) {
    principal.stress[a] = response.stress[a];
    for (std::size_t b = 0; b <= a; ++b) principal.stiffness[a][b] = principal.stiffness[b][a] = response.slope[a][b];
  }
  for (std::size_t p = 3; p < 6; ++p) {
    principal.stiffness[p][p] = ShearStiffness(axes, response, kVoigt[p][0], kVoigt[p][1]);
  }
  // Scans deform along the axes: the same numbers without two products of matrices.
  if (axes.directions == kAlongAxes) return principal;
  const Matrix6 t = PushForward(axes.directions);
  return {Transform(t, principal.stiffness), Multiply(t, principal.stress)};
}

}  // namespace Xem::MaterialUtil
