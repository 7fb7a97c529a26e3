#include "viscoelastic/conversion.h"

#include <cstddef>
#include <cstdint>

namespace Xem::MaterialUtil {
namespace {

/// A measured value that lets every point through the filter of the test data; it has no other meaning.
constexpr double kPlaceholder = 1.0;

}  // namespace

boost::shared_ptr<XemMaterialTestDataHyperelastic> LoadStrains(DeformationMode mode,
                                                               std::span<const _T_FUNT_BASE> record) {
  std::vector<_T_FUNT_BASE> points;
  points.reserve(record.size());
  for (const _T_FUNT_BASE& point : record) points.emplace_back(point.second, kPlaceholder);
  auto data = MakeTestData(mode);
  data->SetTestData(std::span<const _T_FUNT_BASE>(points));
  return data;
}

boost::shared_ptr<XemMaterialTestDataHyperelastic> LoadStrainsWithoutLateral(DeformationMode mode,
                                                                             std::span<const _T_FUNT_BASE> record) {
  std::vector<_T_FUNT_BASE3> points;
  points.reserve(record.size());
  for (const _T_FUNT_BASE& point : record) points.emplace_back(point.second, 0.0, kPlaceholder);
  auto data = MakeTestData(mode);
  data->SetTestData3(std::span<const _T_FUNT_BASE3>(points));
  return data;
}

std::vector<_T_FUNT_BASE> ConvertToRelaxation(const XemMaterialCurvefittingModelBase& model,
                                              std::span<const double> parameters, std::span<const _T_FUNT_BASE> record,
                                              double reference) {
  const Vector stresses = ComputeStresses(model, parameters);
  std::vector<_T_FUNT_BASE> curve;
  curve.reserve(record.size());
  for (std::size_t i = 0; i < record.size(); ++i) {
    const double stress = stresses[i];
    curve.emplace_back(record[i].first, IsMeasured(stress) ? reference / stress : 0.0);
  }
  return curve;
}

}  // namespace Xem::MaterialUtil
