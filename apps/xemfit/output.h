#pragma once

#include <string>

#include "failure.h"
#include "report.h"
#include "verb.h"

namespace Xem::Tool {

/// Refuses, before anything is computed, outputs that clash with each other or with an input, formats that are unknown
/// and places that cannot be written. Throws Failure.
void CheckOutputs(const OutputOptions& options, const std::vector<std::string>& inputs);

/// Writes everything that a run leaves behind: all files or none, then standard output.
void WriteOutputs(const std::string& command, const Report& report, const OutputOptions& options);

}  // namespace Xem::Tool
