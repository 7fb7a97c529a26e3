#include "testdata/hyperelastic_test_data.h"

#include "testdata/strain_energy.h"

namespace Xem::MaterialUtil {

void XemMaterialTestDataHyperelastic::SetTestData3(std::span<const _T_FUNT_BASE3> points) {
  curve_.Load(points, KeepMeasured(), mode_.stretchFromStrain);
}

void XemMaterialTestDataHyperelastic::SetTestData(std::span<const _T_FUNT_BASE> points) {
  curve_.Load(points, KeepMeasured(), mode_.stretchFromStrain);
}

void XemMaterialTestDataHyperelastic::AssemblePolynomialRows(std::int32_t order, const FixedTermMask& mask,
                                                             MatrixView rows) const {
  for (std::int32_t point = 0; point < PointCount(); ++point) {
    std::int32_t term = 0;
    std::int32_t column = 0;
    ForEachTermStress(mode_, order, curve_.abscissa[point], [&](double value) {
      if (mask[term++] == 0) rows(point, column++) = value;
    });
  }
}

double XemMaterialTestDataHyperelastic::PolynomialStress(std::int32_t order, std::span<const double> coefficients,
                                                         double stretch, double) const {
  return MaterialUtil::PolynomialStress(mode_, order, coefficients, stretch);
}

void XemMaterialTestDataHyperelastic::AssembleBlatzKoRows(MatrixView rows) const {
  if (rows.columns == 0) return;
  for (std::int32_t point = 0; point < PointCount(); ++point) {
    rows(point, 0) = mode_.blatzKo(curve_.abscissa[point], curve_.companion[point]);
  }
}

double XemMaterialTestDataHyperelastic::BlatzKoStress(double modulus, double stretch, double lateralStretch) const {
  return modulus * mode_.blatzKo(stretch, lateralStretch);
}

void XemMaterialTestDataHyperelastic::ComputeLateralStretches() { curve_.DeriveCompanion(LateralStretchExponent()); }

}  // namespace Xem::MaterialUtil
