#ifndef XEM_DYNAMIC_H
#define XEM_DYNAMIC_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"

/// @file
/// Cyclic behaviour: strain dependence of the secant shear modulus ratio R = G/G0 and of the damping ratio h.
///
/// Curves hold (shear strain, G/G0) and (shear strain, damping ratio). Strain, reference strain and damping are plain
/// ratios (0.01, not 1 %); R needs no unit. Points whose ordinate is below 2.2e-16 in magnitude or NaN are not fitted.
///
/// Families of the first five functions:
///   0  power law: R = 1 / (1 + (2 R gamma / gr)^a), h = hmax (1 - R), hmax = 2 a / ((a + 2) pi)
///   1  hyperbolic: R = gr / (gr + gamma), h = 2/pi (1 + 2 gr/gamma - 2 gr/gamma (1 + gr/gamma) ln(1 + gamma/gr))
/// Parameters as the caller sees them: [gr], and for the power law [gr, hmax]; hmax stands for the exponent
/// a = 2 pi hmax / (2 - pi hmax) and lies below 2/pi. The hyperbolic family ignores a second parameter, which must then
/// be held, and returns 0 for it.
///
/// Residual forms (observed against predicted; y is the ordinate, for the damping of the power law 1 - h / hmax):
///   0  strain: gamma against gr / (2 y) (1/y - 1)^(1/a); hyperbolic: y against R(gamma)
///   1  logarithm of strain: the same with ln gamma; hyperbolic: y against R(gamma)
///   2  stress, x = R gamma: y against 1 / (1 + (2 x / gr)^a), h against hmax (1 - that); no hyperbolic stiffness
/// An unknown family or form, and hyperbolic stiffness in the stress form, compare 0 with 0: a fit of such a function
/// alone throws int 1. Hyperbolic damping takes the stored abscissa (gamma, ln gamma or R gamma) for the strain
/// whatever the form is, so form 1 has no values and form 0 is the one to use. For damping in the stress form R is read
/// from the stiffness curve at gamma: the first pair of points that encloses gamma, linear between them; below the
/// first strain x is the first point's own R gamma, otherwise the last point's.
///
/// options: [0] family, [1] residual form, [2] 1 = absolute residuals, anything else = relative (divided by the
/// observed value). Doubles, truncated towards zero. flags: one per parameter, truncated towards zero; 0 = fitted,
/// anything else = held. Nothing is fitted when the sum of the flags equals the number of parameters, whichever flags
/// make it up; when all are held and the sum differs, the function throws int 1.
///
/// What to know about the stop rule: a step counts as small when it changes the sum of squares by less than 1e-3 (above
/// a sum of 1: 1e-3 of it), and four small steps end a fit. Curves between 0 and 1 with good data reach that threshold
/// early, absolute residuals in strain (form 0, power law) at once: use relative residuals, form 1 or 2, or weights.
/// Forms 0 and 1 of the power law need R < 1 at every point, for damping hmax above every measured damping; else the
/// fit throws an int or returns -1.
///
/// Status: 0 converged or nothing to fit, -1 no convergence within 1000 iterations. A singular matrix throws LAPACK's
/// `info` as an int; out arrays of the single-curve fits are then untouched. Arrays that are too short throw
/// CInvalidArgException. The functions keep no state and may be called from several threads at once.

