#pragma once

#include <map>
#include <string>
#include <vector>

#include "xem/fit/fit.h"

namespace Xem::Fit {

/// The rows that gave no point when the curves were read.
std::vector<DroppedPoint> UnusedRows(const Tests& tests);

/// Takes the points outside of the ranges of Options out of the measured curves and returns them. Throws Error:
/// BadInput for a curve that the tests do not have or a range without extent, BadData when no point of a curve is left.
std::vector<DroppedPoint> KeepRanges(const std::map<std::string, Interval>& ranges, Tests& tests);

}  // namespace Xem::Fit
