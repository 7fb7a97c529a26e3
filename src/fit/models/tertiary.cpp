#include "fit/models/tertiary.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "fit/assemble.h"
#include "solver/linalg/non_negative.h"

namespace Xem::Fit {
namespace {

using MaterialUtil::Matrix;
using MaterialUtil::SolveNonNegative;

constexpr std::size_t kFewestPoints = 8;
constexpr std::size_t kFewestBefore = 3;
constexpr std::size_t kMostOnsets = 40;
constexpr double kClearlyBetter = 10.0;

/// Scatter below this is not believed.
constexpr double kLeastScatter = 1e-3;

/// A fit of the strains with or without a third term; misfit is the sum of squared relative residuals.
struct StageFit {
  double misfit = std::numeric_limits<double>::infinity();
  double onset = 0.0;
  double acceleration = 0.0;
};

/// A cube begins without a jump in strain, rate or acceleration, so that its onset can lie between two points.
double Cube(double x) { return x * x * x; }

/// The best fit over a grid of time exponents; `onset` beyond the last time leaves the third term out.
StageFit BestOverExponents(const Curve& curve, double onset) {
  const std::size_t points = curve.x.size();
  const bool accelerates = onset < curve.x.back();
  const double scale = curve.x.back();
  Matrix design(static_cast<std::int32_t>(points), accelerates ? 3 : 2);
  const std::vector<double> target(points, 1.0);
  StageFit best;
  for (double exponent = 0.1; exponent < 0.96; exponent += 0.05) {
    for (std::size_t i = 0; i < points; ++i) {
      const auto row = static_cast<std::int64_t>(i);
      const double time = curve.x[i] / scale;
      design(row, 0) = std::pow(time, exponent) / curve.y[i];
      design(row, 1) = time / curve.y[i];
      if (accelerates) design(row, 2) = Cube(std::max(0.0, curve.x[i] - onset) / scale) / curve.y[i];
    }
    const auto [solution, misfit] = SolveNonNegative(design, target);
    if (misfit < best.misfit) best = {misfit, onset, accelerates ? solution[2] / Cube(scale) : 0.0};
  }
  return best;
}

}  // namespace

std::optional<std::size_t> FirstTertiaryPoint(const Curve& sorted) {
  const std::size_t points = sorted.x.size();
  if (points < kFewestPoints) return std::nullopt;
  const StageFit steady = BestOverExponents(sorted, sorted.x.back());
  // An onset among the first points would let the cube replace the whole law, one at the last two has nothing to fit.
  const std::size_t first = std::max(kFewestBefore, points / 10);
  const std::size_t last = points - 2;
  const std::size_t stride = std::max<std::size_t>(1, (last - first) / kMostOnsets);
  StageFit accelerating;
  for (std::size_t k = first; k < last; k += stride) {
    const StageFit fit = BestOverExponents(sorted, sorted.x[k]);
    if (fit.misfit < accelerating.misfit) accelerating = fit;
  }
  // A floor at rounding keeps curves that follow the law exactly from being called anything else.
  const auto count = static_cast<int>(points);
  const double floor = 1e-18 * count;
  const double gain = CorrectedInformation(std::max(steady.misfit, floor), count, 3) -
                      CorrectedInformation(std::max(accelerating.misfit, floor), count, 5);
  if (!(gain > kClearlyBetter)) return std::nullopt;

  // The cube is far below the scatter for a while after t0: points that it doesn't visibly move are still good ones.
  const double scatter = std::max(kLeastScatter, std::sqrt(accelerating.misfit / count));
  for (std::size_t i = 0; i < points; ++i) {
    const double excess = accelerating.acceleration * Cube(std::max(0.0, sorted.x[i] - accelerating.onset));
    if (excess > scatter * sorted.y[i]) return i;
  }
  return std::nullopt;
}

}  // namespace Xem::Fit
