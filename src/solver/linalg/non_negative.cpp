#include "solver/linalg/non_negative.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "kernels/kernels.h"
#include "solver/linalg/lapack.h"
#include "solver/linalg/least_squares.h"

namespace Xem::MaterialUtil {
namespace {

/// Directions below this part of the largest singular value are rounding.
constexpr double kRoundingOfSquares = 1e-14;

/// A unit column that keeps this part of its length beside those before it is clear of rounding in normal equations.
constexpr double kClear = 1e-5;

/// A gradient below this part of its largest possible value counts as zero.
constexpr double kFlat = 1e-13;

/// The active-set iteration over unit columns: those in `passive_` are free, the others at zero.
class ActiveSet {
 public:
  /// `x` receives the solution.
  ActiveSet(const Matrix& a, std::span<const double> b, std::span<double> x)
      : a_(a),
        b_(b),
        x_(x),
        standing_(x.size(), kAtZero),
        placeOfProducts_(x.size(), 0),
        storage_(6 * x.size() + 2 * b.size()) {
    std::span<double> rest(storage_);
    for (std::span<double>* part : {&trial_, &before_, &target_, &gradient_, &solution_, &step_}) {
      *part = rest.first(x.size());
      rest = rest.subspan(x.size());
    }
    residual_ = rest.first(b.size());
    left_ = rest.subspan(b.size());
    passive_.reserve(std::min(x.size(), b.size()));
    std::ranges::fill(x_, 0.0);
    std::ranges::copy(b_, residual_.begin());
    MultiplyTransposed(a_, b_, target_);
  }

  void Solve() {
    if (AllAtOnce()) return;
    const double scale = std::sqrt(Dot(b_, b_));
    // Each round lowers the misfit or blocks a column, so this many suffice unless rounding makes it cycle.
    const std::size_t rounds = 10 * x_.size() + 10;
    for (std::size_t round = 0; round < rounds; ++round) {
      const std::size_t entering = Steepest();
      if (entering == x_.size() || !(gradient_[entering] > kFlat * scale)) break;
      Enter(static_cast<std::int32_t>(entering));
    }
  }

  double Misfit() const { return Dot(residual_, residual_); }

 private:
  enum Standing : char { kAtZero, kFree, kBlocked };

  /// A few columns are often all above zero: then nothing has to enter one by one.
  bool AllAtOnce() {
    constexpr std::size_t kFew = 8;
    if (x_.size() > kFew) return false;
    for (std::size_t j = 0; j < x_.size(); ++j) SetPassive(static_cast<std::int32_t>(j));
    const std::span<double> solution = solution_.first(x_.size());
    if (SolveNormal(solution) && *std::min_element(solution.begin(), solution.end()) > 0.0) {
      std::ranges::copy(solution, x_.begin());
      UpdateResidual();
      return true;
    }
    passive_.clear();
    std::ranges::fill(standing_, kAtZero);
    return false;
  }

  std::size_t Steepest() {
    MultiplyTransposed(a_, residual_, gradient_);
    std::size_t best = x_.size();
    for (std::size_t j = 0; j < x_.size(); ++j) {
      if (standing_[j] != kAtZero) continue;
      if (best == x_.size() || gradient_[j] > gradient_[best]) best = j;
    }
    return best;
  }

  void Enter(std::int32_t entering) {
    const auto place = static_cast<std::size_t>(entering);
    std::ranges::copy(x_, before_.begin());
    passiveBefore_ = passive_;
    const double old = Misfit();
    SetPassive(entering);
    SolvePassive();
    // Nearly parallel columns, which a dense grid of relaxation times has many of, can have a positive gradient and
    // still enter with a negative coefficient, or lower the misfit by rounding only. Such a column is blocked until
    // another change makes progress; without that the classical iteration cycles.
    bool useful = trial_[place] > 0.0;
    while (useful && StepTowardsTrial()) SolvePassive();
    if (useful) {
      std::ranges::copy(trial_, x_.begin());
      UpdateResidual();
      useful = Misfit() < old;
    }
    if (useful) {
      std::replace(standing_.begin(), standing_.end(), static_cast<char>(kBlocked), static_cast<char>(kAtZero));
      return;
    }
    for (const std::int32_t column : passive_) standing_[static_cast<std::size_t>(column)] = kAtZero;
    for (const std::int32_t column : passiveBefore_) standing_[static_cast<std::size_t>(column)] = kFree;
    passive_ = passiveBefore_;
    std::ranges::copy(before_, x_.begin());
    standing_[place] = kBlocked;
    UpdateResidual();
  }

