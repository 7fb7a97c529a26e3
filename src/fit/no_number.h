#pragma once

#include <limits>

namespace Xem::Fit {

/// For what is unknown, not given or without meaning.
inline constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

}  // namespace Xem::Fit
