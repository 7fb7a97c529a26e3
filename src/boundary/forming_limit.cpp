#include "sheetmetal/forming_limit.h"

#include <cstddef>
#include <span>

#include "sheetmetal/params.h"
#include "xem/sheet_metal.h"

using namespace Xem::MaterialUtil::SheetMetalForming;

namespace {

template <class Array>
auto Elements(const Array& array) {
  return std::span(array.GetData(), static_cast<std::size_t>(array.GetSize()));
}

}  // namespace

std::int32_t FormingLimitCurve(Xem::PointArray& curve, std::int32_t flcType, const Xem::DoubleArray& flcParameters,
                               std::int32_t yieldType, const Xem::DoubleArray& yieldParameters,
                               std::int32_t hardeningType, const Xem::DoubleArray& hardeningParameters) {
  if (!IsLimitCurveCode(flcType) || !IsYieldCode(yieldType) || !IsConstantHardeningCode(hardeningType)) return 0;
  MakeFormingLimitCurve(MakeLimitCurveParams(flcType, Elements(flcParameters)),
                        MakeYieldParams(yieldType, Elements(yieldParameters)),
                        MakeHardeningParams(hardeningType, Elements(hardeningParameters)))
      ->ComputeCurve(curve);
  return 0;
}

std::int32_t FormingLimitCurveCustomHR(Xem::PointArray& curve, std::int32_t flcType,
                                       const Xem::DoubleArray& flcParameters, std::int32_t yieldType,
                                       const Xem::DoubleArray& yieldParameters, std::int32_t hardeningType,
                                       const Xem::PointArray& hardeningCurve) {
  if (!IsLimitCurveCode(flcType) || !IsYieldCode(yieldType) || !IsTableHardeningCode(hardeningType)) return 0;
  MakeFormingLimitCurve(MakeLimitCurveParams(flcType, Elements(flcParameters)),
                        MakeYieldParams(yieldType, Elements(yieldParameters)),
                        MakeHardeningParams(hardeningType, Elements(hardeningCurve)))
      ->ComputeCurve(curve);
  return 0;
}
