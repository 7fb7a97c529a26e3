#pragma once

#include <cstdint>
#include <span>

#include "solver/make_solver.h"
#include "testfunctions/hyperelastic_test_function.h"

namespace Xem::MaterialUtil {

/// A relaxation curve (time, normalised modulus) and the Prony series. `termCount` is the number of terms n; the
/// parameter vector has 2 n entries, see prony.h. Times are kept unchanged.
class XemHyperViscoElasticRelaxation final : public XemHyperElasticTestFunction {
 public:
  /// The series knows no deformation mode; the record of the base is not looked at.
  XemHyperViscoElasticRelaxation() : XemHyperElasticTestFunction(kUniaxial) {}

  using XemHyperElasticTestFunction::SetTestData;
  bool EnforceParameterConstraints(std::int32_t termCount, std::span<double> parameters) const override;
  /// Keeps points with a measurable value below 1 at a positive time.
  void SetTestData(std::span<const _T_FUNT_BASE> points) override;
  /// exp(-t / tau_i) - 1 for every time and term.
  void LinearDesignRows(std::span<const double> relaxationTimes, MatrixView rows) const override;

  void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override;
  bool IsLinear() const override { return false; }

  double MaxTime() const { return maxTime_; }
  double MinTime() const { return minTime_; }

 private:
  double maxTime_ = 0.0;
  double minTime_ = 0.0;
};

/// Fits parameters.size() / 2 terms from linearly spread times, tolerance 1e-8; the terms come back sorted by time.
/// Returns the solver's status; throws LAPACK's `info` as an int.
std::int32_t FitRelaxation(const boost::shared_ptr<XemHyperViscoElasticRelaxation>& curve, ResidualKind residual,
                           std::span<double> parameters);

}  // namespace Xem::MaterialUtil
