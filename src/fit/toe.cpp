#include <algorithm>
#include <cmath>
#include <cstddef>

#include "fit/assemble.h"
#include "xem/fit/prepare.h"

namespace Xem::Fit {
namespace {

/// A straight line through the points from `first` on, `count` of them.
struct StraightLine {
  double slope = 0.0;
  double x = 0.0;  ///< means
  double y = 0.0;
};

StraightLine LineThrough(const Curve& curve, std::size_t first, std::size_t count) {
  StraightLine line;
  for (std::size_t i = first; i < first + count; ++i) {
    line.x += curve.x[i] / static_cast<double>(count);
    line.y += curve.y[i] / static_cast<double>(count);
  }
  double xx = 0.0;
  double xy = 0.0;
  for (std::size_t i = first; i < first + count; ++i) {
    xx += (curve.x[i] - line.x) * (curve.x[i] - line.x);
    xy += (curve.x[i] - line.x) * (curve.y[i] - line.y);
  }
  line.slope = xx > 0.0 ? xy / xx : 0.0;
  return line;
}

}  // namespace

Toe FindToe(const Curve& curve) {
  constexpr std::size_t kFewest = 8;
  constexpr double kPassed = 0.85;         // of the steepest slope: then the straight part is over
  constexpr double kStraightShare = 0.97;  // of it: belongs to the straight part
  constexpr double kAboveSlack = 0.02;
  const std::size_t size = curve.x.size();
  if (size < kFewest) {
    throw Error(ErrorKind::BadData, "curve " + curve.name + ": a toe needs at least 8 points to be found");
  }
  // A window slides by its fourth part, so that the work does not grow faster than the points.
  const std::size_t window = std::clamp<std::size_t>(size / 25, 4, size / 2);
  const std::size_t step = std::max<std::size_t>(1, window / 4);
  const double highest = *std::max_element(curve.y.begin(), curve.y.end());
  std::vector<std::size_t> starts;
  std::vector<double> slopes;
  std::size_t best = 0;
  for (std::size_t first = 0; first + window <= size; first += step) {
    const StraightLine line = LineThrough(curve, first, window);
    starts.push_back(first);
    slopes.push_back(line.y > kAboveSlack * highest ? line.slope : 0.0);
    if (slopes.back() > slopes[best]) best = slopes.size() - 1;
    if (slopes[best] > 0.0 && slopes.back() < kPassed * slopes[best]) break;
  }
  const double steepest = slopes[best];
  std::size_t from = best;
  std::size_t to = best;
  while (from > 0 && slopes[from - 1] >= kStraightShare * steepest) --from;
  while (to + 1 < slopes.size() && slopes[to + 1] >= kStraightShare * steepest) ++to;
  const std::size_t first = starts[from];
  const std::size_t last = starts[to] + window - 1;
  const StraightLine line = LineThrough(curve, first, last - first + 1);
  if (!(line.slope > 0.0) || !std::isfinite(line.slope)) {
    throw Error(ErrorKind::BadData, "curve " + curve.name +
                                        ": no straight part rises behind its slack; take one loading branch of a test "
                                        "in tension, or leave out --toe");
  }
  return {line.x - line.y / line.slope, line.slope, curve.x[first], curve.x[last]};
}

Curve WithoutToe(const Curve& curve, const Toe& toe) {
  const auto begin = std::find_if(curve.x.begin(), curve.x.end(), [&](double x) { return x >= toe.from; });
  const auto first = static_cast<std::size_t>(begin - curve.x.begin());
  Curve shifted = curve;
  const auto replace = [&](auto& values, auto value) {
    if (values.empty()) return;
    values.erase(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(first));
    values.insert(values.begin(), value);
  };
  replace(shifted.x, toe.strain);
  replace(shifted.y, 0.0);
  replace(shifted.lateral, 0.0);
  replace(shifted.rows, curve.Row(first));
  for (double& x : shifted.x) x -= toe.strain;
  return shifted;
}

}  // namespace Xem::Fit
