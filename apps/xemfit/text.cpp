#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <system_error>

namespace Xem::Tool {
namespace {

constexpr std::size_t kLongestQuote = 200;

template <class Number>
std::optional<Number> Parse(std::string_view text) {
  text = Trimmed(text);
  if (!text.empty() && text.front() == '+' && !text.starts_with("+-")) text.remove_prefix(1);
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return value;
}

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

bool EqualIgnoringCase(std::string_view a, std::string_view b) { return Lower(a) == Lower(b); }

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
  return fmt::format("{}", fmt::join(parts, separator));
}

std::optional<double> ParseNumber(std::string_view text) { return Parse<double>(text); }

std::optional<int> ParseCount(std::string_view text) { return Parse<int>(text); }

bool HasDecimalComma(std::string_view text) {
  std::string candidate(text);
  if (std::count(candidate.begin(), candidate.end(), ',') != 1) return false;
  std::replace(candidate.begin(), candidate.end(), ',', '.');
  return ParseNumber(candidate).has_value();
}

std::string Exactly(double value) { return fmt::format("{}", value); }

std::string Shortly(double value) { return fmt::format("{:.6g}", value); }

std::string Printable(std::string_view text) {
  std::string printable(text.substr(0, kLongestQuote));
  for (char& letter : printable) {
    if (std::iscntrl(static_cast<unsigned char>(letter))) letter = ' ';
  }
  return text.size() > kLongestQuote ? printable + "..." : printable;
}

std::string Quoted(std::string_view text) { return '"' + Printable(text) + '"'; }

}  // namespace Xem::Tool
