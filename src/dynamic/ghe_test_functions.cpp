#include "dynamic/ghe_test_functions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <iterator>
#include <limits>
#include <utility>

#include "dynamic/stiffness_damping_law.h"
#include "kernels/kernels.h"
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
  const bool usual = parameters[4] > 0.0 && parameters[5] > 0.0 && referenceStrain_ > 0.0;
  const std::span<const double> strains = curve_.abscissa.Span().subspan(first, model.size());
  const Kernels& kernels = ForThisProcessor();
  if (usual && (derivatives.Empty() || std::cmp_greater_equal(derivatives.columns, kGheParameterCount))) {
    if (std::cmp_greater(derivatives.columns, kGheParameterCount)) derivatives.Fill(0.0);
    kernels.gheRatios({parameters.data(), strains.data()},
                      {model.size(), model.data(), {derivatives.data, derivatives.leadingDimension}});
  } else {
    EvaluateScalar(parameters, first, model, derivatives);
  }
  if (form_ != GheForm::Stress) return;
  kernels.multiply(strains.size(), strains.data(), model.data());
  for (std::int32_t k = 0; k < derivatives.columns; ++k) {
    kernels.multiply(strains.size(), strains.data(), derivatives.Column(k).data());
  }
}

void XemGHEModelTestFunction::EvaluateScalar(std::span<const double> parameters, std::int32_t first,
                                             std::span<double> model, MatrixView derivatives) const {
  EvaluateByPoint<kGheParameterCount>(
      first, model, derivatives, [&](std::int32_t point) { return GheRatio(parameters, curve_.abscissa[point]); },
      [&](std::int32_t point, std::span<double> gradient) {
        return GheRatioAndGradient(parameters, curve_.abscissa[point], gradient);
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
  logLosses_.Resize(PointCount());
  for (std::size_t i = 0; i < losses_.size(); ++i) {
    losses_[i] = 1.0 - source_.At(curve_.abscissa[i]);
    logLosses_[i] = losses_[i] < kNegligible ? -std::numeric_limits<double>::infinity() : std::log(losses_[i]);
  }
}

void XemGHEModelDampingTestFunction::Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first,
                                              std::span<double> model, MatrixView derivatives) const {
  if (derivatives.columns == 1) {
    Matrix both(derivatives.rows, 2);
    Evaluate(0, parameters, first, model, both.View());
    std::ranges::copy(both.Column(0), derivatives.Column(0).begin());
    return;
  }
  if (derivatives.columns > 2) derivatives.Fill(0.0);  // further columns have no effect
  ForThisProcessor().gheDampings({parameters[0], parameters[1], logLosses_.begin() + first},
                                 {model.size(), model.data(), {derivatives.data, derivatives.leadingDimension}});
}

void XemGHEModelDampingTestFunction::Output(std::span<const double> parameters, std::span<double> fitted,
                                            std::span<_T_FUNT_BASE> curve) const {
  std::copy(parameters.begin(), parameters.end(), fitted.begin());
  for (_T_FUNT_BASE& point : curve) {
    point.second = GheDamping(parameters[0], parameters[1], 1.0 - source_.At(point.first));
  }
}

}  // namespace Xem::MaterialUtil
