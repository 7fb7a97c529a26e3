#ifndef XEM_SOIL_H
#define XEM_SOIL_H

#include <cstdint>

#include "xem/export.h"
#include "xem/records.h"

/// @file
/// Water retention of unsaturated soil.
///
/// Suction s is in kPa, water content theta is volumetric, in m3/m3 (not percent), diameters are in mm, passings are
/// fractions or percent. Models and their parameters, in order, with the ranges that a fit keeps free ones in:
///
///   0  van Genuchten, m = 1 - 1/n   theta_s [1e-3, 1], theta_r [0, 1], alpha (1/kPa) [1e-6, 1e4], n [1.01, 20]
///   1  van Genuchten, m free        theta_s, theta_r, alpha as before, n [0.1, 20], m [0.01, 10]
///   2  Fredlund and Xing            theta_s, a (kPa) [1e-3, 1e6], n [0.05, 20], m [0.05, 20], psi_r (kPa) [1, 1e6]
///   3  Brooks and Corey             theta_s, theta_r, psi_b (kPa) [1e-3, 1e5], lambda [0.01, 10]
///
///   0, 1  theta = theta_r + (theta_s - theta_r) (1 + (alpha s)^n)^(-m)
///   2     theta = C theta_s (ln(e + (s/a)^n))^(-m),  C = 1 - ln(1 + s/psi_r) / ln(1 + 10^6/psi_r)
///   3     theta = theta_s for s <= psi_b, else theta_r + (theta_s - theta_r) (psi_b/s)^lambda
///
/// A free theta_r is also kept at or below 0.95 theta_s. At s <= 0 every model gives theta_s.

extern "C" {

/// Fits a retention model to a measured retention curve, to the points that a grading gives by the method of Arya and
/// Paris (1981), or to both.
///
/// The start is found by the function: shapes on a grid, contents by linear least squares. Levenberg-Marquardt with
/// tolerance 1e-3 runs from there and is repeated from its own result until the sum of squares falls by no more than
/// 1e-4 of itself, 20 times at most. Measured and fitted contents enter in percent.
///
/// @param settings  in: [model, data, variant, porosity, particle density, exponent, flag, flag, ...].
///        - 0 model: 0 to 3, see above; 0 is the one to begin with. Model 1 has a flat valley between n and m: for
///          some soils its sum of squares stays up to twice the best one.
///        - 1 data fitted: 0 measured, 1 derived from the grading, 2 both joined, measured first.
///        - 2 solver variant: 1 absolute residuals, anything else relative ones.
///        - 3 porosity, used for the grading; outside (0, 1) or missing: the largest measured water content, or 0.4
///          when that is outside (0, 1) too.
///        - 4 particle density in Mg/m3; not positive or missing: 2.65.
///        - 5 exponent of Arya and Paris; not positive or missing: 1.38.
///        - 6 + k flag of parameter k: 0 fits it, anything else holds it; missing: fitted. Only psi_r of model 2 is
///          held at 1500 kPa, whatever `parameters` says, when its flag is missing.
///        Model, data and variant are truncated towards zero. With fewer than 3 settings, or an unknown model or data
///        code, the function returns 0 at once and writes nothing.
/// @param input  in: `first` measured points (suction, water content); `second` grading (diameter, passing), in any
///        order. Either may be empty. Not used are retention points with negative or infinite suction or with a
///        content below 2.2e-16 in magnitude, gradings' points with a diameter that is not positive or a negative
///        passing, and NaN. A point at suction 0 is used.
/// @param parameters  in/out: on entry the values of held parameters; when the array holds exactly as many finite
///        values as the model has parameters, inside the ranges, these are also the first candidate for the start.
///        A held parameter without a value throws CInvalidArgException. On return the parameters, as many as the
///        model has. Held ones come back bit for bit, wherever they lie.
/// @param output  in/out: `first` fitted curve; when it holds points on entry their suctions are kept and the contents
///        written, otherwise it gets 50 points at suctions 10^(-2 + 8 i / 49) kPa. `second` the points derived from the
///        grading by ascending suction, whatever data were fitted; empty without a grading or when the grading has
///        no class (one diameter, one passing throughout).
/// @return status of the last solver run: 0 converged, -1 stopped after 1000 iterations without a small change. 0
///        without a fit when every parameter is held or no point is left: `parameters` then are the start (theta_s
///        is the porosity of settings[3] when there is no point), and both curves are written all the same.
///
/// Throws LAPACK's `info` as an int when a free parameter has no influence on any point, such as points at suction 0
/// alone, or Brooks and Corey with every point at or below psi_b; then no argument has been written. Input and output
/// may be the same object, and settings and parameters too. Calls share nothing and may run in parallel.
XEM_EXPORT std::int32_t CurveFitting4UnsaturatedSoil(const CArray<double, double&>& settings, const CArray22& input,
                                                     CArray<double, double&>& parameters, CArray22& output);

}  // extern "C"

#endif
