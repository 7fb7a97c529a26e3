#include "verbs/hyper_models.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>

#include "failure.h"
#include "text.h"

namespace Xem::Tool {
namespace {

// A model without a number of terms.

Fit::Result FitBlatzKo(const Fit::HyperelasticData& data, int, const Fit::Options& options) {
  return Fit::FitBlatzKo(data, options);
}

double OnlyModulus(const std::vector<double>& parameters) {
  if (parameters.size() == 1) return parameters.front();
  throw Failure(ExitCode::Usage, fmt::format("blatz-ko has 1 parameter, not {}", parameters.size()));
}

double BlatzKoStress(const std::string& mode, int, const std::vector<double>& parameters, double strain) {
  return Fit::BlatzKoStress(mode, OnlyModulus(parameters), strain);
}

Fit::Stability CheckBlatzKo(int, const std::vector<double>& parameters, const std::vector<double>&, double lower,
                            double upper) {
  return Fit::CheckBlatzKo(OnlyModulus(parameters), lower, upper);
}

}  // namespace

const std::vector<HyperModel>& HyperModels() {
  static const std::vector<HyperModel> models{
      {{"polynomial", 1, 10}, Fit::FitPolynomial, Fit::PolynomialStress, Fit::CheckPolynomial},
      {{"ogden", 1, 6}, Fit::FitOgden, Fit::OgdenStress, Fit::CheckOgden},
      {{"blatz-ko", 0, 0}, FitBlatzKo, BlatzKoStress, CheckBlatzKo, true},
  };
  return models;
}

StoredValues ValuesOf(const StoredModel& stored) {
  StoredValues values;
  for (const Fit::Parameter& parameter : stored.parameters) {
    const bool volumetric = parameter.name.size() > 1 && parameter.name[0] == 'D' &&
                            std::isdigit(static_cast<unsigned char>(parameter.name[1]));
    (volumetric ? values.volumetric : values.model).push_back(parameter.value);
  }
  return values;
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
