#include "stability/blatz_ko_tangent.h"

#include <cmath>

namespace Xem::MaterialUtil {

Tangent BlatzKoTangent(double modulus, const Matrix3& deformationGradient) {
  const Matrix3& f = deformationGradient;
  Vector6 b{};
  for (std::size_t p = 0; p < 6; ++p) {
    const auto [i, j] = kVoigt[p];
    for (std::size_t k = 0; k < 3; ++k) b[p] += f[i][k] * f[j][k];
  }
  const auto [b11, b22, b33, b12, b23, b13] = b;
  const Vector6 cofactors{b22 * b33 - b23 * b23, b33 * b11 - b13 * b13, b11 * b22 - b12 * b12,
                          b13 * b23 - b12 * b33, b12 * b13 - b23 * b11, b12 * b23 - b13 * b22};
  const double determinant = b11 * cofactors[0] + b12 * cofactors[3] + b13 * cofactors[5];
  const double j = std::sqrt(determinant);

  Vector6 inverse{};
  Tangent tangent;
  for (std::size_t p = 0; p < 6; ++p) {
    inverse[p] = modulus * cofactors[p] / determinant;
    tangent.stress[p] = (p < 3 ? modulus * j : 0.0) - inverse[p];
  }
  tangent.stiffness = StressTerms(inverse);
  for (std::size_t p = 0; p < 3; ++p) {
    for (std::size_t q = 0; q < 3; ++q) tangent.stiffness[p][q] += modulus * j;
  }
  return tangent;
}

}  // namespace Xem::MaterialUtil
