#include "dynamic/dynamic_test_functions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "xem/array.h"

namespace Xem::MaterialUtil {

void DynamicMatTestFunction::SetParameters(std::span<const double> settings, std::span<const std::int32_t> options) {
  if (settings.size() < 3 || options.size() < 2) throw CInvalidArgException("too few settings of a cyclic model");
  family_ = static_cast<DynamicFamily>(options[0]);
  initialReferenceStrain_ = settings[0];
  initialSecond_ = settings[1];
  form_ = static_cast<ResidualForm>(options[1]);
  weight_ = settings[2];
  comparison_ = choose_(family_, form_);
  LoadBlocks();
}

void DynamicMatTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points) {
  Load(points, KeepMeasured(), AsItStands, kColumnsOfBlocks);
  LoadBlocks();
}

CyclicParameters DynamicMatTestFunction::ModelParameters(std::span<const double> parameters) const {
  return {parameters.empty() ? initialReferenceStrain_ : parameters[0],
          parameters.size() > 1 ? parameters[1] : initialSecond_};
}

ComparedPoint DynamicMatTestFunction::Compare(const CyclicParameters& parameters, std::int32_t point) const {
  ComparedPoint compared = comparison_(parameters, curve_.abscissa[point], curve_.measured[point]);
  compared.observed *= weight_;
  compared.predicted *= weight_;
  compared.byReferenceStrain *= weight_;
  compared.byExponent *= weight_;
  return compared;
}

void DynamicMatTestFunction::Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first,
                                      std::span<double> model, MatrixView derivatives) const {
  const CyclicParameters at = ModelParameters(parameters);
  if (blocks_.Evaluate(at, first, model, derivatives)) return Weigh(model, derivatives);
  EvaluateByPoint<2>(
      first, model, derivatives, [&](std::int32_t point) { return Compare(at, point).predicted; },
      [&](std::int32_t point, std::span<double> gradient) {
        const ComparedPoint compared = Compare(at, point);
        gradient[0] = compared.byReferenceStrain;
        gradient[1] = compared.byExponent;
        return compared.predicted;
      });
}

void DynamicMatTestFunction::Weigh(std::span<double> model, MatrixView derivatives) const {
  if (weight_ == 1.0) return;
  for (double& value : model) value *= weight_;
  for (std::int32_t k = 0; k < derivatives.columns; ++k) {
    for (double& entry : derivatives.Column(k)) entry *= weight_;
  }
}

void DynamicMatTestFunction::Output(std::span<const double> parameters, std::span<double> fitted,
                                    std::span<_T_FUNT_BASE> curve) const {
  const CyclicParameters at = ModelParameters(parameters);
  const bool known = family_ == DynamicFamily::PowerLaw || family_ == DynamicFamily::Hyperbolic;
  const std::size_t needed = family_ == DynamicFamily::PowerLaw ? 2 : 1;
  if (known && fitted.size() < needed) throw CInvalidArgException("too few parameters of a cyclic model");
  if (known) fitted[0] = at.referenceStrain;
  if (family_ == DynamicFamily::PowerLaw) fitted[1] = LargestDamping(at.exponent);
  for (_T_FUNT_BASE& point : curve) point.second = valueAt_(family_, at, point.first);
}

template <class StressAt>
void DynamicMatTestFunction::LoadAs(std::span<const _T_FUNT_BASE> points, StressAt stressAt) {
  Load(points, KeepMeasured(), AsItStands, kColumnsOfBlocks);
  const std::span<double> stored = curve_.abscissa.Span();
  if (form_ == ResidualForm::LogStrain) {
    for (double& strain : stored) strain = std::log(strain);
  }
  if (form_ == ResidualForm::Stress) {
    for (std::int32_t i = 0; i < PointCount(); ++i) stored[static_cast<std::size_t>(i)] = stressAt(i);
  }
  const bool known = form_ >= ResidualForm::Strain && form_ <= ResidualForm::Stress;
  if (family_ == DynamicFamily::PowerLaw && known) {
    if (form_ != ResidualForm::Stress) std::ranges::copy(stored, compared_.begin());
    Weigh(compared_, {});
  } else {
    const CyclicParameters any{.referenceStrain = 1.0, .exponent = 1.0};  // no observed value depends on them
    for (std::int32_t i = 0; i < PointCount(); ++i) compared_[i] = Compare(any, i).observed;
  }
  LoadBlocks();
}

void XemDynamicMatShearStiffTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points) {
  LoadAs(points, [&](std::int32_t i) { return curve_.measured[i] * curve_.abscissa[i]; });
}

void XemDynamicMatDampingTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points,
                                                   std::span<const _T_FUNT_BASE> stiffness) {
  LoadAs(points, [&](std::int32_t i) { return NormalisedStressAt(stiffness, curve_.abscissa[i]); });
}

}  // namespace Xem::MaterialUtil
