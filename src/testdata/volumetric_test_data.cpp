#include "testdata/volumetric_test_data.h"

#include <cmath>

namespace Xem::MaterialUtil {
namespace {

/// J - 1 = stretch^3 - 1, without cancellation near 1.
double VolumeChange(double stretch) { return (stretch - 1.0) * (stretch * stretch + stretch + 1.0); }

double VolumetricTerm(double volumeChange, std::int32_t k) { return -2.0 * k * std::pow(volumeChange, 2.0 * k - 1.0); }

}  // namespace

void XemMaterialTestDataVolumetric::SetTestData(std::span<const _T_FUNT_BASE> points) {
  curve_.Load(points, KeepMeasured(), AsItStands);
}

void XemMaterialTestDataVolumetric::AssemblePolynomialRows(std::int32_t terms, const FixedTermMask& mask,
                                                           MatrixView rows) const {
  for (std::int32_t point = 0; point < PointCount(); ++point) {
    const double volumeChange = VolumeChange(curve_.abscissa[point]);
    std::int32_t column = 0;
    for (std::int32_t k = 1; k <= terms; ++k) {
      if (mask[k - 1] == 0) rows(point, column++) = VolumetricTerm(volumeChange, k);
    }
  }
}

double XemMaterialTestDataVolumetric::PolynomialStress(std::int32_t terms, std::span<const double> coefficients,
                                                       double stretch, double) const {
  const double volumeChange = VolumeChange(stretch);
  double stress = 0.0;
  for (std::int32_t k = 1; k <= terms; ++k) {
    stress += coefficients[k - 1] * VolumetricTerm(volumeChange, k);
  }
  return stress;
}

}  // namespace Xem::MaterialUtil
