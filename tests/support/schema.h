#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace Xem::Testing {

/// Where and how a document departs from a JSON schema; empty when it complies. Knows the keywords that this project's
/// schema uses, and reports any other as an offence rather than pass it over.
std::vector<std::string> SchemaOffences(const nlohmann::json& document, const nlohmann::json& schema);

}  // namespace Xem::Testing
