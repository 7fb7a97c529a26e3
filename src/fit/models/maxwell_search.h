#pragma once

#include <optional>
#include <string>
#include <vector>

#include "fit/models/maxwell_curves.h"
#include "fit/problem.h"

/// How many terms curves of one Maxwell model support, and the best series of each number
/// (docs/theory/viscoelastic.md).
namespace Xem::Fit {

struct MaxwellFit {
  int terms = 0;
  Minimum minimum;           ///< in the coordinates of PronyShares, then the modulus where it is free
  double information = 0.0;  ///< Schwarz's criterion, or what a term must be worth at least
};

class MaxwellSearch {
 public:
  /// `modulus` is the instantaneous one where it is held, and where it is open one that is large enough. Moduli of the
  /// curves should be of the order of 1.
  MaxwellSearch(std::vector<MaxwellCurve> curves, Residual residual, LogRange range, Instantaneous instantaneous,
                double modulus);

  /// Problems in shares, from descriptions of g_1 ... g_n, tau_1 ... tau_n [E0]. A modulus that is not free must be
  /// among them, held.
  Problem InShares(const std::vector<FreeOrHeld>& series) const;
  enum class Depth { Ranking, Minimum };
  /// The best minimum from starts g_1 ... tau_n [E0].
  MaxwellFit Fit(const std::vector<FreeOrHeld>& series, const std::vector<std::vector<double>>& starts,
                 Depth depth = Depth::Minimum) const;

  /// Coefficients of which nothing is held, times within the range and a decade more.
  std::vector<FreeOrHeld> Series(int terms) const;
  std::vector<std::vector<double>> Starts(int terms);
  const MaxwellFit& With(int terms);
  /// Less those terms that are empty or lie on each other, which `reasons` tells.
  int Supported(int terms, std::string& reasons);
  /// The smallest number whose criterion none improves by more than what tells models apart.
  int Best();

  /// Coefficients, times and modulus of a fit of so described parameters.
  static std::vector<double> ToSeries(const MaxwellFit& fit, const std::vector<FreeOrHeld>& series);

 private:
  std::vector<double> AsStart(const ScaledSpectrum& spectrum) const;
  ScaledSpectrum SpectrumAt(const std::vector<double>& logTimes) const;
  std::vector<double> WithOneMore(const MaxwellFit& fewer) const;
  int MostTerms();
  const Spectrum& Dense();

  std::vector<MaxwellCurve> curves_;
  Residual residual_;
  LogRange range_;
  Instantaneous instantaneous_;
  double modulus_;
  std::optional<Spectrum> dense_;
  int points_ = 0;
  std::vector<std::optional<MaxwellFit>> fits_;
};

}  // namespace Xem::Fit
