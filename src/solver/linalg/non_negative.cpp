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
  ActiveSet(const Matrix& a, std::span<const double> b)
      : a_(a),
        b_(b),
        x_(static_cast<std::size_t>(a.Columns()), 0.0),
        trial_(x_.size()),
        before_(x_.size()),
        standing_(x_.size(), kAtZero),
        known_(x_.size(), 0),
        products_(a.Columns(), a.Columns()),
        target_(x_.size()),
        residual_(b.begin(), b.end()),
        gradient_(x_.size()) {
    MultiplyTransposed(a_, b_, target_);
  }

  std::vector<double> Solve() {
    const double scale = std::sqrt(Dot(b_, b_));
    // Each round lowers the misfit or blocks a column, so this many suffice unless rounding makes it cycle.
    const std::size_t rounds = 10 * x_.size() + 10;
    for (std::size_t round = 0; round < rounds; ++round) {
      const std::size_t entering = Steepest();
      if (entering == x_.size() || !(gradient_[entering] > kFlat * scale)) break;
      Enter(static_cast<std::int32_t>(entering));
    }
    return std::move(x_);
  }

 private:
  enum Standing : char { kAtZero, kFree, kBlocked };

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
    const double old = Dot(residual_, residual_);
    SetPassive(entering);
    SolvePassive();
    // Nearly parallel columns, which a dense grid of relaxation times has many of, can have a positive gradient and
    // still enter with a negative coefficient, or lower the misfit by rounding only. Such a column is blocked until
    // another change makes progress; without that the classical iteration cycles.
    bool useful = trial_[place] > 0.0;
    while (useful && StepTowardsTrial()) SolvePassive();
    if (useful) {
      std::swap(x_, trial_);
      UpdateResidual();
      useful = Dot(residual_, residual_) < old;
    }
    if (useful) {
      std::ranges::replace(standing_, kBlocked, kAtZero);
      return;
    }
    for (const std::int32_t column : passive_) standing_[static_cast<std::size_t>(column)] = kAtZero;
    for (const std::int32_t column : passiveBefore_) standing_[static_cast<std::size_t>(column)] = kFree;
    passive_ = passiveBefore_;
    std::swap(x_, before_);
    standing_[place] = kBlocked;
    UpdateResidual();
  }

  /// Keeps the columns in their order.
  void SetPassive(std::int32_t column) {
    passive_.insert(std::ranges::upper_bound(passive_, column), column);
    standing_[static_cast<std::size_t>(column)] = kFree;
  }

  /// `trial_` becomes the solution with passive columns alone.
  void SolvePassive() {
    solution_.resize(passive_.size());
    if (!SolveNormal(solution_)) SolveSingular(solution_);
    std::ranges::fill(trial_, 0.0);
    for (std::size_t k = 0; k < passive_.size(); ++k) trial_[static_cast<std::size_t>(passive_[k])] = solution_[k];
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
    left_.resize(b_.size());
    TakeAway(solution, left_);
    step_.resize(n);
    for (std::size_t k = 0; k < n; ++k) step_[k] = Dot(a_.Column(passive_[k]), left_);
    SolveFactorised(step_);
    for (std::size_t k = 0; k < n; ++k) solution[k] += step_[k];
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
      return ForThisProcessor().solvePositiveDefinite(n, normal_.data(), 0.0, x.data());
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
    const std::span<double> products = products_.Column(column);
    if (known_[static_cast<std::size_t>(column)] == 0) {
      MultiplyTransposed(a_, a_.Column(column), products);
      known_[static_cast<std::size_t>(column)] = 1;
    }
    return products;
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
    solution_.resize(passive_.size());
    for (std::size_t k = 0; k < passive_.size(); ++k) solution_[k] = x_[static_cast<std::size_t>(passive_[k])];
    TakeAway(solution_, residual_);
  }

  const Matrix& a_;
  std::span<const double> b_;
  std::vector<double> x_;
  std::vector<double> trial_;
  std::vector<double> before_;
  std::vector<char> standing_;
  std::vector<char> known_;  // whose products are there
  Matrix products_;
  std::vector<double> target_;
  std::vector<double> residual_;
  std::vector<double> gradient_;
  std::vector<std::int32_t> passive_;  // columns in their order
  std::vector<std::int32_t> passiveBefore_;
  std::vector<double> solution_;  // of passive columns
  std::vector<double> normal_;
  std::vector<double> left_;
  std::vector<double> step_;
};

}  // namespace

std::vector<double> SolveNonNegative(Matrix a, std::span<const double> b) {
  std::vector<double> norms(static_cast<std::size_t>(a.Columns()));
  for (std::size_t j = 0; j < norms.size(); ++j) {
    const std::span<double> column = a.Column(j);
    const double norm = std::sqrt(Dot(column, column));
    norms[j] = norm > 0.0 ? norm : 1.0;
    for (double& entry : column) entry /= norms[j];
  }
  if (a.Rows() == 0 || a.Columns() == 0) return std::vector<double>(norms.size(), 0.0);
  std::vector<double> x = ActiveSet(a, b).Solve();
  for (std::size_t j = 0; j < x.size(); ++j) x[j] /= norms[j];
  return x;
}

}  // namespace Xem::MaterialUtil
