#include "verbs/compare.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <exception>
#include <limits>
#include <optional>
#include <utility>

#include "command/values.h"
#include "failure.h"
#include "numbers.h"
#include "output/stable_strains.h"
#include "output/text_table.h"
#include "text.h"

namespace Xem::Tool {
namespace {

/// Differences in AICc up to this one do not tell models apart.
constexpr double kEquallyGood = 2.0;

struct Fitted {
  std::string label;
  std::optional<Fit::Result> result;
  std::string failure;  ///< why there is no result
  std::string doubt;    ///< why the result is not proposed while others serve
};

int FreeParameters(const Fit::Result& result) {
  return static_cast<int>(std::count_if(result.parameters.begin(), result.parameters.end(),
                                        [](const Fit::Parameter& parameter) { return !parameter.held; }));
}

/// A stability limit between the smallest and the largest measured strain of a curve.
bool UnstableWhereMeasured(const Fit::Result& result) {
  return std::any_of(result.curves.begin(), result.curves.end(), [&](const Fit::CurveResult& curve) {
    if (curve.x.empty()) return false;
    const auto [lowest, highest] = std::minmax_element(curve.x.begin(), curve.x.end());
    const StableStrains stable = StableStrainsOf(result, curve.name);
    return stable.upper <= *highest || stable.lower >= *lowest;
  });
}

std::string DoubtAbout(const Fit::Result& result) {
  if (!result.converged) return "not converged";
  const auto unclear = [](const Fit::Parameter& parameter) { return !parameter.identifiable; };
  if (std::any_of(result.parameters.begin(), result.parameters.end(), unclear)) return "not identifiable";
  if (!std::isfinite(result.measures.aicc)) return "too few points";
  return UnstableWhereMeasured(result) ? "unstable where measured" : "";
}

Fitted FitOne(const Candidate& candidate, std::exception_ptr& firstError) {
  Fitted fitted{candidate.label, std::nullopt, "", ""};
  try {
    fitted.result = candidate.fit();
    fitted.doubt = DoubtAbout(*fitted.result);
  } catch (const Fit::Error& error) {
    fitted.failure = error.what();
    if (!firstError) firstError = std::current_exception();
  }
  return fitted;
}

double SmallestCriterion(const std::vector<Fitted>& all, bool withDoubts) {
  double smallest = std::numeric_limits<double>::infinity();
  for (const Fitted& fitted : all) {
    if (!fitted.result || (!withDoubts && !fitted.doubt.empty())) continue;
    if (fitted.result->measures.aicc < smallest) smallest = fitted.result->measures.aicc;
  }
  return smallest;
}

/// The candidate with the fewest free parameters among the equally good ones; the smaller AICc decides a tie.
std::optional<std::size_t> Smallest(const std::vector<Fitted>& all, bool withDoubts) {
  const double limit = SmallestCriterion(all, withDoubts) + kEquallyGood;
  std::optional<std::size_t> best;
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!all[i].result || (!withDoubts && !all[i].doubt.empty())) continue;
    if (!(all[i].result->measures.aicc <= limit)) continue;
    const auto rank = [&](std::size_t k) {
      return std::pair(FreeParameters(*all[k].result), all[k].result->measures.aicc);
    };
    if (!best || rank(i) < rank(*best)) best = i;
  }
  return best;
}

std::size_t Propose(const std::vector<Fitted>& all) {
  if (const auto clear = Smallest(all, false)) return *clear;
  if (const auto doubtful = Smallest(all, true)) return *doubtful;
  const auto any = std::find_if(all.begin(), all.end(), [](const Fitted& fitted) { return fitted.result.has_value(); });
  return static_cast<std::size_t>(any - all.begin());
}

std::string Outcome(const Fitted& fitted) {
  if (!fitted.result) return "failed";
  return fitted.doubt.empty() ? fitted.result->status : fitted.doubt;
}

double Difference(const Fitted& fitted, double smallest) { return fitted.result->measures.aicc - smallest; }

