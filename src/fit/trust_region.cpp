#include "fit/trust_region.h"

#include <cminpack.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "solver/linalg/least_squares.h"

namespace Xem::Fit {

using MaterialUtil::ForEachBlockOfRows;
using MaterialUtil::LeastSquares;
using MaterialUtil::MatrixView;

/// MINPACK's view of the problem: the free parameters only, and rotated points.
struct TrustRegionCallback {
  static int Evaluate(void* self, int rows, int count, const double* free, double* values, double* jacobian,
                      int leading, int flag) {
    auto& region = *static_cast<TrustRegion*>(self);
    const std::span<double> rotated(values, static_cast<std::size_t>(rows));
    if (flag == 1) {
      // Of the residuals of a trial MINPACK asks the norm.
      region.Expand(free);
      std::fill(rotated.begin(), rotated.end(), 0.0);
      rotated.back() = std::sqrt(region.SumOfSquares(region.full_));
    } else {
      // At the trial evaluated last: MINPACK asks for derivatives where it has gone. It must not find another norm, and
      // does not when the residuals are turned.
      region.Rotate(rotated, {jacobian, rows, count, leading});
    }
    return 0;
  }
};

TrustRegion::TrustRegion(ResidualFunction& residuals, std::span<const FreeOrHeld> parameters, int mostEvaluations)
    : residuals_(residuals),
      mostEvaluations_(mostEvaluations),
      parameters_(parameters),
      full_(parameters.size()),
      clipped_(parameters.size()),
      released_(parameters.size()),
      rows_(std::min(static_cast<std::int32_t>(residuals.PointCount()),
                     LeastSquares::kBlockRows + static_cast<std::int32_t>(parameters.size()) + 1),
            static_cast<std::int32_t>(parameters.size()) + 1),
      triangulariser_(rows_.Columns()),
      pivots_(parameters.size()) {
  const std::size_t points = residuals.PointCount();
  const std::size_t n = parameters.size();
  free_.reserve(n);
  storage_.resize(points * (n + 1) + 2 * (n + 1) + (n + 1) * n + 6 * n);
  std::span<double> rest(storage_);
  const auto take = [&rest](std::size_t size) {
    const std::span<double> part = rest.first(size);
    rest = rest.subspan(size);
    return part;
  };
  columns_ = take(points * n);
  values_ = take(points);
  rotated_ = take(n + 1);
  work4_ = take(n + 1);
  jacobian_ = take((n + 1) * n);
  for (std::span<double>* part : {&point_, &diagonal_, &qtf_, &work1_, &work2_, &work3_}) *part = take(n);
}

void TrustRegion::Rotate(std::span<double> residuals, MatrixView jacobian) {
  residuals_.Jacobian(full_, columns_);
  const std::size_t points = values_.size();
  const auto columns = static_cast<std::int32_t>(free_.size()) + 1;
  const MatrixView triangle = rows_.View().FirstColumns(columns);
  std::int32_t filled = 0;
  ForEachBlockOfRows(static_cast<std::int32_t>(points), [&](std::int32_t first, std::int32_t count) {
    const MatrixView block = triangle.Rows(filled, count);
    for (std::size_t j = 0; j < free_.size(); ++j) {
      // MINPACK knows no ranges. A trial beyond one is evaluated at its border, so the misfit does not change with that
      // parameter any more, and a column of zeros says just that; the true column would pull the trial further out.
      if (clipped_[free_[j]]) {
        std::ranges::fill(block.Column(j), 0.0);
      } else {
        std::copy_n(columns_.data() + free_[j] * points + first, count, block.Column(j).begin());
      }
    }
    std::copy_n(values_.data() + first, count, block.Column(free_.size()).begin());
    triangulariser_.Reduce(triangle.Rows(0, filled + count));
    filled = std::min(filled + count, columns);
  });

  for (std::int32_t column = 0; column < columns; ++column) {
    for (std::int32_t row = 0; row < columns; ++row) {
      (column < columns - 1 ? jacobian(row, column) : residuals[static_cast<std::size_t>(row)]) =
          row < filled ? triangle(row, column) : 0.0;
    }
  }
}

void TrustRegion::Expand(const double* free) {
  for (std::size_t j = 0; j < free_.size(); ++j) {
    const std::size_t k = free_[j];
    full_[k] = std::clamp(free[j], parameters_[k].lower, parameters_[k].upper);
    clipped_[k] = full_[k] != free[j];
  }
}

double TrustRegion::SumOfSquares(std::span<const double> parameters) {
  residuals_.Residuals(parameters, values_);
  double sum = 0.0;
  for (const double r : values_) sum += r * r;
  return sum;
}

bool TrustRegion::RunOnce(Minimum& minimum) {
  free_.clear();
  for (std::size_t k = 0; k < parameters_.size(); ++k) {
    if (!parameters_[k].held && !minimum.atBound[k]) free_.push_back(k);
  }
  full_ = minimum.parameters;
  if (free_.empty()) return true;
  for (std::size_t j = 0; j < free_.size(); ++j) point_[j] = full_[free_[j]];

  const int n = static_cast<int>(free_.size());
  const int m = n + 1;
  const int maximumEvaluations = mostEvaluations_ > 0 ? mostEvaluations_ - evaluations_ : 400 * (n + 1);
  if (maximumEvaluations <= 0) return false;
  int evaluations = 0;
  int jacobians = 0;
  // Tolerances on the sum of squares and on the parameters: as far as rounding lets it, or as far as a comparison
  // needs. None on the gradient, whose size depends on units. Mode 1 scales the trust region by the columns of the
  // Jacobian, so parameters of any size mix.
  const bool compared = mostEvaluations_ > 0;
  const int info = lmder(TrustRegionCallback::Evaluate, this, m, n, point_.data(), rotated_.data(), jacobian_.data(), m,
                         compared ? 1e-9 : 1e-15, compared ? 1e-7 : 1e-13, 0.0, maximumEvaluations, diagonal_.data(), 1,
                         100.0, 0, &evaluations, &jacobians, pivots_.data(), qtf_.data(), work1_.data(), work2_.data(),
                         work3_.data(), work4_.data());
  minimum.iterations += jacobians;
  evaluations_ += evaluations;
  Expand(point_.data());
  const double objective = SumOfSquares(full_);
  // The last trial may be one that MINPACK rejected, or one brought back into its range: it counts only if it is as
  // good.
  if (objective <= minimum.objective) {
    minimum.objective = objective;
    minimum.parameters = full_;
  }
  constexpr int kTooManyEvaluations = 5;
  return info > 0 && info != kTooManyEvaluations;
}

bool TrustRegion::UpdateBounds(Minimum& minimum) {
  constexpr int kMaximumReleases = 2;
  const auto atBorder = [&](std::size_t k) {
    const double value = minimum.parameters[k];
    return !parameters_[k].held && (value <= parameters_[k].lower || value >= parameters_[k].upper);
  };
  bool any = false;
  for (std::size_t k = 0; k < parameters_.size(); ++k) any = any || atBorder(k) || minimum.atBound[k];
  if (!any) return false;
  residuals_.Residuals(minimum.parameters, values_);
  residuals_.Jacobian(minimum.parameters, columns_);
  const std::size_t points = values_.size();
  bool changed = false;
  for (std::size_t k = 0; k < parameters_.size(); ++k) {
    const FreeOrHeld& parameter = parameters_[k];
    if (parameter.held) continue;
    const double value = minimum.parameters[k];
    const bool atLower = value <= parameter.lower;
    const bool atUpper = value >= parameter.upper;
    if (!atLower && !atUpper) {
      minimum.atBound[k] = false;
      continue;
    }
    // Kuhn and Tucker's condition at a bound: the misfit falls towards the outside.
    double gradient = 0.0;
    for (std::size_t i = 0; i < points; ++i) gradient += columns_[k * points + i] * values_[i];
    const bool pushedOut = atLower ? gradient >= 0.0 : gradient <= 0.0;
    if (pushedOut == minimum.atBound[k]) continue;
    // A parameter whose valley runs along its bound would be set and freed for ever; it stays after that many.
    if (!pushedOut && ++released_[k] > kMaximumReleases) continue;
    minimum.atBound[k] = pushedOut;
    changed = true;
  }
  return changed;
}

void TrustRegion::Run(Minimum& minimum) {
  minimum.atBound.assign(parameters_.size(), false);
  std::fill(released_.begin(), released_.end(), 0);
  evaluations_ = 0;
  minimum.objective = SumOfSquares(minimum.parameters);
  const std::size_t limit = 3 * parameters_.size() + 2;
  for (std::size_t round = 0; round < limit; ++round) {
    minimum.converged = RunOnce(minimum);
    if (!UpdateBounds(minimum)) return;
  }
}

}  // namespace Xem::Fit
