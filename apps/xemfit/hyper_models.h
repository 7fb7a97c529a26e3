#pragma once

#include <functional>
#include <string>
#include <vector>

#include "compare.h"
#include "json.h"
#include "xem/fit/hyperelastic.h"

namespace Xem::Tool {

/// A hyperelastic model as the tool knows it. A new model is one entry of HyperModels.
struct HyperModel {
  ModelName name;
  Fit::Result (*fit)(const Fit::HyperelasticData& data, int terms, const Fit::Options& options);
  double (*stress)(const std::string& mode, int terms, const std::vector<double>& parameters, double strain);
};

const std::vector<HyperModel>& HyperModels();
/// Throws Failure (BadData, naming `source`) for a name that no model has.
const HyperModel& HyperModelCalled(const std::string& name, const std::string& source);

/// The parts of --model, all of them known.
std::vector<ModelChoice> ParseHyperModels(const std::string& text);

}  // namespace Xem::Tool
