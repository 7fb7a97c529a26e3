#include "fit/bootstrap.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <random>
#include <span>

#include "fit/student.h"

namespace Xem::Fit {
namespace {

/// Weighted residuals of the points of all curves, about the mean of their curve.
std::vector<double> Centred(const Problem& problem, const std::vector<double>& measured,
                            const std::vector<double>& fitted) {
  std::vector<double> residuals(measured.size());
  std::size_t first = 0;
  for (const auto& function : problem.functions) {
    const auto count = static_cast<std::size_t>(function->PointCount());
    double mean = 0.0;
    for (std::size_t i = first; i < first + count; ++i) {
      residuals[i] = measured[i] - fitted[i];
      mean += residuals[i] / static_cast<double>(count);
    }
    for (std::size_t i = first; i < first + count; ++i) residuals[i] -= mean;
    first += count;
  }
  return residuals;
}

/// `fitted` with residuals drawn within each curve. The remainder of the generator's number, the same everywhere, is
/// as good as uniform for any number of points.
std::vector<double> Resampled(const Problem& problem, const std::vector<double>& fitted,
                              const std::vector<double>& residuals, double enlarged, std::mt19937_64& generator) {
  std::vector<double> values = fitted;
  std::size_t first = 0;
  for (const auto& function : problem.functions) {
    const auto count = static_cast<std::size_t>(function->PointCount());
    for (std::size_t i = first; i < first + count; ++i) {
      values[i] += enlarged * residuals[first + generator() % count];
    }
    first += count;
  }
  return values;
}

/// Linear between the sorted values.
double Quantile(const std::vector<double>& sorted, double probability) {
  const double position = probability * static_cast<double>(sorted.size() - 1);
  const auto below = static_cast<std::size_t>(position);
  const std::size_t above = std::min(below + 1, sorted.size() - 1);
  return sorted[below] + (position - static_cast<double>(below)) * (sorted[above] - sorted[below]);
}

}  // namespace

std::vector<Interval> BootstrapIntervals(const Problem& problem, const Minimum& minimum, const Options& options,
                                         std::vector<std::string>& notes) {
  constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
  const std::size_t count = problem.parameters.size();
  std::vector<Interval> intervals(count, {kUnknown, kUnknown});
  const auto bound = static_cast<int>(std::count(minimum.atBound.begin(), minimum.atBound.end(), true));
  const int free = problem.FreeCount() - bound;
  const int degrees = problem.PointCount() - free;
  if (degrees <= 0 || problem.FreeCount() == 0) {
    notes.push_back("the bootstrap has no residuals to resample: there are as many parameters as points");
    return intervals;
  }
  const std::vector<double> measured = WeightedMeasured(problem);
  const std::vector<double> fitted = WeightedFitted(problem, minimum.parameters);
  const std::vector<double> residuals = Centred(problem, measured, fitted);
  const double enlarged = std::sqrt(static_cast<double>(problem.PointCount()) / degrees);
  std::mt19937_64 generator(options.seed);
  std::vector<std::vector<double>> found(count);
  int failed = 0;
  for (int i = 0; i < options.bootstrap; ++i) {
    const std::vector<double> values = Resampled(problem, fitted, residuals, enlarged, generator);
    const Minimum again = MinimiseAgain(problem, values, minimum);
    if (!std::isfinite(again.objective)) {
      ++failed;
      continue;
    }
    for (std::size_t k = 0; k < count; ++k) found[k].push_back(again.parameters[k] * problem.parameters[k].scale);
  }
  if (failed > 0) {
    notes.push_back("the bootstrap left out " + std::to_string(failed) + " of " + std::to_string(options.bootstrap) +
                    " resamplings that led to no finite misfit");
  }
  // Percentiles as wide as Student's t makes the other intervals: those of a few points would be too narrow
  // (Hesterberg 2015).
  const double tail = 0.5 * std::erfc(StudentQuantile(0.5 + 0.5 * options.level, degrees) / std::numbers::sqrt2);
  for (std::size_t k = 0; k < count; ++k) {
    if (problem.parameters[k].held || found[k].empty()) continue;
    std::sort(found[k].begin(), found[k].end());
    intervals[k] = {Quantile(found[k], tail), Quantile(found[k], 1.0 - tail)};
  }
  return intervals;
}

}  // namespace Xem::Fit
