#ifndef XEM_HYPERELASTIC_H
#define XEM_HYPERELASTIC_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"

/// Hyperelastic fits and stresses: polynomial, Ogden, Blatz-Ko and volumetric.
///
/// Curves hold (nominal strain, nominal stress) of one deformation mode each, in the order uniaxial, equibiaxial,
/// pure shear, simple shear. Nominal strain is stretch - 1; for simple shear the abscissa is the shear strain.
/// Stresses and coefficients share one unit, whatever it is. Points whose stress is below 2.2e-16 in magnitude
/// (the usual origin among them) or NaN are not used.
///
/// Output curves. Only ordinates are written; abscissae stay as the caller set them. The stresses of all kept
/// points, mode after mode, are dealt out to the four output curves by their sizes, so size each output curve to
/// the number of kept points of its input curve, whether its mode is switched on or not. When an input curve is
/// empty its output curve is resized to 50 points at strains i (upper - lower) / 50, i = 0 ... 49: the grid starts
/// at 0 whatever `lower` is. Output curves that together hold more points than there are stresses throw
/// CInvalidArgException before any ordinate is written.
///
/// Simple shear. The shear strain g is kept as the principal stretch sqrt(1 + g^2/2 + g sqrt(1 + g^2/4)) and
/// recovered as |lambda^2 - 1| / lambda, so its sign is lost: at negative shear the polynomial and Blatz-Ko stresses
/// are positive.

extern "C" {

/// Fits the polynomial strain energy W = sum C_ij (I1 - 3)^i (I2 - 3)^j, 1 <= i + j <= order, to up to four modes.
///
/// A linear least-squares solution by singular values is refined by Levenberg-Marquardt with the constraint
/// C10 + C01 >= 0; the candidate whose coefficient of determination (see below) is closer to 1 is returned, the
/// linear one on a tie.
///
/// @param uniaxial, equibiaxial, pureShear, simpleShear  in: test curves.
/// @param useUniaxial ... useSimpleShear  non-zero switches the mode on. No mode at all throws CInvalidArgException; a
///        mode with an empty curve adds no equations, and if no equation is left at all the refinement's matrix is
///        singular: the function throws int 1, with zeros in `coefficients`.
/// @param order  N, 0 to 64; outside throws CInvalidArgException. N = 0 gives an empty result.
/// @param method  1 absolute residuals, 0 relative residuals (each equation divided by its stress) in both steps; any
///        other value skips the linear step and refines from zeros with relative residuals.
/// @param conditionLimit  singular values s with s_max / s >= conditionLimit are dropped; 0 or negative keeps all.
///        With pure shear or simple shear alone I1 = I2, the columns coincide and a positive limit (1e8, say) is
///        needed.
/// @param coefficients  out: N (N + 3) / 2 values, C10, C01, C20, C11, C02, C30, ...: by total degree, within a
///        degree by falling power of (I1 - 3).
/// @param uniaxialOut ... simpleShearOut  out: fitted stresses, see above; all four modes, switched on or not.
/// @param lower, upper  strains of the default grid for empty input curves.
/// @return 0 always. Throws the LAPACK `info` as an int when a factorisation fails (exactly singular data).
///
/// The coefficient of determination that decides is |SStot - SSres| / SStot with absolute residuals, where the
/// mean in SStot is the sum of the last measured stress of each mode divided by the number of points.
XEM_EXPORT std::int32_t CurveFitting4Polynominal(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxial, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxial,
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShear, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShear,
    std::int32_t useUniaxial, std::int32_t useEquibiaxial, std::int32_t usePureShear, std::int32_t useSimpleShear,
    std::int32_t order, std::int32_t method, double conditionLimit, CArray<double, double&>& coefficients,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxialOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxialOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShearOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShearOut,
    double lower, double upper);

/// Nominal stresses of the polynomial model on the abscissae of the four input curves.
///
/// @param uniaxial ... simpleShear  in: abscissae; the ordinates only decide which points are kept (not 0).
/// @param order  N, 0 to 64.
/// @param coefficients  in: at least N (N + 3) / 2 values in the order of CurveFitting4Polynominal; fewer throw
///        CInvalidArgException.
/// @param uniaxialOut ... simpleShearOut  out: stresses, see the top of this header.
/// @param lower, upper  strains of the default grid for empty input curves.
/// @return 0 always.
XEM_EXPORT std::int32_t ComputeStress4Polynominal(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxial, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxial,
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShear, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShear,
    std::int32_t order, const CArray<double, double&>& coefficients, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxialOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxialOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShearOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShearOut, double lower, double upper);

XEM_EXPORT std::int32_t CurveFitting4Ogden(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxial, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxial,
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShear, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShear,
    std::int32_t useUniaxial, std::int32_t useEquibiaxial, std::int32_t usePureShear, std::int32_t useSimpleShear,
    std::int32_t terms, std::int32_t method, CArray<double, double&>& coefficients,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxialOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxialOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShearOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShearOut,
    double lower, double upper);

XEM_EXPORT std::int32_t ComputeStress4Ogden(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxial, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxial,
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShear, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShear,
    std::int32_t terms, const CArray<double, double&>& coefficients, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxialOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxialOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShearOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShearOut, double lower, double upper);

XEM_EXPORT std::int32_t CurveFitting4BlatzKo(
    const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& uniaxial, const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& equibiaxial,
    const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& pureShear, const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& simpleShear,
    std::int32_t useUniaxial, std::int32_t useEquibiaxial, std::int32_t usePureShear, std::int32_t useSimpleShear,
    double lateralValue, std::int32_t method, double conditionLimit, CArray<double, double&>& coefficient,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxialOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxialOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShearOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShearOut,
    double lower, double upper);

XEM_EXPORT std::int32_t ComputeStress4BlatzKo(
    const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& uniaxial, const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& equibiaxial,
    const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& pureShear, const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& simpleShear,
    double lateralValue, const CArray<double, double&>& coefficient, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxialOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxialOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShearOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShearOut, double lower, double upper);

XEM_EXPORT std::int32_t CurveFitting4Volume(const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, std::int32_t terms,
                                            std::int32_t method, double conditionLimit,
                                            CArray<double, double&>& coefficients,
                                            CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut, double lower, double upper);

XEM_EXPORT std::int32_t ComputeStress4Volume(const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, std::int32_t terms,
                                             const CArray<double, double&>& coefficients,
                                             CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut, double lower, double upper);

}  // extern "C"

#endif
