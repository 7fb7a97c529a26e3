#ifndef XEM_STABILITY_H
#define XEM_STABILITY_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"
#include "xem/text.h"

extern "C" {

XEM_EXPORT void CheckMaterialStability4Polynomial(const CArray<double, double&>& coefficients,
                                                  const CArray<double, double&>& volumetric, std::int32_t order,
                                                  std::int32_t volumetricTerms, double lower, double upper,
                                                  double unused1, double unused2, CString& report);

XEM_EXPORT void CheckMaterialStability4Ogden(const CArray<double, double&>& coefficients,
                                             const CArray<double, double&>& volumetric, std::int32_t terms,
                                             std::int32_t volumetricTerms, double lower, double upper, double unused1,
                                             double unused2, CString& report);

}  // extern "C"

#endif
