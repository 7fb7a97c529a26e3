#include "fit/separable.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "solver/linalg/least_squares.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// A column that keeps no more than this part of its length beside those before it is one of them: its coefficient is
/// left at zero.
constexpr double kSameColumn = 1e-13;

/// What a coefficient at the end of its range costs, in parts of the misfit.
constexpr double kRestraint = 1e-6;

}  // namespace

SeparableResiduals::SeparableResiduals(const Problem& problem, std::vector<TermPlaces> places)
    : termCount_(problem.termCount),
      places_(std::move(places)),
      functions_(ScaledFunctions(problem)),
      weights_(places_.size(), 0.0),
      parameters_(problem.parameters.size(), 1.0),
      coefficients_(places_.size()),
      triangulariser_(static_cast<std::int32_t>(PointCount())) {
  std::int32_t longest = 0;
  for (const auto& function : functions_) longest = std::max(longest, function->PointCount());
  longest = std::min(longest, LeastSquares::kBlockRows);
  const auto size = static_cast<std::int32_t>(PointCount());
  model_.resize(static_cast<std::size_t>(longest));
  columns_ = Matrix(longest, static_cast<std::int32_t>(parameters_.size()));
  triangle_ = Matrix(size + longest, size);
}

void SeparableResiduals::Restrain(std::span<const double> weights) {
  std::ranges::copy(weights, weights_.begin());
  shapes_.clear();
}

void SeparableResiduals::MoveTo(std::span<const double> shapes) {
  if (std::ranges::equal(shapes_, shapes)) return;
  shapes_.assign(shapes.begin(), shapes.end());
  for (std::size_t k = 0; k < places_.size(); ++k) parameters_[places_[k].shape] = shapes[k];
  MakeTriangle();
  SolveCoefficients();
}

void SeparableResiduals::MakeTriangle() {
  const std::size_t n = places_.size();
  const auto size = static_cast<std::int32_t>(PointCount());
  auto filled = static_cast<std::int32_t>(n);
  triangle_.View().Rows(0, filled).Fill(0.0);
  for (std::size_t k = 0; k < n; ++k) triangle_(k, k) = weights_[k];
  for (const auto& function : functions_) {
    ForEachBlockOfRows(function->PointCount(), [&](std::int32_t first, std::int32_t count) {
      const MatrixView derivatives = columns_.View().Rows(0, count);
      function->EvaluateBlock(termCount_, parameters_, first, std::span(model_).first(count), derivatives);
      const MatrixView block = triangle_.View().Rows(filled, count);
      for (std::size_t k = 0; k < n; ++k) {
        std::ranges::copy(derivatives.Column(places_[k].coefficient), block.Column(k).begin());
        std::ranges::copy(derivatives.Column(places_[k].shape), block.Column(n + k).begin());
      }
      std::copy_n(function->Compared().begin() + first, count, block.Column(2 * n).begin());
      filled += count;
      triangulariser_.Reduce(triangle_.View().Rows(0, filled));
      filled = std::min(filled, size);
    });
  }
  triangle_.View().Rows(filled, size - filled).Fill(0.0);
}

void SeparableResiduals::SolveCoefficients() {
  const std::size_t n = places_.size();
  for (std::size_t k = n; k-- > 0;) {
    double square = 0.0;
    for (std::size_t row = 0; row <= k; ++row) square += triangle_(row, k) * triangle_(row, k);
    const double own = triangle_(k, k);
    coefficients_[k] = 0.0;
    if (!(own * own > kSameColumn * kSameColumn * square)) continue;
    double rest = triangle_(k, 2 * n);
    for (std::size_t j = k + 1; j < n; ++j) rest -= triangle_(k, j) * coefficients_[j];
    coefficients_[k] = rest / own;
  }
}

/// Model less measured values, turned: what the columns reach is gone.
void SeparableResiduals::Residuals(std::span<const double> shapes, std::span<double> residuals) {
  MoveTo(shapes);
  const std::size_t n = places_.size();
  for (std::size_t row = 0; row < residuals.size(); ++row) {
    const bool isReached = row < n && coefficients_[row] != 0.0;
    residuals[row] = isReached ? 0.0 : -triangle_(row, 2 * n);
  }
}

