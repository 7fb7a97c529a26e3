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

/// The parameters that the energy is linear in follow from the others, so that only those are searched for.
Minimum EnergyFit::Minimise() {
  std::vector<std::vector<double>> shapes = Shapes(largest_);
  PutHeld(shapes);
  std::vector<std::pair<double, std::vector<double>>> ranked;
  for (std::vector<double>& shape : shapes) {
    SolveCoefficients(problem, Linear(), shape);
    for (std::size_t k = 0; k < shape.size(); ++k) {
      const FreeOrHeld& parameter = problem.parameters[k];
      if (!parameter.held) shape[k] = std::clamp(shape[k], parameter.lower, parameter.upper);
    }
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
