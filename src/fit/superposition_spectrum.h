#pragma once

#include <cstddef>
#include <vector>

#include "fit/models/maxwell_curves.h"
#include "xem/fit/superposition.h"

/// One relaxation spectrum for all temperatures: the curves tell it together with the factors that move them.
namespace Xem::Fit {

struct CommonSpectrum {
  std::vector<double> shifts;    ///< natural logarithms of a_T against the anchor
  std::vector<double> errors;    ///< NaN where the curves do not tell one
  std::vector<double> vertical;  ///< natural logarithms of b_T
  std::vector<double> verticalErrors;
  Spectrum lines;
  double modulus = 1.0;  ///< instantaneous

  /// Of the reference at a reduced time or angular frequency.
  double At(ModulusKind quantity, double x) const;
};

/// `curves` are those of each temperature by rising temperature, in working units: all over time or all storage moduli
/// over angular frequency. `shifts` is where to begin; that of the anchor stays 0.
CommonSpectrum FitCommonSpectrum(const std::vector<MaxwellCurve>& curves, std::size_t anchor,
                                 const std::vector<double>& shifts, bool vertical);

}  // namespace Xem::Fit
