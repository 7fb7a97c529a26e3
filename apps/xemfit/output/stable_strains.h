#pragma once

#include <string>

#include "xem/fit/result.h"

namespace Xem::Tool {

/// Abscissae of a curve between which a model is stable, infinite where there is no limit.
struct StableStrains {
  double lower;
  double upper;
};

/// For the deformation mode that the curve is named after; unlimited for other curves and for results without a report.
StableStrains StableStrainsOf(const Fit::Result& result, const std::string& curve);

}  // namespace Xem::Tool
