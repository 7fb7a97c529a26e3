#include "text/parse.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <string>
#include <system_error>

#include "text/text.h"

namespace Xem::Strings {
namespace {

bool IsDigit(char letter) { return letter >= '0' && letter <= '9'; }

template <class Number>
std::optional<Number> Parse(std::string_view text) {
  text = Trimmed(text);
  if (!text.empty() && text.front() == '+' && !text.starts_with("+-")) text.remove_prefix(1);
  Number value{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || text.empty()) return std::nullopt;
  return value;
}

std::size_t CountOf(std::string_view text, char letter) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), letter));
}

/// 1,234 or 12,345,678, with a sign before it or without: one to three digits that do not begin with 0, then threes.
bool IsGrouped(std::string_view text, char mark) {
  if (!text.empty() && (text.front() == '+' || text.front() == '-')) text.remove_prefix(1);
  std::size_t first = text.find(mark);
  if (first == std::string_view::npos || first < 1 || first > 3 || text.front() == '0') return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool atMark = i >= first && (i - first) % 4 == 0;
    if (atMark ? text[i] != mark : !IsDigit(text[i])) return false;
  }
  return (text.size() - first) % 4 == 0;
}

std::string Without(std::string_view text, char letter) {
  std::string kept(text);
  kept.erase(std::remove(kept.begin(), kept.end(), letter), kept.end());
  return kept;
}

std::string WithPoint(std::string_view text) {
  std::string point(text);
  std::replace(point.begin(), point.end(), ',', '.');
  return point;
}

}  // namespace

std::optional<double> ParseNumber(std::string_view text) { return Parse<double>(text); }

std::optional<int> ParseCount(std::string_view text) { return Parse<int>(text); }

NumberForm FormOf(std::string_view text) {
  text = Trimmed(text);
  const auto isPart = [](char letter) {
    return IsDigit(letter) || std::string_view("+-.,eE").find(letter) != std::string_view::npos;
  };
  if (text.empty() || !std::all_of(text.begin(), text.end(), isPart)) return NumberForm::None;
  const std::size_t commas = CountOf(text, ',');
  const std::size_t points = CountOf(text, '.');
  if (commas == 0 && points <= 1) {
    if (!ParseNumber(text)) return NumberForm::None;
    return points == 0 ? NumberForm::Whole : NumberForm::Point;
  }
  if (commas == 1 && points == 0 && IsGrouped(text, ',')) return NumberForm::Thousands;
  if (ParseWrittenNumber(text, true, false)) return NumberForm::Comma;
  return ParseWrittenNumber(text, false, false) ? NumberForm::Point : NumberForm::None;
}

std::optional<double> ParseWrittenNumber(std::string_view text, bool decimalComma, bool grouped) {
  const char mark = decimalComma ? '.' : ',';
  const std::size_t marks = CountOf(text, mark);
  if (marks == 0) return decimalComma ? ParseNumber(WithPoint(text)) : ParseNumber(text);
  text = Trimmed(text);
  const char sign = decimalComma ? ',' : '.';
  const std::size_t decimal = text.find(sign);
  if (!IsGrouped(text.substr(0, decimal), mark) || text.find(mark, std::min(decimal, text.size())) != text.npos) {
    return std::nullopt;
  }
  if (decimal == text.npos && marks == 1 && !grouped) return std::nullopt;
  return ParseWrittenNumber(Without(text, mark), decimalComma, grouped);
}

}  // namespace Xem::Strings
