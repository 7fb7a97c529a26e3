#pragma once

#include <string>
#include <vector>

#include "failure.h"
#include "output/output_options.h"
#include "output/report.h"

namespace Xem::Tool {

/// How the tool was called.
struct Invocation {
  std::string command;                 ///< "hyper fit"
  std::vector<std::string> arguments;  ///< as typed, the program first
};

/// Refuses, before anything is computed, outputs that clash with each other or with an input, formats that are unknown
/// and places that cannot be written. Throws Failure.
void CheckOutputs(const OutputOptions& options, const std::vector<std::string>& inputs);

/// Writes everything that a run leaves behind: all files or none, then standard output.
void WriteOutputs(const Invocation& invocation, const Report& report, const OutputOptions& options);

// Outputs of commands that stand by themselves.

/// Refuses a place that cannot be written. Throws Failure.
void CheckOutputFile(const std::string& path);
/// The file has its old contents or all of the new ones, whenever the run ends.
void ReplaceFile(const std::string& path, const std::string& bytes);
/// A reader that has seen enough and closed the pipe is no failure.
void WriteStandardOutput(const std::string& bytes);

}  // namespace Xem::Tool
