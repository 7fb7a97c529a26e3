#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solver/linalg/lapack.h"
#include "solver/linalg/matrix.h"
#include "solver/linalg/vector.h"
#include "testfunctions/test_function_base.h"

namespace Xem::MaterialUtil {

/// Levenberg-Marquardt least squares (Levenberg 1944, Marquardt 1963) over the points of one or more test functions.
///
/// Stop rule: four steps, accepted or rejected, not necessarily in a row, that change the sum of squares E by less
/// than tolerance * max(E', 1) end the run; so do 1000 iterations. The damping starts at 0.001, is divided by 10
/// after an accepted step and multiplied by 10 after a rejected one, and scales the diagonal.
///
/// The list of test functions belongs to the caller and must outlive the solver.
class LevenbergMarquardtMethod {
 public:
  /// `termCount` is handed to the test functions, in their own count, and is the length of the mask until SetMask; the
  /// number of parameters is that of the vector to solve for. Throws CInvalidArgException when there is no test
  /// function.
  LevenbergMarquardtMethod(const TestFunctionList& testFunctions, std::int32_t termCount, bool applyConstraints = true);

  /// Normal matrix (symmetric, n x n) and gradient of the free parameters.
  virtual void BuildNormalEquations(std::span<const double> parameters, const FixedTermMask& mask, Matrix& normal,
                                    std::span<double> gradient) = 0;
  virtual double SumOfSquares(std::span<const double> parameters) = 0;
  /// Starting vector, for variants that know one.
  virtual void InitialGuess(const FixedTermMask& mask, std::span<double> parameters);

  /// Takes the caller's mask; the number of its zeros becomes the free count.
  void SetMask(const FixedTermMask& mask);

  /// Improves `parameters` in place. Returns 0 when it converged (or reached the limit after at least one small
  /// change), -1 when 1000 iterations passed without any. Throws LAPACK's `info` as an int for a singular matrix.
  std::int32_t Solve(std::span<double> parameters, double tolerance);

  /// |SStot - SSres| / SStot with absolute residuals.
  // Deliberate: the mean is the sum of the last measured value of each test function over the number of points.
  double CoefficientOfDetermination(std::span<const double> parameters) const;

  /// Iterations of the last Solve.
  std::int32_t Iterations() const { return iterations_; }

 protected:
  ~LevenbergMarquardtMethod() = default;

  static constexpr std::int32_t kBlockLength = 64;

  std::int32_t SystemSize() const { return freeCount_ >= 1 ? freeCount_ : mask_.Size(); }

  /// Calls perBlock(testFunction, first, compared) for all points in order; `compared` is of the block's points.
  template <class PerBlock>
  void ForEachBlock(PerBlock&& perBlock) const;
  template <class Residual>
  double SumSquaredResiduals(std::span<const double> parameters, Residual residual) const;
  /// `scale(column, compared)` does to a column of derivatives what `residual` does to model values.
  template <class Scale, class Residual>
  void AccumulateNormalEquations(std::span<const double> parameters, const FixedTermMask& mask, Matrix& normal,
                                 std::span<double> gradient, Scale scale, Residual residual);

  const TestFunctionList& testFunctions_;
  std::int32_t termCount_;
  FixedTermMask mask_;
  std::int32_t freeCount_ = -1;
  bool applyConstraints_;

 private:
  bool EnforceConstraints(std::span<double> parameters) const;

  Matrix derivatives_;         // of a block, all parameters
  std::vector<double*> free_;  // the columns among them that are fitted
  std::int32_t iterations_ = 0;
};

/// Residual measured - model.
class LevenbergMarquardtMethodAbsolute : public LevenbergMarquardtMethod {
 public:
  using LevenbergMarquardtMethod::LevenbergMarquardtMethod;
  void BuildNormalEquations(std::span<const double> parameters, const FixedTermMask& mask, Matrix& normal,
                            std::span<double> gradient) override;
  double SumOfSquares(std::span<const double> parameters) override;
};

/// Residual 1 - model / measured.
class LevenbergMarquardtMethodRelative : public LevenbergMarquardtMethod {
 public:
  using LevenbergMarquardtMethod::LevenbergMarquardtMethod;
  void BuildNormalEquations(std::span<const double> parameters, const FixedTermMask& mask, Matrix& normal,
                            std::span<double> gradient) override;
  double SumOfSquares(std::span<const double> parameters) override;
};

}  // namespace Xem::MaterialUtil
