#pragma once

#include <functional>
#include <string>
#include <vector>

#include "output/json.h"
#include "verbs/compare.h"
#include "xem/fit/hyperelastic.h"

namespace Xem::Tool {

/// A hyperelastic model as the tool knows it. A new model is one entry of HyperModels.
struct HyperModel {
  ModelName name;
  Fit::Result (*fit)(const Fit::HyperelasticData& data, int terms, const Fit::Options& options);
  double (*stress)(const std::string& mode, int terms, const std::vector<double>& parameters, double strain);
  Fit::Stability (*check)(int terms, const std::vector<double>& parameters, const std::vector<double>& volumetric,
                          double lower, double upper);
  bool usesLateralStrains = false;
};

/// Values of a stored model by what they belong to: volumetric coefficients are those named D1, D2, ...
struct StoredValues {
  std::vector<double> model;
  std::vector<double> volumetric;
};
StoredValues ValuesOf(const StoredModel& stored);

const std::vector<HyperModel>& HyperModels();
/// Throws Failure (BadData, naming `source`) for a name that no model has.
const HyperModel& HyperModelCalled(const std::string& name, const std::string& source);

/// The parts of --model, all of them known.
std::vector<ModelChoice> ParseHyperModels(const std::string& text);

}  // namespace Xem::Tool
