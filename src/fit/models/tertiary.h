#pragma once

#include <cstddef>
#include <optional>

#include "xem/fit/result.h"

namespace Xem::Fit {

/// The index of the first point of an accelerating last stage in a creep curve sorted by time, if it shows one.
///
/// The strains, with relative residuals, are fitted by a t^m + b t and by that plus c (t - t0)^3 after some t0, all
/// coefficients positive, on grids of m and t0. There is a tertiary stage when the third term lowers the corrected
/// Akaike criterion by more than 10; it starts where that term exceeds the scatter of the points.
std::optional<std::size_t> FirstTertiaryPoint(const Curve& sorted);

}  // namespace Xem::Fit
