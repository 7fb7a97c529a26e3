#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "hyperelastic/models.h"
#include "testdata/test_data_base.h"
#include "testfunctions/test_function_base.h"
#include "viscoelastic/creep_law.h"

namespace Xem::MaterialUtil {

/// Terms of the creep law to fit, by the codes of the interface. Any other code fits nothing.
enum class CreepType : std::int32_t { Primary = 0, Secondary = 1, Both = 2 };

/// What the caller knows about a creep test.
struct CreepTestSettings {
  CreepType type = CreepType::Primary;
  double stress = 0.0;
  double primaryStressExponent = 0.0;    ///< C2
  double secondaryStressExponent = 0.0;  ///< C6
};

/// A creep curve (time, creep strain) at one stress. Times are kept unchanged; only positive strains are kept.
class XemMaterialTestDataCreep final : public XemMaterialTestDataBase {
 public:
  explicit XemMaterialTestDataCreep(const CreepTestSettings& test) : test_(test) {}

  using XemMaterialTestDataBase::SetTestData;
  void SetTestData(std::span<const _T_FUNT_BASE> points) override;
  /// Linearised fit of (a, m, b) of creep_law.h; `determination` gets its coefficient of determination, unless the
  /// type is unknown.
  void FitCreepLaw(std::span<double> fit, const Vector& strains, const Vector& times, double* determination) override;

  /// C1 ... C6 of a linearised fit; all 0 for an unknown type.
  std::array<double, 6> Constants(std::span<const double> fit) const;

 private:
  CreepTestSettings test_;
};

class XemMaterialCurveFittingCreep final : public XemMaterialCurvefittingModelBase {
 public:
  using XemMaterialCurvefittingModelBase::XemMaterialCurvefittingModelBase;
  void FitCreep(XemMaterialTestDataBase& testData, std::span<double> fit, const Vector& strains, const Vector& times,
                double* determination) const override;
};

/// A creep curve at one stress against the whole law; parameters are C1 ... C7 and `termCount` their number.
class XemMaterialCreepType300 final : public BlockTestFunction {
 public:
  using BlockTestFunction::SetTestData;
  /// settings[0] is the stress; options[0] must be there, as published, and is not used.
  void SetParameters(std::span<const double> settings, std::span<const std::int32_t> options) override;
  bool EnforceParameterConstraints(std::int32_t termCount, std::span<double> parameters) const override;
  /// Keeps points at a positive time, whatever their strain.
  void SetTestData(std::span<const _T_FUNT_BASE> points) override;
  void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override;

 private:
  double stress_ = 0.0;
  Vector logTimes_;
};

/// Fits all constants that take part at once, with relative residuals and tolerance 1e-8, each from 1. `constants` has
/// at least seven entries; C3 and C7, whose gradient is zero and which would make every system singular, and entries
/// beyond C7 are held at 0. Returns the solver's status; throws LAPACK's `info` as an int.
std::int32_t FitCreepConstants(const boost::shared_ptr<XemMaterialCreepType300>& curve, std::span<double> constants,
                               double& determination);

}  // namespace Xem::MaterialUtil
