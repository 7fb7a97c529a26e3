#ifndef XEM_SOIL_H
#define XEM_SOIL_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"

extern "C" {

XEM_EXPORT std::int32_t CurveFitting4UnsaturatedSoil(const CArray<double, double&>& settings, const CArray22& input,
                                                     CArray<double, double&>& parameters, CArray22& output);

}  // extern "C"

#endif
