#include "fit/problem.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>

#include "fit/trust_region.h"
#include "solver/levenberg_marquardt.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// A test function of the core with its residuals scaled: by the weight of its curve and, for relative residuals, by
/// 1 / measured, so that everything above it deals in plain differences. Keeps parameters inside their ranges.
class ScaledTestFunction final : public XemMaterialTestFunctionBase, public BlockOperations {
 public:
  ScaledTestFunction(boost::shared_ptr<XemMaterialTestFunctionBase> inner, const Problem& problem, double weight)
      : XemMaterialTestFunctionBase(this), inner_(std::move(inner)), problem_(problem) {
    const std::int32_t points = inner_->PointCount();
    curve_.stretch = inner_->Stretch();
    curve_.stress.Resize(points);
    scale_.resize(static_cast<std::size_t>(points));
    for (std::int32_t i = 0; i < points; ++i) {
      const double measured = inner_->Stress()[i];
      const double scale = problem.residual == Residual::Relative ? weight / measured : weight;
      scale_[static_cast<std::size_t>(i)] = scale;
      curve_.stress[i] = measured * scale;
    }
  }

  bool EnforceParameterConstraints(std::int32_t, std::span<double> parameters) const override {
    bool changed = false;
    for (std::size_t k = 0; k < parameters.size(); ++k) {
      const FreeOrHeld& range = problem_.parameters[k];
      const double inside = range.held ? parameters[k] : std::clamp(parameters[k], range.lower, range.upper);
      changed = changed || inside != parameters[k];
      parameters[k] = inside;
    }
    return changed;
  }

  void ParameterGradient(std::int32_t termCount, std::span<const double> parameters, std::int32_t point,
                         std::span<double> gradient) const override {
    inner_->ParameterGradient(termCount, parameters, point, gradient);
    for (double& entry : gradient) entry *= scale_[static_cast<std::size_t>(point)];
  }

  void EvaluatePoint(std::int32_t termCount, std::span<const double> parameters, std::int32_t point, double& measured,
                     double& model) const override {
    inner_->EvaluatePoint(termCount, parameters, point, measured, model);
    measured *= scale_[static_cast<std::size_t>(point)];
    model *= scale_[static_cast<std::size_t>(point)];
  }

  bool ValuesOfBlock(std::int32_t termCount, std::span<const double> parameters, std::int32_t first,
                     std::span<double> measured, std::span<double> model) const override {
    inner_->EvaluateBlock(termCount, parameters, first, measured, model);
    ScaleValues(first, measured, model);
    return true;
  }

  void GradientsOfBlock(std::int32_t termCount, std::span<const double> parameters, std::int32_t first,
                        std::span<double> measured, std::span<double> model,
                        std::span<double> gradients) const override {
    inner_->GradientBlock(termCount, parameters, first, measured, model, gradients);
    ScaleValues(first, measured, model);
    const std::size_t width = parameters.size();
    for (std::size_t i = 0; i < measured.size(); ++i) {
      const double scale = scale_[static_cast<std::size_t>(first) + i];
      for (std::size_t k = 0; k < width; ++k) gradients[i * width + k] *= scale;
    }
  }

 private:
  void ScaleValues(std::int32_t first, std::span<double> measured, std::span<double> model) const {
    for (std::size_t i = 0; i < measured.size(); ++i) {
      measured[i] *= scale_[static_cast<std::size_t>(first) + i];
      model[i] *= scale_[static_cast<std::size_t>(first) + i];
    }
  }

  boost::shared_ptr<XemMaterialTestFunctionBase> inner_;
  const Problem& problem_;
  std::vector<double> scale_;
};

TestFunctionList ScaledFunctions(const Problem& problem) {
  TestFunctionList scaled;
  for (std::size_t i = 0; i < problem.functions.size(); ++i) {
    scaled.push_back(boost::make_shared<ScaledTestFunction>(problem.functions[i], problem, problem.weights[i]));
  }
  return scaled;
}

/// The weighted residuals model - measured of all points, for the trust-region polish and the uncertainty.
class WeightedResiduals final : public ResidualFunction {
 public:
  explicit WeightedResiduals(const Problem& problem) : problem_(problem), functions_(ScaledFunctions(problem)) {
    for (const auto& function : functions_) points_ += static_cast<std::size_t>(function->PointCount());
    std::size_t longest = 0;
    for (const auto& function : functions_) {
      longest = std::max(longest, static_cast<std::size_t>(function->PointCount()));
    }
    measured_.resize(longest);
    model_.resize(longest);
    gradients_.resize(longest * problem.parameters.size());
  }

  std::size_t PointCount() const override { return points_; }
  const TestFunctionList& Functions() const { return functions_; }

