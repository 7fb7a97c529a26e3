#include "solver/levenberg_marquardt.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "xem/array.h"

namespace Xem::MaterialUtil {
namespace {

constexpr std::int32_t kMaximumIterations = 1000;
constexpr std::int32_t kEnoughSmallChanges = 4;
constexpr double kInitialDamping = 0.001;

/// A relative threshold for sums of squares above 1, an absolute one below.
double SmallChange(double tolerance, double sumOfSquares) {
  const double threshold = tolerance * sumOfSquares;
  return threshold <= tolerance ? tolerance : threshold;
}

/// damped = normal with its diagonal scaled by 1 + damping (Marquardt).
void DampDiagonal(const Matrix& normal, double damping, Matrix& damped) {
  damped = normal;
  for (std::int32_t i = 0; i < normal.Rows(); ++i) damped(i, i) = (1.0 + damping) * normal(i, i);
}

/// trial = parameters + step for the free entries; held entries of trial stay as they are.
void ApplyStep(std::span<const double> parameters, const FixedTermMask& mask, std::span<const double> step,
               std::span<double> trial) {
  std::size_t next = 0;
  for (std::size_t p = 0; p < parameters.size(); ++p) {
    if (mask[static_cast<std::int64_t>(p)] == 0) trial[p] = parameters[p] + step[next++];
  }
}

double NoScale(double) { return 1.0; }
double AbsoluteResidual(double measured, double model) { return measured - model; }
double RelativeResidual(double measured, double model) { return 1.0 - model / measured; }

}  // namespace

LevenbergMarquardtMethod::LevenbergMarquardtMethod(const TestFunctionList& testFunctions, std::int32_t termCount,
                                                   bool applyConstraints)
    : testFunctions_(testFunctions), termCount_(termCount), mask_(termCount), applyConstraints_(applyConstraints) {
  if (testFunctions.empty()) throw CInvalidArgException("there is no curve to fit");
}

void LevenbergMarquardtMethod::InitialGuess(const FixedTermMask&, std::span<double>) {}

void LevenbergMarquardtMethod::SetMask(const FixedTermMask& mask) {
  mask_ = mask;
  freeCount_ = FreeCount(mask);
}

bool LevenbergMarquardtMethod::EnforceConstraints(std::span<double> parameters) const {
  return applyConstraints_ && testFunctions_.front()->EnforceParameterConstraints(termCount_, parameters);
}

template <class PerBlock>
void LevenbergMarquardtMethod::ForEachBlock(PerBlock&& perBlock) const {
  for (const auto& function : testFunctions_) {
    const std::int32_t points = function->PointCount();
    for (std::int32_t first = 0; first < points; first += kBlockLength) {
      perBlock(*function, first, static_cast<std::size_t>(std::min(kBlockLength, points - first)));
    }
  }
}

template <class Residual>
double LevenbergMarquardtMethod::SumSquaredResiduals(std::span<const double> parameters, Residual residual) {
  buffers_.measured.resize(kBlockLength);
  buffers_.model.resize(kBlockLength);
  double sum = 0.0;
  ForEachBlock([&](const XemMaterialTestFunctionBase& function, std::int32_t first, std::size_t count) {
    const auto measured = std::span(buffers_.measured).first(count);
    const auto model = std::span(buffers_.model).first(count);
    function.EvaluateBlock(termCount_, parameters, first, measured, model);
    for (std::size_t i = 0; i < count; ++i) {
      const double r = residual(measured[i], model[i]);
      sum += r * r;
    }
  });
  return sum;
}

template <class Scale, class Residual>
void LevenbergMarquardtMethod::AccumulateNormalEquations(std::span<const double> parameters, const FixedTermMask& mask,
                                                         Matrix& normal, std::span<double> gradient, Scale scale,
                                                         Residual residual) {
  const std::size_t width = parameters.size();
  buffers_.measured.resize(kBlockLength);
  buffers_.model.resize(kBlockLength);
  buffers_.gradients.resize(kBlockLength * width);
  normal.Fill(0.0);
  std::fill(gradient.begin(), gradient.end(), 0.0);

  ForEachBlock([&](const XemMaterialTestFunctionBase& function, std::int32_t first, std::size_t count) {
    const auto measured = std::span(buffers_.measured).first(count);
    const auto model = std::span(buffers_.model).first(count);
    const auto gradients = std::span(buffers_.gradients).first(count * width);
    function.GradientBlock(termCount_, parameters, first, measured, model, gradients);
    for (std::size_t i = 0; i < count; ++i) {
      const double divisor = scale(measured[i]);
      const double r = residual(measured[i], model[i]);
      // The free entries move to the front of the point's row, in order.
      double* row = gradients.data() + i * width;
      std::int32_t free = 0;
      for (std::size_t k = 0; k < width; ++k) {
        if (mask[static_cast<std::int64_t>(k)] == 0) row[free++] = row[k] / divisor;
      }
      for (std::int32_t k = 0; k < free; ++k) {
        double* column = &normal(0, k);  // upper triangle: contiguous in l
        for (std::int32_t l = 0; l <= k; ++l) column[l] += row[k] * row[l];
        gradient[static_cast<std::size_t>(k)] += row[k] * r;
      }
    }
  });

  for (std::int32_t column = 1; column < normal.Columns(); ++column) {
    for (std::int32_t row = 0; row < column; ++row) normal(column, row) = normal(row, column);
  }
}

std::int32_t LevenbergMarquardtMethod::Solve(std::span<double> parameters, double tolerance) {
  if (static_cast<std::size_t>(mask_.Size()) < parameters.size()) {
    throw CInvalidArgException("the mask of held parameters is shorter than the parameter vector");
  }
  EnforceConstraints(parameters);
  const std::int32_t n = SystemSize();
  Matrix normal(n, n);
  Matrix damped(n, n);
  Vector gradient(n);
  Vector step(n);
  Vector trial{std::span<const double>(parameters)};
  SymmetricSolver solver(n);

  BuildNormalEquations(trial.Span(), mask_, normal, gradient.Span());
  double error = SumOfSquares(trial.Span());
  double damping = kInitialDamping;
  std::int32_t small = 0;

  for (iterations_ = 0; iterations_ < kMaximumIterations; ++iterations_) {
    // Deliberate: small changes accumulate over the whole run; a large change does not reset the count.
    if (small == kEnoughSmallChanges) return 0;
    DampDiagonal(normal, damping, damped);
    std::copy(gradient.Span().begin(), gradient.Span().end(), step.Span().begin());
    solver.Solve(damped, step.Span());
    ApplyStep(parameters, mask_, step.Span(), trial.Span());
    EnforceConstraints(trial.Span());

    const double trialError = SumOfSquares(trial.Span());
    if (SmallChange(tolerance, trialError) > std::abs(trialError - error)) ++small;
    if (trialError < error) {
      std::copy(trial.Span().begin(), trial.Span().end(), parameters.begin());
      if (small == kEnoughSmallChanges) {
        ++iterations_;
        return 0;
      }
      error = trialError;
      BuildNormalEquations(parameters, mask_, normal, gradient.Span());
      damping *= 0.1;
    } else {
      damping *= 10.0;
    }
  }
  return small > 0 ? 0 : -1;
}

double LevenbergMarquardtMethod::CoefficientOfDetermination(std::span<const double> parameters) const {
  std::int64_t points = 0;
  double sum = 0.0;
  double measured = 0.0;
  double model = 0.0;
  for (const auto& function : testFunctions_) {
    const std::int32_t count = function->PointCount();
    points += count;
    if (count > 0) function->EvaluatePoint(termCount_, parameters, count - 1, measured, model);
    sum += measured;
  }
  const double mean = sum / static_cast<double>(points);

  double total = 0.0;
  double residual = 0.0;
  for (const auto& function : testFunctions_) {
    for (std::int32_t i = 0; i < function->PointCount(); ++i) {
      function->EvaluatePoint(termCount_, parameters, i, measured, model);
      total += (measured - mean) * (measured - mean);
      residual += (measured - model) * (measured - model);
    }
  }
  return std::abs(total - residual) / total;
}

void LevenbergMarquardtMethodAbsolute::BuildNormalEquations(std::span<const double> parameters,
                                                            const FixedTermMask& mask, Matrix& normal,
                                                            std::span<double> gradient) {
  AccumulateNormalEquations(parameters, mask, normal, gradient, NoScale, AbsoluteResidual);
}

double LevenbergMarquardtMethodAbsolute::SumOfSquares(std::span<const double> parameters) {
  return SumSquaredResiduals(parameters, AbsoluteResidual);
}

void LevenbergMarquardtMethodRelative::BuildNormalEquations(std::span<const double> parameters,
                                                            const FixedTermMask& mask, Matrix& normal,
                                                            std::span<double> gradient) {
  AccumulateNormalEquations(
      parameters, mask, normal, gradient, [](double measured) { return measured; }, RelativeResidual);
}

double LevenbergMarquardtMethodRelative::SumOfSquares(std::span<const double> parameters) {
  return SumSquaredResiduals(parameters, RelativeResidual);
}

}  // namespace Xem::MaterialUtil
