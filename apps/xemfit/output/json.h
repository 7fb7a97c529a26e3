#pragma once

#include <string>
#include <vector>

#include "output/report.h"

namespace Xem::Tool {

/// The document of the result as the library writes it, with what the command adds to it.
std::string JsonDocument(const std::string& command, const Report& report);

/// The key `comparison` of a document, or of a part of one, where there is something to compare.
void AddComparison(const std::vector<ComparedModel>& comparison, Json& document);

}  // namespace Xem::Tool
