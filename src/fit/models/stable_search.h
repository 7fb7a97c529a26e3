#pragma once

#include <optional>
#include <span>
#include <vector>

#include "fit/models/rubber.h"
#include "fit/problem.h"

/// The best parameters among those whose material is stable (docs/theory/stability.md).
namespace Xem::Fit {

/// Between two nominal strains, in the states of the stability scan.
class StableSearch {
 public:
  /// `volumetric` empty means a Poisson ratio of 0.495.
  StableSearch(const RubberLaw& law, std::vector<double> volumetric, double lower, double upper);

  bool IsStable(std::span<const double> parameters) const;
  /// The minimum next to a start with the unstable states penalised, ever more until there are none; nothing where they
  /// stay. `shearModulus` is the scale of the stiffness.
  std::optional<Minimum> Follow(const Problem& problem, const std::vector<double>& start, double shearModulus) const;

 private:
  const RubberLaw& law_;
  std::vector<double> volumetric_;
  double lower_;
  double upper_;
};

}  // namespace Xem::Fit
