#pragma once

#include <vector>

#include "fit/problem.h"
#include "xem/fit/result.h"

namespace Xem::Fit {

/// Values with standard errors and intervals of a level (Student's t), from SSE / (m - p) (J^T J)^-1 of the weighted
/// residuals at a minimum; held parameters and those at a bound have none. Directions that J leaves open (singular
/// values of the column-scaled J below 1e-8 of the largest) make the parameters in them not identifiable.
struct Uncertainty {
  std::vector<Parameter> parameters;
  std::vector<std::vector<double>> correlation;
  std::vector<std::vector<double>> covariance;
  std::vector<std::string> notes;
};
Uncertainty EstimateUncertainty(const Problem& problem, const Minimum& minimum, double level = 0.95);

}  // namespace Xem::Fit
