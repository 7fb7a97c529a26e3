#include "fit/models/energy_law.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "fit/linear_model.h"
#include "fit/models/shear_stress_function.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// So many of the best starting points are followed to a minimum.
constexpr std::size_t kMostStarts = 6;

}  // namespace

EnergyPoint DescribePoint(const ModeKinematics& mode, double stretch) {
  const double onShear = &mode == &kSimpleShear ? ShearStressFactor(stretch) : 1.0;
  return {.excess = mode.invariants(stretch),
          .factors = mode.factors(stretch),
          .stretch = stretch,
          .lateral = std::pow(stretch, mode.lateralExponent),
          .perStretch = onShear / stretch};
}

void EnergyFit::Describe() {
  RubberFit::Describe();
  problem.functions.clear();
  problem.termCount = static_cast<std::int32_t>(problem.parameters.size());
  for (std::size_t i = 0; i < screened_.curves.size(); ++i) {
    const ModeKinematics& mode = Kinematics(screened_.modes[i]);
    const Curve& curve = screened_.curves[i];
    std::vector<_T_FUNT_BASE> points;
    for (std::size_t j = 0; j < curve.x.size(); ++j) {
      // Simple shear is the same in both directions.
      const bool mirrored = &mode == &kSimpleShear && curve.x[j] < 0.0;
      const double stretch = mode.stretchFromStrain(mirrored ? -curve.x[j] : curve.x[j]);
      points.emplace_back(stretch, mirrored ? -curve.y[j] : curve.y[j]);
      largest_ = std::max(largest_, mode.invariants(stretch).i1);
    }
    problem.functions.push_back(MakeFunction(mode, points));
  }
  Keep(largest_, problem.parameters);
}

void EnergyFit::CompleteShape(std::vector<double>& shape) const {
  SolveCoefficients(problem, Linear(), shape);
  for (std::size_t k = 0; k < shape.size(); ++k) {
    const FreeOrHeld& parameter = problem.parameters[k];
    if (!parameter.held) shape[k] = std::clamp(shape[k], parameter.lower, parameter.upper);
  }
}

/// Shapes whose energy has a value in all states.
std::vector<std::vector<double>> EnergyFit::StableStarts(double largest) const {
  std::vector<std::vector<double>> shapes = Shapes(std::max(largest, largest_));
  PutHeld(shapes);
  for (std::vector<double>& shape : shapes) CompleteShape(shape);
  return shapes;
}

Problem EnergyFit::StableProblem(const std::vector<double>&, double largest) const {
  Problem kept = problem;
  KeepScanned(std::max(largest, largest_), kept.parameters);
  for (FreeOrHeld& parameter : kept.parameters) parameter.upper = std::max(parameter.lower, parameter.upper);
  return kept;
}

/// The parameters that the energy is linear in follow from the others, so that only those are searched for.
Minimum EnergyFit::Minimise() {
  std::vector<std::vector<double>> shapes = Shapes(largest_);
  PutHeld(shapes);
  std::vector<std::pair<double, std::vector<double>>> ranked;
  for (std::vector<double>& shape : shapes) {
    CompleteShape(shape);
    const double objective = Objective(problem, shape);
    if (std::isfinite(objective)) ranked.emplace_back(objective, std::move(shape));
  }
  std::sort(ranked.begin(), ranked.end());
  std::vector<std::vector<double>> starts;
  for (std::size_t i = 0; i < std::min(ranked.size(), kMostStarts); ++i) starts.push_back(std::move(ranked[i].second));
  if (starts.empty()) starts = Shapes(largest_);
  return Fit::Minimise(problem, WithGiven(starts, starts.front(), Proposed::First));
}

}  // namespace Xem::Fit
