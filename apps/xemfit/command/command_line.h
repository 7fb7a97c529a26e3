#pragma once

#include <string>
#include <vector>

#include "command/command.h"
#include "command/parser.h"

namespace Xem::Tool {

/// The command line: one subcommand per group with one below it per command, and the commands that stand by themselves.
class CommandLine {
 public:
  CommandLine();
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  /// Does what the arguments, the program first, ask for and returns the exit code.
  int Run(const std::vector<std::string>& arguments) const;

  /// The options of the fit that `words` (without the program) ask for, set but not run. Throws Failure (Usage), also
  /// for commands that stand by themselves.
  const Options& Parse(const std::vector<std::string>& words) const;

  const CommandNode& Tool() const { return tool_; }

 private:
  void Add(Command& command);

  CommandList commands_;
  CommandNode tool_;
};

}  // namespace Xem::Tool