  /// Keeps the columns in their order.
  void SetPassive(std::int32_t column) {
    passive_.insert(std::upper_bound(passive_.begin(), passive_.end(), column), column);
    standing_[static_cast<std::size_t>(column)] = kFree;
  }

  /// `trial_` becomes the solution with passive columns alone.
  void SolvePassive() {
    const std::span<double> solution = solution_.first(passive_.size());
    if (!SolveNormal(solution)) SolveSingular(solution);
    std::ranges::fill(trial_, 0.0);
    for (std::size_t k = 0; k < passive_.size(); ++k) trial_[static_cast<std::size_t>(passive_[k])] = solution[k];
  }

  /// By normal equations, improved by a step on what they leave (Björck 1987): as good as by rotations wherever the
  /// factorisation finds its pivots clear of rounding. False where it doesn't.
  bool SolveNormal(std::span<double> solution) {
    const std::size_t n = passive_.size();
    normal_.resize(n * n);
    for (std::size_t k = 0; k < n; ++k) {
      const std::span<const double> products = ProductsWith(passive_[k]);
      for (std::size_t i = 0; i < n; ++i) normal_[k * n + i] = products[static_cast<std::size_t>(passive_[i])];
      solution[k] = target_[static_cast<std::size_t>(passive_[k])];
    }
    if (!Factorise(n) || !SolveFactorised(solution)) return false;
    TakeAway(solution, left_);
    const std::span<double> step = step_.first(n);
    for (std::size_t k = 0; k < n; ++k) step[k] = Dot(a_.Column(passive_[k]), left_);
    SolveFactorised(step);
    for (std::size_t k = 0; k < n; ++k) solution[k] += step[k];
    return true;
  }

  /// Small systems have a kernel that factorises and solves at once.
  bool Factorise(std::size_t n) {
    if (n <= kLargestPositiveDefinite) return true;
    const auto order = static_cast<std::int32_t>(n);
    if (!FactoriseCholesky({normal_.data(), order, order, order})) return false;
    for (std::size_t k = 0; k < n; ++k) {
      if (!(normal_[k * n + k] > kClear)) return false;
    }
    return true;
  }

  /// x is the right-hand side on entry. False where pivots are not clear of rounding.
  bool SolveFactorised(std::span<double> x) const {
    const std::size_t n = x.size();
    if (n <= kLargestPositiveDefinite) {
      return ForThisProcessor().solvePositiveDefinite(n, normal_.data(), n, 0.0, x.data(), x.data());
    }
    for (std::size_t k = 0; k < n; ++k) {
      const double* const column = normal_.data() + k * n;
      for (std::size_t i = 0; i < k; ++i) x[k] -= column[i] * x[i];
      x[k] /= column[k];
    }
    for (std::size_t k = n; k-- > 0;) {
      const double* const column = normal_.data() + k * n;
      x[k] /= column[k];
      for (std::size_t i = 0; i < k; ++i) x[i] -= column[i] * x[k];
    }
    return true;
  }

  void SolveSingular(std::span<double> solution) const {
    Matrix part(a_.Rows(), static_cast<std::int32_t>(passive_.size()));
    for (std::size_t k = 0; k < passive_.size(); ++k) {
      std::ranges::copy(a_.Column(passive_[k]), part.Column(k).begin());
    }
    std::ranges::copy(SolveTruncated(std::move(part), b_, 1.0 / kRoundingOfSquares), solution.begin());
  }

