#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Xem::Strings {

std::string_view Trimmed(std::string_view text);
std::string Lower(std::string_view text);
bool EqualIgnoringCase(std::string_view a, std::string_view b);
std::vector<std::string> Split(std::string_view text, char separator);
std::string Join(const std::vector<std::string>& parts, std::string_view separator);

/// Without line breaks and other control characters.
std::string OneLine(std::string text);
/// The same, and not longer than a message can bear.
std::string Printable(std::string_view text);
/// The same in double quotes.
std::string Quoted(std::string_view text);

}  // namespace Xem::Strings
