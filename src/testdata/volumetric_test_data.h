#pragma once

#include "testdata/test_data_base.h"

namespace Xem::MaterialUtil {

/// Volumetric curve (linear stretch, pressure): the abscissa is the stretch itself, J = stretch^3.
///
/// For a model of M terms the "polynomial" rows hold -2 k (J - 1)^(2k - 1), k = 1 ... M, which is the pressure of
/// U = sum D_k (J - 1)^(2k) for unit D_k.
class XemMaterialTestDataVolumetric final : public XemMaterialTestDataBase {
 public:
  using XemMaterialTestDataBase::SetTestData;
  void SetTestData(std::span<const _T_FUNT_BASE> points) override;
  void AssemblePolynomialRows(std::int32_t terms, std::int32_t first, const FixedTermMask& mask,
                              MatrixView rows) const override;
  double PolynomialStress(std::int32_t terms, std::span<const double> coefficients, double stretch,
                          double lateralStretch) const override;
};

}  // namespace Xem::MaterialUtil
