#pragma once

#include <optional>
#include <string>
#include <vector>

#include "command/command.h"
#include "command/options.h"

/// The door to the library that parses the command line; no other file knows it.
namespace Xem::Tool {

/// The tool, a group of its commands, or a command.
struct CommandNode {
  std::string name;
  std::string about;
  std::string footer;  ///< of the help
  bool hidden = false;
  Options options{};
  Command* command = nullptr;  ///< none for the tool and a group
  std::vector<CommandNode> below{};
};

/// What the words say, besides the values that the options have taken.
struct ParsedLine {
  Command* command = nullptr;         ///< none when the words name none
  std::optional<std::string> answer;  ///< what --help or --version print: nothing is to run
  std::string path;                   ///< as far as commands were named: "xemfit hyper"
};

/// `words` come without the program. Throws Failure (Usage).
ParsedLine ParseLine(const CommandNode& tool, const std::vector<std::string>& words);

}  // namespace Xem::Tool
