#pragma once

#include <functional>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "solver/linalg/matrix.h"
#include "testfunctions/test_function_base.h"
#include "xem/fit/result.h"

namespace Xem::Fit {

/// A parameter as the minimiser sees it.
struct FreeOrHeld {
  std::string name;
  std::string unit;
  double lower = -std::numeric_limits<double>::infinity();
  double upper = std::numeric_limits<double>::infinity();
  bool held = false;
  double scale = 1.0;   ///< the value in `unit` is that of the test functions, and of the range, times this
  bool hidden = false;  ///< held by the model for good; no part of results
};

/// One fit: test functions of the core over the kept points, with a weight each, and the parameters that they share.
/// A family describes itself by filling this record; everything below is the same for all families.
struct Problem {
  MaterialUtil::TestFunctionList functions;
  std::vector<double> weights;  ///< one per function
  Residual residual = Residual::Absolute;
  std::int32_t termCount = 0;  ///< size of the model as the test functions count it
  std::vector<FreeOrHeld> parameters;

  int PointCount() const;
  int FreeCount() const;
};

/// The test functions as minimisers see them, weighted, relative where that is asked for, and with parameters kept in
/// their ranges. The problem must live as long.
MaterialUtil::TestFunctionList ScaledFunctions(const Problem& problem);

/// A minimum of the weighted sum of squared residuals.
struct Minimum {
  std::vector<double> parameters;
  double objective = std::numeric_limits<double>::infinity();
  int iterations = 0;
  bool converged = false;
  std::vector<bool> atBound;  ///< per parameter: held at a bound of its range by the data
};

/// How far a start is followed: fits that only rank models or compare starts are in a hurry.
struct Effort {
  int evaluations = 0;    ///< of the polish; 0: until it has arrived
  int iterations = 1000;  ///< of the core's solver before it; 0: the polish alone
};

/// From every start: the core's solver, then a trust-region polish within the ranges; returns the best minimum, the
/// earliest on ties. Starts that lead nowhere (singular, not finite) are skipped; throws Error (NotConverged) when all
/// do.
Minimum Minimise(const Problem& problem, const std::vector<std::vector<double>>& starts, const Effort& effort = {});

/// From every start, brought into the ranges: where at most so many evaluations of the polish alone lead to, to compare
/// starts. Starts without a finite misfit are left out.
std::vector<Minimum> Descend(const Problem& problem, const std::vector<std::vector<double>>& starts, int evaluations);

/// Weighted sum of squares at given parameters.
double Objective(const Problem& problem, std::span<const double> parameters);

/// The minimum next to `from` if the weighted measured values were others.
Minimum MinimiseAgain(const Problem& problem, const std::vector<double>& measured, const Minimum& from);

/// Weighted measured values of all points, curve after curve.
std::vector<double> WeightedMeasured(const Problem& problem);

/// Visits the weighted measured values of all points, curve after curve in blocks of at most LeastSquares::kBlockRows,
/// with the Jacobian of their model part, points x parameters.
using VisitBlock = std::function<void(std::span<const double> measured, const MaterialUtil::MatrixView& jacobian)>;
void ForEachBlock(const Problem& problem, std::span<const double> parameters, const VisitBlock& visit);
/// Weighted values of the model, likewise.
std::vector<double> WeightedFitted(const Problem& problem, std::span<const double> parameters);

/// Follows a fit that stopped on its way further, at most `rounds` times. When its curve stays where it was, it has
/// arrived: returns true and marks in `wandering` the parameters that went on moving nevertheless, which the data do
/// not determine. `minimum` comes along in all rounds but the last.
bool CurveHasSettled(const Problem& problem, int rounds, Minimum& minimum, std::vector<bool>& wandering);

/// Jacobian of the weighted residuals' model part, points x parameters, column-major.
std::vector<double> Jacobian(const Problem& problem, std::span<const double> parameters);

}  // namespace Xem::Fit
