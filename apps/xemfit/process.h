#pragma once

#include <string>
#include <vector>

namespace Xem::Tool {

struct ProcessResult {
  bool started = false;  ///< false: there is no such program
  int exitCode = -1;
  std::string output;
  std::string errors;
};

/// Runs a program found on PATH with `input` as its standard input. `environment` replaces our own but for PATH and
/// HOME. Throws Failure (Other) when the system refuses pipes or files.
ProcessResult RunProcess(const std::vector<std::string>& arguments, const std::string& input,
                         const std::vector<std::string>& environment);

}  // namespace Xem::Tool
