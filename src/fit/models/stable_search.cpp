#include "fit/models/stable_search.h"

#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <utility>

#include "stability/stability_scan.h"
#include "stability/symmetric3.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// The smallest stiffness that is asked for, over the shear modulus, and the part of it that counts as reached.
constexpr double kMargin = 1e-4;
constexpr double kReached = 0.3;

/// Every so many states of the scan are looked after from the beginning, the others where they fail.
constexpr std::size_t kCoarse = 12;

constexpr int kRounds = 40;
constexpr int kEvaluations = 300;

/// A search whose misfit changes by less than this part from one round to the next has arrived.
constexpr double kSettled = 1e-6;

/// One deformation of the scan.
struct State {
  std::size_t mode = 0;
  bool tension = false;
  std::array<double, 3> stretches{};
  double size = 1.0;  ///< of the stiffness at the start, over the shear modulus
};

/// The states between two strains in the order of the scan: it steps from the undeformed one outwards, and its steps
/// are those of the scan to the last bit.
std::vector<State> StatesBetween(double lower, double upper) {
  std::vector<State> states;
  for (std::size_t mode = 0; mode < kScannedModes.size(); ++mode) {
    for (double stretch = 1.0 - kScanStep; stretch >= 1.0 + lower; stretch -= kScanStep) {
      states.push_back({mode, false, kScannedModes[mode](stretch)});
    }
    for (double stretch = 1.0 + kScanStep; stretch <= 1.0 + upper; stretch += kScanStep) {
      states.push_back({mode, true, kScannedModes[mode](stretch)});
    }
  }
  return states;
}

/// Of the tangent in one state, over the shear modulus.
struct Stiffness {
  double smallest = 0.0;  ///< eigenvalue
  double size = 0.0;      ///< of the part that keeps the volume; grows by orders of magnitude towards large strains
};

/// In principal axes shear is by itself.
Stiffness StiffnessIn(const XemMaterialStabilityBase& model, const State& state, double shearModulus, Matrix& gradient,
                      Matrix& tangent) {
  std::array<double, 6> stress{};
  for (std::size_t i = 0; i < 3; ++i) gradient(i, i) = state.stretches[i];
  model.ComputeTangent(gradient, tangent, stress, 1.0, 0.0, 0.0);
  Matrix3 normal{};
  for (std::size_t i = 0; i < 3; ++i) {
    for (std::size_t j = 0; j < 3; ++j) normal[i][j] = tangent(std::max(i, j), std::min(i, j));
  }
  const std::array<double, 3> values = DecomposeSymmetric3(normal).values;
  double smallest = *std::min_element(values.begin(), values.end());
  double size = shearModulus;
  for (std::size_t i = 0; i < 3; ++i) {
    const std::size_t j = (i + 1) % 3;
    smallest = std::min(smallest, tangent(3 + i, 3 + i));
    size += std::abs(tangent(3 + i, 3 + i)) + std::abs(normal[i][i] + normal[j][j] - 2.0 * normal[i][j]);
  }
  if (!std::isfinite(smallest) || !std::isfinite(size)) return {-1.0, 1.0};
  return {smallest / shearModulus, size / shearModulus};
}

using Margins = std::vector<Stiffness>;

/// Of all states.
Margins MarginsOf(const RubberLaw& law, std::span<const double> volumetric, std::span<const double> parameters,
                  std::span<const State> states, double shearModulus) {
  const auto model = law.scan(parameters);
  model->SetParameters(parameters,
                       VolumetricOrDefault({volumetric.begin(), volumetric.end()}, law.shearModulus(parameters)));
  Matrix gradient(3, 3);
  Matrix tangent(6, 6);
  Margins margins;
  for (const State& state : states) {
    margins.push_back(StiffnessIn(*model, state, shearModulus, gradient, tangent));
  }
  return margins;
}

/// What the stiffness of each state lacks, times a weight: residuals whose measured values are 0.
class LackOfStiffness final : public BlockTestFunction {
 public:
  LackOfStiffness(const RubberLaw& law, std::span<const double> volumetric, std::vector<State> states,
                  double shearModulus)
      : law_(law), volumetric_(volumetric), states_(std::move(states)), shearModulus_(shearModulus) {
    std::vector<_T_FUNT_BASE> points(states_.size(), _T_FUNT_BASE(1.0, 1.0));
    SetTestData(std::span<const _T_FUNT_BASE>(points));
    std::ranges::fill(compared_, 0.0);
  }

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    const auto states = std::span(states_).subspan(static_cast<std::size_t>(first), model.size());
    const Margins margins = MarginsOf(law_, volumetric_, parameters, states, shearModulus_);
    std::vector<State> lacking;
    for (std::size_t i = 0; i < model.size(); ++i) {
      model[i] = std::max(0.0, kMargin - margins[i].smallest) / states[i].size;
      if (model[i] > 0.0) lacking.push_back(states[i]);
    }
    if (derivatives.Empty()) return;
    derivatives.Fill(0.0);
    std::vector<double> moved(parameters.begin(), parameters.end());
    double largest = 0.0;
    for (const double value : parameters) largest = std::max(largest, std::abs(value));
    for (std::size_t k = 0; k < moved.size() && !lacking.empty(); ++k) {
      const double step = 1e-6 * std::abs(parameters[k]) + 1e-9 * largest;
      moved[k] = parameters[k] + step;
      const Margins above = MarginsOf(law_, volumetric_, moved, lacking, shearModulus_);
      moved[k] = parameters[k] - step;
      const Margins below = MarginsOf(law_, volumetric_, moved, lacking, shearModulus_);
      moved[k] = parameters[k];
      const std::span<double> column = derivatives.Column(k);
      for (std::size_t i = 0, j = 0; i < model.size(); ++i) {
        if (model[i] > 0.0) column[i] = (below[j].smallest - above[j].smallest) / (2.0 * step * states[i].size), ++j;
      }
    }
  }

 private:
  const RubberLaw& law_;
  std::span<const double> volumetric_;
  std::vector<State> states_;
  double shearModulus_;
};

