#ifndef XEM_HYPERELASTIC_H
#define XEM_HYPERELASTIC_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"

/// @file
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
/// at 0 whatever `lower` is. When the output curves together hold more points than there are stresses, ordinates are
/// written in order while there are stresses and the rest keep their values; coefficients and status do not depend on
/// the output curves.
///
/// Threads. The functions keep no state and may run on several threads at once. The polynomial and Ogden ones set the
/// BLAS library to one thread for the whole process, and it stays so. A host that wants its own number back sets it
/// after the call: with OpenBLAS openblas_set_num_threads(n), where openblas_get_num_threads() told n before the call.
/// BLAS libraries without these two functions are left as they are.
///
/// Simple shear. The shear strain g is kept as the principal stretch sqrt(1 + g^2/2 + g sqrt(1 + g^2/4)) and
/// recovered as |lambda^2 - 1| / lambda, so its sign is lost: at negative shear the polynomial and Blatz-Ko stresses
/// are positive.
///
/// Limits. Any number and any count may be passed. A fit whose matrix of points times coefficients would have more than
/// 2^27 entries (a gibibyte) throws CInvalidArgException. Strains of -1 and numbers that are not finite give
/// coefficients that are not finite or the status -1, or make the fit throw an int.

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

/// Fits the Ogden strain energy W = sum mu_k / alpha_k (l1^alpha_k + l2^alpha_k + l3^alpha_k - 3), k = 1 ... terms, to
/// up to four modes; its initial shear modulus is half the sum of mu_k alpha_k.
///
/// Starts from the exponents 2, -2, 6, 10, 14, ... with moduli by linear least squares, each given the sign of its
/// exponent, and iterates by Levenberg-Marquardt with tolerance 1e-4 under the constraint that the sum of mu_k alpha_k
/// is positive: while it is not, the negative products are shrunk, and when none is left the rule ends. The start is
/// one of many; with two and more terms the minimum found need not be the best one.
///
/// Simple shear. The ordinate of the Ogden functions is the nominal stress in the direction of greatest stretch,
/// sum mu_k (lambda^(alpha_k - 1) - lambda^(-alpha_k - 1)), not the shear stress of the other models. Multiply measured
/// shear stresses by 1 + lambda^-2 before fitting, and divide after evaluation, with lambda the stretch given above at
/// the shear strain. Unconverted shear stresses give about half the true modulus.
///
/// @param uniaxial, equibiaxial, pureShear, simpleShear  in: test curves.
/// @param useUniaxial ... useSimpleShear  non-zero switches the mode on. No mode at all throws CInvalidArgException.
/// @param terms  N, 0 to 2048; outside throws CInvalidArgException. N = 0 gives an empty result.
/// @param method  1 absolute residuals, anything else relative ones (1 - fitted / measured). The moduli of the
///        start come from absolute residuals in both cases.
/// @param coefficients  out: 2 N values mu_1, alpha_1, mu_2, alpha_2, ...
/// @param uniaxialOut ... simpleShearOut  out: fitted stresses, see above; all four modes, switched on or not.
/// @param lower, upper  strains of the default grid for empty input curves.
/// @return the solver's status: 0 converged, -1 after 1000 iterations without a small change. Throws an int, before any
///         output is written, when a system is singular: the number of usable points plus 1 when there are fewer of
///         them than terms; 2 for two and more terms on pure shear, simple shear or both alone (there the columns of
///         the exponents 2 and -2 are opposite); else the LAPACK `info`.
XEM_EXPORT std::int32_t CurveFitting4Ogden(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxial, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxial,
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShear, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShear,
    std::int32_t useUniaxial, std::int32_t useEquibiaxial, std::int32_t usePureShear, std::int32_t useSimpleShear,
    std::int32_t terms, std::int32_t method, CArray<double, double&>& coefficients,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxialOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxialOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShearOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShearOut,
    double lower, double upper);

/// Nominal stresses of the Ogden model on the abscissae of the four input curves.
///
/// @param uniaxial ... simpleShear  in: abscissae; the ordinates only decide which points are kept (not 0).
/// @param terms  N, 0 to 2048.
/// @param coefficients  in: at least 2 N values mu_1, alpha_1, ...; fewer throw CInvalidArgException.
/// @param uniaxialOut ... simpleShearOut  out: stresses, see the top of this header; for simple shear those
///        described at CurveFitting4Ogden.
/// @param lower, upper  strains of the default grid for empty input curves.
/// @return 0 always.
XEM_EXPORT std::int32_t ComputeStress4Ogden(
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxial, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxial,
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShear, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShear,
    std::int32_t terms, const CArray<double, double&>& coefficients, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxialOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxialOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShearOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShearOut, double lower, double upper);

