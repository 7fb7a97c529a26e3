#include "fit/non_negative.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "kernels/kernels.h"
#include "solver/linalg/lapack.h"
#include "solver/linalg/least_squares.h"

namespace Xem::Fit {
namespace {

using MaterialUtil::Dot;
using MaterialUtil::FactoriseCholesky;
using MaterialUtil::kLargestPositiveDefinite;
using MaterialUtil::Matrix;
using MaterialUtil::Multiply;
using MaterialUtil::MultiplyTransposed;
using MaterialUtil::SolveTruncated;
using MaterialUtil::Vector;

/// Directions below this part of the largest singular value are rounding.
constexpr double kRoundingOfSquares = 1e-14;

/// A unit column that keeps this part of its length beside those before it is clear of rounding in normal equations.
constexpr double kClear = 1e-5;

/// A gradient below this part of its largest possible value counts as zero.
constexpr double kFlat = 1e-13;

/// The active-set iteration over unit columns: `passive` columns are free, the others at zero.
class ActiveSet {
 public:
  ActiveSet(const Matrix& a, std::span<const double> b)
      : a_(a),
        b_(b),
        x_(static_cast<std::size_t>(a.Columns()), 0.0),
        passive_(x_.size(), false),
        blocked_(x_.size(), false),
        known_(x_.size(), false),
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
      Enter(entering);
    }
    return x_;
  }

 private:
  std::size_t Steepest() {
    MultiplyTransposed(a_, residual_, gradient_);
    std::size_t best = x_.size();
    for (std::size_t j = 0; j < x_.size(); ++j) {
      if (passive_[j] || blocked_[j]) continue;
      if (best == x_.size() || gradient_[j] > gradient_[best]) best = j;
    }
    return best;
  }

  void Enter(std::size_t entering) {
    const std::vector<double> before = x_;
    const std::vector<bool> passiveBefore = passive_;
    passive_[entering] = true;
    std::vector<double> trial = SolvePassive();
    // Nearly parallel columns, which a dense grid of relaxation times has many of, can have a positive gradient and
    // still enter with a negative coefficient, or lower the misfit by rounding only. Such a column is blocked until
    // another change makes progress; without that the classical iteration cycles.
    bool useful = trial[entering] > 0.0;
    while (useful && StepTowards(trial)) trial = SolvePassive();
    if (useful) {
      x_ = trial;
      const double old = Dot(residual_, residual_);
      UpdateResidual();
      useful = Dot(residual_, residual_) < old;
    }
    if (useful) {
      std::fill(blocked_.begin(), blocked_.end(), false);
      return;
    }
    x_ = before;
    passive_ = passiveBefore;
    blocked_[entering] = true;
    UpdateResidual();
  }

  std::vector<double> SolvePassive() {
    columns_.clear();
    for (std::size_t j = 0; j < passive_.size(); ++j) {
      if (passive_[j]) columns_.push_back(static_cast<std::int32_t>(j));
    }
    std::vector<double> solution(columns_.size());
    if (!SolveNormal(solution)) solution = SolveSingular();
    std::vector<double> x(passive_.size(), 0.0);
    for (std::size_t k = 0; k < columns_.size(); ++k) x[static_cast<std::size_t>(columns_[k])] = solution[k];
    return x;
  }

  /// By normal equations, improved by a step on what they leave (Björck 1987): as good as by rotations wherever the
  /// factorisation finds its pivots clear of rounding. False where it doesn't.
  bool SolveNormal(std::span<double> solution) {
    const std::size_t n = columns_.size();
    normal_.resize(n * n);
    for (std::size_t k = 0; k < n; ++k) {
      const std::span<const double> products = ProductsWith(columns_[k]);
      for (std::size_t i = 0; i < n; ++i) normal_[k * n + i] = products[static_cast<std::size_t>(columns_[i])];
      solution[k] = target_[static_cast<std::size_t>(columns_[k])];
    }
    if (!Factorise(n) || !SolveFactorised(solution)) return false;
    left_.assign(b_.begin(), b_.end());
    for (std::size_t k = 0; k < n; ++k) {
      const std::span<const double> column = a_.Column(columns_[k]);
      for (std::size_t i = 0; i < left_.size(); ++i) left_[i] -= solution[k] * column[i];
    }
    step_.resize(n);
    for (std::size_t k = 0; k < n; ++k) step_[k] = Dot(a_.Column(columns_[k]), left_);
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
      return MaterialUtil::ForThisProcessor().solvePositiveDefinite(n, normal_.data(), n, 0.0, x.data(), x.data());
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

  std::vector<double> SolveSingular() const {
    Matrix part(a_.Rows(), static_cast<std::int32_t>(columns_.size()));
    for (std::size_t k = 0; k < columns_.size(); ++k) {
      std::ranges::copy(a_.Column(columns_[k]), part.Column(k).begin());
    }
    const Vector solution = SolveTruncated(std::move(part), b_, 1.0 / kRoundingOfSquares);
    return {solution.begin(), solution.end()};
  }

  /// Inner products with every column, of columns that were passive once.
  std::span<const double> ProductsWith(std::int32_t column) {
    const std::span<double> products = products_.Column(column);
    if (!known_[static_cast<std::size_t>(column)]) {
      MultiplyTransposed(a_, a_.Column(column), products);
      known_[static_cast<std::size_t>(column)] = true;
    }
    return products;
  }

  /// Goes towards `trial` until the first passive entry reaches zero and leaves; false when none does.
  bool StepTowards(const std::vector<double>& trial) {
    double length = 1.0;
    std::size_t leaving = x_.size();
    for (std::size_t j = 0; j < x_.size(); ++j) {
      if (!passive_[j] || trial[j] > 0.0) continue;
      const double step = x_[j] > 0.0 ? x_[j] / (x_[j] - trial[j]) : 0.0;
      if (leaving == x_.size() || step < length) {
        length = step;
        leaving = j;
      }
    }
    if (leaving == x_.size()) return false;
    for (std::size_t j = 0; j < x_.size(); ++j) {
      if (passive_[j]) x_[j] = std::max(0.0, x_[j] + length * (trial[j] - x_[j]));
    }
    x_[leaving] = 0.0;
    passive_[leaving] = false;
    return true;
  }

  void UpdateResidual() {
    Multiply(a_, x_, residual_);
    for (std::size_t i = 0; i < residual_.size(); ++i) residual_[i] = b_[i] - residual_[i];
  }

  const Matrix& a_;
  std::span<const double> b_;
  std::vector<double> x_;
  std::vector<bool> passive_;
  std::vector<bool> blocked_;
  std::vector<bool> known_;
  Matrix products_;
  std::vector<double> target_;
  std::vector<double> residual_;
  std::vector<double> gradient_;
  std::vector<std::int32_t> columns_;  // that are passive
  std::vector<double> normal_;
  std::vector<double> left_;
  std::vector<double> step_;
};

}  // namespace

std::vector<double> SolveNonNegative(Matrix a, std::span<const double> b) {
  std::vector<double> norms;
  for (std::int32_t j = 0; j < a.Columns(); ++j) {
    const double norm = std::sqrt(Dot(a.Column(j), a.Column(j)));
    norms.push_back(norm > 0.0 ? norm : 1.0);
    for (double& entry : a.Column(j)) entry /= norms.back();
  }
  if (a.Rows() == 0 || a.Columns() == 0) return std::vector<double>(norms.size(), 0.0);
  std::vector<double> x = ActiveSet(a, b).Solve();
  for (std::size_t j = 0; j < x.size(); ++j) x[j] /= norms[j];
  return x;
}

}  // namespace Xem::Fit
