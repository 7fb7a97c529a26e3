#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <span>
#include <vector>

#include "testfunctions/test_function_base.h"

namespace Xem::Testing {

/// Central differences of a function of several parameters, with a step relative to each parameter.
inline std::vector<double> CentralDifferences(const std::function<double(std::span<const double>)>& function,
                                              std::span<const double> at, double relativeStep = 1e-6) {
  std::vector<double> gradient(at.size());
  std::vector<double> moved(at.begin(), at.end());
  for (std::size_t k = 0; k < at.size(); ++k) {
    const double step = relativeStep * std::max(std::abs(at[k]), 1e-3);
    moved[k] = at[k] + step;
    const double above = function(moved);
    moved[k] = at[k] - step;
    const double below = function(moved);
    moved[k] = at[k];
    gradient[k] = (above - below) / (2.0 * step);
  }
  return gradient;
}

/// A test function with data, and parameters at which its gradient is checked.
struct GradientCase {
  const char* name;
  boost::shared_ptr<MaterialUtil::XemMaterialTestFunctionBase> function;
  std::int32_t termCount;
  std::vector<double> parameters;
};

}  // namespace Xem::Testing
