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
  mask_.Resize(count);
  std::copy(flags.begin(), flags.end(), mask_.begin());
}

bool XemUnsaturatedSoilTestFunction::EnforceParameterConstraints(std::int32_t, std::span<double> parameters) const {
  return ConstrainRetention(model_, mask_, parameters);
}

void XemUnsaturatedSoilTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points) {
  Load(points, IsRetentionPoint, AsItStands);
  for (double& content : compared_) content = kPercent * content;
  logSuctions_.ResizeToOverwrite(PointCount());
  for (std::int32_t i = 0; i < PointCount(); ++i) logSuctions_[i] = Suction(curve_.abscissa[i]).log;
}

void XemUnsaturatedSoilTestFunction::Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first,
                                              std::span<double> model, MatrixView derivatives) const {
  const auto own = static_cast<std::int32_t>(RetentionParameters(model_).size());
  if (derivatives.Empty() || derivatives.columns >= own) {
    if (derivatives.columns > own) derivatives.Fill(0.0);
    return WaterContents(
        model_, {parameters.data(), kPercent, curve_.abscissa.begin() + first, logSuctions_.begin() + first},
        {model.size(), model.data(), {derivatives.Empty() ? nullptr : derivatives.data, derivatives.leadingDimension}});
  }
  const auto suction = [&](std::int32_t point) { return Suction(curve_.abscissa[point]); };
  EvaluateByPoint<kMostRetentionParameters>(
      first, model, derivatives,
      [&](std::int32_t point) { return kPercent * WaterContent(model_, parameters, suction(point)); },
      [&](std::int32_t point, std::span<double> gradient) {
        const double content = WaterContentGradient(model_, parameters, suction(point), gradient);
        for (double& entry : gradient) entry *= kPercent;
        return kPercent * content;
      });
}

void XemUnsaturatedSoilTestFunction::Output(std::span<const double> parameters, std::span<double> fitted,
                                            std::span<_T_FUNT_BASE> curve) const {
  std::copy_n(parameters.begin(), std::min(parameters.size(), fitted.size()), fitted.begin());
  for (_T_FUNT_BASE& point : curve) point.second = WaterContent(model_, parameters, Suction(point.first));
}

}  // namespace Xem::MaterialUtil
