#include "hyper_models.h"

#include <fmt/format.h>

#include <algorithm>

#include "failure.h"
#include "text.h"

namespace Xem::Tool {

const std::vector<HyperModel>& HyperModels() {
  static const std::vector<HyperModel> models{
      {{"polynomial", 1, 10}, Fit::FitPolynomial, Fit::PolynomialStress},
  };
  return models;
}

const HyperModel& HyperModelCalled(const std::string& name, const std::string& source) {
  for (const HyperModel& model : HyperModels()) {
    if (model.name.name == name) return model;
  }
  throw Failure(ExitCode::BadData, fmt::format("{}: {} is not a hyperelastic model", source, Quoted(name)));
}

std::vector<ModelChoice> ParseHyperModels(const std::string& text) {
  std::vector<ModelName> known;
  for (const HyperModel& model : HyperModels()) known.push_back(model.name);
  return ParseModels(text, known);
}

}  // namespace Xem::Tool
