#pragma once

#include <limits>
#include <string>
#include <vector>

#include "xem/fit/soil.h"
#include "xem/records.h"

namespace Xem::Fit {

/// A unit of suction. pF is read as such and reported in cm.
struct SuctionUnit {
  const char* name;
  double kPa;
  const char* reported;
  bool logarithm = false;
};

/// By name. Throws Error (BadInput) for any other name.
const SuctionUnit& SuctionUnitCalled(const std::string& name);

/// One soil, screened; suctions are in the unit of the report.
struct Soil {
  const SuctionUnit* unit = nullptr;
  double porosity = std::numeric_limits<double>::quiet_NaN();
  Curve retention;            ///< measured
  Curve derived;              ///< from the grading
  std::vector<Curve> fitted;  ///< those of the two that take part
  std::vector<DroppedPoint> dropped;
  std::vector<std::string> notes;

  std::vector<_T_FUNT_BASE> InKilopascal(const Curve& curve) const;
  /// The fitted points of all curves in kPa.
  std::vector<_T_FUNT_BASE> FittedPoints() const;
};

/// Throws Error for data of which nothing can be made.
Soil LoadSoil(const RetentionData& data);

}  // namespace Xem::Fit
