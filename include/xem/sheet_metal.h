#ifndef XEM_SHEET_METAL_H
#define XEM_SHEET_METAL_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"

/// @file
/// Forming-limit curves of sheet metal by the modified maximum force criterion (Hora, Tong and Reissner 1996).
///
/// N stress paths sigma2 / sigma1 = alpha = i / (N - 1), i = 0 ... N - 1, from uniaxial tension (0) to equibiaxial
/// tension (1) are followed in steps of the major strain. When the force has passed its maximum the strain ratio beta =
/// d eps2 / d eps1 turns step by step towards plane strain; where |beta| < tol a neck forms, and the strains there are
/// the limit point of the path. Strains are true (logarithmic) plastic strains; stresses may be in any unit.
///
/// Both functions take
/// @param curve  out: limit points, x (`first`) the major and y (`second`) the minor strain. It is resized to
///        nLeft + 1 + nRight points: the paths that start with beta <= 0 in order of alpha, then the plane-strain point
///        (x, 0) on the straight line through the last two of them, then the paths that start with beta > 0 in order of
///        alpha. Old contents are lost.
/// @param flcType  0, the modified maximum force criterion.
/// @param flcParameters  in: [N, increment of the major strain per step, tol]. N is truncated towards zero.
///        Sensible are an increment of 1e-4 and a tolerance of 0.01; see the limits below.
/// @param yieldType  100 von Mises; 101 Hill 1979, fourth form.
/// @param yieldParameters  in: nothing for von Mises; [r, m] for Hill: normal anisotropy coefficient and exponent,
///        m > 1. r = 1 and m = 2 is von Mises.
/// @return 0 always.
///
/// Codes that a function does not know, for the curve, the yield criterion or the hardening rule: it returns 0 and
/// leaves `curve` untouched, whatever the other arguments are.
///
/// CInvalidArgException is thrown, and `curve` stays as it was, when
///   - a parameter array has fewer entries than named here (further entries are not read),
///   - N is NaN or outside 0 ... 10000,
///   - a hardening table has fewer than two points,
///   - fewer than two paths on the left of plane strain have a limit point: the plane-strain point cannot be found.
///     N = 4 is the least that has two with von Mises; N = 1 has the stress ratio 0/0.
///
/// Paths without a point. A path whose |beta| is at most tol at the start is plane strain already. A path that can't
/// end stores no point either, and the others go on: dphi/dbeta or beta is infinite, nothing changes from one step to
/// the next, it is certain that the path turns no more, or its major strain has reached 20 (-20 with a negative
/// increment). Hill 1979 with m other than 2 has no point for alpha = 1. A beta that is not a number ends its path as a
/// small one does, and the point is stored: constants without meaning (m < 1, negative bases) give points that are not
/// finite.
///
/// Limits of the method. Close to plane strain a step changes beta by about increment / beta, so that the march jumps
/// across plane strain when tol is below about 0.5 sqrt(increment); the limit strains then scatter. Too large a
/// tolerance ends paths early.
///
/// Time: about 1 ms for a path with an increment of 1e-4, in inverse proportion to the increment; nothing limits the
/// number of steps. A path that never ends costs up to 20 / increment steps of 0.1 to 0.3 microseconds, twenty times as
/// much as another, so bound the increment (1e-7, say) when it comes from somebody else. A tol of 0 or less makes every
/// path such a one. Calls from several threads share nothing.

extern "C" {

/// Forming-limit curve of a hardening rule given by constants.
///
/// @param curve, flcType, flcParameters, yieldType, yieldParameters  see the top of this header.
/// @param hardeningType  200 Ghosh, sigma = K (e0 + eps)^n - p; 201 Hockett-Sherby,
///        sigma = ss - (ss - si) exp(-N eps^p). 298 is known to FormingLimitCurveCustomHR only.
/// @param hardeningParameters  in: four values, [K, e0, n, p] or [si, ss, N, p].
/// @return 0 always.
XEM_EXPORT std::int32_t FormingLimitCurve(CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, std::int32_t flcType,
                                          const CArray<double, double&>& flcParameters, std::int32_t yieldType,
                                          const CArray<double, double&>& yieldParameters, std::int32_t hardeningType,
                                          const CArray<double, double&>& hardeningParameters);

/// Forming-limit curve of a tabulated flow curve.
///
/// @param curve, flcType, flcParameters, yieldType, yieldParameters  see the top of this header.
/// @param hardeningType  298. 200 and 201 are known to FormingLimitCurve only.
/// @param hardeningCurve  in: at least two points (equivalent plastic strain, flow stress), strains ascending.
///        Values between points and beyond both ends are linear. The slope at a strain is taken over the point at
///        or above it and the neighbours of that point, so a coarse table smooths the kinks of its segments; beyond
///        the ends it is that of the end segment. Points out of order give results without meaning, but are safe.
///        May be the same array as `curve`.
/// @return 0 always.
XEM_EXPORT std::int32_t FormingLimitCurveCustomHR(CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& curve, std::int32_t flcType,
                                                  const CArray<double, double&>& flcParameters, std::int32_t yieldType,
                                                  const CArray<double, double&>& yieldParameters,
                                                  std::int32_t hardeningType,
                                                  const CArray<_T_FUNT_BASE, _T_FUNT_BASE&>& hardeningCurve);

}  // extern "C"

#endif
