#pragma once

#include "soil/retention_law.h"
#include "testfunctions/test_function_base.h"

namespace Xem::MaterialUtil {

/// True for retention points that take part in a fit: a finite suction that is not negative, a measurable content.
bool IsRetentionPoint(const _T_FUNT_BASE& point);

/// A retention curve (suction in kPa, water content) and its model.
///
/// Compared values, model values and derivatives are in percent: as fractions the sums of squares would lie below the
/// solver's absolute threshold from the start, and it would stop early. `termCount` is not used.
class XemUnsaturatedSoilTestFunction final : public BlockTestFunction {
 public:
  static constexpr double kPercent = 100.0;

  /// `options`: the model's code, then one entry per parameter, 0 = free, other = held; missing ones are free.
  /// CInvalidArgException for an unknown code. `settings` is not used.
  void SetParameters(std::span<const double> settings, std::span<const std::int32_t> options) override;
  bool EnforceParameterConstraints(std::int32_t termCount, std::span<double> parameters) const override;
  using BlockTestFunction::SetTestData;
  void SetTestData(std::span<const _T_FUNT_BASE> points) override;
  /// Contents as fractions, not percent; `fitted` may be empty.
  void Output(std::span<const double> parameters, std::span<double> fitted,
              std::span<_T_FUNT_BASE> curve) const override;
  /// Many points at a time.
  void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override;

  RetentionModel Model() const { return model_; }
  const FixedTermMask& Mask() const { return mask_; }
  /// Logarithms of the suctions, Stretch(), where these are above 0.
  const Vector& LogSuctions() const { return logSuctions_; }

 private:
  RetentionModel model_ = RetentionModel::VanGenuchten;
  FixedTermMask mask_;
  Vector logSuctions_;
};

}  // namespace Xem::MaterialUtil
