#include "command/values.h"

#include <fmt/format.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <string_view>

#include "failure.h"
#include "numbers.h"
#include "text.h"

namespace Xem::Tool {
namespace {

constexpr int kLargestGrid = 1000000;

[[noreturn]] void RefuseValue(const std::string& sentence) { throw Failure(ExitCode::Usage, sentence); }

}  // namespace

std::vector<double> ParseGrid(const std::string& text, const std::string& option) {
  const auto parts = Split(text, ':');
  const auto part = [&](std::size_t i) { return i < parts.size() ? std::string_view(parts[i]) : std::string_view(); };
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  const double from = ParseNumber(part(0)).value_or(kNaN);
  const double to = ParseNumber(part(1)).value_or(kNaN);
  const auto given = ParseCount(part(2));
  if (parts.size() != 3 || !std::isfinite(from) || !std::isfinite(to) || !given) {
    RefuseValue(fmt::format("{}: {} is not of the form FROM:TO:COUNT, such as 0:2:200", option, Quoted(text)));
  }
  const int count = given.value_or(0);
  if (count < 2 || count > kLargestGrid) {
    RefuseValue(fmt::format("{}: the count of {} must be between 2 and {}", option, Quoted(text), kLargestGrid));
  }
  if (!(from < to))
    RefuseValue(fmt::format("{}: in {} the first number must be below the second", option, Quoted(text)));
  const double span = to - from;
  if (!std::isfinite(span * count))
    RefuseValue(fmt::format("{}: the numbers of {} are too far apart", option, Quoted(text)));
  std::vector<double> grid;
  grid.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i + 1 < count; ++i) grid.push_back(from + span * i / (count - 1));
  grid.push_back(to);
  return grid;
}

NumberInterval ParseInterval(const std::string& text, const std::string& option) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const auto parts = Split(text, ':');
  const auto side = [&](std::size_t i, double otherwise) -> std::optional<double> {
    if (Trimmed(parts[i]).empty()) return otherwise;
    const auto number = ParseNumber(parts[i]);
    return number && std::isfinite(*number) ? number : std::nullopt;
  };
  const auto lower = parts.size() == 2 ? side(0, -kInfinity) : std::nullopt;
  const auto upper = parts.size() == 2 ? side(1, kInfinity) : std::nullopt;
  if (!lower || !upper || (std::isinf(*lower) && std::isinf(*upper))) {
    RefuseValue(fmt::format("{}: {} is not of the form LO:HI, such as 0:2, 0: or :2", option, Quoted(text)));
  }
  if (!(*lower < *upper)) {
    RefuseValue(fmt::format("{}: in {} the first number must be below the second", option, Quoted(text)));
  }
  return {*lower, *upper};
}

CountRange ParseCountRange(const std::string& text, int lowest, int highest, const std::string& context) {
  const auto dots = text.find("..");
  const auto from = ParseCount(text.substr(0, dots));
  const auto to = dots == std::string::npos ? from : ParseCount(text.substr(dots + 2));
  if (!from || !to)
    RefuseValue(fmt::format("{}: {} is neither a number nor a range such as 1..3", context, Quoted(text)));
  if (*from < lowest || *to < lowest || *from > highest || *to > highest) {
    RefuseValue(fmt::format("{}: {} must lie between {} and {}", context, Printable(text), lowest, highest));
  }
  if (*from > *to) RefuseValue(fmt::format("{}: {} ends before it begins", context, Quoted(text)));
  return {*from, *to};
}

}  // namespace Xem::Tool
