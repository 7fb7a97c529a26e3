#ifndef XEM_STABILITY_H
#define XEM_STABILITY_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"
#include "xem/text.h"

/// @file
/// Stability of fitted hyperelastic models.
///
/// Uniaxial, equibiaxial and pure-shear deformations at constant volume are scanned in compression and in tension, from
/// 1 % nominal strain on in steps of 1 %, added up one by one, for the first strain at which the tangent of the
/// Kirchhoff stress against logarithmic strain is not positive definite (its smallest eigenvalue is negative).
/// Compression is scanned down to `lower`, at most -0.6 (polynomial) or -0.5 (Ogden); tension up to `upper`, at most 9.
/// A lower limit that is not negative, an upper one that is not positive, and NaN are no limits and mean the widest
/// range: -0.6 or -0.5, and 9. To leave out a side give a limit of less than a step, -0.005 or 0.005.
///
/// The report is appended to the caller's text: six lines
///
///     Uniaxial   tension     : stable
///     Uniaxial   compression : unstable at a nominal strain less than   = -0.2300
///     Equbiaxial tension     : unstable at a nominal strain larger than = 0.1400
///     Equbiaxial compression : ...
///     Pure shear tension     : ...
///     Pure shear compression : ...
///
/// each ending in a blank and a newline, and, when any mode fails, an empty line and
///
///     UNSTABLE  HYPERELASTIC  MATERIAL
///
/// Numbers have four decimals (wide "%.4f", with the decimal sign of the C locale in force).
///
/// Volumetric coefficients are those of U = sum D_k (J - 1)^(2k). At constant volume only D_1 enters, and as long as it
/// is clearly larger than the shear modulus its size does not move the limits.

extern "C" {

/// Report for W = sum C_ij (I1 - 3)^i (I2 - 3)^j in the reduced invariants.
///
/// @param coefficients  in: at least N (N + 3) / 2 values C10, C01, C20, ...; fewer throw CInvalidArgException.
/// @param volumetric  in: at least M values, or empty: then M = 1 takes 299/6 times the initial shear modulus (a
///        Poisson ratio of 0.495), and any other M zeros. Without a first coefficient the smallest eigenvalue is
///        zero but for rounding, and the report means nothing.
/// @param order  N, 0 to 64; outside throws CInvalidArgException.
/// @param volumetricTerms  M, 0 to 4096; outside, or more than a non-empty array holds, throws CInvalidArgException.
/// @param lower, upper  nominal strains of the scan, see above.
/// @param unused1, unused2  not read.
/// @param report  in/out: the report is appended; an exception leaves it as it was.
///
/// Throws the LAPACK `info` as an int when an eigenvalue computation fails (coefficients that are not finite).
/// Keeps no state; safe on several threads at once.
XEM_EXPORT void CheckMaterialStability4Polynomial(const CArray<double, double&>& coefficients,
                                                  const CArray<double, double&>& volumetric, std::int32_t order,
                                                  std::int32_t volumetricTerms, double lower, double upper,
                                                  double unused1, double unused2, CString& report);

/// Report for the Ogden model; all else as above.
///
/// @param coefficients  in: at least 2 N values mu_1, alpha_1, ...; fewer throw CInvalidArgException.
/// @param terms  N, 0 to 2048; outside throws CInvalidArgException.
XEM_EXPORT void CheckMaterialStability4Ogden(const CArray<double, double&>& coefficients,
                                             const CArray<double, double&>& volumetric, std::int32_t terms,
                                             std::int32_t volumetricTerms, double lower, double upper, double unused1,
                                             double unused2, CString& report);

}  // extern "C"

#endif
