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

constexpr std::int32_t kEnoughSmallChanges = 4;
constexpr double kInitialDamping = 0.001;

/// Whether the next step is likely to be accepted. Damping falls after an accepted step, so that a run that has found
/// its damping accepts and rejects in turns: what followed an accepted step the last time will do so again. After two
/// rejected steps a third is likely.
class Expectation {
 public:
  bool Accepted() const { return rejectedInARow_ == 0 ? lastWasFollowedByAnother_ : rejectedInARow_ < 2; }
  void Learn(bool accepted) {
    if (rejectedInARow_ == 0) lastWasFollowedByAnother_ = accepted;
    rejectedInARow_ = accepted ? 0 : rejectedInARow_ + 1;
  }

 private:
  bool lastWasFollowedByAnother_ = true;
  std::int32_t rejectedInARow_ = 0;
};

/// A relative threshold for sums of squares above 1, an absolute one below.
double SmallChange(double tolerance, double sumOfSquares) {
  const double threshold = tolerance * sumOfSquares;
  return threshold <= tolerance ? tolerance : threshold;
}

/// From this many parameters on memory counts more than a pass over the points: sums are not spread over lanes, and
/// only the equations of accepted parameters are kept.
bool IsLarge(std::size_t parameterCount) { return parameterCount >= 64; }

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

/// Solves for steps: the small factorisation where it is safe, LAPACK's otherwise.
class StepSolver {
 public:
  StepSolver(Arithmetic arithmetic, std::size_t fitted, std::int32_t order)
      : fitted_(fitted),
        order_(order),
        small_(arithmetic == Arithmetic::Vectorised && fitted <= kLargestPositiveDefinite &&
               std::cmp_equal(fitted, order)) {}

  /// From the products of a pass; the diagonal is scaled by 1 + damping (Marquardt). Throws LAPACK's `info`.
  void Solve(const double* products, double damping, std::span<double> step) {
    const std::size_t stride = fitted_ + 1;
    const double* const gradient = products + fitted_ * stride;
    if (small_ && ForThisProcessor().solvePositiveDefinite(fitted_, products, stride, damping, gradient, step.data())) {
      return;
    }
    if (!general_) {
      general_.emplace(order_);
      damped_ = Matrix(order_, order_);
    }
    damped_.Fill(0.0);
    std::ranges::fill(step, 0.0);
    for (std::size_t j = 0; j < fitted_; ++j) {
      for (std::size_t i = j; i < fitted_; ++i) damped_(i, j) = products[j + i * stride];
      damped_(j, j) *= 1.0 + damping;
      step[j] = gradient[j];
    }
    general_->Solve(damped_, step);
  }

 private:
  std::size_t fitted_;
  std::int32_t order_;  // more than are fitted where a mask says so: a singular matrix
  bool small_;
  std::optional<SymmetricSolver> general_;  // made when it is needed
  Matrix damped_;
};

/// Consecutive parts of one array.
class Parts {
 public:
  explicit Parts(std::span<double> all) : rest_(all) {}
  std::span<double> Next(std::int64_t size) {
    const auto part = rest_.first(static_cast<std::size_t>(size));
    rest_ = rest_.subspan(part.size());
    return part;
  }

