#pragma once

#include <cstddef>
#include <vector>

#include "xem/fit/result.h"

/// Discrete relaxation spectra: where a Prony fit starts from.
namespace Xem::Fit {

struct SpectrumLine {
  double g = 0.0;
  double logTime = 0.0;  ///< natural logarithm of tau
};
/// By rising time.
using Spectrum = std::vector<SpectrumLine>;

/// Lines g of a modulus E0 g(t), and how well they fit.
struct ScaledSpectrum {
  Spectrum lines;
  double modulus = 1.0;
  double misfit = 0.0;  ///< sum of squares, weighted where the curves are
};

/// Natural logarithms of the shortest and longest time.
struct LogRange {
  double from = 0.0;
  double to = 0.0;
  double Decades() const;
};
LogRange MeasuredRange(const Curve& curve);

/// Coefficients g >= 0 that fit a relaxation curve best for given times, whatever its weight. `raw`: the ordinates are
/// raw moduli, and the instantaneous one is found, too.
ScaledSpectrum FitSpectrum(const Curve& curve, Residual residual, const std::vector<double>& logTimes,
                           bool raw = false);

/// The same over a dense grid of times, with neighbouring lines taken together: about as many lines as the curve shows.
Spectrum DenseSpectrum(const Curve& curve, Residual residual, const LogRange& range, bool raw = false);

/// What no spectrum within the range leaves less of, whatever its number of lines: the sum of squares of the best one
/// over a fine grid, less what spectra between its times might gain.
double LeastMisfit(const Curve& curve, Residual residual, const LogRange& range, bool raw = false);

/// Of the lines over a grid of times those above 0, with two beside each other as one: a time between two points of
/// the grid shows as two lines.
Spectrum JoinedNeighbours(const Spectrum& overGrid);

/// Takes neighbours together until `count` lines are left, those first that change the curve least.
Spectrum MergedTo(Spectrum spectrum, std::size_t count);
/// Keeps the `count` largest lines.
Spectrum LargestOf(Spectrum spectrum, std::size_t count);
/// Splits the largest line in two until there are `count`.
Spectrum SplitTo(Spectrum spectrum, std::size_t count);

/// `count` times at equal steps of their logarithm, in the middle of equal parts of the range.
std::vector<double> SpreadTimes(const LogRange& range, std::size_t count);

/// A curve of at most a few hundred points: means over equal steps of the logarithm of time. Curves that are small
/// already come back as they are.
Curve ThinnedOut(const Curve& curve);

}  // namespace Xem::Fit
