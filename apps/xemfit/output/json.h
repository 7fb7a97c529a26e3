#pragma once

#include <string>
#include <vector>

#include "output/report.h"

namespace Xem::Tool {

/// The JSON document of a result: the same keys in the same order for every family, numbers that read back as the same
/// doubles, null for NaN.
std::string JsonDocument(const std::string& command, const Report& report);

/// The key `comparison` of a document, or of a part of one, where there is something to compare.
void AddComparison(const std::vector<ComparedModel>& comparison, Json& document);

/// Reads the model, its terms and its parameters back from such a document. Throws Failure (BadData) naming `source`.
struct StoredModel {
  std::string model;
  int terms = 0;
  std::vector<Fit::Parameter> parameters;  ///< names, units and values
  std::vector<std::string> curves;         ///< names of the curves of the fit
};
StoredModel ReadStoredModel(const std::string& text, const std::string& source);

}  // namespace Xem::Tool
