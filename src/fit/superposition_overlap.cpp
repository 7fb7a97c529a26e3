#include "fit/superposition_overlap.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

#include "xem/fit/result.h"

namespace Xem::Fit {
namespace {

/// A curve goes on beyond its ends as far as this.
constexpr double kProlonged = 0.5 * std::numbers::ln10;

/// Points that the slope at an end is taken from.
constexpr std::size_t kEnd = 3;

/// Counts like the squared distances of one more point: few points that happen to agree must not beat many.
constexpr double kOnePoint = 0.02 * 0.02;

/// EndSlope of the straight line through some points.
double EndSlope(const LogCurve& curve, std::size_t from, std::size_t count) {
  double mx = 0.0;
  double my = 0.0;
  for (std::size_t i = from; i < from + count; ++i) {
    mx += curve.x[i] / static_cast<double>(count);
    my += curve.y[i] / static_cast<double>(count);
  }
  double product = 0.0;
  double square = 0.0;
  for (std::size_t i = from; i < from + count; ++i) {
    product += (curve.x[i] - mx) * (curve.y[i] - my);
    square += (curve.x[i] - mx) * (curve.x[i] - mx);
  }
  return square > 0.0 ? product / square : 0.0;
}

/// Straight between the points and for a little beyond them.
class OverlapLine {
 public:
  explicit OverlapLine(const LogCurve& curve) : curve_(curve) {
    const std::size_t count = std::min(kEnd, curve.x.size());
    first_ = EndSlope(curve, 0, count);
    last_ = EndSlope(curve, curve.x.size() - count, count);
  }

  bool Reaches(double x) const { return x >= curve_.x.front() - kProlonged && x <= curve_.x.back() + kProlonged; }

  double At(double x) const {
    const auto& xs = curve_.x;
    const auto& ys = curve_.y;
    if (x <= xs.front()) return ys.front() + first_ * (x - xs.front());
    if (x >= xs.back()) return ys.back() + last_ * (x - xs.back());
    const auto right = static_cast<std::size_t>(std::upper_bound(xs.begin(), xs.end(), x) - xs.begin());
    const double share = (x - xs[right - 1]) / (xs[right] - xs[right - 1]);
    return ys[right - 1] + share * (ys[right] - ys[right - 1]);
  }

 private:
  const LogCurve& curve_;
  double first_ = 0.0;
  double last_ = 0.0;
};

struct OverlapDistance {
  double squares = 0.0;
  double points = 0.0;

  void Add(const LogCurve& points_, double shift, const OverlapLine& line) {
    for (std::size_t i = 0; i < points_.x.size(); ++i) {
      const double x = points_.x[i] + shift;
      if (!line.Reaches(x)) continue;
      const double apart = points_.y[i] - line.At(x);
      squares += apart * apart;
      points += 1.0;
    }
  }
};

}  // namespace

double OverlapShift(const LogCurve& fixed, const LogCurve& moved) {
  constexpr double kNarrowStep = 0.02;
  constexpr double kFewest = 3.0;
  constexpr double kStay = 1e-7;  // of two places alike the nearer one
  const OverlapLine fixedLine(fixed);
  const OverlapLine movedLine(moved);
  const auto cost = [&](double shift) {
    OverlapDistance distance;
    distance.Add(moved, shift, fixedLine);
    distance.Add(fixed, -shift, movedLine);
    if (distance.points < kFewest) return std::numeric_limits<double>::infinity();
    return (distance.squares + kOnePoint) / distance.points + kStay * shift * shift;
  };
  const double from = fixed.x.front() - moved.x.back() - kProlonged;
  const double to = fixed.x.back() - moved.x.front() + kProlonged;
  double best = 0.0;
  double least = cost(0.0);
  for (double shift = from; shift <= to; shift += kNarrowStep) {
    const double here = cost(shift);
    if (here < least) {
      least = here;
      best = shift;
    }
  }
  if (std::isfinite(least)) return best;
  throw Error(ErrorKind::BadData, "curves of neighbouring temperatures have too few points to be laid on each other");
}

}  // namespace Xem::Fit
