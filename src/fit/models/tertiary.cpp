#include "fit/models/tertiary.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "fit/assemble.h"
#include "kernels/kernels.h"
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

/// The equations of a curve for each of a grid of time exponents, without and with a third term.
class Stages {
 public:
  explicit Stages(const Curve& curve)
      : curve_(curve), scale_(curve.x.back()), ones_(curve.x.size(), 1.0), triangle_(4 * curve.x.size()) {
    for (double exponent = 0.1; exponent < 0.96; exponent += 0.05) {
      Matrix& steady = steady_.emplace_back(static_cast<std::int32_t>(curve.x.size()), 2);
      for (std::size_t i = 0; i < curve.x.size(); ++i) {
        const double time = curve.x[i] / scale_;
        steady(i, 0) = std::pow(time, exponent) / curve.y[i];
        steady(i, 1) = time / curve.y[i];
      }
      Matrix& accelerating = accelerating_.emplace_back(steady.Rows(), 3);
      std::copy_n(steady.Data(), 2 * ones_.size(), accelerating.Data());
    }
  }

  StageFit Steady() {
    StageFit best;
    for (const Matrix& design : steady_) Improve(design, curve_.x.back(), best);
    return best;
  }

  /// Puts the fit with a third term after `onset` in place of a worse one.
  void Accelerate(double onset, StageFit& best) {
    for (std::size_t i = 0; i < ones_.size(); ++i) {
      const double term = Cube(std::max(0.0, curve_.x[i] - onset) / scale_) / curve_.y[i];
      for (Matrix& design : accelerating_) design(i, 2) = term;
    }
    for (const Matrix& design : accelerating_) Improve(design, onset, best);
  }

 private:
  void Improve(const Matrix& design, double onset, StageFit& best) {
    const std::vector<double> solution = Solve(design, best.misfit);
    if (solution.empty()) return;
    double misfit = 0.0;
    for (std::size_t i = 0; i < ones_.size(); ++i) {
      double residual = 1.0;
      for (std::size_t k = 0; k < solution.size(); ++k) residual -= design(i, k) * solution[k];
      misfit += residual * residual;
    }
    if (misfit < best.misfit) best = {misfit, onset, solution.size() > 2 ? solution[2] / Cube(scale_) : 0.0};
  }

  /// The coefficients, none negative; none at all where even free ones leave no less than `misfit`. Most designs are
  /// done with by a triangle.
  std::vector<double> Solve(const Matrix& design, double misfit) {
    const std::size_t rows = ones_.size();
    const auto terms = static_cast<std::size_t>(design.Columns());
    std::copy_n(design.Data(), terms * rows, triangle_.begin());
    std::copy(ones_.begin(), ones_.end(), triangle_.begin() + static_cast<std::ptrdiff_t>(terms * rows));
    const std::size_t reduced = MaterialUtil::ForThisProcessor().triangularise(rows, terms + 1, triangle_.data(),
                                                                               static_cast<std::ptrdiff_t>(rows));
    if (reduced == terms + 1) {
      const auto entry = [&](std::size_t i, std::size_t j) { return triangle_[i + j * rows]; };
      if (entry(terms, terms) * entry(terms, terms) >= misfit) return {};
      std::vector<double> solution(terms);
      bool positive = true;
      for (std::size_t k = terms; k-- > 0;) {
        double rest = entry(k, terms);
        for (std::size_t j = k + 1; j < terms; ++j) rest -= entry(k, j) * solution[j];
        solution[k] = rest / entry(k, k);
        positive = positive && solution[k] >= 0.0 && std::isfinite(solution[k]);
      }
      if (positive) return solution;
    }
    return SolveNonNegative(design, ones_).x;
  }

  const Curve& curve_;
  double scale_;
  std::vector<double> ones_;
  std::vector<Matrix> steady_;
  std::vector<Matrix> accelerating_;
  std::vector<double> triangle_;
};

}  // namespace

std::optional<std::size_t> FirstTertiaryPoint(const Curve& sorted) {
  const std::size_t points = sorted.x.size();
  if (points < kFewestPoints) return std::nullopt;
  Stages stages(sorted);
  const StageFit steady = stages.Steady();
  // An onset among the first points would let the cube replace the whole law, one at the last two has nothing to fit.
  const std::size_t first = std::max(kFewestBefore, points / 10);
  const std::size_t last = points - 2;
  const std::size_t stride = std::max<std::size_t>(1, (last - first) / kMostOnsets);
  StageFit accelerating;
  for (std::size_t k = first; k < last; k += stride) {
    stages.Accelerate(sorted.x[k], accelerating);
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
