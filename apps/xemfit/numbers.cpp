#include "numbers.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace Xem::Tool {
namespace {

constexpr const char* kNone = "-";

}  // namespace

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