extern "C" {

/// Estimates the reference strain from a stiffness curve.
///
/// @param options  in: at least 2; [1] is the residual form.
/// @param parameters  in/out: [0] becomes the strain at R = 0.5 of the first pair of points that encloses it, when
///        flags[0] truncates to 0; otherwise nothing is written. Linear in strain for form 0, linear in ln(strain) for
///        form 1, half the linear strain for form 2. 0.0005 when no pair encloses 0.5 or the form is another one.
/// @param flags  in: at least 1.
/// @param stiffness  in: points as they are, in their order; nothing is filtered.
/// @return 0 always.
XEM_EXPORT std::int32_t InitialDynamicMatParameters(const CArray<double, double&>& options,
                                                    CArray<double, double&>& parameters,
                                                    const CArray<double, double&>& flags,
                                                    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness);

/// Copies fitted parameters into a set: target[i] = fitted[i] for every i of `fitted` with flags[i] exactly 0.0 (no
/// truncation here). Other entries of `target` stay.
///
/// @param fitted  in: decides the count.
/// @param target  in/out: at least as long as the last entry that is written.
/// @param flags  in: at least as long as `fitted`.
/// @return 0 always.
XEM_EXPORT std::int32_t ModifyDynamicMatParameters(const CArray<double, double&>& fitted,
                                                   CArray<double, double&>& target,
                                                   const CArray<double, double&>& flags);

/// Fits a stiffness curve.
///
/// @param options  in: see the top; with fewer than 3 the function returns 0 at once and writes nothing.
/// @param parameters  in: starting values, 2 for the power law ([gr, hmax]), 1 or 2 for the hyperbolic family. A third
///        entry is allowed for completeness and has no effect, but then the exponent starts at 0 whatever hmax is.
///        None, more than 3, or 1 for the power law throw CInvalidArgException.
/// @param flags  in: one per parameter.
/// @param stiffness  in: curve.
/// @param fitted  out: as many entries as `parameters`: gr, hmax, 0.
/// @param curveOut  out: always comes back empty; only the joint fit draws curves.
/// @return status, see the top.
XEM_EXPORT std::int32_t CurveFitting4DynamicMatShearStiff(const CArray<double, double&>& options,
                                                          const CArray<double, double&>& parameters,
                                                          const CArray<double, double&>& flags,
                                                          const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness,
                                                          CArray<double, double&>& fitted,
                                                          CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut);

/// Fits a damping curve. As CurveFitting4DynamicMatShearStiff; the stiffness curve serves the stress form only, and
/// must have a point there.
XEM_EXPORT std::int32_t CurveFitting4DynamicMatDamping(const CArray<double, double&>& options,
                                                       const CArray<double, double&>& parameters,
                                                       const CArray<double, double&>& flags,
                                                       const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& damping,
                                                       const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness,
                                                       CArray<double, double&>& fitted,
                                                       CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut);

/// Fits both curves together and draws them.
///
/// @param options  in: see the top; fewer than 3 throw CInvalidArgException before anything is written.
/// @param parameters  in/out: starting values as above; [0] is first replaced by InitialDynamicMatParameters.
/// @param flags  in: one per parameter.
/// @param weights  in/out: factors on the residuals of stiffness and damping (at least 2), on observed value, predicted
///        value and gradient alike, so that they have no effect with relative residuals. When the family is 0 and both
///        this array and `parameters` hold exactly 2 entries, weights[1] is multiplied in place by
///        min(1 / last damping ordinate, 1 / parameters[1]), with 5 for the first where that ordinate is 1e-10 or less;
///        an empty damping curve throws CInvalidArgException there. Keep a copy if you call again. A curve whose weight
///        is 1e-6 or less takes no part; if that is so for both and there is something to fit, the function throws
///        CInvalidArgException.
/// @param stiffness, damping  in: curves.
/// @param fitted  out: as many entries as `parameters`: gr, hmax, 0.
/// @param stiffnessOut  in/out: its count n on entry is the number of strains; they are set from 1e-7 to 1, evenly in
///        log10 and rounded to two significant digits (n = 1: 1e-7), with the fitted R.
/// @param dampingOut  in/out: at least n points, else CInvalidArgException before either is written; the first n
///        get the same strains with the fitted h, further ones stay. Where the implicit relation of the power law
///        cannot be solved, R = 0.5 is written, and the damping that belongs to R = 0.1.
/// @return status, see the top. When an exception leaves the function, `parameters`, `weights` and the strains of the
///         out-curves may already have been changed.
XEM_EXPORT std::int32_t CurveFitting4DynamicMatParameters(
    const CArray<double, double&>& options, CArray<double, double&>& parameters, const CArray<double, double&>& flags,
    CArray<double, double&>& weights, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness,
    const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& damping, CArray<double, double&>& fitted,
    CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffnessOut, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& dampingOut);

/// Fits the generalised hyperbolic equation with six parameters (Tatsuoka & Shibuya 1992) to a stiffness curve.
///
/// R = 1 / (1 / C1 + x / C2) with x = gamma / gr, C1 passing from C1(0) to C1(inf) by
/// C1 = (C1(0) + C1(inf)) / 2 + (C1(0) - C1(inf)) / 2 cos(pi x / (x + alpha)), C2 likewise with beta. The reference
/// strain gr is never fitted: another one only rescales C2(0), C2(inf), alpha and beta. C1(0) is R at zero strain.
///
/// @param options  in: [0] 1 = take gr from the curve, anything else = take `referenceStrain` if it is positive and the
///        curve if not; [1] 2 = compare the stresses x R, anything else = compare R; [2] 1 = absolute residuals,
///        anything else = relative ones, for which both forms agree. With fewer than 3 the function returns 0 at once.
/// @param parameters  in: six starting values C1(0), C1(inf), C2(0), C2(inf), alpha, beta; a free entry that is not
///        positive stands for the default 1, 0.17, 0.83, 2.5, 2.86, 3.229 of its place. All zeros is the best start.
/// @param flags  in: six; exactly 0.0 = fitted, anything else = held, bit for bit as given.
/// @param stiffness  in: curve; points at gamma <= 0 are not used either. No point left: nothing is fitted.
/// @param referenceStrain  gr, in the unit of the curve's strains. From the curve gr is the strain at R = 0.5 (ln gamma
///        linear in R, first pair of points that encloses 0.5), and 0.0005 if there is none.
/// @param fitted  out: six parameters. Free ones stay within [1e-3, 1e3], and C1(0) and C1(inf), C2(0) and C2(inf) at
///        least 1e-6 of their value apart.
/// @param curveOut  in/out: 2 points or more on entry: as many strains from 1e-7 to 1, as in the joint fit; else the
///        strains of the points that were used. Ordinates are the fitted R.
/// @param measures  out: gr, the tolerance (1e-8 of the sum of squares of what is compared, or of the number of
///        points for relative residuals), the coefficient of determination |SStot - SSres| / SStot with the last
///        ordinate over the number of points as its mean (NaN without points), the sum of squares that was
///        minimised.
/// @return status and exceptions as at the top; `fitted`, `curveOut` and `measures` are written together at the end.
///
/// The stress form is started from the result of the stiffness form. alpha and beta are weakly determined by most data:
/// compare curves rather than parameters.
XEM_EXPORT std::int32_t CurveFitting4GHEModel6Parameters(
    const CArray<double, double&>& options, const CArray<double, double&>& parameters,
    const CArray<double, double&>& flags, const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness, double referenceStrain,
    CArray<double, double&>& fitted, CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut, CArray<double, double&>& measures);

/// Fits h = hmax u^kappa, u = 1 - G/G0, to a damping curve (kappa = 1: Hardin & Drnevich 1972); h = 0 where u
/// < 2.2e-16.
///
/// @param options  in: [0] 1 = G/G0 from the six-parameter model, anything else = from the stiffness curve; [1] unused;
///        [2] 1 = absolute residuals, anything else = relative. With fewer than 3 the function returns 0 at once.
/// @param parameters  in: hmax, kappa; followed by gr, C1(0), C1(inf), C2(0), C2(inf), alpha, beta when options[0]
///        is 1. A free hmax or kappa that is not positive starts from a regression of ln h on ln u.
/// @param flags  in: two; exactly 0.0 = fitted, anything else = held, bit for bit as given.
/// @param damping  in: curve; points at gamma <= 0 are not used either. No point left: nothing is fitted.
/// @param stiffness  in: curve, linear in gamma between its points, its nearer end outside; not looked at when
///        options[0] is 1. Without a point nothing is fitted and u is 0.
/// @param fitted  out: hmax, kappa. Free ones stay within [1e-4, 1] and [0.01, 10].
/// @param curveOut  in/out: as in CurveFitting4GHEModel6Parameters, with the fitted h.
/// @return status and exceptions as at the top; `fitted` and `curveOut` are written together at the end. When u is 0 at
///         every point the matrix is singular.
XEM_EXPORT std::int32_t CurveFitting4GHEModelDamping(const CArray<double, double&>& options,
                                                     const CArray<double, double&>& parameters,
                                                     const CArray<double, double&>& flags,
                                                     const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& damping,
                                                     const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& stiffness,
                                                     CArray<double, double&>& fitted,
                                                     CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curveOut);

}  // extern "C"

#endif