/// Of every mode and direction the worst state and the first that fails.
std::vector<State> Failing(std::span<const State> states, const Margins& margins) {
  std::vector<State> failing;
  for (std::size_t i = 0; i < states.size();) {
    std::size_t worst = i;
    std::size_t firstFailing = states.size();
    std::size_t end = i;
    for (; end < states.size() && states[end].mode == states[i].mode && states[end].tension == states[i].tension;
         ++end) {
      if (margins[end].smallest < margins[worst].smallest) worst = end;
      if (margins[end].smallest < kReached * kMargin && firstFailing == states.size()) firstFailing = end;
    }
    if (firstFailing < states.size()) {
      failing.push_back(states[worst]);
      if (firstFailing != worst) failing.push_back(states[firstFailing]);
    }
    i = end;
  }
  return failing;
}

bool Holds(const std::vector<State>& states, const State& state) {
  return std::any_of(states.begin(), states.end(),
                     [&](const State& one) { return one.mode == state.mode && one.stretches == state.stretches; });
}

}  // namespace

StableSearch::StableSearch(const RubberLaw& law, std::vector<double> volumetric, double lower, double upper)
    : law_(law), volumetric_(std::move(volumetric)), lower_(std::min(lower, 0.0)), upper_(std::max(upper, 0.0)) {}

bool StableSearch::IsStable(std::span<const double> parameters) const {
  return law_.shearModulus(parameters) > 0.0 && CheckLaw(law_, parameters, volumetric_, lower_, upper_).Stable();
}

std::optional<Minimum> StableSearch::Follow(const Problem& problem, const std::vector<double>& start,
                                            double shearModulus) const {
  std::vector<State> states = StatesBetween(std::max(lower_, law_.lowestScanned), std::min(upper_, kHighestStrain));
  const Margins atStart = MarginsOf(law_, volumetric_, start, states, shearModulus);
  for (std::size_t i = 0; i < states.size(); ++i) states[i].size = atStart[i].size;
  std::vector<State> watched;
  for (std::size_t i = 0; i < states.size(); ++i) {
    const bool outermost =
        i + 1 == states.size() || states[i + 1].mode != states[i].mode || states[i + 1].tension != states[i].tension;
    if (i % kCoarse == 0 || outermost) watched.push_back(states[i]);
  }
  const std::vector<double> measured = WeightedMeasured(problem);
  double weight = std::sqrt(std::inner_product(measured.begin(), measured.end(), measured.begin(), 0.0));
  const bool fromStable = IsStable(start);
  Minimum minimum;
  minimum.parameters = start;
  double before = std::numeric_limits<double>::infinity();
  for (int round = 0; round < kRounds; ++round) {
    Problem penalised = problem;
    penalised.functions.push_back(boost::make_shared<LackOfStiffness>(law_, volumetric_, watched, shearModulus));
    penalised.weights.push_back(weight);
    const std::vector<Minimum> reached = Descend(penalised, {minimum.parameters}, kEvaluations);
    if (reached.empty()) return std::nullopt;
    minimum = reached.front();
    const std::vector<State> failing =
        Failing(states, MarginsOf(law_, volumetric_, minimum.parameters, states, shearModulus));
    bool known = true;
    for (const State& state : failing) {
      if (Holds(watched, state)) continue;
      watched.push_back(state);
      known = false;
    }
    const double objective = Objective(problem, minimum.parameters);
    minimum.converged = minimum.converged || std::abs(objective - before) <= kSettled * objective;
    before = objective;
    if (failing.empty() && minimum.converged) break;
    if (!failing.empty() && known) weight *= 10.0;
    // What was overlooked may lie behind a wall, where an energy has no value and the stiffness no slope.
    if (!known && fromStable) minimum.parameters = start;
  }
  if (!IsStable(minimum.parameters)) return std::nullopt;
  minimum.objective = Objective(problem, minimum.parameters);
  return minimum;
}

}  // namespace Xem::Fit
