#pragma once

#include <functional>
#include <vector>

#include "xem/fit/result.h"

namespace Xem::Fit {

/// Gives the stability limits of a fit their 95 % intervals; `limitsAt` has the limits for other values of the result's
/// parameters.
///
/// With a root L of the covariance, C = L L^T, and Student's factor t, each column of t L is added to the parameters
/// and taken from them. To first order the squares of what a limit then moves by add up to those of its interval;
/// upward and downward are summed apart, because limits are anything but linear in parameters
/// (docs/theory/stability.md).
void AddStabilityIntervals(const std::function<Stability(const std::vector<double>&)>& limitsAt, Result& result);

}  // namespace Xem::Fit