 private:
  std::span<double> rest_;
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

LevenbergMarquardtMethod::LevenbergMarquardtMethod(Form form, TestFunctions testFunctions, std::int32_t termCount,
                                                   bool applyConstraints)
    : testFunctions_(testFunctions),
      termCount_(termCount),
      mask_(termCount),
      applyConstraints_(applyConstraints),
      form_(form),
      kernels_(ForThisProcessor()) {
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

std::span<double> LevenbergMarquardtMethod::Storage(std::size_t size) {
  if (size <= few_.size()) return few_;
  if (size > manySize_) {
    many_ = std::make_unique_for_overwrite<double[]>(size);
    manySize_ = size;
  }
  return {many_.get(), manySize_};
}

std::span<double> LevenbergMarquardtMethod::PrepareBlocks(std::size_t parameterCount, const FixedTermMask& mask,
                                                          std::size_t further) {
  // What a block touches stays in the first cache, unless the model is large. Columns begin with a line of the cache,
  // and not a power of two apart, where they would get into one another's way.
  constexpr std::size_t kFewest = 32, kMost = 256, kNumbers = 2048, kLine = 8;
  pointCount_ = 0;
  for (const auto& function : testFunctions_) pointCount_ += function->Compared().size();
  const std::size_t columns = parameterCount + 1;
  blockLength_ = std::min(std::clamp(kNumbers / (columns + 1) / kFewest * kFewest, kFewest, kMost), pointCount_);
  const std::size_t stride = (blockLength_ + kLine - 1) / kLine * kLine + kLine;
  const std::size_t sums = IsLarge(parameterCount) ? 0 : columns * columns * kLaneSumLength;
  const std::span<double> storage = Storage(kLine + stride * columns + sums + further);
  const std::size_t offset = reinterpret_cast<std::uintptr_t>(storage.data()) / sizeof(double) % kLine;
  Parts parts(storage.subspan((kLine - offset) % kLine));
  block_ = {parts.Next(static_cast<std::int64_t>(stride * columns)).data(), static_cast<std::int32_t>(blockLength_),
            static_cast<std::int32_t>(columns), static_cast<std::int32_t>(stride)};
  derivatives_ = block_.FirstColumns(static_cast<std::int32_t>(parameterCount));
  sums_ = parts.Next(static_cast<std::int64_t>(sums));
  std::size_t free = 0;
  for (std::size_t k = 0; k < parameterCount; ++k) free += mask[k] == 0 ? 1 : 0;
  columns_.Resize(static_cast<std::int64_t>(free + 1));
  std::size_t column = 0;
  for (std::size_t k = 0; k < parameterCount; ++k) {
    if (mask[k] == 0) columns_[column++] = block_.Column(k).data();
  }
  columns_[free] = block_.Column(parameterCount).data();
  return parts.Next(static_cast<std::int64_t>(further));
}

/// Of the last column with all, or of each with each.
void LevenbergMarquardtMethod::AddProducts(std::size_t count, std::span<double* const> columns, bool fresh, bool ofAll,
                                           std::span<double> products) {
  if (!sums_.empty() && arithmetic_ == Arithmetic::Vectorised) {
    const auto add = ofAll ? kernels_.addProducts : kernels_.addProductsOfLast;
    add(count, columns.data(), columns.size(), sums_.data(), fresh);
    return;
  }
  for (std::size_t k = ofAll ? 0 : columns.size() - 1; k < columns.size(); ++k) {
    const auto ofColumn = products.subspan(k * columns.size(), k + 1);
    if (fresh) std::ranges::fill(ofColumn, 0.0);
    AddInOrder({columns[k], count}, columns.first(k + 1), ofColumn.data());
  }
}

/// Of the last column alone, the residuals, or of all.
void LevenbergMarquardtMethod::MakeTotals(std::size_t columnCount, bool ofAll, std::span<double> products) {
  if (sums_.empty() || arithmetic_ == Arithmetic::AsWritten) return;
  kernels_.totals(sums_.data(), columnCount, ofAll ? 0 : columnCount - 1, products.data());
}

double LevenbergMarquardtMethod::Pass(std::span<const double> parameters, Asked asked, std::span<double> products,
                                      const EarlyEnd* earlyEnd) {
  // For the sum of squares the residuals are the only column.
  const std::span<double* const> columns =
      asked == Asked::SumOfSquares ? columns_.Span().last(1) : std::as_const(columns_).Span();
  const bool ofAll = asked != Asked::Gradient;
  const double& sumOfSquares = products[columns.size() * columns.size() - 1];

  bool fresh = true;
  std::size_t left = pointCount_;
  std::size_t filled = 0;  // rows of the block, whatever curves their points belong to
  for (const auto& function : testFunctions_) {
    const std::span<const double> compared = function->Compared();
    for (std::size_t first = 0; first < compared.size();) {
      const std::size_t count = std::min(blockLength_ - filled, compared.size() - first);
      EvaluateInto(filled, *function, parameters, compared.subspan(first, count), first, columns);
      first += count;
      filled += count;
      left -= count;
      if (filled < blockLength_ || left == 0) continue;
      AddProducts(filled, columns, std::exchange(fresh, false), ofAll, products);
      filled = 0;
      if (!earlyEnd) continue;
      MakeTotals(columns.size(), false, products);
      if (earlyEnd->Reached(sumOfSquares)) return sumOfSquares;
    }
  }
  if (fresh && ofAll && !sums_.empty() && arithmetic_ == Arithmetic::Vectorised) {
    kernels_.products(filled, columns.data(), columns.size(), sums_.data(), products.data());
    return sumOfSquares;
  }
  AddProducts(filled, columns, fresh, ofAll, products);
  MakeTotals(columns.size(), ofAll, products);
  return sumOfSquares;
}

/// Residuals and, unless they are the only column, derivatives into the rows of the block from `row` on.
void LevenbergMarquardtMethod::EvaluateInto(std::size_t row, const XemMaterialTestFunctionBase& function,
                                            std::span<const double> parameters, std::span<const double> compared,
                                            std::size_t first, std::span<double* const> columns) {
  const std::size_t count = compared.size();
  const std::span<double> residuals(columns.back() + row, count);
  const auto point = static_cast<std::int32_t>(first);
  if (columns.size() == 1) {
    function.EvaluateBlock(termCount_, parameters, point, residuals);
  } else if (count == blockLength_) {
    // A view that is there already: the processor would wait for one that is handed on while it is being written.
    function.EvaluateBlock(termCount_, parameters, point, residuals, derivatives_);
  } else {
    function.EvaluateBlock(termCount_, parameters, point, residuals,
                           derivatives_.Rows(static_cast<std::int32_t>(row), static_cast<std::int32_t>(count)));
  }
  const bool relative = form_ == Form::Relative;
  const auto free = columns.first(columns.size() - 1);
  if (arithmetic_ == Arithmetic::AsWritten) {
    for (std::size_t i = 0; i < count; ++i) {
      residuals[i] = relative ? 1.0 - residuals[i] / compared[i] : compared[i] - residuals[i];
      for (double* const column : free) column[row + i] /= relative ? compared[i] : 1.0;
    }
  } else if (relative) {
    kernels_.relativeResiduals(count, compared.data(), residuals.data(), row, free.data(), free.size());
  } else {
    kernels_.absoluteResiduals(count, compared.data(), residuals.data());
  }
}

void LevenbergMarquardtMethod::BuildNormalEquations(std::span<const double> parameters, const FixedTermMask& mask,
                                                    Matrix& normal, std::span<double> gradient) {
  const std::size_t most = (parameters.size() + 1) * (parameters.size() + 1);
  const std::span<double> products = PrepareBlocks(parameters.size(), mask, most);
  Pass(parameters, Asked::Equations, products, nullptr);
  normal.Fill(0.0);
  std::ranges::fill(gradient, 0.0);
  const std::int32_t free = columns_.Size() - 1;
  for (std::int32_t j = 0; j < free; ++j) {
    for (std::int32_t i = 0; i <= j; ++i) normal(i, j) = normal(j, i) = products[ColumnMajor(i, j, free + 1)];
    gradient[j] = products[ColumnMajor(j, free, free + 1)];
  }
}

double LevenbergMarquardtMethod::SumOfSquares(std::span<const double> parameters) {
  const FixedTermMask nothingHeld(static_cast<std::int64_t>(parameters.size()));
  return Pass(parameters, Asked::SumOfSquares, PrepareBlocks(parameters.size(), nothingHeld, 1), nullptr);
}

std::int32_t LevenbergMarquardtMethod::Solve(std::span<double> parameters, double tolerance) {
  if (static_cast<std::size_t>(mask_.Size()) < parameters.size()) {
    throw CInvalidArgException("the mask of held parameters is shorter than the parameter vector");
  }
  EnforceConstraints(parameters);
  const std::int32_t n = SystemSize();
  const bool large = IsLarge(parameters.size());
  const std::size_t most = (parameters.size() + 1) * (parameters.size() + 1);
  Parts parts(PrepareBlocks(parameters.size(), mask_,
                            (large ? 1 : 2) * most + 1 + static_cast<std::size_t>(n) + parameters.size()));
  // Of the accepted parameters, and of a trial: an accepted trial has its equations already.
  std::span<double> accepted = parts.Next(ProductCount());
  std::span<double> tried = large ? accepted : parts.Next(ProductCount());
  const std::span<double> alone = parts.Next(1);  // the product of a pass for the sum of squares
  const std::span<double> step = parts.Next(n);
  const std::span<double> trial = parts.Next(std::ssize(parameters));
  std::ranges::copy(parameters, trial.begin());

  StepSolver solver(arithmetic_, columns_.size() - 1, n);

  double error = Pass(trial, Asked::Equations, accepted, nullptr);
  firstSumOfSquares_ = lastSumOfSquares_ = error;
  // The matrix of a linear model stays as it is.
  const bool linear = !large && std::ranges::all_of(testFunctions_, [](const auto& f) { return f->IsLinearModel(); });
  if (linear) std::ranges::copy(accepted, tried.begin());
  const Asked equations = linear ? Asked::Gradient : Asked::Equations;
  double damping = kInitialDamping;
  std::int32_t small = 0;
  bool lastWasSmall = false;
  Expectation expectation;

  for (iterations_ = 0; iterations_ < mostIterations_; ++iterations_) {
    // Deliberate: small changes accumulate over the whole run; a large change does not reset the count.
    if (small == kEnoughSmallChanges) return 0;
    solver.Solve(accepted.data(), damping, step);
    ApplyStep(parameters, mask_, step, trial);
    EnforceConstraints(trial);

    // Equations cost a third of a pass, and nothing when the trial is accepted and another one follows.
    const bool likelyTheLast = lastWasSmall && small + 1 == kEnoughSmallChanges;
    const bool withEquations = !large && expectation.Accepted() && !likelyTheLast;
    const EarlyEnd earlyEnd{error, tolerance};
    const double trialError =
        withEquations ? Pass(trial, equations, tried, &earlyEnd) : Pass(trial, Asked::SumOfSquares, alone, &earlyEnd);
    lastWasSmall = SmallChange(tolerance, trialError) > std::abs(trialError - error);
    if (lastWasSmall) ++small;
    expectation.Learn(trialError < error);
    if (trialError < error) {
      std::ranges::copy(trial, parameters.begin());
      lastSumOfSquares_ = trialError;
      if (small == kEnoughSmallChanges) {
        ++iterations_;
        return 0;
      }
      error = trialError;
      if (!withEquations) Pass(trial, equations, tried, nullptr);
      std::swap(accepted, tried);
      damping *= 0.1;
    } else {
      damping *= 10.0;
    }
  }
  return small > 0 ? 0 : -1;
}

double LevenbergMarquardtMethod::CoefficientOfDetermination(std::span<const double> parameters) {
  const Form form = std::exchange(form_, Form::Absolute);
  const double residual = SumOfSquares(parameters);
  form_ = form;
  return DeterminationOf(residual);
}

double LevenbergMarquardtMethod::DeterminationOf(double sumOfSquares) const {
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
  return std::abs(total - sumOfSquares) / total;
}

}  // namespace Xem::MaterialUtil
