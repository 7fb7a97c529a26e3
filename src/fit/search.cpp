#include "fit/search.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <utility>

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// Steps after which the valleys are compared: those of a grid, and those of all starts.
constexpr int kGridSteps = 20;
constexpr int kFirstSteps = 40;

using Flags = std::vector<bool>;

/// A test function whose flagged parameters are given by their logarithms.
class InLogarithms final : public BlockTestFunction {
 public:
  InLogarithms(TestFunctionList::value_type inner, Flags logarithmic)
      : inner_(std::move(inner)), logarithmic_(std::move(logarithmic)), own_(logarithmic_.size()) {
    curve_.abscissa = inner_->Stretch();
    curve_.measured = inner_->Stress();
    compared_ = inner_->Compared();
  }

  void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    for (std::size_t k = 0; k < own_.size(); ++k) own_[k] = logarithmic_[k] ? std::exp(parameters[k]) : parameters[k];
    inner_->EvaluateBlock(termCount, own_, first, model, derivatives);
    if (derivatives.Empty()) return;
    for (std::size_t k = 0; k < own_.size(); ++k) {
      if (!logarithmic_[k]) continue;
      for (double& entry : derivatives.Column(static_cast<std::int32_t>(k))) entry *= own_[k];
    }
  }

 private:
  TestFunctionList::value_type inner_;
  Flags logarithmic_;
  mutable std::vector<double> own_;  // of one fit, which runs on one thread
};

/// Held parameters may be anything; a logarithm of theirs helps nobody.
Flags Logarithmic(const Problem& problem) {
  Flags flags;
  for (const FreeOrHeld& parameter : problem.parameters) flags.push_back(!parameter.held && parameter.lower > 0.0);
  return flags;
}

Problem Transformed(const Problem& problem, const Flags& logarithmic) {
  Problem transformed = problem;
  for (auto& function : transformed.functions) function = boost::make_shared<InLogarithms>(function, logarithmic);
  for (std::size_t k = 0; k < logarithmic.size(); ++k) {
    if (!logarithmic[k]) continue;
    FreeOrHeld& parameter = transformed.parameters[k];
    parameter.lower = std::log(parameter.lower);
    parameter.upper = std::log(parameter.upper);
  }
  return transformed;
}

std::vector<double> Logarithms(const Problem& problem, const Flags& logarithmic, std::vector<double> start) {
  for (std::size_t k = 0; k < start.size(); ++k) {
    const FreeOrHeld& range = problem.parameters[k];
    if (logarithmic[k]) start[k] = std::log(std::clamp(start[k], range.lower, range.upper));
  }
  return start;
}

/// Rounding of a logarithm must not take a parameter off its bound.
void FromLogarithms(const Problem& problem, const Problem& transformed, const Flags& logarithmic, Minimum& minimum) {
  for (std::size_t k = 0; k < logarithmic.size(); ++k) {
    if (!logarithmic[k]) continue;
    const FreeOrHeld& range = problem.parameters[k];
    double& value = minimum.parameters[k];
    if (value <= transformed.parameters[k].lower) {
      value = range.lower;
    } else if (value >= transformed.parameters[k].upper) {
      value = range.upper;
    } else {
      value = std::clamp(std::exp(value), range.lower, range.upper);
    }
  }
}

/// Where some steps from each start lead to.
std::vector<Minimum> ValleysBelow(const Problem& problem, const std::vector<std::vector<double>>& starts, int steps) {
  const Flags logarithmic = Logarithmic(problem);
  const Problem transformed = Transformed(problem, logarithmic);
  std::vector<std::vector<double>> coordinates;
  for (const auto& start : starts) coordinates.push_back(Logarithms(problem, logarithmic, start));
  std::vector<Minimum> valleys = Descend(transformed, coordinates, steps);
  for (Minimum& valley : valleys) FromLogarithms(problem, transformed, logarithmic, valley);
  return valleys;
}

std::vector<std::vector<double>> Lowest(std::vector<Minimum> valleys, std::size_t count) {
  std::stable_sort(valleys.begin(), valleys.end(),
                   [](const Minimum& a, const Minimum& b) { return a.objective < b.objective; });
  std::vector<std::vector<double>> lowest;
  for (Minimum& valley : valleys) {
    if (lowest.size() < count) lowest.push_back(std::move(valley.parameters));
  }
  return lowest;
}

}  // namespace

std::vector<std::vector<double>> GridStarts(const Problem& problem, const std::vector<double>& base,
                                            const std::vector<GridAxis>& grid, std::size_t count) {
  Problem onGrid = problem;
  std::vector<std::vector<double>> starts{base};
  for (const GridAxis& axis : grid) {
    if (problem.parameters[axis.parameter].held) continue;
    onGrid.parameters[axis.parameter].held = true;
    std::vector<std::vector<double>> longer;
    for (const auto& start : starts) {
      for (const double value : axis.values) {
        longer.push_back(start);
        longer.back()[axis.parameter] = value;
      }
    }
    starts = std::move(longer);
  }
  return Lowest(ValleysBelow(onGrid, starts, kGridSteps), count);
}

Minimum MinimiseValleys(const Problem& problem, const std::vector<std::vector<double>>& starts, std::size_t followed) {
  const Flags logarithmic = Logarithmic(problem);
  const Problem transformed = Transformed(problem, logarithmic);
  std::vector<std::vector<double>> coordinates;
  for (const auto& start : Lowest(ValleysBelow(problem, starts, kFirstSteps), followed)) {
    coordinates.push_back(Logarithms(problem, logarithmic, start));
  }
  Minimum minimum = Minimise(transformed, coordinates);
  FromLogarithms(problem, transformed, logarithmic, minimum);
  return minimum;
}

}  // namespace Xem::Fit
