#include "fit/problem.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <utility>

#include "fit/trust_region.h"
#include "solver/levenberg_marquardt.h"
#include "solver/linalg/least_squares.h"
#include "solver/tolerances.h"
#include "testfunctions/scaled_test_function.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// 1 / measured for relative residuals, so that everything above deals in plain differences, and the weight of the
/// curve.
Vector Scales(const XemMaterialTestFunctionBase& function, Residual residual, double weight) {
  Vector scales = function.Stress();
  for (double& scale : scales) scale = residual == Residual::Relative ? weight / scale : weight;
  return scales;
}

Vector Products(Vector factors, const Vector& values) {
  for (std::int32_t i = 0; i < factors.Size(); ++i) factors[i] = values[i] * factors[i];
  return factors;
}

/// A test function as the minimisers see it: scaled, and its parameters kept inside their ranges.
class ProblemFunction final : public ScaledTestFunction {
 public:
  ProblemFunction(const boost::shared_ptr<XemMaterialTestFunctionBase>& inner, const Problem& problem, Vector scales)
      : ScaledTestFunction(inner, scales, Products(scales, inner->Compared())), ranges_(problem.parameters) {}

  bool EnforceParameterConstraints(std::int32_t, std::span<double> parameters) const override {
    bool changed = false;
    for (std::size_t k = 0; k < parameters.size(); ++k) {
      const FreeOrHeld& range = ranges_[k];
      const double inside = range.held ? parameters[k] : std::clamp(parameters[k], range.lower, range.upper);
      changed = changed || inside != parameters[k];
      parameters[k] = inside;
    }
    return changed;
  }

 private:
  std::span<const FreeOrHeld> ranges_;
};

/// The weighted residuals model - measured of all points, for the trust-region polish and the uncertainty.
class WeightedResiduals final : public ResidualFunction {
 public:
  explicit WeightedResiduals(const Problem& problem) : problem_(problem), functions_(ScaledFunctions(problem)) {
    for (const auto& function : functions_) points_ += static_cast<std::size_t>(function->PointCount());
    model_.resize(points_);
  }

  std::size_t PointCount() const override { return points_; }
  const TestFunctionList& Functions() const { return functions_; }
  /// Other values to compare with; they must live as long.
  void CompareWith(std::span<const double> measured) { measured_ = measured; }

  void Residuals(std::span<const double> parameters, std::span<double> residuals) override {
    std::span<const double> others = measured_;
    for (const auto& function : functions_) {
      std::span<const double> compared = function->Compared();
      if (!others.empty()) {
        compared = others.first(compared.size());
        others = others.subspan(compared.size());
      }
      const auto model = residuals.first(compared.size());
      function->EvaluateBlock(problem_.termCount, parameters, 0, model);
      for (std::size_t i = 0; i < model.size(); ++i) model[i] -= compared[i];
      residuals = residuals.subspan(compared.size());
    }
  }

  void Jacobian(std::span<const double> parameters, std::span<double> columns) override {
    const MatrixView all{columns.data(), static_cast<std::int32_t>(points_),
                         static_cast<std::int32_t>(parameters.size()), static_cast<std::int32_t>(points_)};
    std::int32_t row = 0;
    for (const auto& function : functions_) {
      const std::int32_t count = function->PointCount();
      const auto model = std::span(model_).first(static_cast<std::size_t>(count));
      function->EvaluateBlock(problem_.termCount, parameters, 0, model, all.Rows(row, count));
      row += count;
    }
  }

 private:
  const Problem& problem_;
  TestFunctionList functions_;
  std::size_t points_ = 0;
  std::vector<double> model_;  // beside the Jacobian
  std::span<const double> measured_;
};

FixedTermMask Mask(const Problem& problem) {
  FixedTermMask mask(problem.parameters.size());
  for (std::int32_t k = 0; k < mask.Size(); ++k) mask[k] = problem.parameters[k].held ? 1 : 0;
  return mask;
}

double SumOfSquares(std::span<const double> residuals) {
  double sum = 0.0;
  for (const double r : residuals) sum += r * r;
  return sum;
}

