#pragma once

#include "testdata/deformation_mode.h"
#include "testdata/strain_energy.h"
#include "testfunctions/test_function_base.h"

namespace Xem::MaterialUtil {

/// Hyperelastic models by the codes of the interface.
enum class ModelType : std::int32_t { Polynomial = 0, Ogden = 1, BlatzKo = 2 };

/// Response of a hyperelastic model in one deformation mode.
///
/// Parameters: polynomial, the coefficients in term order; Ogden, pairs (mu_k, alpha_k); Blatz-Ko, the modulus.
/// `termCount` is the order N, the number of pairs, and 1. The operations that this class adds are slots 12 to 17.
class XemHyperElasticTestFunction : public BlockTestFunction {
 public:
  using BlockTestFunction::SetTestData;
  using BlockTestFunction::SetTestData3;
  /// `settings` is there because it is published; no model looks at it.
  void SetModel(std::span<const double> settings, ModelType modelType);
  /// SetModel with the model type options[0].
  void SetParameters(std::span<const double> settings, std::span<const std::int32_t> options) override;
  bool EnforceParameterConstraints(std::int32_t termCount, std::span<double> parameters) const override;
  void SetTestData3(std::span<const _T_FUNT_BASE3> points) override;
  void SetTestData(std::span<const _T_FUNT_BASE> points) override;
  void LinearDesignRows(std::span<const double> exponents, MatrixView rows) const override;
  // Rows, for hosts: Evaluate fills its columns without them.
  virtual void PolynomialRowAt(std::int32_t order, std::int32_t point, std::span<double> row) const;
  virtual double PolynomialStressAt(std::int32_t order, std::span<const double> parameters, std::int32_t point) const;
  virtual void BlatzKoRowAt(std::int32_t point, std::span<double> row) const;
  virtual double BlatzKoStressAt(double modulus, std::int32_t point) const;
  virtual double LateralStretchExponent() const { return mode_.lateralExponent; }
  virtual void ComputeLateralStretches();

  void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override;
  bool IsLinear() const override { return modelType_ != ModelType::Ogden; }

 protected:
  explicit XemHyperElasticTestFunction(const ModeKinematics& mode) : mode_(mode) {}
  ~XemHyperElasticTestFunction() = default;

 private:
  void PreparePoints();
  void EvaluateBlatzKo(double modulus, std::int32_t first, std::span<double> model, MatrixView derivatives) const;

  const ModeKinematics& mode_;
  ModelType modelType_ = ModelType::Polynomial;
  OgdenPoints ogdenPoints_;            // of the curve's stretches, when the model is Ogden's
  PolynomialPoints polynomialPoints_;  // of the same, when it is a polynomial
  Vector unitStresses_;                // of the modulus 1, when it is Blatz-Ko's
};

class XemHyperElasticUniaxial final : public XemHyperElasticTestFunction {
 public:
  XemHyperElasticUniaxial() : XemHyperElasticTestFunction(kUniaxial) {}
};

class XemHyperElasticEquibiaxial final : public XemHyperElasticTestFunction {
 public:
  XemHyperElasticEquibiaxial() : XemHyperElasticTestFunction(kEquibiaxial) {}
};

class XemHyperElasticPureShear final : public XemHyperElasticTestFunction {
 public:
  XemHyperElasticPureShear() : XemHyperElasticTestFunction(kPureShear) {}
};

class XemHyperElasticSimpleShear final : public XemHyperElasticTestFunction {
 public:
  XemHyperElasticSimpleShear() : XemHyperElasticTestFunction(kSimpleShear) {}
};

/// A test function of a mode, set to a model; still without data.
boost::shared_ptr<XemHyperElasticTestFunction> MakeTestFunction(DeformationMode mode, ModelType model);

/// Admissible regions of the three models; each returns true when it changed something.
bool ConstrainPolynomial(std::int32_t count, std::span<double> coefficients);
bool ConstrainOgden(std::int32_t terms, std::span<double> pairs);
bool ConstrainBlatzKo(std::span<double> modulus);

}  // namespace Xem::MaterialUtil