/// By s_k, with the columns A, the projection P on what they do not reach and the measured values b,
///
///   P a'_k c_k + A (A^T A)^-1 e_k (a'_k . P b)
void SeparableResiduals::Jacobian(std::span<const double> shapes, std::span<double> columns) {
  MoveTo(shapes);
  const std::size_t n = places_.size();
  std::ranges::fill(columns, 0.0);
  for (std::size_t k = 0; k < n; ++k) {
    if (coefficients_[k] == 0.0) continue;
    double* const column = columns.data() + k * PointCount();
    double along = 0.0;
    for (std::size_t row = n; row <= n + k; ++row) {
      along += triangle_(row, n + k) * triangle_(row, 2 * n);
      column[row] = triangle_(row, n + k) * coefficients_[k];
    }
    for (std::size_t row = k; row < n; ++row) {
      if (coefficients_[row] == 0.0) continue;
      double rest = row == k ? along : 0.0;
      for (std::size_t j = k; j < row; ++j) rest -= triangle_(j, row) * column[j];
      column[row] = rest / triangle_(row, row);
    }
  }
}

double SeparableResiduals::Misfit(std::span<const double> parameters) {
  double sum = 0.0;
  for (const auto& function : functions_) {
    const std::span<const double> compared = function->Compared();
    ForEachBlockOfRows(function->PointCount(), [&](std::int32_t first, std::int32_t count) {
      const auto model = std::span(model_).first(static_cast<std::size_t>(count));
      function->EvaluateBlock(termCount_, parameters, first, model);
      for (std::size_t i = 0; i < model.size(); ++i) {
        const double rest = model[i] - compared[static_cast<std::size_t>(first) + i];
        sum += rest * rest;
      }
    });
  }
  return sum;
}

std::span<const double> SeparableResiduals::Coefficients(std::span<const double> shapes) {
  MoveTo(shapes);
  return coefficients_;
}

SeparableDescent::SeparableDescent(const Problem& problem, const std::vector<TermPlaces>& places)
    : places_(places),
      residuals_(problem, places),
      shapes_(places.size()),
      weights_(places.size(), 0.0),
      region_(residuals_, shapes_) {}

void SeparableDescent::Restrain(const Problem& bounded, double objective) {
  for (std::size_t k = 0; k < places_.size(); ++k) {
    const FreeOrHeld& range = bounded.parameters[places_[k].coefficient];
    weights_[k] = std::sqrt(kRestraint * objective) / std::min(range.upper, -range.lower);
  }
  residuals_.Restrain(weights_);
}

bool SeparableDescent::Inside(const Problem& bounded, std::span<const double> shapes) {
  const std::span<const double> coefficients = residuals_.Coefficients(shapes);
  for (std::size_t k = 0; k < places_.size(); ++k) {
    const FreeOrHeld& range = bounded.parameters[places_[k].coefficient];
    if (!(coefficients[k] >= range.lower && coefficients[k] <= range.upper)) return false;
  }
  return true;
}

std::optional<Minimum> SeparableDescent::Run(const Problem& bounded, const std::vector<double>& start,
                                             int mostEvaluations) {
  constexpr int kTightenings = 4;
  constexpr double kTighter = 100.0;
  region_.SetMostEvaluations(mostEvaluations);
  Minimum reached;
  for (std::size_t k = 0; k < places_.size(); ++k) {
    const FreeOrHeld& range = bounded.parameters[places_[k].shape];
    shapes_[k].lower = range.lower;
    shapes_[k].upper = range.upper;
    reached.parameters.push_back(std::clamp(start[places_[k].shape], range.lower, range.upper));
  }
  double scale = residuals_.Misfit(start);
  for (int round = 0; round < kTightenings; ++round, scale *= kTighter) {
    Restrain(bounded, scale);
    region_.Run(reached);
    if (!std::isfinite(reached.objective)) return std::nullopt;
    if (!Inside(bounded, reached.parameters)) continue;
    Minimum minimum;
    minimum.iterations = reached.iterations;
    minimum.converged = reached.converged;
    minimum.parameters.resize(bounded.parameters.size());
    minimum.atBound.assign(bounded.parameters.size(), false);
    const std::span<const double> coefficients = residuals_.Coefficients(reached.parameters);
    for (std::size_t k = 0; k < places_.size(); ++k) {
      minimum.parameters[places_[k].coefficient] = coefficients[k];
      minimum.parameters[places_[k].shape] = reached.parameters[k];
      minimum.atBound[places_[k].shape] = reached.atBound[k];
    }
    minimum.objective = residuals_.Misfit(minimum.parameters);
    return minimum;
  }
  return std::nullopt;
}

}  // namespace Xem::Fit
