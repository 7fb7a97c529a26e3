#pragma once

#include <span>
#include <vector>

#include "xem/records.h"

namespace Xem::MaterialUtil {

/// What turns a grading into retention points.
struct GradingConversion {
  double porosity = 0.4;
  double particleDensity = 2.65;  ///< Mg/m3
  double exponent = 1.38;         ///< a of Arya and Paris; 1.38 is their value
};

/// Retention points (suction in kPa, volumetric water content) from a grading (diameter in mm, passing as fraction or
/// percent), by ascending suction: Arya and Paris (1981), "A physicoempirical model to predict the soil moisture
/// characteristic from particle-size distribution and bulk density data".
///
/// The grading is cut at fixed diameters into classes (lo, hi). A class of mass share w has spheres of radius
/// R = sqrt(lo hi) / 2, n = 3 w / (4 pi rho R^3) of them per gram, and pores of radius
/// r = R sqrt(2/3 e n^(1 - a)) with the void ratio e; it gives one point, at the suction 2 * 0.0728 N/m / r (zero
/// contact angle, 20 degrees C) and the water content porosity (F(lo) + w/2). Lengths are in cm: n is a count per
/// gram, so the exponent depends on the unit. Material finer than the smallest diameter holds water in F(lo) but
/// makes no class.
///
/// Diameters that are not positive, negative passings and numbers that are not finite are dropped; order, scale and
/// repeated 100 % points do not matter, and passings that fall are lifted to the running maximum. A grading with one
/// diameter, or with one passing throughout, has no class and gives no point.
std::vector<_T_FUNT_BASE> RetentionFromGrading(std::span<const _T_FUNT_BASE> grading,
                                               const GradingConversion& conversion);

}  // namespace Xem::MaterialUtil
