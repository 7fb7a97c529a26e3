#ifndef XEM_SHEET_METAL_H
#define XEM_SHEET_METAL_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"

extern "C" {

XEM_EXPORT std::int32_t FormingLimitCurve(CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, std::int32_t flcType,
                                          const CArray<double, double&>& flcParameters, std::int32_t yieldType,
                                          const CArray<double, double&>& yieldParameters, std::int32_t hardeningType,
                                          const CArray<double, double&>& hardeningParameters);

XEM_EXPORT std::int32_t FormingLimitCurveCustomHR(CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, std::int32_t flcType,
                                                  const CArray<double, double&>& flcParameters, std::int32_t yieldType,
                                                  const CArray<double, double&>& yieldParameters,
                                                  std::int32_t hardeningType,
                                                  const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& hardeningCurve);

}  // extern "C"

#endif
