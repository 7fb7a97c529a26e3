#include "testdata/hyperelastic_test_data.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "testdata/strain_energy.h"
#include "testdata/term_batch.h"

namespace Xem::MaterialUtil {
void XemMaterialTestDataHyperelastic::SetTestData3(std::span<const _T_FUNT_BASE3> points) {
  curve_.Load(points, KeepMeasured(), mode_.stretchFromStrain);
}

void XemMaterialTestDataHyperelastic::SetTestData(std::span<const _T_FUNT_BASE> points) {
  curve_.Load(points, KeepMeasured(), mode_.stretchFromStrain);
}

void XemMaterialTestDataHyperelastic::AssemblePolynomialRows(std::int32_t order, std::int32_t first,
                                                             const FixedTermMask& mask, MatrixView rows) const {
  TermBatch batch(mode_, order);
  const auto stretches = std::as_const(curve_.abscissa).Span().subspan(first, rows.rows);
  ForEachBatch(stretches, [&](std::size_t from, std::span<const double> some) {
    std::int32_t column = 0;
    batch.ForEachTermStress(some, [&](std::int32_t term, std::span<const double> values) {
      if (mask[term] == 0) std::ranges::copy(values, rows.Column(column++).subspan(from).begin());
    });
  });
}

void XemMaterialTestDataHyperelastic::PolynomialStresses(std::int32_t order, std::span<const double> coefficients,
                                                         std::span<double> stresses) const {
  TermBatch batch(mode_, order);
  std::ranges::fill(stresses, 0.0);
  ForEachBatch(curve_.abscissa.Span(), [&](std::size_t from, std::span<const double> some) {
    double* sums = stresses.data() + from;
    batch.ForEachTermStress(some, [&](std::int32_t term, std::span<const double> values) {
      for (std::size_t p = 0; p < values.size(); ++p) sums[p] += coefficients[term] * values[p];
    });
  });
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
