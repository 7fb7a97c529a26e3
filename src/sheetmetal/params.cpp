#include "sheetmetal/params.h"

#include <boost/make_shared.hpp>
#include <cstddef>

namespace Xem::MaterialUtil::SheetMetalForming {
namespace {

using Points = std::span<const _T_FUNT_BASE>;

double Entry(std::span<const double> values, std::size_t index) {
  if (index >= values.size()) throw CInvalidArgException("a parameter array is too short");
  return values[index];
}

std::int32_t PathCount(double value) {
  if (!(value > -1.0 && value < kMostPaths + 1.0)) throw CInvalidArgException("the number of paths is out of range");
  return static_cast<std::int32_t>(value);
}

Points CheckedTable(Points points) {
  if (points.size() < 2) throw CInvalidArgException("a hardening table has fewer than two points");
  return points;
}

}  // namespace

HRCustomCurve::HRCustomCurve(Points flowCurve)
    : HardeningParams(HardeningType::CustomCurve), points(CheckedTable(flowCurve).begin(), flowCurve.end()) {}

HRCustomCurve::HRCustomCurve(Points flowCurve, Points rateTable)
    : HardeningParams(HardeningType::CustomCurveStrnRate),
      points(CheckedTable(flowCurve).begin(), flowCurve.end()),
      rateFactors(CheckedTable(rateTable).begin(), rateTable.end()) {}

boost::shared_ptr<YieldParams> MakeYieldParams(std::int32_t code, std::span<const double> values) {
  switch (static_cast<YieldType>(code)) {
    case YieldType::VonMises:
      return boost::make_shared<YCVonMisesParams>();
    case YieldType::Hill1979:
      return boost::make_shared<YCHill1979Params>(Entry(values, 0), Entry(values, 1));
  }
  return {};
}

boost::shared_ptr<HardeningParams> MakeHardeningParams(std::int32_t code, std::span<const double> values) {
  switch (static_cast<HardeningType>(code)) {
    case HardeningType::Ghosh:
      return boost::make_shared<HRGhoshParams>(Entry(values, 0), Entry(values, 1), Entry(values, 2), Entry(values, 3));
    case HardeningType::HockettSherby:
      return boost::make_shared<HRHockettSherbyParams>(Entry(values, 0), Entry(values, 1), Entry(values, 2),
                                                       Entry(values, 3));
    case HardeningType::CustomCurve:
    case HardeningType::CustomCurveStrnRate:
    case HardeningType::SwiftVoce:
      break;
  }
  return {};
}

boost::shared_ptr<HardeningParams> MakeHardeningParams(std::int32_t code, Points points) {
  if (!IsTableHardeningCode(code)) return {};
  return boost::make_shared<HRCustomCurve>(points);
}

boost::shared_ptr<LimitCurveParams> MakeLimitCurveParams(std::int32_t code, std::span<const double> values) {
  if (!IsLimitCurveCode(code)) return {};
  return boost::make_shared<FLCMMFCParams>(PathCount(Entry(values, 0)), Entry(values, 1), Entry(values, 2));
}

bool IsYieldCode(std::int32_t code) {
  return code == static_cast<std::int32_t>(YieldType::VonMises) ||
         code == static_cast<std::int32_t>(YieldType::Hill1979);
}

bool IsConstantHardeningCode(std::int32_t code) {
  return code == static_cast<std::int32_t>(HardeningType::Ghosh) ||
         code == static_cast<std::int32_t>(HardeningType::HockettSherby);
}

bool IsTableHardeningCode(std::int32_t code) { return code == static_cast<std::int32_t>(HardeningType::CustomCurve); }

bool IsLimitCurveCode(std::int32_t code) {
  return code == static_cast<std::int32_t>(LimitCurveType::ModifiedMaximumForce);
}

}  // namespace Xem::MaterialUtil::SheetMetalForming
