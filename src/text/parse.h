#pragma once

#include <optional>
#include <string_view>

namespace Xem::Strings {

/// The whole text as a number with `.` as the decimal sign, whatever the locale; may be NaN or infinite when the text
/// says so. Nothing when the text is not a number or lies outside the range of a double.
std::optional<double> ParseNumber(std::string_view text);
std::optional<int> ParseCount(std::string_view text);

/// What the decimal sign of a number can be.
enum class NumberForm {
  None,       ///< not a number
  Whole,      ///< no sign that could be one
  Point,      ///< 0.25, 1,234.5 or 1,234,567
  Comma,      ///< 0,25, 1.234,5 or 1.234.567
  Thousands,  ///< 1,234: a decimal comma or a comma between thousands
};
NumberForm FormOf(std::string_view text);

/// A number as it is written with a decimal comma, or with a point. Signs between thousands are understood where the
/// decimal sign stands beside them or where there are several, else if `grouped` says so.
std::optional<double> ParseWrittenNumber(std::string_view text, bool decimalComma, bool grouped);

}  // namespace Xem::Strings
