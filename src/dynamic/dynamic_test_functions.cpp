#include "dynamic/dynamic_test_functions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "xem/array.h"

namespace Xem::MaterialUtil {

void DynamicMatTestFunction::SetParameters(std::span<const double> settings, std::span<const std::int32_t> options) {
  if (settings.size() < 3 || options.size() < 2) throw CInvalidArgException("too few settings of a cyclic model");
  family_ = static_cast<CyclicFamily>(options[0]);
  initialReferenceStrain_ = settings[0];
  initialSecond_ = settings[1];
  form_ = static_cast<ResidualForm>(options[1]);
  weight_ = settings[2];
  logScale_ = 1.0;
  comparison_ = choose_(family_, form_);
}

CyclicParameters DynamicMatTestFunction::ModelParameters(std::span<const double> parameters) const {
  return {parameters.empty() ? initialReferenceStrain_ : parameters[0],
          parameters.size() > 1 ? parameters[1] : initialSecond_, logScale_};
}

ComparedPoint DynamicMatTestFunction::Compare(const CyclicParameters& parameters, std::int32_t point) const {
  ComparedPoint compared = comparison_(parameters, curve_.stretch[point], curve_.stress[point]);
  compared.observed *= weight_;
  compared.predicted *= weight_;
  compared.byReferenceStrain *= weight_;
  compared.byExponent *= weight_;
  return compared;
}

void DynamicMatTestFunction::ParameterGradient(std::int32_t, std::span<const double> parameters, std::int32_t point,
                                               std::span<double> gradient) const {
  const ComparedPoint compared = Compare(ModelParameters(parameters), point);
  if (!gradient.empty()) gradient[0] = compared.byReferenceStrain;
  if (gradient.size() > 1) gradient[1] = compared.byExponent;
}

void DynamicMatTestFunction::EvaluatePoint(std::int32_t, std::span<const double> parameters, std::int32_t point,
                                           double& measured, double& model) const {
  const ComparedPoint compared = Compare(ModelParameters(parameters), point);
  measured = compared.observed;
  model = compared.predicted;
}

bool DynamicMatTestFunction::ValuesOfBlock(std::int32_t, std::span<const double> parameters, std::int32_t first,
                                           std::span<double> measured, std::span<double> model) const {
  const CyclicParameters at = ModelParameters(parameters);
  for (std::size_t i = 0; i < measured.size(); ++i) {
    const ComparedPoint compared = Compare(at, first + static_cast<std::int32_t>(i));
    measured[i] = compared.observed;
    model[i] = compared.predicted;
  }
  return true;
}

void DynamicMatTestFunction::GradientsOfBlock(std::int32_t, std::span<const double> parameters, std::int32_t first,
                                              std::span<double> measured, std::span<double> model,
                                              std::span<double> gradients) const {
  const CyclicParameters at = ModelParameters(parameters);
  const std::size_t width = parameters.size();
  std::fill(gradients.begin(), gradients.end(), 0.0);
  for (std::size_t i = 0; i < measured.size(); ++i) {
    const ComparedPoint compared = Compare(at, first + static_cast<std::int32_t>(i));
    measured[i] = compared.observed;
    model[i] = compared.predicted;
    if (width > 0) gradients[i * width] = compared.byReferenceStrain;
    if (width > 1) gradients[i * width + 1] = compared.byExponent;
  }
}

void DynamicMatTestFunction::Output(std::span<const double> parameters, std::span<double> fitted,
                                    std::span<_T_FUNT_BASE> curve) const {
  const CyclicParameters at = ModelParameters(parameters);
  const bool known = family_ == CyclicFamily::PowerLaw || family_ == CyclicFamily::Hyperbolic;
  const std::size_t needed = family_ == CyclicFamily::PowerLaw ? 2 : 1;
  if (known && fitted.size() < needed) throw CInvalidArgException("too few parameters of a cyclic model");
  if (known) fitted[0] = at.referenceStrain;
  if (family_ == CyclicFamily::PowerLaw) fitted[1] = LargestDamping(at.exponent);
  for (_T_FUNT_BASE& point : curve) point.second = valueAt_(family_, at, point.first);
}

template <class StressAt>
void DynamicMatTestFunction::StoreAbscissae(StressAt stressAt) {
  for (std::int32_t i = 0; i < PointCount(); ++i) {
    switch (form_) {
      case ResidualForm::Strain:
        break;
      case ResidualForm::LogStrain:
        curve_.stretch[i] = logScale_ * std::log(curve_.stretch[i]);
        break;
      case ResidualForm::Stress:
        curve_.stretch[i] = stressAt(i);
        break;
    }
  }
}

void XemDynamicMatShearStiffTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points) {
  curve_.Load(points, KeepMeasured(), AsItStands);
  StoreAbscissae([&](std::int32_t i) { return curve_.stress[i] * curve_.stretch[i]; });
}

void XemDynamicMatDampingTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points,
                                                   std::span<const _T_FUNT_BASE> stiffness) {
  curve_.Load(points, KeepMeasured(), AsItStands);
  StoreAbscissae([&](std::int32_t i) { return NormalisedStressAt(stiffness, curve_.stretch[i]); });
}

}  // namespace Xem::MaterialUtil
