#include "text/text.h"

#include <algorithm>
#include <cctype>

#include "text/utf8.h"

namespace Xem::Strings {
namespace {

constexpr std::size_t kLongestQuote = 300;

}  // namespace

std::string_view Trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& letter : lower) letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
  return lower;
}

bool EqualIgnoringCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](char one, char other) {
    return std::tolower(static_cast<unsigned char>(one)) == std::tolower(static_cast<unsigned char>(other));
  });
}

std::vector<std::string> Split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (;;) {
    const auto end = text.find(separator);
    parts.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return parts;
    text.remove_prefix(end + 1);
  }
}

std::string Join(const std::vector<std::string>& parts, std::string_view separator) {
  std::string joined;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (i > 0) joined += separator;
    joined += parts[i];
  }
  return joined;
}

std::string OneLine(std::string text) {
  for (char& letter : text) {
    if (std::iscntrl(static_cast<unsigned char>(letter))) letter = ' ';
  }
  return text;
}

std::string Printable(std::string_view text) {
  const std::string_view shown = Beginning(text, kLongestQuote);
  const std::string printable = OneLine(std::string(shown));
  return shown.size() < text.size() ? printable + "..." : printable;
}

std::string Quoted(std::string_view text) { return '"' + Printable(text) + '"'; }

}  // namespace Xem::Strings