  /// rest = b - A x, of the passive columns' x.
  void TakeAway(std::span<const double> x, std::span<double> rest) const {
    std::ranges::copy(b_, rest.begin());
    for (std::size_t k = 0; k < x.size(); ++k) {
      const double* const column = a_.Column(passive_[k]).data();
      const double factor = x[k];
      for (std::size_t i = 0; i < rest.size(); ++i) rest[i] -= factor * column[i];
    }
  }

  /// Inner products with every column, of columns that were passive once.
  std::span<const double> ProductsWith(std::int32_t column) {
    const std::size_t n = x_.size();
    const auto place = static_cast<std::size_t>(column);
    if (placeOfProducts_[place] == 0) {
      products_.resize(products_.size() + n);
      MultiplyTransposed(a_, a_.Column(column), std::span(products_).last(n));
      placeOfProducts_[place] = static_cast<std::uint32_t>(products_.size() / n);
    }
    return std::span<const double>(products_).subspan((placeOfProducts_[place] - 1) * n, n);
  }

  /// Goes towards the trial until the first passive entry reaches zero and leaves; false when none does.
  bool StepTowardsTrial() {
    double length = 1.0;
    std::size_t leaving = passive_.size();
    for (std::size_t k = 0; k < passive_.size(); ++k) {
      const auto j = static_cast<std::size_t>(passive_[k]);
      if (trial_[j] > 0.0) continue;
      const double step = x_[j] > 0.0 ? x_[j] / (x_[j] - trial_[j]) : 0.0;
      if (leaving == passive_.size() || step < length) {
        length = step;
        leaving = k;
      }
    }
    if (leaving == passive_.size()) return false;
    for (const std::int32_t column : passive_) {
      const auto j = static_cast<std::size_t>(column);
      x_[j] = std::max(0.0, x_[j] + length * (trial_[j] - x_[j]));
    }
    const auto left = static_cast<std::size_t>(passive_[leaving]);
    x_[left] = 0.0;
    standing_[left] = kAtZero;
    passive_.erase(passive_.begin() + static_cast<std::ptrdiff_t>(leaving));
    return true;
  }

  void UpdateResidual() {
    const std::span<double> values = solution_.first(passive_.size());
    for (std::size_t k = 0; k < passive_.size(); ++k) values[k] = x_[static_cast<std::size_t>(passive_[k])];
    TakeAway(values, residual_);
  }

  const Matrix& a_;
  std::span<const double> b_;
  std::span<double> x_;
  std::vector<char> standing_;
  std::vector<std::int32_t> passive_;  // columns in their order
  std::vector<std::int32_t> passiveBefore_;
  std::vector<std::uint32_t> placeOfProducts_;  // counted from 1
  std::vector<double> products_;
  std::vector<double> normal_;
  std::vector<double> storage_;
  std::span<double> trial_, before_, target_, gradient_, solution_, step_;
  std::span<double> residual_, left_;
};

}  // namespace

NonNegativeSolution SolveNonNegative(Matrix a, std::span<const double> b) {
  const auto count = static_cast<std::size_t>(a.Columns());
  NonNegativeSolution solution{std::vector<double>(count), Dot(b, b)};
  if (a.Rows() == 0 || count == 0) return solution;
  std::vector<double> norms(count);
  for (std::size_t j = 0; j < count; ++j) {
    const std::span<double> column = a.Column(j);
    const double norm = std::sqrt(Dot(column, column));
    norms[j] = norm > 0.0 ? norm : 1.0;
    const double scale = 1.0 / norms[j];
    for (double& entry : column) entry *= scale;
  }
  ActiveSet set(a, b, solution.x);
  set.Solve();
  solution.misfit = set.Misfit();
  for (std::size_t j = 0; j < count; ++j) solution.x[j] /= norms[j];
  return solution;
}

}  // namespace Xem::MaterialUtil
