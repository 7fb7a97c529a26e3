#pragma once

#include <string>
#include <vector>

#include "fit/problem.h"
#include "xem/fit/result.h"

namespace Xem::Fit {

/// Intervals of the parameters from fits to resampled residuals: to the fitted values of every curve its own weighted
/// residuals, about their mean and enlarged by sqrt(m / (m - p)), are added in random order with repetition, and the
/// problem is minimised again from `minimum` (Efron and Tibshirani 1993). Percentiles of the values found are the
/// interval; NaN for held parameters. `options` has number, seed and level; a note says what went wrong.
std::vector<Interval> BootstrapIntervals(const Problem& problem, const Minimum& minimum, const Options& options,
                                         std::vector<std::string>& notes);

}  // namespace Xem::Fit