/// The core's solver from one start; its result replaces the start unless it failed. Returns its iterations.
int Approach(const Problem& problem, const TestFunctionList& functions, const Effort& effort, double objective,
             std::span<double> parameters) {
  if (effort.iterations == 0) return 0;
  std::vector<double> moved(parameters.begin(), parameters.end());
  LevenbergMarquardtMethodAbsolute solver(functions, problem.termCount);
  solver.SetMask(Mask(problem));
  solver.SetMostIterations(effort.iterations);
  try {
    // The stop rule is absolute below a sum of 1, where scaled residuals of a good curve begin already: relative to
    // where this start stands.
    solver.Solve(moved, kApproachTolerance * std::min(1.0, objective));
  } catch (int) {
    // Exactly singular normal equations: the polish, which copes with them, takes over from the start.
    return solver.Iterations();
  }
  std::copy(moved.begin(), moved.end(), parameters.begin());
  return solver.Iterations();
}

/// True where a start has come to a minimum that an earlier one was polished to, or to a mirror image of it: as good,
/// and no better.
bool ArrivesAt(const Minimum& minimum, ResidualFunction& residuals, std::span<const double> parameters,
               std::span<double> values) {
  constexpr double kAsGood = 1e-6;  // approached, a minimum is known to kApproachTolerance times a few steps
  if (minimum.parameters.empty() || !minimum.converged) return false;
  residuals.Residuals(parameters, values);
  const double objective = SumOfSquares(values);
  return objective >= minimum.objective && objective <= (1.0 + kAsGood) * minimum.objective;
}

}  // namespace

TestFunctionList ScaledFunctions(const Problem& problem) {
  TestFunctionList scaled;
  for (std::size_t i = 0; i < problem.functions.size(); ++i) {
    const auto& function = problem.functions[i];
    scaled.push_back(boost::make_shared<ProblemFunction>(function, problem,
                                                         Scales(*function, problem.residual, problem.weights[i])));
  }
  return scaled;
}

int Problem::PointCount() const {
  int count = 0;
  for (const auto& function : functions) count += function->PointCount();
  return count;
}

int Problem::FreeCount() const {
  return static_cast<int>(
      std::count_if(parameters.begin(), parameters.end(), [](const FreeOrHeld& parameter) { return !parameter.held; }));
}

Minimum Minimise(const Problem& problem, const std::vector<std::vector<double>>& starts, const Effort& effort) {
  WeightedResiduals residuals(problem);
  TrustRegion polish(residuals, problem.parameters, effort.evaluations);
  std::vector<double> values(residuals.PointCount());
  Minimum best;
  for (const auto& start : starts) {
    Minimum found;
    found.parameters = start;
    // A start comes from the caller, from a formula or from another number of terms: it may lie outside the ranges.
    residuals.Functions().front()->EnforceParameterConstraints(problem.termCount, found.parameters);
    residuals.Residuals(found.parameters, values);
    const double objective = SumOfSquares(values);
    if (!std::isfinite(objective)) continue;
    found.atBound.assign(problem.parameters.size(), false);
    found.objective = objective;
    found.converged = problem.FreeCount() == 0;
    if (!found.converged) {
      found.iterations = Approach(problem, residuals.Functions(), effort, objective, found.parameters);
      if (ArrivesAt(best, residuals, found.parameters, values)) continue;
      polish.Run(found);
    }
    // The first of equals stays, so the order of the starts, not rounding, decides which of two mirror images is shown.
    if (std::isfinite(found.objective) && found.objective < best.objective) best = found;
  }
  if (best.parameters.empty()) {
    throw Error(ErrorKind::NotConverged,
                "no starting point led to a finite misfit; check the units of the data or give starting values");
  }
  return best;
}

std::vector<Minimum> Descend(const Problem& problem, const std::vector<std::vector<double>>& starts, int evaluations) {
  WeightedResiduals residuals(problem);
  TrustRegion polish(residuals, problem.parameters, evaluations);
  std::vector<Minimum> reached;
  for (const auto& start : starts) {
    Minimum minimum;
    minimum.parameters = start;
    residuals.Functions().front()->EnforceParameterConstraints(problem.termCount, minimum.parameters);
    polish.Run(minimum);
    if (std::isfinite(minimum.objective)) reached.push_back(std::move(minimum));
  }
  return reached;
}

