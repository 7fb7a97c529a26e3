#pragma once

#include <cmath>
#include <cstdint>
#include <limits>

#include "xem/array.h"

namespace Xem::MaterialUtil {

/// A measured value or result below this magnitude counts as zero everywhere.
inline constexpr double kNegligible = 2.2e-16;

inline bool IsNegligible(double value) { return std::abs(value) < kNegligible; }

/// True for values that a curve keeps: at least kNegligible in magnitude, so neither zero nor NaN.
inline bool IsMeasured(double value) { return std::abs(value) >= kNegligible; }

/// An integer option or flag that a caller gives as a double: truncated towards zero. Values beyond the range of the
/// type become its nearest end, NaN its lowest value, which is nobody's code.
inline std::int32_t TruncateToInt(double value) {
  constexpr double kLowest = std::numeric_limits<std::int32_t>::min();
  constexpr double kHighest = std::numeric_limits<std::int32_t>::max();
  if (!(value > kLowest)) return std::numeric_limits<std::int32_t>::min();
  return value < kHighest ? static_cast<std::int32_t>(value) : std::numeric_limits<std::int32_t>::max();
}

/// Most parameters that one model may have. Memory and time grow with the square and cube of this number, so a
/// senseless count raises instead of taking the machine down.
inline constexpr std::int32_t kMaximumParameterCount = 4096;

/// `count`, or CInvalidArgException when it is negative or above kMaximumParameterCount.
inline std::int32_t CheckedParameterCount(std::int64_t count) {
  if (count < 0 || count > kMaximumParameterCount) throw CInvalidArgException("a parameter count is out of range");
  return static_cast<std::int32_t>(count);
}

}  // namespace Xem::MaterialUtil
