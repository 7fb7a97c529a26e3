#include "numbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

#include "text.h"

namespace Xem::Tool {
namespace {

constexpr const char* kNone = "-";

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

std::string Briefly(double value) { return std::isfinite(value) ? fmt::format("{:.5g}", value) : kNone; }

std::string WithinInterval(double value, double lower, double upper) {
  if (!std::isfinite(value)) return "none";
  double reach = 0.0;
  for (const double end : {lower, upper}) {
    if (std::isfinite(end)) reach = std::max(reach, std::abs(end - value));
  }
  if (reach == 0.0) return Shortly(value);
  return Fixed(value, std::clamp(static_cast<int>(std::ceil(-std::log10(reach / 3.0))), 0, 2));
}

std::string Fixed(double value, int digits) {
  return std::isfinite(value) ? fmt::format("{:.{}f}", value, digits) : kNone;
}

std::string Percent(double share) { return fmt::format("{:.6g} %", 100.0 * share); }

std::string Determination(double r2, int digits) {
  const std::string text = Fixed(r2, digits);
  if (!(r2 < 1.0) || text != Fixed(1.0, digits)) return text;
  return "0." + std::string(static_cast<std::size_t>(digits), '9');
}

}  // namespace Xem::Tool
