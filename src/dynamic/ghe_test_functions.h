#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "dynamic/ghe_law.h"
#include "testfunctions/test_function_base.h"

namespace Xem::MaterialUtil {

enum class GheForm : std::int32_t {
  Stiffness = 0,  ///< R against gamma / gr
  Stress = 2,     ///< x R, the stress over G0 gr
};

/// The code of the interface: 2 is the stress form, any other value the stiffness form.
inline GheForm GheFormFromCode(std::int32_t code) { return code == 2 ? GheForm::Stress : GheForm::Stiffness; }

/// What the generalised model keeps of a curve: positive strains with a measured value.
struct KeepPositiveStrain {
  bool operator()(const _T_FUNT_BASE& point) const { return point.first > 0.0 && IsMeasured(point.second); }
};

/// Stiffness curve of the six-parameter model. Knows which parameters are held, because constraints move free ones
/// only. `termCount` is not used.
class XemGHEModelTestFunction final : public BlockTestFunction {
 public:
  using BlockTestFunction::SetTestData;
  /// settings: reference strain; options: form, then a mask of six entries.
  void SetParameters(std::span<const double> settings, std::span<const std::int32_t> options) override;
  bool EnforceParameterConstraints(std::int32_t termCount, std::span<double> parameters) const override;
  void SetTestData(std::span<const _T_FUNT_BASE> points) override;
  /// The parameters as they are, and R at the strains of `curve`.
  void Output(std::span<const double> parameters, std::span<double> fitted,
              std::span<_T_FUNT_BASE> curve) const override;

  /// Many points at a time, unless a held entry is beyond what the law is meant for.
  void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override;

 private:
  void EvaluateScalar(std::span<const double> parameters, std::int32_t first, std::span<double> model,
                      MatrixView derivatives) const;

  double referenceStrain_ = 1.0;
  GheForm form_ = GheForm::Stiffness;
  std::vector<std::int32_t> mask_ = std::vector<std::int32_t>(kGheParameterCount, 0);
};

/// G/G0 at a strain, from a stiffness curve or from the six-parameter model.
class StiffnessSource {
 public:
  StiffnessSource() = default;
  /// Linear between the points, the ordinate of the nearer end outside. Without points nothing has been lost: 1.
  explicit StiffnessSource(std::span<const _T_FUNT_BASE> curve);
  StiffnessSource(double referenceStrain, std::span<const double> parameters);

  bool Empty() const { return !model_ && curve_.empty(); }
  double At(double strain) const;

 private:
  std::vector<_T_FUNT_BASE> curve_;
  bool model_ = false;
  double referenceStrain_ = 1.0;
  GheParameters parameters_ = kGheDefaults;
};

/// Damping curve of the generalised model; parameters hmax, kappa, `termCount` is not used.
class XemGHEModelDampingTestFunction final : public BlockTestFunction {
 public:
  using BlockTestFunction::SetTestData;
  /// settings: nothing when G/G0 comes from a stiffness curve, else reference strain and the six parameters; options:
  /// a mask of two entries.
  void SetParameters(std::span<const double> settings, std::span<const std::int32_t> options) override;
  bool EnforceParameterConstraints(std::int32_t termCount, std::span<double> parameters) const override;
  void SetTestData(std::span<const _T_FUNT_BASE> points, std::span<const _T_FUNT_BASE> stiffness) override;
  void Output(std::span<const double> parameters, std::span<double> fitted,
              std::span<_T_FUNT_BASE> curve) const override;
  void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override;

  /// False when G/G0 is known nowhere.
  bool HasStiffness() const { return !source_.Empty(); }
  /// u = 1 - G/G0 of every point.
  std::span<const double> Losses() const { return losses_; }

 private:
  std::vector<std::int32_t> mask_ = {0, 0};
  StiffnessSource source_;
  std::vector<double> losses_;
  Vector logLosses_;  // -infinity where nothing is lost
};

}  // namespace Xem::MaterialUtil