std::string ComparisonTable(const std::vector<Fitted>& all, std::size_t proposed) {
  using Align = TextTable::Align;
  TextTable table(
      {{"Model", Align::Left}, {"Free"}, {"R2"}, {"AICc"}, {"Difference"}, {"", Align::Left}, {"", Align::Left}});
  const double smallest = SmallestCriterion(all, true);
  for (std::size_t i = 0; i < all.size(); ++i) {
    const Fitted& fitted = all[i];
    const char* mark = i == proposed ? "<- proposed" : "";
    if (!fitted.result) {
      table.Add({fitted.label, "-", "-", "-", "-", Outcome(fitted), mark});
      continue;
    }
    const Fit::Measures& measures = fitted.result->measures;
    table.Add({fitted.label, std::to_string(FreeParameters(*fitted.result)), Fixed(measures.r2, 6),
               Fixed(measures.aicc, 2), Fixed(Difference(fitted, smallest), 2), Outcome(fitted), mark});
  }
  return table.Text();
}

std::vector<ComparedModel> Comparison(const std::vector<Fitted>& all, std::size_t proposed) {
  std::vector<ComparedModel> comparison;
  const double smallest = SmallestCriterion(all, true);
  for (std::size_t i = 0; i < all.size(); ++i) {
    const Fitted& fitted = all[i];
    ComparedModel one{fitted.label, fitted.result ? Outcome(fitted) : fitted.failure, std::nullopt, i == proposed};
    if (fitted.result) {
      const Fit::Measures& measures = fitted.result->measures;
      one.numbers = {FreeParameters(*fitted.result), measures.r2, measures.aicc, Difference(fitted, smallest)};
    }
    comparison.push_back(std::move(one));
  }
  return comparison;
}

void NoteFailuresAndDoubts(const std::vector<Fitted>& all, std::size_t proposed, Fit::Result& result) {
  for (const Fitted& fitted : all) {
    if (!fitted.result) result.notes.push_back(fitted.label + " could not be fitted: " + fitted.failure);
  }
  if (!all[proposed].doubt.empty()) {
    result.notes.push_back("no candidate serves without reservation; the proposed one is " + all[proposed].doubt);
  }
}

std::vector<std::string> Names(const std::vector<ModelName>& known) {
  std::vector<std::string> names;
  for (const ModelName& model : known) {
    names.push_back(std::string(model.name) + (model.highestTerms > 0 ? ":N" : ""));
  }
  return names;
}

void AddChoices(const std::string& text, const std::vector<ModelName>& known, const std::string& option,
                std::vector<ModelChoice>& choices) {
  const auto colon = text.find(':');
  const std::string name(Trimmed(std::string_view(text).substr(0, colon)));
  const auto model = std::find_if(known.begin(), known.end(), [&](const ModelName& one) { return one.name == name; });
  if (model == known.end()) {
    throw Failure(ExitCode::Usage, fmt::format("{}: there is no model {}; the models are {}", option, Quoted(name),
                                               Join(Names(known), ", ")));
  }
  if (model->highestTerms == 0) {
    if (colon != std::string::npos) {
      throw Failure(ExitCode::Usage, fmt::format("{}: {} takes no number of terms", option, name));
    }
    choices.push_back({name, 0});
    return;
  }
  if (colon == std::string::npos) {
    throw Failure(ExitCode::Usage,
                  fmt::format("{0}: {1} needs a number of terms, such as {1}:2 or {1}:1..3", option, name));
  }
  const CountRange range =
      ParseCountRange(text.substr(colon + 1), model->lowestTerms, model->highestTerms, option + " " + name);
  for (int terms = range.from; terms <= range.to; ++terms) choices.push_back({name, terms});
}

}  // namespace

std::vector<ModelChoice> ParseModels(const std::string& text, const std::vector<ModelName>& known,
                                     const std::string& option) {
  std::vector<ModelChoice> choices;
  for (const std::string& part : Split(text, ',')) AddChoices(part, known, option, choices);
  return choices;
}

Report FitCandidates(const std::vector<Candidate>& candidates) {
  Report report;
  if (candidates.size() == 1) {
    report.result = candidates.front().fit();
    return report;
  }
  std::exception_ptr firstError;
  std::vector<Fitted> all;
  for (const Candidate& candidate : candidates) all.push_back(FitOne(candidate, firstError));
  const bool none =
      std::none_of(all.begin(), all.end(), [](const Fitted& fitted) { return fitted.result.has_value(); });
  if (none) std::rethrow_exception(firstError);

  const std::size_t proposed = Propose(all);
  report.sections.push_back(ComparisonTable(all, proposed));
  report.comparison = Comparison(all, proposed);
  report.result = std::move(*all[proposed].result);
  all[proposed].result = Fit::Result();
  NoteFailuresAndDoubts(all, proposed, report.result);
  return report;
}

}  // namespace Xem::Tool
