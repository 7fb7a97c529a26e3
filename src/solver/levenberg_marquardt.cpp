#include "solver/levenberg_marquardt.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <optional>
#include <utility>

#include "kernels/kernels.h"
#include "xem/array.h"

namespace Xem::MaterialUtil {
namespace {

constexpr std::int32_t kMaximumIterations = 1000;
constexpr std::int32_t kEnoughSmallChanges = 4;
constexpr double kInitialDamping = 0.001;

/// After this many rejected steps in a row another one is likely to be rejected, too.
constexpr std::int32_t kUnlikely = 2;

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

/// sums[j] += column[0] others[j][0] + column[1] others[j][1] + ..., each sum from left to right. Four sums run side by
/// side: one alone would wait for its own additions.
void AddInOrder(std::span<const double> column, std::span<double* const> others, double* sums) {
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

/// A step to solve for: the small factorisation where it is safe, LAPACK's otherwise.
class StepSolver {
 public:
  StepSolver(std::int32_t order, Arithmetic arithmetic) : arithmetic_(arithmetic), order_(order), quick_(order) {}

  /// `step` is the gradient on entry. Throws LAPACK's `info`.
  void Solve(const Matrix& normal, double damping, std::span<double> step) {
    if (arithmetic_ == Arithmetic::Vectorised && quick_.Solve(normal, damping, step)) return;
    if (!general_) general_.emplace(order_);
    DampDiagonal(normal, damping, damped_);
    general_->Solve(damped_, step);
  }

 private:
  Arithmetic arithmetic_;
  std::int32_t order_;
  PositiveDefiniteSolver quick_;
  Matrix damped_;
  std::optional<SymmetricSolver> general_;
};

}  // namespace

/// The early end of a pass, see levenberg_marquardt.h.
struct LevenbergMarquardtMethod::EarlyEnd {
  double error;
  double tolerance;

