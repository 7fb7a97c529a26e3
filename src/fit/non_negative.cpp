#include "fit/non_negative.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "solver/linalg/lapack.h"
#include "solver/linalg/least_squares.h"

namespace Xem::Fit {
namespace {

using MaterialUtil::DecomposeSingular;
using MaterialUtil::Dot;
using MaterialUtil::Matrix;
using MaterialUtil::Multiply;
using MaterialUtil::MultiplyTransposed;
using MaterialUtil::SingularValues;
using MaterialUtil::SolveTruncated;
using MaterialUtil::Vector;

/// Directions below this part of the largest singular value are rounding.
constexpr double kRounding = 1e-14;

/// A gradient below this part of its largest possible value counts as zero.
constexpr double kFlat = 1e-13;

/// The same problem with unit columns and no more rows than it has independent ones.
struct Compressed {
  Matrix a;
  Vector b;
  std::vector<double> norms;
};

/// The projection on the left singular vectors leaves every misfit as it is but for a constant, and the iteration then
/// works on as many rows as there are columns, however many points a curve has.
Compressed Compress(Matrix a, std::span<const double> b) {
  Compressed result;
  for (std::int32_t j = 0; j < a.Columns(); ++j) {
    const double norm = std::sqrt(Dot(a.Column(j), a.Column(j)));
    result.norms.push_back(norm > 0.0 ? norm : 1.0);
    for (double& entry : a.Column(j)) entry /= result.norms.back();
  }
  const std::int32_t columns = a.Columns();
  const SingularValues svd = DecomposeSingular(std::move(a));
  std::int32_t rank = 0;
  while (rank < svd.s.Size() && svd.s[rank] > kRounding * svd.s[0]) ++rank;
  result.a = Matrix(rank, columns);
  result.b.Resize(rank);
  for (std::int32_t k = 0; k < rank; ++k) {
    for (std::int32_t j = 0; j < columns; ++j) result.a(k, j) = svd.s[k] * svd.vt(k, j);
    result.b[k] = Dot(svd.u.Column(k), b);
  }
  return result;
}

/// The active-set iteration: `passive` columns are free, the others at zero.
class ActiveSet {
 public:
  explicit ActiveSet(const Compressed& problem)
      : problem_(problem),
        x_(problem.norms.size(), 0.0),
        passive_(problem.norms.size(), false),
        blocked_(problem.norms.size(), false),
        residual_(problem.b.begin(), problem.b.end()),
        gradient_(problem.norms.size()) {}

  std::vector<double> Solve() {
    const double scale = std::sqrt(Dot(problem_.b, problem_.b));
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
    MultiplyTransposed(problem_.a, residual_, gradient_);
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

  std::vector<double> SolvePassive() const {
    std::vector<std::int32_t> columns;
    for (std::size_t j = 0; j < passive_.size(); ++j) {
      if (passive_[j]) columns.push_back(static_cast<std::int32_t>(j));
    }
    Matrix part(problem_.a.Rows(), static_cast<std::int32_t>(columns.size()));
    for (std::size_t k = 0; k < columns.size(); ++k) {
      const auto source = problem_.a.Column(columns[k]);
      std::copy(source.begin(), source.end(), part.Column(k).begin());
    }
    const Vector solution = SolveTruncated(std::move(part), problem_.b, 1.0 / kRounding);
    std::vector<double> x(passive_.size(), 0.0);
    for (std::size_t k = 0; k < columns.size(); ++k) {
      x[static_cast<std::size_t>(columns[k])] = solution[k];
    }
    return x;
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
    Multiply(problem_.a, x_, residual_);
    for (std::size_t i = 0; i < residual_.size(); ++i) {
      residual_[i] = problem_.b[i] - residual_[i];
    }
  }

  const Compressed& problem_;
  std::vector<double> x_;
  std::vector<bool> passive_;
  std::vector<bool> blocked_;
  std::vector<double> residual_;
  std::vector<double> gradient_;
};

}  // namespace

std::vector<double> SolveNonNegative(const Matrix& a, std::span<const double> b) {
  if (a.Rows() == 0 || a.Columns() == 0) return std::vector<double>(static_cast<std::size_t>(a.Columns()), 0.0);
  const Compressed problem = Compress(a, b);
  std::vector<double> x = ActiveSet(problem).Solve();
  for (std::size_t j = 0; j < x.size(); ++j) x[j] /= problem.norms[j];
  return x;
}

}  // namespace Xem::Fit
