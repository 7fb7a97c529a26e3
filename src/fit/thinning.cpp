#include <algorithm>
#include <cmath>
#include <functional>
#include <queue>

#include "fit/assemble.h"
#include "xem/fit/prepare.h"

namespace Xem::Fit {
namespace {

/// Distances of points from the straight lines between others, as shares of the ranges of strain and stress.
class Distance {
 public:
  explicit Distance(const Curve& curve) : curve_(curve) {
    const auto [left, right] = std::minmax_element(curve.x.begin(), curve.x.end());
    const auto [low, high] = std::minmax_element(curve.y.begin(), curve.y.end());
    width_ = *right > *left ? *right - *left : 1.0;
    height_ = *high > *low ? *high - *low : 1.0;
    oneWay_ = std::is_sorted(curve.x.begin(), curve.x.end()) ||
              std::is_sorted(curve.x.begin(), curve.x.end(), std::greater<>());
  }

  double Height() const { return height_; }

  /// Of point i from the line between two others: along the ordinate, or, where the curve goes back and forth, to the
  /// nearest point of the line.
  double operator()(std::size_t first, std::size_t i, std::size_t last) const {
    const double dx = (curve_.x[last] - curve_.x[first]) / width_;
    const double dy = (curve_.y[last] - curve_.y[first]) / height_;
    const double x = (curve_.x[i] - curve_.x[first]) / width_;
    const double y = (curve_.y[i] - curve_.y[first]) / height_;
    if (oneWay_ && dx != 0.0) return std::abs(y - dy * x / dx);
    const double length = dx * dx + dy * dy;
    const double along = length > 0.0 ? std::clamp((x * dx + y * dy) / length, 0.0, 1.0) : 0.0;
    return std::hypot(x - along * dx, y - along * dy);
  }

 private:
  const Curve& curve_;
  double width_ = 1.0;
  double height_ = 1.0;
  bool oneWay_ = true;
};

/// A piece between two points that are kept, with the point that lies furthest from its line.
struct Piece {
  double distance = 0.0;
  std::size_t first = 0;
  std::size_t furthest = 0;
  std::size_t last = 0;

  bool operator<(const Piece& other) const {
    return distance != other.distance ? distance < other.distance : last - first < other.last - other.first;
  }
};

Piece MakePiece(const Distance& distance, std::size_t first, std::size_t last) {
  Piece piece{0.0, first, first + (last - first) / 2, last};
  for (std::size_t i = first + 1; i < last; ++i) {
    const double own = distance(first, i, last);
    if (own > piece.distance) {
      piece.distance = own;
      piece.furthest = i;
    }
  }
  return piece;
}

Curve Chosen(const Curve& curve, const std::vector<std::size_t>& kept) {
  Curve chosen = curve;
  const auto choose = [&](const auto& all, auto& some) {
    if (all.empty()) return;
    some.clear();
    for (const std::size_t i : kept) some.push_back(all[i]);
  };
  choose(curve.x, chosen.x);
  choose(curve.y, chosen.y);
  choose(curve.lateral, chosen.lateral);
  choose(curve.rows, chosen.rows);
  return chosen;
}

/// The value at `at` of the parabola through the values from `first` on, by least squares over their places.
double Parabola(const std::vector<double>& values, std::size_t first, std::size_t count, double at) {
  // Legendre-like polynomials of the places, which do not mix: sums over equally spaced places are known.
  const double n = static_cast<double>(count);
  const double middle = static_cast<double>(first) + 0.5 * (n - 1.0);
  const double square = (n * n - 1.0) / 12.0;                 // mean of t^2
  const double fourth = square * (3.0 * n * n - 7.0) / 20.0;  // mean of t^4
  double mean = 0.0;
  double slope = 0.0;
  double bend = 0.0;
  for (std::size_t i = first; i < first + count; ++i) {
    const double t = static_cast<double>(i) - middle;
    mean += values[i];
    slope += values[i] * t;
    bend += values[i] * (t * t - square);
  }
  const double t = at - middle;
  return (mean + slope * t / square + bend * (t * t - square) / (fourth - square * square)) / n;
}

}  // namespace

Thinned Thin(const Curve& curve, std::size_t points) {
  if (points < 2) throw Error(ErrorKind::BadInput, "a curve cannot be thinned to fewer than 2 points");
  const std::size_t size = curve.x.size();
  if (size <= points) return {curve, 0.0};
  const Distance distance(curve);
  std::priority_queue<Piece> pieces;
  std::vector<std::size_t> kept{0, size - 1};
  pieces.push(MakePiece(distance, 0, size - 1));
  while (kept.size() < points) {
    const Piece piece = pieces.top();
    pieces.pop();
    kept.push_back(piece.furthest);
    pieces.push(MakePiece(distance, piece.first, piece.furthest));
    pieces.push(MakePiece(distance, piece.furthest, piece.last));
  }
  std::sort(kept.begin(), kept.end());
  return {Chosen(curve, kept), pieces.top().distance * distance.Height()};
}

Smoothed Smooth(const Curve& curve) {
  const std::size_t size = curve.x.size();
  const std::size_t window = std::clamp<std::size_t>(size / 50, 5, 51) / 2 * 2 + 1;
  if (size < window) {
    throw Error(ErrorKind::BadData, "curve " + curve.name + ": smoothing needs at least 5 points");
  }
  Smoothed smoothed{curve, static_cast<int>(window), 0.0};
  for (std::size_t i = 0; i < size; ++i) {
    const std::size_t first = std::min(i - std::min(i, window / 2), size - window);
    smoothed.curve.y[i] = Parabola(curve.y, first, window, static_cast<double>(i));
    const double way = smoothed.curve.y[i] - curve.y[i];
    smoothed.moved += way * way / static_cast<double>(size);
  }
  smoothed.moved = std::sqrt(smoothed.moved);
  return smoothed;
}

}  // namespace Xem::Fit