  /// The final sum of squares will be at least `soFar`. What it exceeds `error` by grows faster than what counts as a
  /// small change; the factor 2 is for rounding.
  bool Reached(double soFar) const { return tolerance < 0.25 && soFar - error > 2.0 * SmallChange(tolerance, soFar); }
};

LevenbergMarquardtMethod::LevenbergMarquardtMethod(Form form, const TestFunctionList& testFunctions,
                                                   std::int32_t termCount, bool applyConstraints)
    : testFunctions_(testFunctions),
      termCount_(termCount),
      mask_(termCount),
      applyConstraints_(applyConstraints),
      form_(form) {
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

void LevenbergMarquardtMethod::PrepareBlocks(std::size_t parameterCount, const FixedTermMask& mask) {
  // What a block touches stays in the first cache, unless the model is large.
  constexpr std::int32_t kFewest = 32, kMost = 256, kNumbers = 2048;
  const auto width = static_cast<std::int32_t>(parameterCount);
  std::int32_t longest = 0;
  for (const auto& function : testFunctions_) longest = std::max(longest, function->PointCount());
  blockLength_ = std::min(std::clamp(kNumbers / (width + 2) / kFewest * kFewest, kFewest, kMost), longest);
  // Columns begin with a line of the cache, and not a power of two apart, where they would get into one another's way.
  constexpr std::int32_t kLine = 8;
  const std::int32_t stride = (blockLength_ + kLine - 1) / kLine * kLine + kLine;
  if (block_.columns != width + 1 || block_.rows < blockLength_) {
    storage_.resize(static_cast<std::size_t>(stride) * (parameterCount + 1) + kLine);
    const auto address = reinterpret_cast<std::uintptr_t>(storage_.data());
    const std::size_t toLine = (kLine - address / sizeof(double) % kLine) % kLine;
    block_ = {storage_.data() + toLine, blockLength_, width + 1, stride};
  }
  columns_.clear();
  columns_.reserve(parameterCount + 1);
  for (std::int32_t k = 0; k < width; ++k) {
    if (mask[k] == 0) columns_.push_back(block_.Column(k).data());
  }
  columns_.push_back(block_.Column(width).data());
  sums_.resize(columns_.size() * columns_.size() * kLaneSumLength);
}

void LevenbergMarquardtMethod::FormResiduals(std::span<const double> measured, std::span<double> residuals,
                                             std::span<double* const> columns) const {
  const bool relative = form_ == Form::Relative;
  if (arithmetic_ == Arithmetic::Vectorised) {
    const Kernels& kernels = ForThisProcessor();
    if (relative) {
      kernels.relativeResiduals(measured.size(), measured.data(), residuals.data(), columns.data(), columns.size());
    } else {
      kernels.absoluteResiduals(measured.size(), measured.data(), residuals.data());
    }
    return;
  }
  for (std::size_t i = 0; i < measured.size(); ++i) {
    residuals[i] = relative ? 1.0 - residuals[i] / measured[i] : measured[i] - residuals[i];
  }
  if (!relative) return;
  for (double* const column : columns) {
    for (std::size_t i = 0; i < measured.size(); ++i) column[i] /= measured[i];
  }
}

void LevenbergMarquardtMethod::AddProducts(std::size_t count, std::span<double* const> columns) {
  if (arithmetic_ == Arithmetic::Vectorised) {
    ForThisProcessor().addProducts(count, columns.data(), columns.size(), sums_.data());
    return;
  }
  for (std::size_t k = 0; k < columns.size(); ++k) {
    AddInOrder({columns[k], count}, columns.first(k + 1), sums_.data() + k * columns.size());
  }
}

double LevenbergMarquardtMethod::Total(std::size_t sum) const {
  if (arithmetic_ == Arithmetic::AsWritten) return sums_[sum];
  return ForThisProcessor().total(sums_.data() + sum * kLaneSumLength);
}

double LevenbergMarquardtMethod::Pass(std::span<const double> parameters, const FixedTermMask& mask,
                                      const Equations* equations, const EarlyEnd* earlyEnd) {
  PrepareBlocks(parameters.size(), mask);
  // Without equations the residuals are the only column.
  const std::span<double* const> columns = equations ? std::span(columns_) : std::span(columns_).last(1);
  const std::size_t free = columns.size() - 1;
  const std::size_t sumOfSquares = columns.size() * columns.size() - 1;
  std::ranges::fill(std::span(sums_).first((sumOfSquares + 1) * kLaneSumLength), 0.0);
  const auto width = static_cast<std::int32_t>(parameters.size());

  for (const auto& function : testFunctions_) {
    const std::span<const double> compared = function->Compared();
    for (std::size_t first = 0; first < compared.size(); first += static_cast<std::size_t>(blockLength_)) {
      const std::size_t count = std::min(static_cast<std::size_t>(blockLength_), compared.size() - first);
      const std::span<double> residuals(columns.back(), count);
      const MatrixView derivatives =
          equations ? MatrixView{block_.data, static_cast<std::int32_t>(count), width, block_.leadingDimension}
                    : MatrixView{};
      function->EvaluateBlock(termCount_, parameters, static_cast<std::int32_t>(first), residuals, derivatives);
      FormResiduals(compared.subspan(first, count), residuals, columns.first(free));
      AddProducts(count, columns);
      if (earlyEnd && earlyEnd->Reached(Total(sumOfSquares))) return Total(sumOfSquares);
    }
  }
  if (!equations) return Total(sumOfSquares);

  equations->normal.Fill(0.0);
  std::ranges::fill(equations->gradient, 0.0);
  for (std::size_t column = 0; column < free; ++column) {
    for (std::size_t row = 0; row <= column; ++row) {
      equations->normal(row, column) = equations->normal(column, row) = Total(row + column * columns.size());
    }
    equations->gradient[column] = Total(column + free * columns.size());
  }
  return Total(sumOfSquares);
}

void LevenbergMarquardtMethod::BuildNormalEquations(std::span<const double> parameters, const FixedTermMask& mask,
                                                    Matrix& normal, std::span<double> gradient) {
  const Equations equations{normal, gradient};
  Pass(parameters, mask, &equations, nullptr);
}

double LevenbergMarquardtMethod::SumOfSquares(std::span<const double> parameters) {
  return Pass(parameters, FixedTermMask(static_cast<std::int64_t>(parameters.size())), nullptr, nullptr);
}

std::int32_t LevenbergMarquardtMethod::Solve(std::span<double> parameters, double tolerance) {
  if (static_cast<std::size_t>(mask_.Size()) < parameters.size()) {
    throw CInvalidArgException("the mask of held parameters is shorter than the parameter vector");
  }
  EnforceConstraints(parameters);
  const std::int32_t n = SystemSize();
  // Of the accepted parameters, and of a trial: an accepted trial has its equations already.
  Matrix normal(n, n), trialNormal(n, n);
  Vector gradient(n), trialGradient(n), step(n);
  Vector trial{std::span<const double>(parameters)};
  StepSolver solver(n, arithmetic_);

  const Equations first{normal, gradient};
  double error = Pass(trial, mask_, &first, nullptr);
  double damping = kInitialDamping;
  std::int32_t small = 0;
  std::int32_t rejectedInARow = 0;

  for (iterations_ = 0; iterations_ < kMaximumIterations; ++iterations_) {
    // Deliberate: small changes accumulate over the whole run; a large change does not reset the count.
    if (small == kEnoughSmallChanges) return 0;
    std::ranges::copy(gradient, step.begin());
    solver.Solve(normal, damping, step);
    ApplyStep(parameters, mask_, step, trial);
    EnforceConstraints(trial);

    // Equations cost little beside the sum of squares, and nothing when the trial is accepted.
    const bool withEquations = rejectedInARow < kUnlikely;
    const Equations equations{trialNormal, trialGradient};
    const EarlyEnd earlyEnd{error, tolerance};
    const double trialError = Pass(trial, mask_, withEquations ? &equations : nullptr, &earlyEnd);
    if (SmallChange(tolerance, trialError) > std::abs(trialError - error)) ++small;
    if (trialError < error) {
      std::ranges::copy(trial, parameters.begin());
      if (small == kEnoughSmallChanges) {
        ++iterations_;
        return 0;
      }
      error = trialError;
      if (!withEquations) Pass(trial, mask_, &equations, nullptr);
      std::swap(normal, trialNormal);
      std::swap(gradient, trialGradient);
      damping *= 0.1;
      rejectedInARow = 0;
    } else {
      damping *= 10.0;
      ++rejectedInARow;
    }
  }
  return small > 0 ? 0 : -1;
}

double LevenbergMarquardtMethod::CoefficientOfDetermination(std::span<const double> parameters) {
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
  for (const auto& function : testFunctions_) {
    for (const double value : function->Compared()) total += (value - mean) * (value - mean);
  }
  const Form form = std::exchange(form_, Form::Absolute);
  const double residual = SumOfSquares(parameters);
  form_ = form;
  return std::abs(total - residual) / total;
}

}  // namespace Xem::MaterialUtil
