#pragma once

#include <string>
#include <string_view>

#include "output/report.h"

namespace Xem::Tool {

/// Throws Failure (Usage) unless the path ends in .html or .htm, or is `-`.
void RequirePageFormat(const std::string& path);

/// One page that holds everything it shows, for a browser without a network, for paper and for a phone. `shellCommand`
/// is what the reader types to get the same page. The same report gives the same bytes.
std::string ReportPage(const std::string& command, const std::string& shellCommand, const Report& report);

/// A page around what it shows. `header` and `main` are HTML; `script` finds `data` in an element "figure-data".
std::string WholePage(const std::string& command, const std::string& heading, const std::string& header,
                      const std::string& main, const Json& data, std::string_view script);

}  // namespace Xem::Tool
