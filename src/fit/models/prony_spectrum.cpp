#include "fit/models/prony_spectrum.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>

#include "kernels/kernels.h"
#include "solver/linalg/lapack.h"
#include "solver/linalg/non_negative.h"
#include "viscoelastic/prony.h"

namespace Xem::Fit {
namespace {

using MaterialUtil::Matrix;
using MaterialUtil::NonNegativeSolution;
using MaterialUtil::SolveNonNegative;

constexpr double kLinesPerDecade = 8.0;
/// A grid that no spectrum falls much between.
constexpr double kBoundLinesPerDecade = 32.0;
constexpr std::size_t kMostPoints = 600;
constexpr std::size_t kThinnedPoints = 400;

void Sort(Spectrum& spectrum) {
  std::stable_sort(spectrum.begin(), spectrum.end(),
                   [](const SpectrumLine& a, const SpectrumLine& b) { return a.logTime < b.logTime; });
}

/// Two lines as one with the same coefficient and mean logarithm of time.
SpectrumLine Together(const SpectrumLine& a, const SpectrumLine& b) {
  const double g = a.g + b.g;
  const double share = g > 0.0 ? b.g / g : 0.5;
  return {g, a.logTime + share * (b.logTime - a.logTime)};
}

/// |A x - b| for what a curve says of spectra: g(t) = 1 - sum g_i (1 - exp(-t / tau_i)), or with raw moduli
/// E(t) = E_inf + sum E_i exp(-t / tau_i) with E_inf as the last unknown.
struct SpectrumSystem {
  Matrix design;
  std::vector<double> target;
};

SpectrumSystem MakeSystem(const Curve& curve, Residual residual, const std::vector<double>& logTimes, bool raw) {
  const std::size_t points = curve.x.size();
  const std::size_t terms = logTimes.size();
  SpectrumSystem system{Matrix(static_cast<std::int32_t>(points), static_cast<std::int32_t>(terms) + (raw ? 1 : 0)),
                        std::vector<double>(points)};
  std::vector<double> factors(points);
  for (std::size_t i = 0; i < points; ++i) {
    const double scale = residual == Residual::Relative ? 1.0 / curve.y[i] : 1.0;
    system.target[i] = (raw ? curve.y[i] : 1.0 - curve.y[i]) * scale;
    factors[i] = raw ? scale : -scale;
  }
  for (std::size_t k = 0; k < terms; ++k) {
    const std::span<double> column = system.design.Column(k);
    MaterialUtil::PronyDecays(std::exp(logTimes[k]), curve.x, column);
    if (raw) {
      for (double& entry : column) entry += 1.0;
    }
    MaterialUtil::ForThisProcessor().multiply(points, factors.data(), column.data());
  }
  if (raw) std::ranges::copy(factors, system.design.Column(terms).begin());
  return system;
}

std::vector<double> EvenGrid(const LogRange& range, double linesPerDecade) {
  const auto steps = static_cast<std::size_t>(std::ceil(range.Decades() * linesPerDecade)) + 1;
  std::vector<double> grid(steps + 1);
  for (std::size_t k = 0; k <= steps; ++k) {
    grid[k] = range.from + (range.to - range.from) * static_cast<double>(k) / static_cast<double>(steps);
  }
  return grid;
}

}  // namespace

double LogRange::Decades() const { return (to - from) / std::numbers::ln10; }

LogRange MeasuredRange(const Curve& curve) {
  const auto [least, most] = std::minmax_element(curve.x.begin(), curve.x.end());
  return {std::log(*least), std::log(*most)};
}

ScaledSpectrum FitSpectrum(const Curve& curve, Residual residual, const std::vector<double>& logTimes, bool raw) {
  SpectrumSystem system = MakeSystem(curve, residual, logTimes, raw);
  const NonNegativeSolution solution = SolveNonNegative(std::move(system.design), system.target);
  ScaledSpectrum spectrum;
  spectrum.misfit = solution.misfit;
  if (raw) {
    // With nothing below 0: E0 is the sum of all, and g_i = E_i / E0.
    const double sum = std::accumulate(solution.x.begin(), solution.x.end(), 0.0);
    spectrum.modulus = sum > 0.0 ? sum : 1.0;
  }
  spectrum.lines.reserve(logTimes.size());
  for (std::size_t k = 0; k < logTimes.size(); ++k) {
    spectrum.lines.push_back({solution.x[k] / spectrum.modulus, logTimes[k]});
  }
  return spectrum;
}

Spectrum DenseSpectrum(const Curve& curve, Residual residual, const LogRange& range, bool raw) {
  // exp(-t/tau) of neighbours on a finer grid are parallel to rounding, and a coarser one blurs lines a factor of 2
  // apart.
  return JoinedNeighbours(FitSpectrum(curve, residual, EvenGrid(range, kLinesPerDecade), raw).lines);
}

double LeastMisfit(const Curve& curve, Residual residual, const LogRange& range, bool raw) {
  std::vector<double> grid = EvenGrid(range, kBoundLinesPerDecade);
  const SpectrumSystem system = MakeSystem(curve, residual, grid, raw);
  const std::vector<double> solution = SolveNonNegative(system.design, system.target).x;
  std::vector<double> rest = system.target;
  for (std::size_t k = 0; k < solution.size(); ++k) {
    if (solution[k] == 0.0) continue;
    const std::span<const double> column = system.design.Column(k);
    for (std::size_t i = 0; i < rest.size(); ++i) rest[i] -= solution[k] * column[i];
  }
  // The misfit is convex in the spectrum: none of this sum falls below its tangent, whose slope is steepest midway
  // between two times of the grid, if anywhere.
  const double step = grid[1] - grid[0];
  for (double& logTime : grid) logTime += 0.5 * step;
  const Matrix between = MakeSystem(curve, residual, grid, raw).design;
  std::vector<double> slopes(static_cast<std::size_t>(between.Columns()));
  MaterialUtil::MultiplyTransposed(between, rest, slopes);
  const double steepest = std::max(0.0, *std::max_element(slopes.begin(), slopes.end()));
  // Coefficients of ratios add up to 1 at most, raw moduli to about what they do here.
  const double most = raw ? 2.0 * std::accumulate(solution.begin(), solution.end(), 0.0) : 1.0;
  const double misfit = std::inner_product(rest.begin(), rest.end(), rest.begin(), 0.0);
  return misfit - 2.0 * most * steepest;
}

Spectrum JoinedNeighbours(const Spectrum& overGrid) {
  Spectrum lines;
  bool joined = false;
  for (const SpectrumLine& line : overGrid) {
    if (line.g <= 0.0) {
      joined = false;
      continue;
    }
    if (joined) {
      lines.back() = Together(lines.back(), line);
    } else {
      lines.push_back(line);
    }
    joined = !joined;
  }
  return lines;
}

Spectrum MergedTo(Spectrum spectrum, std::size_t count) {
  while (spectrum.size() > std::max<std::size_t>(count, 1)) {
    std::size_t cheapest = 0;
    double least = std::numeric_limits<double>::infinity();
    for (std::size_t i = 0; i + 1 < spectrum.size(); ++i) {
      const SpectrumLine& a = spectrum[i];
      const SpectrumLine& b = spectrum[i + 1];
      const double distance = b.logTime - a.logTime;
      // The misfit that merging leaves is to second order that of a spread about a mean: the reduced weight times the
      // square of the distance.
      const double cost = a.g * b.g / std::max(a.g + b.g, 1e-300) * distance * distance;
      if (cost < least) {
        least = cost;
        cheapest = i;
      }
    }
    spectrum[cheapest] = Together(spectrum[cheapest], spectrum[cheapest + 1]);
    spectrum.erase(spectrum.begin() + static_cast<std::ptrdiff_t>(cheapest) + 1);
  }
  return spectrum;
}

Spectrum LargestOf(Spectrum spectrum, std::size_t count) {
  std::stable_sort(spectrum.begin(), spectrum.end(),
                   [](const SpectrumLine& a, const SpectrumLine& b) { return a.g > b.g; });
  if (spectrum.size() > count) spectrum.resize(count);
  Sort(spectrum);
  return spectrum;
}

Spectrum SplitTo(Spectrum spectrum, std::size_t count) {
  while (!spectrum.empty() && spectrum.size() < count) {
    const auto largest = std::max_element(spectrum.begin(), spectrum.end(),
                                          [](const SpectrumLine& a, const SpectrumLine& b) { return a.g < b.g; });
    const SpectrumLine line = *largest;
    *largest = {0.5 * line.g, line.logTime - std::numbers::ln2};
    spectrum.push_back({0.5 * line.g, line.logTime + std::numbers::ln2});
    Sort(spectrum);
  }
  return spectrum;
}

std::vector<double> SpreadTimes(const LogRange& range, std::size_t count) {
  std::vector<double> times(count);
  for (std::size_t k = 0; k < count; ++k) {
    times[k] = range.from + (range.to - range.from) * (static_cast<double>(k) + 0.5) / static_cast<double>(count);
  }
  return times;
}

Curve ThinnedOut(const Curve& curve) {
  if (curve.x.size() <= kMostPoints) return curve;
  const LogRange range = MeasuredRange(curve);
  struct Bin {
    double logTime = 0.0;
    double value = 0.0;
    double count = 0.0;
  };
  // A logger writes most of its points in the last decade; means over equal steps of ln t keep what the early decades
  // say.
  std::vector<Bin> bins(kThinnedPoints);
  const double perBin = (range.to - range.from) / static_cast<double>(kThinnedPoints);
  for (std::size_t i = 0; i < curve.x.size(); ++i) {
    const double logTime = std::log(curve.x[i]);
    const double position = perBin > 0.0 ? (logTime - range.from) / perBin : 0.0;
    Bin& bin = bins[std::min(kThinnedPoints - 1, static_cast<std::size_t>(std::max(0.0, position)))];
    bin.logTime += logTime;
    bin.value += curve.y[i];
    bin.count += 1.0;
  }
  Curve thin;
  thin.name = curve.name;
  thin.weight = curve.weight;
  for (const Bin& bin : bins) {
    if (bin.count == 0.0) continue;
    thin.x.push_back(std::exp(bin.logTime / bin.count));
    thin.y.push_back(bin.value / bin.count);
  }
  return thin;
}

}  // namespace Xem::Fit
