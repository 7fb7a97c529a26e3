#pragma once

#include <string>

#include "batch/outcome.h"

namespace Xem::Tool {

/// What a fit must be to be counted in means and scatter. A number that a result does not have opens its gate.
struct Gates {
  double leastR2 = 0.9;
  double mostDropped = 0.5;   ///< share of the measured points
  bool allowUnclear = false;  ///< parameters at a bound of their range, or not identifiable
};

/// Why a fit is not counted; empty when nothing speaks against it, and for what did not fit.
std::string DoubtsAbout(const Outcome& outcome, const Gates& gates);

}  // namespace Xem::Tool
