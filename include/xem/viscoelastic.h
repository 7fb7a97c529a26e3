#ifndef XEM_VISCOELASTIC_H
#define XEM_VISCOELASTIC_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"

/// @file
/// Curves over time: creep, relaxation, and hyperelastic models under a strain history.
///
/// Curves hold (time, value) in any unit of time that is used throughout. Points may come in any order.
///
/// All functions keep no state and may run in any number of threads at once, as long as these do not share arrays. A
/// singular linear system leaves them as the LAPACK `info`, thrown as an int; arguments that would lead out of an
/// array leave as CInvalidArgException before anything is written.

extern "C" {

/// Fits the creep law eps = C1 s^C2 t^C4 + C5 s^C6 t to one curve at constant stress s, by straight lines.
///
/// The primary term is an ordinary regression of log10 strain on log10 time, the secondary rate the slope of the
/// regression line of strain on time (whose intercept is dropped). With both terms each is fitted in turn to what the
/// other leaves, for 200 passes or until the rate turns negative (it becomes 0) or the time exponent reaches 1 (the
/// primary amplitude then becomes the rate, and there is no primary term). A rate within the rounding of the strains
/// counts as 0, so that a straight line always ends without a primary term.
///
/// @param curve  in: (time, creep strain), creep strain being total less instantaneous strain. Points with a strain of
///        0 or less, or NaN, are dropped. Points at a time of 0 are not, and their logarithm makes the primary term
///        NaN: leave them out. With both terms, points where the secondary strain alone exceeds the measured one turn
///        the fit into NaN as well.
/// @param creepType  in: 0 primary term, 1 secondary term, 2 both; other codes fit nothing.
/// @param stress  in: s, in any unit; the constants then hold for that unit.
/// @param primaryExponent, secondaryExponent  in: C2 and C6, which one curve cannot tell.
/// @param constants  out: resized to 7. C1, C2, C4 are 0 without the primary term, C5 and C6 without the secondary
///        one; C3 is 0. C7 is not written: it is 0 in an array that grew and keeps its old value in one that had seven
///        elements.
/// @param determination  out: 1 - SSres / SStot of the strains about their mean; not written for other type codes.
/// @return 0 always. Numbers that are not finite are results, not errors. A null pointer throws CInvalidArgException.
XEM_EXPORT std::int32_t CurveFitting4Creep(const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve,
                                           const std::int32_t* creepType, const double* stress,
                                           const double* primaryExponent, const double* secondaryExponent,
                                           CArray<double, double&>& constants, double* determination);

/// Fits C1, C2, C4, C5, C6 of the same law by Levenberg-Marquardt with relative residuals, tolerance 1e-8.
///
/// Every fitted constant starts at 1. C1 and C5 are kept positive, C2 within 1.0001 ... 7.999, C4 within
/// 0.20001 ... 2. The bounds 1.0001 ... 7.999 of C6 are tested on C6 and written into C4: an iteration in which C6
/// leaves them overwrites the time exponent. With it the fit works only for stresses clearly below 1 in the
/// caller's unit (0.1 ... 0.5 is good): at about 0.7 to 1 the result is useless, which a determination far from 1
/// shows, and from 1 on, or in MPa, the function as a rule throws. Choose a larger unit, say GPa, and convert back: a =
/// C1 s^C2, C4 and b = C5 s^C6 are independent of the unit. C1 with C2, and C5 with C6, are not determined by one
/// curve; only a and b are.
///
/// @param curve  in: (time, creep strain). Points at a time of 0 or less are dropped. A strain of 0 cannot be a
///        divisor and makes the function throw; leave out strains that are not positive.
/// @param unused  no effect.
/// @param stress  s, see above.
/// @param constants  in/out: its size on entry is the number of constants, at least 7 (fewer throw
///        CInvalidArgException) and at most 4096; the values on entry are not read. C3, C7 and further entries are
///        returned as 0. After an exception the array is as it was.
/// @param determination  out: |SStot - SSres| / SStot, where the mean in SStot is the last strain over the number of
///        points. A null pointer throws CInvalidArgException.
/// @return 0 converged, -1 stopped after 1000 iterations without a small change. Throws int for a singular system.
XEM_EXPORT std::int32_t CurveFitting4CreepLMMethod(const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve,
                                                   std::int32_t unused, double stress,
                                                   CArray<double, double&>& constants, double* determination);

/// Fits the normalised Prony series g(t) = 1 - sum g_i (1 - exp(-t / tau_i)) by Levenberg-Marquardt, tolerance 1e-8.
///
/// The times start equally spaced between the smallest and the largest time (a single one at their mean), the g_i at
/// their linear least-squares values. Times are kept positive; the g_i are free and may be negative or large. Over
/// several decades of time the linear spacing puts almost all starting times into the last decade: two and more
/// terms often end on one common time with coefficients that cancel, and -1 may be returned.
///
/// @param curve  in: (time, modulus over instantaneous modulus). Points at a time of 0 or less, with a value of 1 or
///        more, below 2.2e-16 in magnitude, or NaN, are dropped, so the usual first point (0, 1) takes no part.
/// @param terms  n, 0 to 2048; outside throws CInvalidArgException, as do points times terms beyond 2^27. 0 gives an
///        empty result.
/// @param variant  1 absolute residuals, any other value relative residuals (each divided by its measured value).
/// @param result  out: 2 n values, g_1 ... g_n, then tau_1 ... tau_n in the unit of time, sorted by tau, by g where
///        these are equal. After an int exception it has 2 n elements without meaning.
/// @return 0 converged, -1 stopped after 1000 iterations without a small change. Fewer kept points than terms make the
///         system singular: always throws the int points + 1, so 1 without points. Other singular systems throw an int,
///         too: 2 when all kept points have the same time and there are several terms.
XEM_EXPORT std::int32_t CurveFitting4Relaxation(const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, std::int32_t terms,
                                                std::int32_t variant, CArray<double, double&>& result);

/// Turns a strain history into a curve over time with a fitted polynomial model: (time, reference / stress).
///
/// @param curve  in: (time, nominal strain; for simple shear the shear strain).
/// @param reference  numerator of every value, in the unit of the stress.
/// @param includeUniaxial ... includeSimpleShear  non-zero enables a mode. The first enabled one in this order decides,
///        others are ignored; none throws CInvalidArgException.
/// @param order  N, 0 to 64, see CurveFitting4Polynominal; outside throws CInvalidArgException.
/// @param coefficients  in: at least N (N + 3) / 2 values; fewer throw CInvalidArgException.
/// @param result  out: resized to the number of points of `curve`, whatever its size was; times are copied. The
///        value is 0 where the stress is below 2.2e-16 in magnitude (zero strain) or NaN (NaN strain). May be
///        `curve` itself.
/// @return 0 always.
XEM_EXPORT std::int32_t CurveFitting4PolyConvertRelaxation(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, double reference, std::int32_t includeUniaxial,
    std::int32_t includeEquibiaxial, std::int32_t includePureShear, std::int32_t includeSimpleShear, std::int32_t order,
    const CArray<double, double&>& coefficients, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& result);

/// The same with an Ogden model of `terms` pairs (0 to 2048): coefficients mu_1, alpha_1, mu_2, alpha_2, ... In simple
/// shear the stress is the nominal stress in the direction of greatest stretch, not the shear stress.
XEM_EXPORT std::int32_t CurveFitting4OgdenConvertRelaxation(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, double reference, std::int32_t includeUniaxial,
    std::int32_t includeEquibiaxial, std::int32_t includePureShear, std::int32_t includeSimpleShear, std::int32_t terms,
    const CArray<double, double&>& coefficients, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& result);

/// The same with a Blatz-Ko model: `coefficient` holds the shear modulus.
///
/// @param lateralValue  0 (below 2.2e-16 in magnitude) leaves the lateral strains at 0, lateral stretch 1; any other
///        value replaces the lateral stretches by stretch^e with e = -1/2 uniaxial, -2 equibiaxial, -1 shear.
XEM_EXPORT std::int32_t CurveFitting4BlatzKoConvertRelaxation(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, double lateralValue, double reference,
    std::int32_t includeUniaxial, std::int32_t includeEquibiaxial, std::int32_t includePureShear,
    std::int32_t includeSimpleShear, const CArray<double, double&>& coefficient,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& result);

}  // extern "C"

#endif
