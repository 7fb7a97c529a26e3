#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "dynamic/cyclic_blocks.h"
#include "dynamic/stiffness_damping_law.h"
#include "testfunctions/test_function_base.h"

namespace Xem::MaterialUtil {

/// What the two test functions of cyclic behaviour share: parameters (reference strain, exponent), a residual form, and
/// a weight that multiplies observed value, predicted value and gradient. There is no admissible region.
/// `termCount` is not used: the parameters that are not there are those of the working vector.
class DynamicMatTestFunction : public BlockTestFunction {
 public:
  using BlockTestFunction::SetTestData;
  /// settings: working vector (reference strain, exponent, weight); options: (family, form).
  void SetParameters(std::span<const double> settings, std::span<const std::int32_t> options) override;
  /// Abscissae as the residual form stores them.
  void SetTestData(std::span<const _T_FUNT_BASE> points) override;
  /// User parameters: reference strain, and for the power law the largest damping ratio. `fitted` comes zero-filled;
  /// throws CInvalidArgException when it is too short.
  void Output(std::span<const double> parameters, std::span<double> fitted,
              std::span<_T_FUNT_BASE> curve) const override;

  /// Many points at a time where there is a kernel.
  void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override;

 protected:
  using ComparisonChoice = Comparison (*)(DynamicFamily, ResidualForm);
  using KernelChoice = const CyclicKernel* (*)(DynamicFamily, std::optional<ResidualForm>);
  using ValueAt = double (*)(DynamicFamily, const CyclicParameters&, double);

  DynamicMatTestFunction(ComparisonChoice choose, KernelChoice chooseKernel, ValueAt valueAt)
      : choose_(choose), chooseKernel_(chooseKernel), valueAt_(valueAt), comparison_(choose(family_, form_)) {}
  ~DynamicMatTestFunction() = default;

  /// Loads strains and replaces them by what the residual form stores; `stressAt(i)` is the normalised stress of
  /// point i.
  template <class StressAt>
  void LoadAs(std::span<const _T_FUNT_BASE> points, StressAt stressAt);

 private:
  static constexpr std::int32_t kColumnsOfBlocks = 2;

  CyclicParameters ModelParameters(std::span<const double> parameters) const;
  /// Multiplies both by the weight of the curve.
  void Weigh(std::span<double> model, MatrixView derivatives) const;
  ComparedPoint Compare(const CyclicParameters& parameters, std::int32_t point) const;
  void LoadBlocks() {
    blocks_.Load(chooseKernel_(family_, form_), curve_.abscissa.Span(), curve_.measured.Span(), FurtherColumn(0),
                 FurtherColumn(1));
  }

  DynamicFamily family_ = DynamicFamily::PowerLaw;
  double initialReferenceStrain_ = 0.0;
  double initialSecond_ = 0.0;
  ResidualForm form_ = ResidualForm::Strain;
  double weight_ = 1.0;

  ComparisonChoice choose_;
  KernelChoice chooseKernel_;
  ValueAt valueAt_;
  Comparison comparison_;
  CyclicBlocks blocks_;
};

/// Stiffness curve: (strain, G/G0).
class XemDynamicMatShearStiffTestFunction final : public DynamicMatTestFunction {
 public:
  using DynamicMatTestFunction::SetTestData;
  XemDynamicMatShearStiffTestFunction()
      : DynamicMatTestFunction(StiffnessComparison, StiffnessKernel, StiffnessRatioAt) {}
  void SetTestData(std::span<const _T_FUNT_BASE> points) override;
};

/// Damping curve: (strain, damping ratio), with the stiffness curve from which the stress form reads the stresses.
class XemDynamicMatDampingTestFunction final : public DynamicMatTestFunction {
 public:
  using DynamicMatTestFunction::SetTestData;
  XemDynamicMatDampingTestFunction() : DynamicMatTestFunction(DampingComparison, DampingKernel, DampingRatioAt) {}
  void SetTestData(std::span<const _T_FUNT_BASE> points, std::span<const _T_FUNT_BASE> stiffness) override;
};

}  // namespace Xem::MaterialUtil
