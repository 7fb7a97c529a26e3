#pragma once

#include "testdata/kinematics.h"
#include "testdata/test_data_base.h"

namespace Xem::MaterialUtil {

/// Test data of a deformation mode; everything that differs between modes is in the kinematics record.
class XemMaterialTestDataHyperelastic : public XemMaterialTestDataBase {
 public:
  using XemMaterialTestDataBase::SetTestData;
  using XemMaterialTestDataBase::SetTestData3;
  void SetTestData3(std::span<const _T_FUNT_BASE3> points) override;
  void SetTestData(std::span<const _T_FUNT_BASE> points) override;
  void AssemblePolynomialRows(std::int32_t order, std::int32_t first, const FixedTermMask& mask,
                              MatrixView rows) const override;
  double PolynomialStress(std::int32_t order, std::span<const double> coefficients, double stretch,
                          double lateralStretch) const override;
  void AssembleBlatzKoRows(std::int32_t first, MatrixView rows) const override;
  double BlatzKoStress(double modulus, double stretch, double lateralStretch) const override;
  double LateralStretchExponent() const override { return mode_.lateralExponent; }
  void ComputeLateralStretches() override;
  void PolynomialStresses(std::int32_t order, std::span<const double> coefficients,
                          std::span<double> stresses) const override;

  const ModeKinematics& Mode() const { return mode_; }

 protected:
  explicit XemMaterialTestDataHyperelastic(const ModeKinematics& mode) : mode_(mode) {}
  ~XemMaterialTestDataHyperelastic() = default;

 private:
  const ModeKinematics& mode_;
};

class XemMaterialTestDataUniaxial final : public XemMaterialTestDataHyperelastic {
 public:
  XemMaterialTestDataUniaxial() : XemMaterialTestDataHyperelastic(kUniaxial) {}
};

class XemMaterialTestDataEquibiaxial final : public XemMaterialTestDataHyperelastic {
 public:
  XemMaterialTestDataEquibiaxial() : XemMaterialTestDataHyperelastic(kEquibiaxial) {}
};

class XemMaterialTestDataPureShear final : public XemMaterialTestDataHyperelastic {
 public:
  XemMaterialTestDataPureShear() : XemMaterialTestDataHyperelastic(kPureShear) {}
};

class XemMaterialTestDataSimpleShear final : public XemMaterialTestDataHyperelastic {
 public:
  XemMaterialTestDataSimpleShear() : XemMaterialTestDataHyperelastic(kSimpleShear) {}
};

}  // namespace Xem::MaterialUtil