/// Fits the modulus mu of the Blatz-Ko foam, W = mu / 2 (I2 / I3 + 2 sqrt(I3) - 5), to up to four modes.
///
/// The points hold (nominal strain, lateral nominal strain, nominal stress). Nominal stresses of the principal
/// directions are mu (J / lambda - lambda^-3), that is with the lateral stretch l: uniaxial mu (l^2 - lambda^-3),
/// equibiaxial mu (lambda l - lambda^-3), pure shear mu (l - lambda^-3); in simple shear the shear stress mu g. A
/// linear least-squares solution is refined by Levenberg-Marquardt (tolerance 1e-4, modulus not negative); the
/// candidate whose coefficient of determination is closer to 1 is returned, the linear one, made positive, on a tie.
///
/// @param uniaxial, equibiaxial, pureShear, simpleShear  in: three-value test curves; points whose stress is below
///        2.2e-16 in magnitude or NaN are not used. The lateral strain of simple shear is not used.
/// @param useUniaxial ... useSimpleShear  non-zero switches the mode on. No mode at all throws CInvalidArgException.
/// @param lateralValue  0 (below 2.2e-16 in magnitude): the measured lateral strains are used. Anything else: they are
///        replaced by lambda^e - 1 with e = -1/2 (uniaxial), -2 (equibiaxial), -1 (pure shear), which are the
///        exponents of a material that keeps its volume; the size of the value has no meaning.
/// @param method  1 absolute residuals, 0 relative residuals in both steps; any other value skips the linear step and
///        refines from zero with relative residuals.
/// @param conditionLimit  1 or less but above 0 drops the only singular value: the linear modulus is then 0.
/// @param coefficient  out: one value, mu.
/// @param uniaxialOut ... simpleShearOut  out: fitted stresses as two-value curves, see the top of this header.
/// @param lower, upper  strains of the default grid for empty input curves, which always takes the fixed exponents.
/// @return the status of the refinement: 0 converged, -1 iteration limit. Without any usable point the function throws
///         int 1, with 0 in `coefficient`.
XEM_EXPORT std::int32_t CurveFitting4BlatzKo(
    const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& uniaxial, const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& equibiaxial,
    const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& pureShear, const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& simpleShear,
    std::int32_t useUniaxial, std::int32_t useEquibiaxial, std::int32_t usePureShear, std::int32_t useSimpleShear,
    double lateralValue, std::int32_t method, double conditionLimit, CArray<double, double&>& coefficient,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxialOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxialOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShearOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShearOut,
    double lower, double upper);

/// Nominal stresses of the Blatz-Ko model on the abscissae and lateral strains of the four input curves.
///
/// @param uniaxial ... simpleShear  in: points (strain, lateral strain, stress); the stress only decides which
///        points are kept (not 0).
/// @param lateralValue  as for CurveFitting4BlatzKo.
/// @param coefficient  in: at least one value, mu; none throws CInvalidArgException.
/// @param uniaxialOut ... simpleShearOut  out: stresses, see the top of this header.
/// @param lower, upper  strains of the default grid for empty input curves, which always takes the fixed exponents.
/// @return 0 always.
XEM_EXPORT std::int32_t ComputeStress4BlatzKo(
    const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& uniaxial, const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& equibiaxial,
    const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& pureShear, const CArray<_T_FUNT_BASE3, _T_FUNT_BASE3&>& simpleShear,
    double lateralValue, const CArray<double, double&>& coefficient, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& uniaxialOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& equibiaxialOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& pureShearOut,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& simpleShearOut, double lower, double upper);

/// Fits the volumetric energy U = sum D_k (J - 1)^(2k), k = 1 ... terms, to a curve (linear stretch, pressure).
///
/// The abscissa is the linear stretch J^(1/3) itself, not a strain and not J; the pressure, positive in compression, is
/// -dU/dJ = sum -2 k D_k (J - 1)^(2k - 1). The initial bulk modulus is 2 D_1.
///
/// @param curve  in: test curve; points whose pressure is below 2.2e-16 in magnitude or NaN are not used.
/// @param terms  M, 0 to 4096; outside throws CInvalidArgException.
/// @param method  1 absolute residuals, 0 relative ones, anything else leaves the coefficients 0.
/// @param conditionLimit  singular values s with s_max / s >= conditionLimit are dropped; 0 or negative keeps all, and
///        a curve without any volume change then gives coefficients that are not finite.
/// @param coefficients  out: D_1 ... D_M; zeros when no point is usable.
/// @param curveOut  out: fitted pressures. As many points as `curveOut` holds are written, at most the kept points;
///        further ordinates and all abscissae stay. For an empty curve it becomes a grid of 50 points at
///        i (b - a) / 50, i = 0 ... 49, with a = 1 / (upper + 1) and b = 1 / (lower + 1): the bounds are exchanged and
///        turned into reciprocals of 1 + bound, and the grid starts at 0.
/// @param lower, upper  bounds of that grid.
/// @return 0 always. Throws the LAPACK `info` as an int when the factorisation fails.
XEM_EXPORT std::int32_t CurveFitting4Volume(const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, std::int32_t terms,
                                            std::int32_t method, double conditionLimit,
                                            CArray<double, double&>& coefficients,
                                            CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut, double lower, double upper);

/// Pressures of the volumetric energy on the abscissae of a curve.
///
/// @param curve  in: linear stretches; the ordinates only decide which points are kept (not 0).
/// @param terms  M, 0 to 4096.
/// @param coefficients  in: at least M values; fewer throw CInvalidArgException.
/// @param curveOut  out: pressures, as for CurveFitting4Volume, with its grid for an empty curve.
/// @param lower, upper  bounds of that grid.
/// @return 0 always.
XEM_EXPORT std::int32_t ComputeStress4Volume(const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, std::int32_t terms,
                                             const CArray<double, double&>& coefficients,
                                             CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut, double lower, double upper);

}  // extern "C"

#endif
