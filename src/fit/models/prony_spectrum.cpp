#include "fit/models/prony_spectrum.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>
#include <utility>

#include "solver/linalg/non_negative.h"
#include "viscoelastic/prony.h"

namespace Xem::Fit {
namespace {

using MaterialUtil::Matrix;
using MaterialUtil::SolveNonNegative;

constexpr double kLinesPerDecade = 8.0;
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

/// E(t) = E_inf + sum E_i exp(-t / tau_i) with nothing below 0: E0 is their sum, and g_i = E_i / E0.
Spectrum FitRawSpectrum(const Curve& curve, Residual residual, const std::vector<double>& logTimes, double& modulus) {
  const std::size_t points = curve.x.size();
  const std::size_t terms = logTimes.size();
  Matrix design(static_cast<std::int32_t>(points), static_cast<std::int32_t>(terms) + 1);
  std::vector<double> target(points);
  const std::span<double> scales = design.Column(terms);
  for (std::size_t i = 0; i < points; ++i) {
    scales[i] = residual == Residual::Relative ? 1.0 / curve.y[i] : 1.0;
    target[i] = curve.y[i] * scales[i];
  }
  for (std::size_t k = 0; k < terms; ++k) {
    const std::span<double> column = design.Column(k);
    MaterialUtil::PronyDecays(std::exp(logTimes[k]), curve.x, column);
    for (std::size_t i = 0; i < points; ++i) column[i] = (1.0 + column[i]) * scales[i];
  }
  const std::vector<double> moduli = SolveNonNegative(std::move(design), target);
  const double sum = std::accumulate(moduli.begin(), moduli.end(), 0.0);
  modulus = sum > 0.0 ? sum : 1.0;
  Spectrum spectrum;
  for (std::size_t k = 0; k < terms; ++k) spectrum.push_back({moduli[k] / modulus, logTimes[k]});
  return spectrum;
}

}  // namespace

double LogRange::Decades() const { return (to - from) / std::numbers::ln10; }

LogRange MeasuredRange(const Curve& curve) {
  const auto [least, most] = std::minmax_element(curve.x.begin(), curve.x.end());
  return {std::log(*least), std::log(*most)};
}

Spectrum FitSpectrum(const Curve& curve, Residual residual, const std::vector<double>& logTimes, double* modulus) {
  if (modulus != nullptr) return FitRawSpectrum(curve, residual, logTimes, *modulus);
  const std::size_t points = curve.x.size();
  Matrix design(static_cast<std::int32_t>(points), static_cast<std::int32_t>(logTimes.size()));
  std::vector<double> target(points);
  std::vector<double> scales(points, 1.0);
  for (std::size_t i = 0; i < points; ++i) {
    if (residual == Residual::Relative) scales[i] = 1.0 / curve.y[i];
    target[i] = (1.0 - curve.y[i]) * scales[i];
  }
  for (std::size_t k = 0; k < logTimes.size(); ++k) {
    const std::span<double> column = design.Column(k);
    MaterialUtil::PronyDecays(std::exp(logTimes[k]), curve.x, column);
    for (std::size_t i = 0; i < points; ++i) column[i] *= -scales[i];
  }
  const std::vector<double> coefficients = SolveNonNegative(std::move(design), target);
  Spectrum spectrum;
  for (std::size_t k = 0; k < logTimes.size(); ++k) spectrum.push_back({coefficients[k], logTimes[k]});
  return spectrum;
}

Spectrum DenseSpectrum(const Curve& curve, Residual residual, const LogRange& range, bool raw) {
  // exp(-t/tau) of neighbours on a finer grid are parallel to rounding, and a coarser one blurs lines a factor of 2
  // apart.
  const auto steps = static_cast<std::size_t>(std::ceil(range.Decades() * kLinesPerDecade)) + 1;
  std::vector<double> grid(steps + 1);
  for (std::size_t k = 0; k <= steps; ++k) {
    grid[k] = range.from + (range.to - range.from) * static_cast<double>(k) / static_cast<double>(steps);
  }
  double modulus = 1.0;
  return JoinedNeighbours(FitSpectrum(curve, residual, grid, raw ? &modulus : nullptr));
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
