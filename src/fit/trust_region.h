#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "fit/problem.h"
#include "solver/linalg/lapack.h"
#include "solver/linalg/matrix.h"

namespace Xem::Fit {

/// Residuals of a least-squares problem and their derivatives.
class ResidualFunction {
 public:
  virtual std::size_t PointCount() const = 0;
  virtual void Residuals(std::span<const double> parameters, std::span<double> residuals) = 0;
  /// Points x parameters, column-major.
  virtual void Jacobian(std::span<const double> parameters, std::span<double> columns) = 0;

 protected:
  ~ResidualFunction() = default;
};

/// Polishes a point to a minimum within the parameters' ranges: MINPACK's trust-region method (More 1978) on the free
/// parameters, with those that the data push against a bound set there, and let go when they want back inside.
/// Buffers are made once and serve any number of runs.
///
/// MINPACK sees the problem after a rotation that leaves as many rows as parameters and one more: the triangle R of the
/// Jacobian and what the residuals are in its columns. Norms, gradients and curvatures are those of all points, which
/// MINPACK's own decomposition would take ten times as long for.
class TrustRegion {
 public:
  /// `mostEvaluations` of the residuals end a run, wherever it is, and what follows the first digits of a minimum is
  /// not sought; 0: to rounding, with 400 per parameter between two changes of bounds.
  TrustRegion(ResidualFunction& residuals, std::span<const FreeOrHeld> parameters, int mostEvaluations = 0);
  TrustRegion(const TrustRegion&) = delete;
  TrustRegion& operator=(const TrustRegion&) = delete;

  /// For the runs that follow.
  void SetMostEvaluations(int mostEvaluations) { mostEvaluations_ = mostEvaluations; }

  /// Improves `minimum` in place; its parameters must be inside their ranges.
  void Run(Minimum& minimum);

 private:
  friend struct TrustRegionCallback;

  void Expand(const double* free);
  double SumOfSquares(std::span<const double> parameters);
  /// The rotated Jacobian and residuals, of the free parameters at `full_`.
  void Rotate(std::span<double> residuals, MaterialUtil::MatrixView jacobian);
  bool RunOnce(Minimum& minimum);
  /// Sets or frees parameters at their bounds by the sign of the gradient; true when that changed the free set.
  bool UpdateBounds(Minimum& minimum);

  ResidualFunction& residuals_;
  int mostEvaluations_;
  int evaluations_ = 0;  // of the run
  std::span<const FreeOrHeld> parameters_;
  std::vector<std::size_t> free_;  // indices of the parameters being moved
  std::vector<double> full_;       // all parameters, inside their ranges
  std::vector<bool> clipped_;      // a moved parameter lies beyond its range
  std::vector<int> released_;      // how often a parameter was let go
  std::vector<double> storage_;    // of the spans below
  std::span<double> columns_;      // Jacobian of all parameters
  std::span<double> values_;       // residuals at `full_`
  MaterialUtil::Matrix rows_;  // free parameters' columns and residuals: the triangle of earlier points, further ones
  MaterialUtil::Triangulariser triangulariser_;
  std::span<double> rotated_, jacobian_;
  std::span<double> point_, diagonal_, qtf_, work1_, work2_, work3_, work4_;
  std::vector<int> pivots_;
};

}  // namespace Xem::Fit
