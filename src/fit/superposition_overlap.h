#pragma once

#include <vector>

namespace Xem::Fit {

/// Natural logarithms of abscissae, rising, and of moduli.
struct LogCurve {
  std::vector<double> x;
  std::vector<double> y;
};

/// How far `moved` must go to the right to lie on `fixed`, from the points that both then have in common and a little
/// beyond their ends, where the curves go on as they end. Throws Error (BadData) where no place brings them together.
double OverlapShift(const LogCurve& fixed, const LogCurve& moved);

}  // namespace Xem::Fit
