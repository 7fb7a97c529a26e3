#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "fit/problem.h"

/// Models that are linear in some or all of their parameters.
namespace Xem::Fit {

/// Gives the free ones among `coefficients`, parameters p_k that enter the model as sum p_k df/dp_k and nothing else,
/// the values that minimise the weighted sum of squares at the others' values. Directions that the data leave open get
/// their smallest values.
void SolveCoefficients(const Problem& problem, std::span<const std::size_t> coefficients,
                       std::vector<double>& parameters);

/// The minimum in closed form of a model that is linear in all its parameters; `given` brings the held values, and NaN
/// or anything else for the others.
Minimum MinimiseLinear(const Problem& problem, std::vector<double> given);

}  // namespace Xem::Fit
