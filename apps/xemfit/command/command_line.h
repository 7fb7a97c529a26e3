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
  /// Knows the command that `words` begin with and no other, which is quicker; all when they name none.
  explicit CommandLine(const std::vector<std::string>& words);
  CommandLine(const CommandLine&) = delete;
  CommandLine& operator=(const CommandLine&) = delete;

  /// True where one that is made for `words` would be the same.
  bool IsMadeFor(const std::vector<std::string>& words) const;

  /// Does what the arguments, the program first, ask for and returns the exit code. No line knows of the one before.
  int Run(const std::vector<std::string>& arguments);

  /// What became of a run that says nothing itself.
  struct Ended {
    ExitCode code;
    std::string sentence;
  };
  /// The same for a caller that takes the report in the place of standard output and the sentence in that of standard
  /// error.
  Ended Run(const std::vector<std::string>& arguments, const TakeReport& take);

  /// The options of the fit that `words` (without the program) ask for, set but not run. Throws Failure (Usage), also
  /// for commands that stand by themselves.
  const Options& Parse(const std::vector<std::string>& words);

  const CommandNode& Tool() const { return tool_; }

 private:
  explicit CommandLine(CommandList commands);
  void Add(Command& command);
  ParsedLine ParseAnew(const std::vector<std::string>& words);

  CommandList commands_;
  CommandNode tool_;
  LineParser parser_;
  bool used_ = false;
};

}  // namespace Xem::Tool
