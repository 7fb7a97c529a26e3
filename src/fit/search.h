#pragma once

#include <cstddef>
#include <vector>

#include "fit/problem.h"

/// Starts for models whose misfit has several valleys, and coordinates in which narrow valleys are straight.
namespace Xem::Fit {

/// Values at which a parameter stays while others are fitted, to see in which valley they lie.
struct GridAxis {
  std::size_t parameter = 0;
  std::vector<double> values;
};

/// Of all points of a grid, with the other free parameters a few steps down from their values in `base`, the `count`
/// that fit best. Axes of held parameters have the one value of `base`.
std::vector<std::vector<double>> GridStarts(const Problem& problem, const std::vector<double>& base,
                                            const std::vector<GridAxis>& grid, std::size_t count);

/// The best minimum in the valleys that the starts lead to, the earliest on ties. Parameters whose range is positive
/// move in their logarithm, in which products and powers of them, such as the valleys of exponents and scales, are
/// straight. Each start goes down for some steps, the `followed` lowest of them to their minimum.
Minimum MinimiseValleys(const Problem& problem, const std::vector<std::vector<double>>& starts, std::size_t followed);

}  // namespace Xem::Fit
