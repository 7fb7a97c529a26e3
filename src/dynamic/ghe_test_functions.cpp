#include "dynamic/ghe_test_functions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "dynamic/stiffness_damping_law.h"
#include "solver/linalg/numbers.h"
#include "xem/array.h"

namespace Xem::MaterialUtil {

void XemGHEModelTestFunction::SetParameters(std::span<const double> settings, std::span<const std::int32_t> options) {
  if (settings.empty() || options.size() < 1 + kGheParameterCount) {
    throw CInvalidArgException("too few settings of the six-parameter model");
  }
  referenceStrain_ = settings[0];
  form_ = GheFormFromCode(options[0]);
  mask_.assign(options.begin() + 1, options.end());
}

bool XemGHEModelTestFunction::EnforceParameterConstraints(std::int32_t, std::span<double> parameters) const {
  return ConstrainGhe(parameters, mask_);
}

void XemGHEModelTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points) {
  Load(points, KeepPositiveStrain(), [&](double strain) { return strain / referenceStrain_; });
  if (form_ != GheForm::Stress) return;
  for (std::int32_t i = 0; i < PointCount(); ++i) compared_[i] *= curve_.abscissa[i];
}

void XemGHEModelTestFunction::Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first,
                                       std::span<double> model, MatrixView derivatives) const {
  const auto factor = [&](std::int32_t point) { return form_ == GheForm::Stress ? curve_.abscissa[point] : 1.0; };
  EvaluateByPoint<kGheParameterCount>(
      first, model, derivatives,
      [&](std::int32_t point) { return GheRatio(parameters, curve_.abscissa[point]) * factor(point); },
      [&](std::int32_t point, std::span<double> gradient) {
        const double ratio = GheRatioAndGradient(parameters, curve_.abscissa[point], gradient);
        for (double& entry : gradient) entry *= factor(point);
        return ratio * factor(point);
      });
}

void XemGHEModelTestFunction::Output(std::span<const double> parameters, std::span<double> fitted,
                                     std::span<_T_FUNT_BASE> curve) const {
  std::copy(parameters.begin(), parameters.end(), fitted.begin());
  for (_T_FUNT_BASE& point : curve) point.second = GheRatio(parameters, point.first / referenceStrain_);
}

StiffnessSource::StiffnessSource(std::span<const _T_FUNT_BASE> curve) {
  std::copy_if(curve.begin(), curve.end(), std::back_inserter(curve_), KeepMeasured());
}

StiffnessSource::StiffnessSource(double referenceStrain, std::span<const double> parameters)
    : model_(true), referenceStrain_(referenceStrain) {
  if (parameters.size() < kGheParameterCount) throw CInvalidArgException("the six-parameter model needs six numbers");
  std::copy_n(parameters.begin(), kGheParameterCount, parameters_.begin());
}

double StiffnessSource::At(double strain) const {
  if (model_) return GheRatio(parameters_, strain / referenceStrain_);
  if (curve_.empty()) return 1.0;
  if (const auto j = FindStrain(curve_, strain)) return InterpolateOrdinate(curve_, *j, strain);
  const bool frontIsNearer = std::abs(strain - curve_.front().first) <= std::abs(strain - curve_.back().first);
  return (frontIsNearer ? curve_.front() : curve_.back()).second;
}

void XemGHEModelDampingTestFunction::SetParameters(std::span<const double> settings,
                                                   std::span<const std::int32_t> options) {
  if (options.size() < 2) throw CInvalidArgException("too few settings of the damping model");
  if (!settings.empty()) source_ = StiffnessSource(settings[0], settings.subspan(1));
  mask_.assign(options.begin(), options.end());
}

bool XemGHEModelDampingTestFunction::EnforceParameterConstraints(std::int32_t, std::span<double> parameters) const {
  return ConstrainGheDamping(parameters, mask_);
}

void XemGHEModelDampingTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points,
                                                 std::span<const _T_FUNT_BASE> stiffness) {
  Load(points, KeepPositiveStrain(), AsItStands);
  if (source_.Empty()) source_ = StiffnessSource(stiffness);
  losses_.resize(PointCount());
  for (std::size_t i = 0; i < losses_.size(); ++i) {
    losses_[i] = 1.0 - source_.At(curve_.abscissa[i]);
  }
}

void XemGHEModelDampingTestFunction::Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first,
                                              std::span<double> model, MatrixView derivatives) const {
  const auto damping = [&](std::int32_t point) { return GheDamping(parameters[0], parameters[1], losses_[point]); };
  EvaluateByPoint<2>(first, model, derivatives, damping, [&](std::int32_t point, std::span<double> gradient) {
    const double loss = losses_[point];
    const bool lost = !(loss < kNegligible);
    gradient[0] = lost ? std::pow(loss, parameters[1]) : 0.0;
    gradient[1] = lost ? parameters[0] * gradient[0] * std::log(loss) : 0.0;
    return damping(point);
  });
}

void XemGHEModelDampingTestFunction::Output(std::span<const double> parameters, std::span<double> fitted,
                                            std::span<_T_FUNT_BASE> curve) const {
  std::copy(parameters.begin(), parameters.end(), fitted.begin());
  for (_T_FUNT_BASE& point : curve) {
    point.second = GheDamping(parameters[0], parameters[1], 1.0 - source_.At(point.first));
  }
}

}  // namespace Xem::MaterialUtil
