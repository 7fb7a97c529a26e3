#ifndef XEM_FIT_COMPARE_H
#define XEM_FIT_COMPARE_H

#include <cstddef>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "xem/fit/result.h"

/// @file
/// Several models fitted to the same data, and which of them to take.
namespace Xem::Fit {

struct Candidate {
  std::string label;  ///< "ogden:2"
  std::function<Result()> fit;
  /// Why its result does not serve the purpose, "" where it does; asked once nothing else speaks against it.
  std::function<std::string(const Result&)> doubt = {};
};

/// What became of a candidate.
struct Compared {
  std::string label;
  std::optional<Result> result;
  std::string failure;  ///< why there is no result
  std::string doubt;    ///< why the result is not proposed while others serve; empty where nothing speaks against it
  int freeParameters = 0;
  double difference = std::numeric_limits<double>::quiet_NaN();  ///< AICc above the smallest one

  /// "converged", the doubt, or "failed".
  XEM_FIT_EXPORT std::string Outcome() const;
};

struct Comparison {
  std::vector<Compared> candidates;  ///< in the order given
  std::size_t proposed = 0;

  const Compared& Proposed() const { return candidates[proposed]; }
  /// Sentences for the notes of the proposed result: what could not be fitted, and its own doubt.
  XEM_FIT_EXPORT std::vector<std::string> Notes() const;
};

/// Fits all candidates and proposes the one with the fewest free parameters among those whose AICc lies within 2 of the
/// smallest (Burnham and Anderson 2002). A candidate that did not converge, has parameters that the data do not
/// identify, too few points for the criterion, or a stability limit inside the measured strains is set aside as long as
/// another serves. So is one with a parameter at a bound other than 0, or one whose interval holds 0 (coefficients of
/// polynomials and contents may), while one without such lies within 10 of its AICc. docs/theory/judgement.md has the
/// rules. An Error of a candidate is its failure; when all fail, the first one is thrown on.
XEM_FIT_EXPORT Comparison Compare(const std::vector<Candidate>& candidates);

/// Abscissae of a curve between which a model is stable, infinite where there is no limit.
struct StableRange {
  double lower = -std::numeric_limits<double>::infinity();
  double upper = std::numeric_limits<double>::infinity();
};

/// For the mode of deformation that the curve is named after; unlimited for other curves and for results without a
/// stability report.
XEM_FIT_EXPORT StableRange StableStrains(const Result& result, const std::string& curve);
inline bool IsStable(const Result& result, const std::string& curve, double x) {
  const StableRange range = StableStrains(result, curve);
  return x > range.lower && x < range.upper;
}

}  // namespace Xem::Fit

#endif
