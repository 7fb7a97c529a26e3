#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <span>

#include "solver/linalg/matrix.h"
#include "testdata/test_data_base.h"

namespace Xem::MaterialUtil {

/// A model of the interface over the test data of one call. The list belongs to the caller and must outlive the
/// model. Virtual operations stand in slot order.
class XemMaterialCurvefittingModelBase {
 public:
  explicit XemMaterialCurvefittingModelBase(const TestDataList& testData) : testData_(testData) {}

  /// Fills design rows of one test-data object, of as many points from `first` on as `rows` has: a column per free
  /// parameter.
  virtual void AssembleDesignRows(const XemMaterialTestDataBase& testData, std::int32_t first,
                                  const FixedTermMask& mask, std::span<const double> parameters, MatrixView rows) const;
  virtual double ComputeStress(const XemMaterialTestDataBase& testData, std::span<const double> parameters,
                               double stretch, double lateralStretch) const;
  /// Stress of the held terms alone.
  virtual double FixedTermsStress(const XemMaterialTestDataBase& testData, const FixedTermMask& mask,
                                  std::span<const double> parameters, double stretch, double lateralStretch) const;
  /// Creep models only: the linearised fit (a, m, b).
  virtual void FitCreep(XemMaterialTestDataBase& testData, std::span<double> fit, const Vector& strains,
                        const Vector& times, double* determination) const;
  /// Nothing calls it: an iterative fit needs test functions, which the exports load from the curves themselves; test
  /// data, which is all that a model has, hold stretches and no gradients. So no model overrides it, Ogden's neither.
  virtual void FitNonlinear(std::span<double> parameters) const;
  /// ComputeStress at every point of one test-data object.
  virtual void ComputeStresses(const XemMaterialTestDataBase& testData, std::span<const double> parameters,
                               std::span<double> stresses) const;

  const TestDataList& TestData() const { return testData_; }

 protected:
  ~XemMaterialCurvefittingModelBase() = default;

 private:
  const TestDataList& testData_;
};

/// W = sum C_ij (I1 - 3)^i (I2 - 3)^j; over volumetric data the order is the number of volumetric terms.
class XemMaterialCurveFittingPolynomial final : public XemMaterialCurvefittingModelBase {
 public:
  XemMaterialCurveFittingPolynomial(const TestDataList& testData, std::int32_t order)
      : XemMaterialCurvefittingModelBase(testData), order_(order) {}
  void AssembleDesignRows(const XemMaterialTestDataBase& testData, std::int32_t first, const FixedTermMask& mask,
                          std::span<const double> parameters, MatrixView rows) const override;
  double ComputeStress(const XemMaterialTestDataBase& testData, std::span<const double> parameters, double stretch,
                       double lateralStretch) const override;
  double FixedTermsStress(const XemMaterialTestDataBase& testData, const FixedTermMask& mask,
                          std::span<const double> parameters, double stretch, double lateralStretch) const override;
  void ComputeStresses(const XemMaterialTestDataBase& testData, std::span<const double> parameters,
                       std::span<double> stresses) const override;

 private:
  std::int32_t order_;
};

/// Ogden series (Ogden 1972) of pairs (mu_k, alpha_k). Its design rows are those of the moduli at the exponents found
/// in `parameters`, so the mask has one entry per term there.
class XemMaterialCurveFittingOgden final : public XemMaterialCurvefittingModelBase {
 public:
  XemMaterialCurveFittingOgden(const TestDataList& testData, std::int32_t terms)
      : XemMaterialCurvefittingModelBase(testData), terms_(terms) {}
  void AssembleDesignRows(const XemMaterialTestDataBase& testData, std::int32_t first, const FixedTermMask& mask,
                          std::span<const double> parameters, MatrixView rows) const override;
  double ComputeStress(const XemMaterialTestDataBase& testData, std::span<const double> parameters, double stretch,
                       double lateralStretch) const override;

 private:
  std::int32_t terms_;
};

/// One-parameter Blatz-Ko model; the parameter is the shear modulus.
class XemMaterialCurveFittingBlatzKo final : public XemMaterialCurvefittingModelBase {
 public:
  using XemMaterialCurvefittingModelBase::XemMaterialCurvefittingModelBase;
  void AssembleDesignRows(const XemMaterialTestDataBase& testData, std::int32_t first, const FixedTermMask& mask,
                          std::span<const double> parameters, MatrixView rows) const override;
  double ComputeStress(const XemMaterialTestDataBase& testData, std::span<const double> parameters, double stretch,
                       double lateralStretch) const override;
};

/// Nominal stress at every kept point, test data after test data.
Vector ComputeStresses(const XemMaterialCurvefittingModelBase& model, std::span<const double> parameters);
/// The same of an Ogden series, many points at a time.
Vector ComputeOgdenStresses(const TestDataList& testData, std::span<const double> pairs);

}  // namespace Xem::MaterialUtil
