#include "solver/levenberg_marquardt.h"

#include <algorithm>
#include <array>
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
    if (mask[p] == 0) trial[p] = parameters[p] + step[next++];
  }
}

double AbsoluteResidual(double measured, double model) { return measured - model; }
double RelativeResidual(double measured, double model) { return 1.0 - model / measured; }

void LeaveAsItIs(std::span<double>, std::span<const double>) {}
void DivideByMeasured(std::span<double> column, std::span<const double> measured) {
  for (std::size_t i = 0; i < column.size(); ++i) column[i] /= measured[i];
}

/// sums[j] += column[0] others[j][0] + column[1] others[j][1] + ..., each sum from left to right, so that it does not
/// depend on the length of blocks. Four sums run side by side: one alone would wait for its own additions.
void AddProducts(std::span<const double> column, std::span<double* const> others, double* sums) {
  constexpr std::size_t kSideBySide = 4;
  std::size_t j = 0;
  for (; j + kSideBySide <= others.size(); j += kSideBySide) {
    double s0 = sums[j], s1 = sums[j + 1], s2 = sums[j + 2], s3 = sums[j + 3];
    for (std::size_t i = 0; i < column.size(); ++i) {
      s0 += column[i] * others[j][i];
      s1 += column[i] * others[j + 1][i];
      s2 += column[i] * others[j + 2][i];
      s3 += column[i] * others[j + 3][i];
    }
    sums[j] = s0;
    sums[j + 1] = s1;
    sums[j + 2] = s2;
    sums[j + 3] = s3;
  }
  for (; j < others.size(); ++j) {
    double s = sums[j];
    for (std::size_t i = 0; i < column.size(); ++i) s += column[i] * others[j][i];
    sums[j] = s;
  }
}

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
    const std::span<const double> compared = function->Compared();
    for (std::size_t first = 0; first < compared.size(); first += kBlockLength) {
      const std::size_t count = std::min<std::size_t>(kBlockLength, compared.size() - first);
      perBlock(*function, static_cast<std::int32_t>(first), compared.subspan(first, count));
    }
  }
}

template <class Residual>
double LevenbergMarquardtMethod::SumSquaredResiduals(std::span<const double> parameters, Residual residual) const {
  std::array<double, kBlockLength> values;
  double sum = 0.0;
  ForEachBlock([&](const XemMaterialTestFunctionBase& function, std::int32_t first, std::span<const double> measured) {
    const auto model = std::span(values).first(measured.size());
    function.EvaluateBlock(termCount_, parameters, first, model);
    for (std::size_t i = 0; i < measured.size(); ++i) {
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
  const auto width = static_cast<std::int32_t>(parameters.size());
  if (derivatives_.Columns() != width) derivatives_ = Matrix(kBlockLength, width);
  free_.clear();
  free_.reserve(parameters.size());
  for (std::int32_t k = 0; k < width; ++k) {
    if (mask[k] == 0) free_.push_back(derivatives_.Column(k).data());
  }
  std::array<double, kBlockLength> values;
  normal.Fill(0.0);
  std::ranges::fill(gradient, 0.0);

  ForEachBlock([&](const XemMaterialTestFunctionBase& function, std::int32_t first, std::span<const double> measured) {
    const auto residuals = std::span(values).first(measured.size());
    const MatrixView block = derivatives_.View().Rows(0, static_cast<std::int32_t>(measured.size()));
    function.EvaluateBlock(termCount_, parameters, first, residuals, block);
    for (std::size_t i = 0; i < residuals.size(); ++i) residuals[i] = residual(measured[i], residuals[i]);
    for (double* column : free_) scale({column, measured.size()}, measured);
    for (std::size_t k = 0; k < free_.size(); ++k) {  // upper triangle
      AddProducts({free_[k], measured.size()}, std::span(free_).first(k + 1), &normal(0, k));
    }
    AddProducts(residuals, free_, gradient.data());
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

  BuildNormalEquations(trial, mask_, normal, gradient);
  double error = SumOfSquares(trial);
  double damping = kInitialDamping;
  std::int32_t small = 0;

  for (iterations_ = 0; iterations_ < kMaximumIterations; ++iterations_) {
    // Deliberate: small changes accumulate over the whole run; a large change does not reset the count.
    if (small == kEnoughSmallChanges) return 0;
    DampDiagonal(normal, damping, damped);
    std::ranges::copy(gradient, step.begin());
    solver.Solve(damped, step);
    ApplyStep(parameters, mask_, step, trial);
    EnforceConstraints(trial);

    const double trialError = SumOfSquares(trial);
    if (SmallChange(tolerance, trialError) > std::abs(trialError - error)) ++small;
    if (trialError < error) {
      std::ranges::copy(trial, parameters.begin());
      if (small == kEnoughSmallChanges) {
        ++iterations_;
        return 0;
      }
      error = trialError;
      BuildNormalEquations(parameters, mask_, normal, gradient);
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
  double last = 0.0;
  for (const auto& function : testFunctions_) {
    const std::int32_t count = function->PointCount();
    points += count;
    if (count > 0) last = function->Compared()[count - 1];
    sum += last;
  }
  const double mean = sum / static_cast<double>(points);

  double total = 0.0;
  ForEachBlock([&](const XemMaterialTestFunctionBase&, std::int32_t, std::span<const double> measured) {
    for (const double value : measured) total += (value - mean) * (value - mean);
  });
  const double residual = SumSquaredResiduals(parameters, AbsoluteResidual);
  return std::abs(total - residual) / total;
}

void LevenbergMarquardtMethodAbsolute::BuildNormalEquations(std::span<const double> parameters,
                                                            const FixedTermMask& mask, Matrix& normal,
                                                            std::span<double> gradient) {
  AccumulateNormalEquations(parameters, mask, normal, gradient, LeaveAsItIs, AbsoluteResidual);
}

double LevenbergMarquardtMethodAbsolute::SumOfSquares(std::span<const double> parameters) {
  return SumSquaredResiduals(parameters, AbsoluteResidual);
}

void LevenbergMarquardtMethodRelative::BuildNormalEquations(std::span<const double> parameters,
                                                            const FixedTermMask& mask, Matrix& normal,
                                                            std::span<double> gradient) {
  AccumulateNormalEquations(parameters, mask, normal, gradient, DivideByMeasured, RelativeResidual);
}

double LevenbergMarquardtMethodRelative::SumOfSquares(std::span<const double> parameters) {
  return SumSquaredResiduals(parameters, RelativeResidual);
}

}  // namespace Xem::MaterialUtil
