#include "xem/fit/compare.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <utility>

#include "fit/assemble.h"
#include "fit/screening.h"
#include "xem/fit/model.h"

namespace Xem::Fit {
namespace {

constexpr double kNoLimit = std::numeric_limits<double>::infinity();

/// A candidate whose parameters say less than they seem to gives way to one without such within this much of its
/// criterion: by then the worse one is practically ruled out (Burnham and Anderson 2002, 2.6).
constexpr double kRuledOut = 10.0;

/// A stability limit between the smallest and the largest measured strain of a curve.
bool UnstableWhereMeasured(const Result& result) {
  return std::any_of(result.curves.begin(), result.curves.end(), [&](const CurveResult& curve) {
    if (curve.x.empty()) return false;
    const auto [lowest, highest] = std::minmax_element(curve.x.begin(), curve.x.end());
    const StableRange stable = StableStrains(result, curve.name);
    return stable.upper <= *highest || stable.lower >= *lowest;
  });
}

std::string DoubtAbout(const Result& result) {
  if (!result.converged) return "not converged";
  const auto unclear = [](const Parameter& parameter) { return !parameter.identifiable; };
  if (std::any_of(result.parameters.begin(), result.parameters.end(), unclear)) return "not identifiable";
  if (!std::isfinite(result.measures.aicc)) return "too few points";
  return UnstableWhereMeasured(result) ? "unstable where measured" : "";
}

/// Names of the parameters of a model for which 0 is a value like any other, and of those that it does not know.
bool MayBeZero(const std::vector<ParameterInfo>& known, const std::string& name) {
  const auto found =
      std::find_if(known.begin(), known.end(), [&](const ParameterInfo& info) { return info.name == name; });
  return found == known.end() || found->zeroIsUsual;
}

/// What speaks against parameters that were found: at a bound other than 0, or not told from 0.
std::string WeaknessOf(const Result& result) {
  const auto known =
      FindModel(result.model) ? ModelParameters(result.model, result.terms) : std::vector<ParameterInfo>();
  std::string atBound;
  std::string zero;
  for (const Parameter& parameter : result.parameters) {
    if (parameter.atBound && parameter.value != 0.0) atBound += (atBound.empty() ? "" : ", ") + parameter.name;
    const bool holdsZero = parameter.lower <= 0.0 && parameter.upper >= 0.0;
    if (holdsZero && !MayBeZero(known, parameter.name)) zero += (zero.empty() ? "" : ", ") + parameter.name;
  }
  if (!atBound.empty()) return atBound + " at a bound";
  return zero.empty() ? "" : zero + " may be 0";
}

/// Weak candidates are set aside where one without weakness is not ruled out by them.
void SetWeakAside(std::vector<Compared>& all) {
  for (Compared& weak : all) {
    if (!weak.result || !weak.doubt.empty()) continue;
    const std::string weakness = WeaknessOf(*weak.result);
    if (weakness.empty()) continue;
    const auto stands = [&](const Compared& other) {
      return other.result && other.doubt.empty() && WeaknessOf(*other.result).empty() &&
             other.result->measures.aicc <= weak.result->measures.aicc + kRuledOut;
    };
    if (std::any_of(all.begin(), all.end(), stands)) weak.doubt = weakness;
  }
}

bool Serves(const Compared& candidate, bool withDoubts) {
  return candidate.result && (withDoubts || candidate.doubt.empty());
}

double SmallestCriterion(const std::vector<Compared>& all, bool withDoubts) {
  double smallest = kNoLimit;
  for (const Compared& candidate : all) {
    if (!Serves(candidate, withDoubts)) continue;
    if (candidate.result->measures.aicc < smallest) smallest = candidate.result->measures.aicc;
  }
  return smallest;
}

/// The candidate with the fewest free parameters among the equally good ones; the smaller AICc decides a tie.
std::optional<std::size_t> Smallest(const std::vector<Compared>& all, bool withDoubts) {
  const double limit = SmallestCriterion(all, withDoubts) + kEquallyGood;
  const auto rank = [&](std::size_t k) { return std::pair(all[k].freeParameters, all[k].result->measures.aicc); };
  std::optional<std::size_t> best;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!Serves(all[i], withDoubts) || !(all[i].result->measures.aicc <= limit)) continue;
    if (!best || rank(i) < rank(*best)) best = i;
  }
  return best;
}

std::size_t Propose(const std::vector<Compared>& all) {
  if (const auto clear = Smallest(all, false)) return *clear;
  if (const auto doubtful = Smallest(all, true)) return *doubtful;
  const auto any =
      std::find_if(all.begin(), all.end(), [](const Compared& candidate) { return candidate.result.has_value(); });
  return static_cast<std::size_t>(any - all.begin());
}

StableRange Between(double compression, double tension) {
  return {std::isnan(compression) ? -kNoLimit : compression, std::isnan(tension) ? kNoLimit : tension};
}

/// Simple shear has the principal stretches of pure shear, the same for either sign of the shear strain.
StableRange SimpleShear(double pureShearTension) {
  const double stretch = 1.0 + pureShearTension;
  const double limit = std::isnan(stretch) ? kNoLimit : stretch - 1.0 / stretch;
  return {-limit, limit};
}

}  // namespace

std::string Compared::Outcome() const {
  if (!result) return "failed";
  return doubt.empty() ? result->status : doubt;
}

std::vector<std::string> Comparison::Notes() const {
  std::vector<std::string> notes;
  for (const Compared& candidate : candidates) {
    if (!candidate.result) notes.push_back(candidate.label + " could not be fitted: " + candidate.failure);
  }
  if (!Proposed().doubt.empty()) {
    notes.push_back("no candidate serves without reservation; the proposed one is " + Proposed().doubt);
  }
  return notes;
}

Comparison Compare(const std::vector<Candidate>& candidates) {
  Comparison comparison;
  std::exception_ptr firstError;
  bool any = false;
  for (const Candidate& candidate : candidates) {
    Compared compared;
    compared.label = candidate.label;
    try {
      compared.result = candidate.fit();
      compared.doubt = DoubtAbout(*compared.result);
      if (compared.doubt.empty() && candidate.doubt) compared.doubt = candidate.doubt(*compared.result);
      compared.freeParameters = CountedParameters(*compared.result);
      any = true;
    } catch (const Error& error) {
      compared.failure = error.what();
      if (!firstError) firstError = std::current_exception();
    }
    comparison.candidates.push_back(std::move(compared));
  }
  if (!any && firstError) std::rethrow_exception(firstError);
  if (!any) throw Error(ErrorKind::BadInput, "there is no model to fit");
  SetWeakAside(comparison.candidates);
  comparison.proposed = Propose(comparison.candidates);
  const double smallest = SmallestCriterion(comparison.candidates, true);
  for (Compared& compared : comparison.candidates) {
    if (compared.result) compared.difference = compared.result->measures.aicc - smallest;
  }
  return comparison;
}

StableRange StableStrains(const Result& result, const std::string& name) {
  if (!result.stability) return {};
  const std::string curve = WithoutNumber(name);
  const Stability& limits = *result.stability;
  if (curve == "uniaxial") return Between(limits.uniaxialCompression, limits.uniaxialTension);
  if (curve == "equibiaxial") return Between(limits.equibiaxialCompression, limits.equibiaxialTension);
  if (curve == "pure_shear") return Between(limits.pureShearCompression, limits.pureShearTension);
  if (curve == "simple_shear") return SimpleShear(limits.pureShearTension);
  return {};
}

}  // namespace Xem::Fit
