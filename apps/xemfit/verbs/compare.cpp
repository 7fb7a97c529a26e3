#include "verbs/compare.h"

#include <optional>
#include <utility>

#include "failure.h"
#include "numbers.h"
#include "output/text_table.h"
#include "xem/fit/compare.h"

namespace Xem::Tool {
namespace {

std::string ComparisonTable(const Fit::Comparison& comparison) {
  using Align = TextTable::Align;
  TextTable table(
      {{"Model", Align::Left}, {"Free"}, {"R2"}, {"AICc"}, {"Difference"}, {"", Align::Left}, {"", Align::Left}});
  for (const Fit::Compared& one : comparison.candidates) {
    const char* mark = &one == &comparison.Proposed() ? "<- proposed" : "";
    if (!one.result) {
      table.Add({one.label, "-", "-", "-", "-", "failed: " + one.failure, mark});
      continue;
    }
    const Fit::Measures& measures = one.result->measures;
    table.Add({one.label, std::to_string(one.freeParameters), Determination(measures.r2, 6), Fixed(measures.aicc, 2),
               Fixed(one.difference, 2), one.Outcome(), mark});
  }
  return table.Text();
}

std::vector<ComparedModel> ComparedModels(const Fit::Comparison& comparison) {
  std::vector<ComparedModel> models;
  for (const Fit::Compared& one : comparison.candidates) {
    ComparedModel model{one.label, one.result ? one.Outcome() : one.failure, std::nullopt,
                        &one == &comparison.Proposed()};
    if (one.result) {
      const Fit::Measures& measures = one.result->measures;
      model.numbers = {one.freeParameters, measures.r2, measures.aicc, one.difference};
    }
    models.push_back(std::move(model));
  }
  return models;
}

}  // namespace

std::vector<Fit::ModelChoice> ModelsNamed(const std::string& text, const std::string& option, const std::string& family,
                                          const std::string& curve) {
  try {
    return Fit::ChooseModels(text, family, curve);
  } catch (const Fit::Error& error) {
    throw Failure(ExitCode::Usage, option + ": " + error.what());
  }
}

Report FitModels(const std::vector<Fit::ModelChoice>& models, const Fit::Tests& tests, const Fit::Options& options,
                 const std::function<std::string(const Fit::Result&)>& doubt) {
  Report report;
  if (models.size() == 1) {
    report.result = Fit::Fit(models.front(), tests, options);
    return report;
  }
  std::vector<Fit::Candidate> candidates;
  for (const Fit::ModelChoice& model : models) {
    candidates.push_back({model.Label(), [&tests, &options, model] { return Fit::Fit(model, tests, options); }, doubt});
  }
  Fit::Comparison comparison = Fit::Compare(candidates);
  report.sections.push_back(ComparisonTable(comparison));
  report.comparison = ComparedModels(comparison);
  const std::vector<std::string> notes = comparison.Notes();
  report.result = std::move(*comparison.candidates[comparison.proposed].result);
  report.result.notes.insert(report.result.notes.end(), notes.begin(), notes.end());
  return report;
}

}  // namespace Xem::Tool
