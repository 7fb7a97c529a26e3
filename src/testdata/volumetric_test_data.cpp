#include "testdata/volumetric_test_data.h"

namespace Xem::MaterialUtil {
namespace {

/// J - 1 = stretch^3 - 1, without cancellation near 1.
double VolumeChange(double stretch) { return (stretch - 1.0) * (stretch * stretch + stretch + 1.0); }

/// Calls visit(k, -2 k (J - 1)^(2k - 1)) for the terms k = 1 ... `terms`.
template <class Visit>
void ForEachVolumetricTerm(double volumeChange, std::int32_t terms, Visit&& visit) {
  const double square = volumeChange * volumeChange;
  double power = volumeChange;
  for (std::int32_t k = 1; k <= terms; ++k, power *= square) visit(k, -2.0 * k * power);
}

}  // namespace

void XemMaterialTestDataVolumetric::SetTestData(std::span<const _T_FUNT_BASE> points) {
  curve_.Load(points, KeepMeasured(), AsItStands);
}

void XemMaterialTestDataVolumetric::AssemblePolynomialRows(std::int32_t terms, std::int32_t first,
                                                           const FixedTermMask& mask, MatrixView rows) const {
  for (std::int32_t row = 0; row < rows.rows; ++row) {
    std::int32_t column = 0;
    ForEachVolumetricTerm(VolumeChange(curve_.abscissa[first + row]), terms, [&](std::int32_t k, double value) {
      if (mask[k - 1] == 0) rows(row, column++) = value;
    });
  }
}

double XemMaterialTestDataVolumetric::PolynomialStress(std::int32_t terms, std::span<const double> coefficients,
                                                       double stretch, double) const {
  double stress = 0.0;
  ForEachVolumetricTerm(VolumeChange(stretch), terms,
                        [&](std::int32_t k, double value) { stress += coefficients[k - 1] * value; });
  return stress;
}

}  // namespace Xem::MaterialUtil
