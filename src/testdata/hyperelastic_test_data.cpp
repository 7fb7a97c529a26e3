#include "testdata/hyperelastic_test_data.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "testdata/strain_energy.h"

namespace Xem::MaterialUtil {
void XemMaterialTestDataHyperelastic::SetTestData3(std::span<const _T_FUNT_BASE3> points) {
  curve_.Load(points, KeepMeasured(), mode_.stretchFromStrain);
}

void XemMaterialTestDataHyperelastic::SetTestData(std::span<const _T_FUNT_BASE> points) {
  curve_.Load(points, KeepMeasured(), mode_.stretchFromStrain);
}

void XemMaterialTestDataHyperelastic::AssemblePolynomialRows(std::int32_t order, std::int32_t first,
                                                             const FixedTermMask& mask, MatrixView rows) const {
  const auto stretches = std::as_const(curve_.abscissa).Span().subspan(first, rows.rows);
  PolynomialPoints(mode_, stretches).Terms(order, mask, rows);
}

void XemMaterialTestDataHyperelastic::PolynomialStresses(std::int32_t order, std::span<const double> coefficients,
                                                         std::span<double> stresses) const {
  constexpr std::size_t kAtATime = 512;  // what is kept of them stays in the cache
  for (std::span<const double> stretches = curve_.abscissa.Span(); !stretches.empty();) {
    const std::size_t count = std::min(kAtATime, stretches.size());
    PolynomialPoints(mode_, stretches.first(count)).Stresses(order, coefficients, 0, stresses.first(count));
    stretches = stretches.subspan(count);
    stresses = stresses.subspan(count);
  }
}

double XemMaterialTestDataHyperelastic::PolynomialStress(std::int32_t order, std::span<const double> coefficients,
                                                         double stretch, double) const {
  return MaterialUtil::PolynomialStress(mode_, order, coefficients, stretch);
}

void XemMaterialTestDataHyperelastic::AssembleBlatzKoRows(std::int32_t first, MatrixView rows) const {
  if (rows.columns == 0) return;
  for (std::int32_t row = 0; row < rows.rows; ++row) {
    rows(row, 0) = mode_.blatzKo(curve_.abscissa[first + row], curve_.companion[first + row]);
  }
}

double XemMaterialTestDataHyperelastic::BlatzKoStress(double modulus, double stretch, double lateralStretch) const {
  return modulus * mode_.blatzKo(stretch, lateralStretch);
}

void XemMaterialTestDataHyperelastic::ComputeLateralStretches() { curve_.DeriveCompanion(LateralStretchExponent()); }

}  // namespace Xem::MaterialUtil
