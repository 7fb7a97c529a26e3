#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "solver/linalg/lapack.h"
#include "solver/linalg/matrix.h"
#include "solver/linalg/vector.h"
#include "testfunctions/test_function_base.h"

namespace Xem::MaterialUtil {

struct Kernels;

/// How residuals, sums over points and steps are computed.
enum class Arithmetic {
  Vectorised,  ///< several points at a time; a factorisation that proves itself safe answers before LAPACK
  AsWritten,   ///< point after point, in their order, and LAPACK's dsysv: where the last bit decides
};

/// Levenberg-Marquardt least squares (Levenberg 1944, Marquardt 1963) over the points of one or more test functions.
///
/// Stop rule: four steps, accepted or rejected, not necessarily in a row, that change the sum of squares E by less
/// than tolerance * max(E', 1) end the run; so do 1000 iterations. The damping starts at 0.001, is divided by 10
/// after an accepted step and multiplied by 10 after a rejected one, and scales the diagonal.
///
/// The list of test functions belongs to the caller and must outlive the solver.
class LevenbergMarquardtMethod {
 public:
  /// Normal matrix (symmetric, n x n) and gradient of the free parameters. Solve has both, and the sum of squares, from
  /// one pass.
  virtual void BuildNormalEquations(std::span<const double> parameters, const FixedTermMask& mask, Matrix& normal,
                                    std::span<double> gradient);
  virtual double SumOfSquares(std::span<const double> parameters);
  /// Starting vector, for variants that know one.
  virtual void InitialGuess(const FixedTermMask& mask, std::span<double> parameters);

  void SetArithmetic(Arithmetic arithmetic) { arithmetic_ = arithmetic; }

  /// Ends runs sooner than after 1000 iterations; for callers that only want to come near.
  void SetMostIterations(std::int32_t most) { mostIterations_ = most; }

  /// Takes the caller's mask; the number of its zeros becomes the free count.
  void SetMask(const FixedTermMask& mask);

  /// Improves `parameters` in place. Returns 0 when it converged (or reached the limit after at least one small
  /// change), -1 when 1000 iterations passed without any. Throws LAPACK's `info` as an int for a singular matrix.
  std::int32_t Solve(std::span<double> parameters, double tolerance);

  /// |SStot - SSres| / SStot with absolute residuals.
  // Deliberate: the mean is the sum of the last measured value of each test function over the number of points.
  double CoefficientOfDetermination(std::span<const double> parameters);
  /// The same of parameters with that sum of squares of absolute residuals.
  double DeterminationOf(double sumOfSquares) const;

  /// The sums of squares of the parameters that the last Solve began with, once they were admissible, and ended with.
  double FirstSumOfSquares() const { return firstSumOfSquares_; }
  double LastSumOfSquares() const { return lastSumOfSquares_; }

  /// Iterations of the last Solve.
  std::int32_t Iterations() const { return iterations_; }

 protected:
  enum class Form { Absolute, Relative };

  /// `termCount` is handed to the test functions, in their own count, and is the length of the mask until SetMask; the
  /// number of parameters is that of the vector to solve for. Throws CInvalidArgException when there is no test
  /// function.
  LevenbergMarquardtMethod(Form form, TestFunctions testFunctions, std::int32_t termCount, bool applyConstraints);
  ~LevenbergMarquardtMethod() = default;

  std::int32_t SystemSize() const { return freeCount_ >= 1 ? freeCount_ : mask_.Size(); }

  const TestFunctions testFunctions_;
  std::int32_t termCount_;
  FixedTermMask mask_;
  std::int32_t freeCount_ = -1;
  bool applyConstraints_;

 private:
  /// A pass need not go on once its sum of squares is so far above `error` that the step is rejected for certain, and
  /// no small change.
  struct EarlyEnd;
  /// What a pass is asked for: the product of the residuals with themselves, with every column, or all of them.
  enum class Asked { SumOfSquares, Gradient, Equations };

  bool EnforceConstraints(std::span<double> parameters) const;
  /// At least `size` numbers that mean nothing yet.
  std::span<double> Storage(std::size_t size);
  /// Returns room for further numbers.
  std::span<double> PrepareBlocks(std::size_t parameterCount, const FixedTermMask& mask, std::size_t further = 0);
  /// Sum of squares, or what it was at an early end. `products` receives the inner products of `columns_`, that of i
  /// and j, i <= j, at i + j columns_.Size(): normal matrix, gradient and, as the last of all, the sum of squares. What
  /// was not asked for stays as it was; of the sum of squares alone there is one. They are complete unless the end was
  /// early. Uses the prepared blocks.
  double Pass(std::span<const double> parameters, Asked asked, std::span<double> products, const EarlyEnd* earlyEnd);
  void EvaluateInto(std::size_t row, const XemMaterialTestFunctionBase& function, std::span<const double> parameters,
                    std::span<const double> compared, std::size_t first, std::span<double* const> columns);
  void AddProducts(std::size_t count, std::span<double* const> columns, bool fresh, bool ofAll,
                   std::span<double> products);
  void MakeTotals(std::size_t columnCount, bool ofAll, std::span<double> products);
  /// Room for the products of a pass for equations.
  std::int64_t ProductCount() const { return std::int64_t{columns_.Size()} * columns_.Size(); }

  Form form_;
  const Kernels& kernels_;
  Arithmetic arithmetic_ = Arithmetic::Vectorised;
  std::int32_t iterations_ = 0;
  std::int32_t mostIterations_ = 1000;
  double firstSumOfSquares_ = 0.0;
  double lastSumOfSquares_ = 0.0;

  // A block of points. All parameters have a column of derivatives, those that are fitted stand in `columns_`, followed
  // by the residuals; the sums are those of the products of `columns_` with one another. One storage for a run; that of
  // a small fit, 50 points of six parameters, stands in the solver itself.
  std::array<double, 1024> few_;
  std::unique_ptr<double[]> many_;
  std::size_t manySize_ = 0;
  BasicVector<double*> columns_;
  std::size_t blockLength_ = 0;
  std::size_t pointCount_ = 0;
  MatrixView block_;
  MatrixView derivatives_;  // of a whole block, all parameters
  std::span<double> sums_;
};

/// Residual measured - model.
class LevenbergMarquardtMethodAbsolute : public LevenbergMarquardtMethod {
 public:
  LevenbergMarquardtMethodAbsolute(TestFunctions testFunctions, std::int32_t termCount, bool applyConstraints = true)
      : LevenbergMarquardtMethod(Form::Absolute, testFunctions, termCount, applyConstraints) {}
};

/// Residual 1 - model / measured.
class LevenbergMarquardtMethodRelative : public LevenbergMarquardtMethod {
 public:
  LevenbergMarquardtMethodRelative(TestFunctions testFunctions, std::int32_t termCount, bool applyConstraints = true)
      : LevenbergMarquardtMethod(Form::Relative, testFunctions, termCount, applyConstraints) {}
};

}  // namespace Xem::MaterialUtil
