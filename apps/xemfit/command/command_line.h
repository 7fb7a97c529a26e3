#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "command/command.h"
#include "verbs/verb.h"

namespace Xem::Tool {

/// The command line: one subcommand per group with one below it per verb, and the commands that stand by themselves.
class CommandLine {
 public:
  CommandLine();

  /// Does what the arguments ask for and returns the exit code.
  int Run(int argumentCount, char** arguments);

  /// The verb that `arguments` (without the program's name) ask for, with its options set but not run. Throws Failure
  /// (Usage).
  const Verb& Parse(const std::vector<std::string>& arguments);

  const CLI::App& App() const { return app_; }
  const std::vector<std::pair<CLI::App*, Verb*>>& Verbs() const { return runsVerb_; }
  const std::vector<std::pair<CLI::App*, Command*>>& Commands() const { return runsCommand_; }

 private:
  void Add(Verb& verb);
  void Add(Command& command);
  Verb* ParsedVerb() const;
  std::string Deepest() const;

  CLI::App app_;
  VerbList verbs_;
  CommandList commands_;
  std::map<std::string, CLI::App*> groups_;
  std::vector<std::pair<CLI::App*, Verb*>> runsVerb_;
  std::vector<std::pair<CLI::App*, Command*>> runsCommand_;
};

}  // namespace Xem::Tool
