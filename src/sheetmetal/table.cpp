#include "sheetmetal/table.h"

#include <algorithm>
#include <cstddef>

namespace Xem::MaterialUtil::SheetMetalForming {
namespace {

double SlopeBetween(const _T_FUNT_BASE& a, const _T_FUNT_BASE& b) {
  return (b.second - a.second) / (b.first - a.first);
}

/// The line through a and b.
// Deliberate: always from a, so that the ordinate of b itself comes back rounded.
double OnLine(const _T_FUNT_BASE& a, const _T_FUNT_BASE& b, double abscissa) {
  return a.second + (b.second - a.second) / (b.first - a.first) * (abscissa - a.first);
}

/// Index of the first point at or above `abscissa`; the last point when there is none.
std::size_t FirstAtOrAbove(std::span<const _T_FUNT_BASE> points, double abscissa) {
  const auto found = std::partition_point(points.begin(), points.end() - 1,
                                          [abscissa](const _T_FUNT_BASE& point) { return point.first < abscissa; });
  return static_cast<std::size_t>(found - points.begin());
}

double ValueWith(std::span<const _T_FUNT_BASE> points, double abscissa, std::size_t firstAtOrAbove) {
  const std::size_t last = points.size() - 1;
  if (!(abscissa <= points[last].first)) return OnLine(points[last - 1], points[last], abscissa);
  if (abscissa < points[0].first) return OnLine(points[0], points[1], abscissa);
  const std::size_t k = firstAtOrAbove;
  return k == 0 ? points[0].second : OnLine(points[k - 1], points[k], abscissa);
}

double SlopeWith(std::span<const _T_FUNT_BASE> points, double abscissa, std::size_t firstAtOrAbove) {
  const std::size_t last = points.size() - 1;
  if (abscissa != abscissa) return abscissa;
  if (!(abscissa < points[last].first)) return SlopeBetween(points[last - 1], points[last]);
  const std::size_t k = firstAtOrAbove;
  return SlopeBetween(points[k == 0 ? 0 : k - 1], points[std::min(k + 1, last)]);
}

}  // namespace

double TableValue(std::span<const _T_FUNT_BASE> points, double abscissa) {
  return ValueWith(points, abscissa, FirstAtOrAbove(points, abscissa));
}

double TableSlope(std::span<const _T_FUNT_BASE> points, double abscissa) {
  return SlopeWith(points, abscissa, FirstAtOrAbove(points, abscissa));
}

TablePoint TableAt(std::span<const _T_FUNT_BASE> points, double abscissa) {
  const std::size_t k = FirstAtOrAbove(points, abscissa);
  return {ValueWith(points, abscissa, k), SlopeWith(points, abscissa, k)};
}

}  // namespace Xem::MaterialUtil::SheetMetalForming
