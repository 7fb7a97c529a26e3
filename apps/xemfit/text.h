#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Xem::Tool {

std::string_view Trimmed(std::string_view text);
std::string Lower(std::string_view text);
bool EqualIgnoringCase(std::string_view a, std::string_view b);
std::vector<std::string> Split(std::string_view text, char separator);
std::string Join(const std::vector<std::string>& parts, std::string_view separator);

/// The whole text as a number with `.` as the decimal sign, whatever the locale; may be NaN or infinite when the text
/// says so. Nothing when the text is not a number or lies outside the range of a double.
std::optional<double> ParseNumber(std::string_view text);
std::optional<int> ParseCount(std::string_view text);

/// True for numbers such as 0,25 that use a comma as the decimal sign.
bool HasDecimalComma(std::string_view text);

/// The shortest text that reads back as the same number.
std::string Exactly(double value);
/// Six digits, for people.
std::string Shortly(double value);

/// Text in any encoding as UTF-8: what is not UTF-8 already is taken as Latin-1.
std::string AsUtf8(std::string_view text);

/// Without line breaks and other control characters, and not longer than a message can bear.
std::string Printable(std::string_view text);
/// The same in double quotes.
std::string Quoted(std::string_view text);

}  // namespace Xem::Tool
