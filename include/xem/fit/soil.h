#ifndef XEM_FIT_SOIL_H
#define XEM_FIT_SOIL_H

#include <limits>
#include <string>
#include <vector>

#include "xem/fit/result.h"

/// @file
/// Water retention of unsaturated soil.
namespace Xem::Fit {

enum class WaterMeasure {
  Content,     ///< volumetric, m3/m3
  Saturation,  ///< share of the pores; needs the porosity
};

enum class RetentionPoints {
  Measured,  ///< the retention curve; the grading, if there is one, is only compared with it
  Grading,   ///< points derived from the grading
  Both,
};

/// One soil: a retention curve, a grading, or both. Either may be empty.
struct RetentionData {
  Curve retention;                             ///< suction, water; named "retention" in results
  std::string suctionUnit = "kPa";             ///< one of SuctionUnits
  WaterMeasure water = WaterMeasure::Content;  ///< what the ordinates of `retention` are
  Curve grading;                               ///< diameter, passing as fraction or percent; named "grading"
  std::string diameterUnit = "mm";             ///< "mm", "um", "cm" or "m"
  double porosity = std::numeric_limits<double>::quiet_NaN();  ///< in (0, 1); NaN: the largest measured content
  double particleDensity = 2.65;                               ///< Mg/m3
  double exponent = 1.38;                                      ///< of Arya and Paris (1981)
  RetentionPoints points = RetentionPoints::Measured;          ///< what is fitted
  /// Saturated hydraulic conductivity, > 0: results get the curve "conductivity" of Mualem (1976). NaN: none is known.
  double saturatedConductivity = std::numeric_limits<double>::quiet_NaN();
  std::string conductivityUnit = {};  ///< of it and of the curve, for people
};

/// "van-genuchten", "van-genuchten-m" (m free), "fredlund-xing", "brooks-corey", "kosugi", "van-genuchten-dual".
XEM_FIT_EXPORT std::vector<std::string> RetentionModels();
/// "Pa", "hPa", "kPa", "MPa", "bar"; "mm", "cm", "m" of water (1 cm = 0.0980665 kPa); "pF" = log10 of suction in cm.
XEM_FIT_EXPORT std::vector<std::string> SuctionUnits();

/// Fits a retention model; formulas and sources are in docs/theory/unsaturated_soil.md.
///
/// Parameters: theta_s, theta_r, alpha, n [, m]; theta_s, a, n, m, psi_r; theta_s, theta_r, psi_b, lambda; theta_r,
/// theta_s, psi_m, sigma; theta_r, theta_s, w, alpha1, n1, alpha2, n2, the larger alpha first. Suctions in parameters
/// and curves are in `suctionUnit`, in cm for pF; contents are m3/m3. psi_r is held at 1500 kPa unless `options` gives
/// it a start or another value.
///
/// With a saturated conductivity the result has a curve "conductivity", K over suction by Mualem's closed form, and
/// Result::derived["saturated_conductivity"].
///
/// theta_r counts as not identifiable when the driest fitted point still holds more than 30 % of the drainable water,
/// or when its standard error exceeds a quarter of theta_s; its value is then an extrapolation. Points derived
/// from a grading appear as the curve "grading" whether they are fitted or not; those that are not take no part in
/// Result::measures. The porosity in use is Result::derived["porosity"] when a grading or saturation is there.
///
/// Throws Error: BadInput for an unknown model, unit or parameter name, an impossible porosity or conductivity, or a
/// model without a closed form of the conductivity that is asked for; BadData for points
/// that cannot be used, fewer distinct suctions than free parameters, contents that look like percent or do not
/// change, or a grading without a class that is to be fitted.
XEM_FIT_EXPORT Result FitRetention(const RetentionData& data, const std::string& model, const Options& options = {});

/// Water content of a model at a suction. `parameters` are in the order and, as the suction, in the unit that
/// FitRetention uses for `suctionUnit`. Throws Error (BadInput) for a wrong name or count.
XEM_FIT_EXPORT double RetentionContent(const std::string& model, const std::vector<double>& parameters, double suction,
                                       const std::string& suctionUnit = "kPa");

}  // namespace Xem::Fit

#endif