double Objective(const Problem& problem, std::span<const double> parameters) {
  WeightedResiduals residuals(problem);
  std::vector<double> values(residuals.PointCount());
  residuals.Residuals(parameters, values);
  return SumOfSquares(values);
}

Minimum MinimiseAgain(const Problem& problem, const std::vector<double>& measured, const Minimum& from) {
  WeightedResiduals residuals(problem);
  residuals.CompareWith(measured);
  Minimum again = from;
  TrustRegion(residuals, problem.parameters).Run(again);
  return again;
}

std::vector<double> WeightedFitted(const Problem& problem, std::span<const double> parameters) {
  WeightedResiduals residuals(problem);
  std::vector<double> fitted(residuals.PointCount());
  const std::vector<double> zeros(fitted.size(), 0.0);
  residuals.CompareWith(zeros);
  residuals.Residuals(parameters, fitted);
  return fitted;
}

bool CurveHasSettled(const Problem& problem, int rounds, Minimum& minimum, std::vector<bool>& wandering) {
  constexpr double kVisible = 1e-2;  // of the scatter
  constexpr double kMoved = 1e-3;    // of a parameter
  WeightedResiduals residuals(problem);
  TrustRegion polish(residuals, problem.parameters);
  const std::vector<double> measured = WeightedMeasured(problem);
  wandering.assign(problem.parameters.size(), false);
  for (int round = 1; round <= rounds; ++round) {
    Minimum further = minimum;
    polish.Run(further);
    const std::vector<double> before = WeightedFitted(problem, minimum.parameters);
    const std::vector<double> after = WeightedFitted(problem, further.parameters);
    double change = 0.0;
    double scale = 0.0;
    for (std::size_t i = 0; i < before.size(); ++i) {
      change += (after[i] - before[i]) * (after[i] - before[i]);
      // Scatter at the level of rounding is none.
      scale += std::pow(measured[i] - before[i], 2) + std::pow(1e-10 * measured[i], 2);
    }
    if (change <= kVisible * kVisible * scale) {
      for (std::size_t k = 0; k < wandering.size(); ++k) {
        const double value = minimum.parameters[k];
        wandering[k] = !minimum.atBound[k] && std::abs(further.parameters[k] - value) > kMoved * std::abs(value);
      }
      return true;
    }
    if (round < rounds) minimum = further;
  }
  return false;
}

std::vector<double> WeightedMeasured(const Problem& problem) {
  std::vector<double> measured;
  for (const auto& function : ScaledFunctions(problem)) {
    const Vector& values = function->Compared();
    measured.insert(measured.end(), values.begin(), values.end());
  }
  return measured;
}

void ForEachBlock(const Problem& problem, std::span<const double> parameters, const VisitBlock& visit) {
  std::int32_t longest = 0;
  for (const auto& function : problem.functions) longest = std::max(longest, function->PointCount());
  longest = std::min(longest, LeastSquares::kBlockRows);
  Vector model(longest);
  Matrix jacobian(longest, static_cast<std::int32_t>(parameters.size()));
  for (const auto& function : ScaledFunctions(problem)) {
    ForEachBlockOfRows(function->PointCount(), [&](std::int32_t first, std::int32_t count) {
      const MatrixView rows = jacobian.View().Rows(0, count);
      function->EvaluateBlock(problem.termCount, parameters, first, model.Span().first(count), rows);
      visit(std::as_const(function->Compared()).Span().subspan(first, count), rows);
    });
  }
}

std::vector<double> Jacobian(const Problem& problem, std::span<const double> parameters) {
  WeightedResiduals residuals(problem);
  std::vector<double> columns(residuals.PointCount() * parameters.size());
  residuals.Jacobian(parameters, columns);
  return columns;
}

}  // namespace Xem::Fit