  void Residuals(std::span<const double> parameters, std::span<double> residuals) override {
    std::size_t row = 0;
    for (const auto& function : functions_) {
      const auto count = static_cast<std::size_t>(function->PointCount());
      const auto measured = std::span(measured_).first(count);
      const auto model = std::span(model_).first(count);
      function->EvaluateBlock(problem_.termCount, parameters, 0, measured, model);
      for (std::size_t i = 0; i < count; ++i) residuals[row++] = model[i] - measured[i];
    }
  }

  void Jacobian(std::span<const double> parameters, std::span<double> columns) override {
    const std::size_t width = parameters.size();
    std::size_t row = 0;
    for (const auto& function : functions_) {
      const auto count = static_cast<std::size_t>(function->PointCount());
      function->GradientBlock(problem_.termCount, parameters, 0, std::span(measured_).first(count),
                              std::span(model_).first(count), std::span(gradients_).first(count * width));
      for (std::size_t k = 0; k < width; ++k) {
        for (std::size_t i = 0; i < count; ++i) columns[k * points_ + row + i] = gradients_[i * width + k];
      }
      row += count;
    }
  }

 private:
  const Problem& problem_;
  TestFunctionList functions_;
  std::size_t points_ = 0;
  std::vector<double> measured_;
  std::vector<double> model_;
  std::vector<double> gradients_;
};

FixedTermMask Mask(const Problem& problem) {
  FixedTermMask mask(static_cast<std::int64_t>(problem.parameters.size()));
  for (std::int32_t k = 0; k < mask.Size(); ++k) mask[k] = problem.parameters[static_cast<std::size_t>(k)].held ? 1 : 0;
  return mask;
}

double SumOfSquares(std::span<const double> residuals) {
  double sum = 0.0;
  for (const double r : residuals) sum += r * r;
  return sum;
}

/// The core's solver from one start; its result replaces the start unless it failed. Returns its iterations.
int Approach(const Problem& problem, const TestFunctionList& functions, double objective,
             std::span<double> parameters) {
  constexpr double kTolerance = 1e-8;
  std::vector<double> moved(parameters.begin(), parameters.end());
  LevenbergMarquardtMethodAbsolute solver(functions, problem.termCount);
  solver.SetMask(Mask(problem));
  try {
    solver.Solve(moved, kTolerance * std::min(1.0, objective));
  } catch (int) {
    // Exactly singular normal equations: the polish, which copes with them, takes over from the start.
    return solver.Iterations();
  }
  std::copy(moved.begin(), moved.end(), parameters.begin());
  return solver.Iterations();
}

}  // namespace

int Problem::PointCount() const {
  int count = 0;
  for (const auto& function : functions) count += function->PointCount();
  return count;
}

int Problem::FreeCount() const {
  return static_cast<int>(
      std::count_if(parameters.begin(), parameters.end(), [](const FreeOrHeld& parameter) { return !parameter.held; }));
}

Minimum Minimise(const Problem& problem, const std::vector<std::vector<double>>& starts, int mostEvaluations) {
  WeightedResiduals residuals(problem);
  TrustRegion polish(residuals, problem.parameters, mostEvaluations);
  std::vector<double> values(residuals.PointCount());
  Minimum best;
  for (const auto& start : starts) {
    Minimum found;
    found.parameters = start;
    residuals.Functions().front()->EnforceParameterConstraints(problem.termCount, found.parameters);
    residuals.Residuals(found.parameters, values);
    const double objective = SumOfSquares(values);
    if (!std::isfinite(objective)) continue;
    found.atBound.assign(problem.parameters.size(), false);
    found.objective = objective;
    found.converged = problem.FreeCount() == 0;
    if (!found.converged) {
      found.iterations = Approach(problem, residuals.Functions(), objective, found.parameters);
      polish.Run(found);
    }
    if (std::isfinite(found.objective) && found.objective < best.objective) best = found;
  }
  if (best.parameters.empty()) {
    throw Error(ErrorKind::NotConverged,
                "no starting point led to a finite misfit; check the units of the data or give starting values");
  }
  return best;
}

double Objective(const Problem& problem, std::span<const double> parameters) {
  WeightedResiduals residuals(problem);
  std::vector<double> values(residuals.PointCount());
  residuals.Residuals(parameters, values);
  return SumOfSquares(values);
}

std::vector<double> WeightedMeasured(const Problem& problem) {
  std::vector<double> measured;
  for (const auto& function : ScaledFunctions(problem)) {
    const auto values = function->Stress().Span();
    measured.insert(measured.end(), values.begin(), values.end());
  }
  return measured;
}

std::vector<double> Jacobian(const Problem& problem, std::span<const double> parameters) {
  WeightedResiduals residuals(problem);
  std::vector<double> columns(residuals.PointCount() * parameters.size());
  residuals.Jacobian(parameters, columns);
  return columns;
}

}  // namespace Xem::Fit
