#ifndef XEM_DYNAMIC_H
#define XEM_DYNAMIC_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"

extern "C" {

XEM_EXPORT std::int32_t InitialDynamicMatParameters(const CArray<double, double&>& options,
                                                    CArray<double, double&>& parameters,
                                                    const CArray<double, double&>& flags,
                                                    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness);

XEM_EXPORT std::int32_t ModifyDynamicMatParameters(const CArray<double, double&>& fitted,
                                                   CArray<double, double&>& target,
                                                   const CArray<double, double&>& flags);

XEM_EXPORT std::int32_t CurveFitting4DynamicMatShearStiff(const CArray<double, double&>& options,
                                                          const CArray<double, double&>& parameters,
                                                          const CArray<double, double&>& flags,
                                                          const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness,
                                                          CArray<double, double&>& fitted,
                                                          CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut);

XEM_EXPORT std::int32_t CurveFitting4DynamicMatDamping(const CArray<double, double&>& options,
                                                       const CArray<double, double&>& parameters,
                                                       const CArray<double, double&>& flags,
                                                       const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& damping,
                                                       const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness,
                                                       CArray<double, double&>& fitted,
                                                       CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut);

XEM_EXPORT std::int32_t CurveFitting4DynamicMatParameters(
    const CArray<double, double&>& options, CArray<double, double&>& parameters, const CArray<double, double&>& flags,
    CArray<double, double&>& weights, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness,
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& damping, CArray<double, double&>& fitted,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffnessOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& dampingOut);

XEM_EXPORT std::int32_t CurveFitting4GHEModel6Parameters(
    const CArray<double, double&>& options, const CArray<double, double&>& parameters,
    const CArray<double, double&>& flags, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness, double referenceStrain,
    CArray<double, double&>& fitted, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut, CArray<double, double&>& measures);

XEM_EXPORT std::int32_t CurveFitting4GHEModelDamping(const CArray<double, double&>& options,
                                                     const CArray<double, double&>& parameters,
                                                     const CArray<double, double&>& flags,
                                                     const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& damping,
                                                     const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness,
                                                     CArray<double, double&>& fitted,
                                                     CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut);

}  // extern "C"

#endif
