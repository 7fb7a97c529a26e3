#pragma once

#include <span>
#include <vector>

#include "solver/linalg/matrix.h"

namespace Xem::MaterialUtil {

struct NonNegativeSolution {
  std::vector<double> x;
  double misfit = 0.0;  ///< |A x - b|^2
};

/// The x >= 0 that minimises |A x - b| (active sets; Lawson and Hanson 1974, ch. 23). Columns may be nearly dependent,
/// and there may be more columns than rows: the solution then is one of many, with few entries above zero.
NonNegativeSolution SolveNonNegative(Matrix a, std::span<const double> b);

}  // namespace Xem::MaterialUtil
