#include "stability/ogden_tangent.h"

#include <array>
#include <cmath>
#include <cstddef>

#include "stability/principal_tangent.h"

namespace Xem::MaterialUtil {
namespace {

PrincipalResponse Differentiate(std::span<const double> pairs, std::span<const double> volumetric,
                                const std::array<double, 3>& stretches) {
  const std::array<double, 3> logs = IsochoricLogarithms(stretches);
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
  AddVolumetric(volumetric, stretches[0] * stretches[1] * stretches[2], response);
  return response;
}

}  // namespace

Tangent OgdenTangent(std::span<const double> pairs, std::span<const double> volumetric,
                     const Matrix3& deformationGradient) {
  const PrincipalAxes axes = FindPrincipalAxes(deformationGradient);
  return PrincipalTangent(axes, Differentiate(pairs, volumetric, axes.stretches));
}

}  // namespace Xem::MaterialUtil
