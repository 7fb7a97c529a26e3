#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <system_error>

namespace Xem::Tool {
namespace {

constexpr std::size_t kLongestQuote = 300;

template <class Number>
std::optional<Number> Parse(std::string_view text) {
  text = Trimmed(text);
  if (!text.empty() && text.front() == '+' && !text.starts_with("+-")) text.remove_prefix(1);
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return value;
}

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// Length of the UTF-8 sequence that a byte begins; 0 when it begins none.
std::size_t SequenceLength(char first) {
  const auto byte = static_cast<unsigned char>(first);
  if (byte < 0x80) return 1;
  if (byte >= 0xC2 && byte < 0xE0) return 2;
  if (byte >= 0xE0 && byte < 0xF0) return 3;
  return byte >= 0xF0 && byte < 0xF5 ? 4 : 0;
}

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = SequenceLength(text.front());
    if (length == 0 || length > text.size()) return false;
    const std::string_view rest = text.substr(1, length - 1);
    if (!std::all_of(rest.begin(), rest.end(), IsContinuation)) return false;
    text.remove_prefix(length);
  }
  return true;
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

std::string AsUtf8(std::string_view text) {
  if (IsUtf8(text)) return std::string(text);
  std::string converted;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte >= 0x80) converted += static_cast<char>(0xC0 | (byte >> 6));
    converted += byte < 0x80 ? letter : static_cast<char>(0x80 | (byte & 0x3F));
  }
  return converted;
}

std::string Printable(std::string_view text) {
  std::size_t length = std::min(text.size(), kLongestQuote);
  while (length > 0 && length < text.size() && IsContinuation(text[length])) --length;
  std::string printable(text.substr(0, length));
  for (char& letter : printable) {
    if (std::iscntrl(static_cast<unsigned char>(letter))) letter = ' ';
  }
  return length < text.size() ? printable + "..." : printable;
}

std::string Quoted(std::string_view text) { return '"' + Printable(text) + '"'; }

}  // namespace Xem::Tool
