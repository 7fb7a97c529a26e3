#include "soil/retention_test_function.h"

#include <algorithm>
#include <cmath>

#include "xem/array.h"

namespace Xem::MaterialUtil {

bool IsRetentionPoint(const _T_FUNT_BASE& point) {
  return std::isfinite(point.first) && point.first >= 0.0 && IsMeasured(point.second);
}

void XemUnsaturatedSoilTestFunction::SetParameters(std::span<const double>, std::span<const std::int32_t> options) {
  const auto model = options.empty() ? std::nullopt : RetentionModelFromCode(options[0]);
  if (!model) throw CInvalidArgException("an unknown retention model");
  model_ = *model;
  const std::size_t count = RetentionParameters(model_).size();
  const auto flags = options.subspan(1, std::min(options.size() - 1, count));
  mask_.Resize(static_cast<std::int64_t>(count));
  std::copy(flags.begin(), flags.end(), mask_.Span().begin());
}

bool XemUnsaturatedSoilTestFunction::EnforceParameterConstraints(std::int32_t, std::span<double> parameters) const {
  return ConstrainRetention(model_, mask_, parameters);
}

void XemUnsaturatedSoilTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points) {
  curve_.Load(points, IsRetentionPoint, AsItStands);
  suctions_.resize(static_cast<std::size_t>(PointCount()));
  for (std::size_t i = 0; i < suctions_.size(); ++i)
    suctions_[i] = Suction(curve_.stretch[static_cast<std::int64_t>(i)]);
}

double XemUnsaturatedSoilTestFunction::PercentGradient(std::span<const double> parameters, std::int32_t point,
                                                       std::span<double> gradient) const {
  const double content = WaterContentGradient(model_, parameters, suctions_[static_cast<std::size_t>(point)], gradient);
  for (double& entry : gradient) entry *= kPercent;
  return kPercent * content;
}

void XemUnsaturatedSoilTestFunction::ParameterGradient(std::int32_t, std::span<const double> parameters,
                                                       std::int32_t point, std::span<double> gradient) const {
  PercentGradient(parameters, point, gradient);
}

void XemUnsaturatedSoilTestFunction::EvaluatePoint(std::int32_t, std::span<const double> parameters, std::int32_t point,
                                                   double& measured, double& model) const {
  measured = kPercent * curve_.stress[point];
  model = kPercent * WaterContent(model_, parameters, suctions_[static_cast<std::size_t>(point)]);
}

void XemUnsaturatedSoilTestFunction::Output(std::span<const double> parameters, std::span<double> fitted,
                                            std::span<_T_FUNT_BASE> curve) const {
  std::copy_n(parameters.begin(), std::min(parameters.size(), fitted.size()), fitted.begin());
  for (_T_FUNT_BASE& point : curve) point.second = WaterContent(model_, parameters, Suction(point.first));
}

void XemUnsaturatedSoilTestFunction::GradientsOfBlock(std::int32_t, std::span<const double> parameters,
                                                      std::int32_t first, std::span<double> measured,
                                                      std::span<double> model, std::span<double> gradients) const {
  const std::size_t width = parameters.size();
  for (std::size_t i = 0; i < measured.size(); ++i) {
    const std::int32_t point = first + static_cast<std::int32_t>(i);
    measured[i] = kPercent * curve_.stress[point];
    model[i] = PercentGradient(parameters, point, gradients.subspan(i * width, width));
  }
}

}  // namespace Xem::MaterialUtil
