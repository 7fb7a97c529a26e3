#pragma once

#include <vector>

#include "soil/retention_law.h"
#include "testfunctions/test_function_base.h"

namespace Xem::MaterialUtil {

/// True for retention points that take part in a fit: a finite suction that is not negative, a measurable content.
bool IsRetentionPoint(const _T_FUNT_BASE& point);

/// A retention curve (suction in kPa, water content) and its model.
///
/// Measured value, model value and gradient are in percent: as fractions the sums of squares would lie below the
/// solver's absolute threshold from the start, and it would stop early.
class XemUnsaturatedSoilTestFunction final : public XemMaterialTestFunctionBase, public BlockOperations {
 public:
  static constexpr double kPercent = 100.0;

  XemUnsaturatedSoilTestFunction() : XemMaterialTestFunctionBase(this) {}

  /// `options`: the model's code, then one entry per parameter, 0 = free, other = held; missing ones are free.
  /// CInvalidArgException for an unknown code. `settings` is not used.
  void SetParameters(std::span<const double> settings, std::span<const std::int32_t> options) override;
  bool EnforceParameterConstraints(std::int32_t termCount, std::span<double> parameters) const override;
  using XemMaterialTestFunctionBase::SetTestData;
  void SetTestData(std::span<const _T_FUNT_BASE> points) override;
  void ParameterGradient(std::int32_t termCount, std::span<const double> parameters, std::int32_t point,
                         std::span<double> gradient) const override;
  void EvaluatePoint(std::int32_t termCount, std::span<const double> parameters, std::int32_t point, double& measured,
                     double& model) const override;
  /// Contents as fractions, not percent; `fitted` may be empty.
  void Output(std::span<const double> parameters, std::span<double> fitted,
              std::span<_T_FUNT_BASE> curve) const override;
  void GradientsOfBlock(std::int32_t termCount, std::span<const double> parameters, std::int32_t first,
                        std::span<double> measured, std::span<double> model,
                        std::span<double> gradients) const override;

  RetentionModel Model() const { return model_; }
  const FixedTermMask& Mask() const { return mask_; }
  std::span<const Suction> Suctions() const { return suctions_; }

 private:
  double PercentGradient(std::span<const double> parameters, std::int32_t point, std::span<double> gradient) const;

  RetentionModel model_ = RetentionModel::VanGenuchten;
  FixedTermMask mask_;
  std::vector<Suction> suctions_;
};

}  // namespace Xem::MaterialUtil
