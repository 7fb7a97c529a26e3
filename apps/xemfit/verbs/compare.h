#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "output/report.h"

namespace Xem::Tool {

/// A model that a verb knows by name.
struct ModelName {
  std::string_view name;
  int lowestTerms = 0;  ///< 0 with highestTerms 0: the model has no terms
  int highestTerms = 0;
};

struct ModelChoice {
  std::string name;
  int terms = 0;
  std::string Label() const { return terms > 0 ? name + ":" + std::to_string(terms) : name; }
};

/// "polynomial:1..3,ogden:2" as single models. Throws Failure (Usage) for an unknown name, a missing or impossible
/// count; messages begin with `option`.
std::vector<ModelChoice> ParseModels(const std::string& text, const std::vector<ModelName>& known,
                                     const std::string& option = "--model");

/// One of several models for the same data.
struct Candidate {
  std::string label;
  std::function<Fit::Result()> fit;
};

/// Fits every candidate and reports the proposed one: of the candidates that converged, have only identifiable
/// parameters and are stable over the measured strains, those within 2 of the smallest AICc are equally good (Burnham
/// and Anderson 2002), and of these the one with the fewest free parameters is proposed. Several candidates add a
/// comparison to table and JSON; one candidate is reported as it is. When no candidate can be fitted the first error is
/// thrown.
Report FitCandidates(const std::vector<Candidate>& candidates);

}  // namespace Xem::Tool
