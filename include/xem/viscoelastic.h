#ifndef XEM_VISCOELASTIC_H
#define XEM_VISCOELASTIC_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"

extern "C" {

XEM_EXPORT std::int32_t CurveFitting4Creep(const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve,
                                           const std::int32_t* creepType, const double* stress,
                                           const double* primaryExponent, const double* secondaryExponent,
                                           CArray<double, double&>& constants, double* determination);

XEM_EXPORT std::int32_t CurveFitting4CreepLMMethod(const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve,
                                                   std::int32_t unused, double stress,
                                                   CArray<double, double&>& constants, double* determination);

XEM_EXPORT std::int32_t CurveFitting4Relaxation(const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, std::int32_t terms,
                                                std::int32_t variant, CArray<double, double&>& result);

XEM_EXPORT std::int32_t CurveFitting4PolyConvertRelaxation(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, double reference, std::int32_t includeUniaxial,
    std::int32_t includeEquibiaxial, std::int32_t includePureShear, std::int32_t includeSimpleShear, std::int32_t order,
    const CArray<double, double&>& coefficients, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& result);

XEM_EXPORT std::int32_t CurveFitting4OgdenConvertRelaxation(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, double reference, std::int32_t includeUniaxial,
    std::int32_t includeEquibiaxial, std::int32_t includePureShear, std::int32_t includeSimpleShear, std::int32_t terms,
    const CArray<double, double&>& coefficients, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& result);

XEM_EXPORT std::int32_t CurveFitting4BlatzKoConvertRelaxation(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, double lateralValue, double reference,
    std::int32_t includeUniaxial, std::int32_t includeEquibiaxial, std::int32_t includePureShear,
    std::int32_t includeSimpleShear, const CArray<double, double&>& coefficient,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& result);

}  // extern "C"

#endif
