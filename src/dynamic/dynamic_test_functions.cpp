#include "dynamic/dynamic_test_functions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "kernels/kernels.h"
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
void DynamicMatTestFunction::LoadAs(std::span<const _T_FUNT_BASE> points, StressAt stressAt, std::int32_t further) {
  Load(points, KeepMeasured(), AsItStands, further);
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
}

void XemDynamicMatShearStiffTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points) {
  LoadAs(
      points, [&](std::int32_t i) { return curve_.measured[i] * curve_.abscissa[i]; }, 2);
  const Kernels& kernels = ForThisProcessor();
  if (Family() == DynamicFamily::Hyperbolic) {
    strains_ = FurtherColumn(0);
    std::ranges::copy(curve_.abscissa, strains_.begin());
    if (Form() == ResidualForm::LogStrain) kernels.exp(strains_.Span().size(), strains_.begin(), strains_.begin());
  }
  if (Family() != DynamicFamily::PowerLaw) return;
  logarithms_ = FurtherColumn(0);
  factors_ = FurtherColumn(1);
  if (Form() == ResidualForm::Stress) {
    for (std::int32_t i = 0; i < PointCount(); ++i) logarithms_[i] = 2.0 * curve_.abscissa[i];
  } else {
    for (std::int32_t i = 0; i < PointCount(); ++i) {
      logarithms_[i] = 1.0 / curve_.measured[i] - 1.0;
      factors_[i] = 0.5 / curve_.measured[i];
    }
  }
  kernels.log(logarithms_.Span().size(), logarithms_.begin(), logarithms_.begin());
  if (Form() == ResidualForm::LogStrain) kernels.log(factors_.Span().size(), factors_.begin(), factors_.begin());
}

void XemDynamicMatShearStiffTestFunction::Evaluate(std::int32_t termCount, std::span<const double> parameters,
                                                   std::int32_t first, std::span<double> model,
                                                   MatrixView derivatives) const {
  const CyclicParameters at = ModelParameters(parameters);
  const KernelBlock block{model.size(), model.data(), {derivatives.data, derivatives.leadingDimension}};
  const Kernels& kernels = ForThisProcessor();
  const bool logarithmic = Form() == ResidualForm::LogStrain;
  if (Family() == DynamicFamily::Hyperbolic && (logarithmic || Form() == ResidualForm::Strain)) {
    derivatives.Fill(0.0);  // further columns have no effect
    kernels.hyperbolicRatios({at.referenceStrain, strains_.begin() + first, logarithmic ? at.logScale : 1.0}, block);
    return Weigh(model, derivatives);
  }
  if (Family() != DynamicFamily::PowerLaw || derivatives.columns == 1) {
    return DynamicMatTestFunction::Evaluate(termCount, parameters, first, model, derivatives);
  }
  const bool stress = Form() == ResidualForm::Stress;
  const PowerLawArguments law{at.referenceStrain, at.exponent, at.logScale, logarithms_.begin() + first,
                              stress ? nullptr : factors_.begin() + first};
  if (derivatives.columns > 2) derivatives.Fill(0.0);
  switch (Form()) {
    case ResidualForm::Strain:
      kernels.powerLawStrains(law, block);
      break;
    case ResidualForm::LogStrain:
      kernels.powerLawLogStrains(law, block);
      break;
    case ResidualForm::Stress:
      kernels.powerLawRatios(law, block);
      break;
    default:
      return DynamicMatTestFunction::Evaluate(termCount, parameters, first, model, derivatives);
  }
  Weigh(model, derivatives);
}

void XemDynamicMatDampingTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points,
                                                   std::span<const _T_FUNT_BASE> stiffness) {
  LoadAs(points, [&](std::int32_t i) { return NormalisedStressAt(stiffness, curve_.abscissa[i]); });
}

void XemDynamicMatDampingTestFunction::Evaluate(std::int32_t termCount, std::span<const double> parameters,
                                                std::int32_t first, std::span<double> model,
                                                MatrixView derivatives) const {
  if (Family() != DynamicFamily::Hyperbolic) {
    return DynamicMatTestFunction::Evaluate(termCount, parameters, first, model, derivatives);
  }
  derivatives.Fill(0.0);  // further columns have no effect
  ForThisProcessor().hyperbolicDampings(
      {ModelParameters(parameters).referenceStrain, curve_.abscissa.begin() + first, 1.0},
      {model.size(), model.data(), {derivatives.data, derivatives.leadingDimension}});
  Weigh(model, derivatives);
}

}  // namespace Xem::MaterialUtil
