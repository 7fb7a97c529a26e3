#pragma once

#include <vector>

#include "fit/assemble.h"
#include "fit/models/prony_shares.h"
#include "fit/models/prony_spectrum.h"

/// What the searches for series over time and over frequency have in common.
namespace Xem::Fit {

/// Times may leave the measured ones by this factor.
inline constexpr double kBeyondMeasured = 10.0;

/// Neighbouring times closer than this in their logarithm are one time.
inline constexpr double kSameTime = 0.02;

/// Smaller coefficients, of what is left after those before, contribute nothing.
inline constexpr double kNoCoefficient = 1e-9;

/// More terms than lines of the spectrum plus this many are not worth a try.
inline constexpr int kBeyondSpectrum = 2;

/// The instantaneous modulus, so named for shear, too.
inline constexpr const char* kModulusName = "E0";

/// Coordinates of a series described by its coefficients and times.
inline PronyShares SharesOf(const std::vector<FreeOrHeld>& series) {
  std::vector<PronyShares::Coefficient> coefficients;
  for (std::size_t i = 0; i < series.size() / 2; ++i) {
    coefficients.push_back({series[i].held, series[i].lower, series[i].upper});
  }
  return PronyShares(std::move(coefficients));
}

inline std::vector<double> LogTimes(const Spectrum& spectrum) {
  std::vector<double> times;
  for (const SpectrumLine& line : spectrum) times.push_back(line.logTime);
  return times;
}

}  // namespace Xem::Fit
