#pragma once

// And what nearly every test includes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace Xem::Testing {

/// What limits the agreement of a computed number with its truth.
namespace Tolerance {
inline constexpr double Exact = 0.0;        // copies, held parameters
inline constexpr double Rounding = 1e-12;   // closed forms
inline constexpr double Derivative = 1e-6;  // central differences
inline constexpr double SixDigits = 5e-6;   // references printed with six digits
}  // namespace Tolerance

/// Relative above one, absolute below.
inline void ExpectNear(double actual, double expected, double tolerance, const char* what = "") {
  EXPECT_NEAR(actual, expected, tolerance * std::max(1.0, std::abs(expected))) << what;
}

/// Relative, whatever the magnitude.
inline void ExpectDigits(double actual, double expected, double tolerance, const char* what = "") {
  EXPECT_NEAR(actual, expected, tolerance * std::abs(expected)) << what;
}

inline void ExpectAllDigits(std::span<const double> actual, std::span<const double> expected, double tolerance) {
  ASSERT_GE(actual.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    EXPECT_NEAR(actual[i], expected[i], tolerance * std::abs(expected[i])) << "entry " << i;
  }
}

}  // namespace Xem::Testing
