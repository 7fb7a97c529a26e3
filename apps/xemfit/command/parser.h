#pragma once

#include <memory>
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

/// Reads lines by what the tool knows; the more alike they are, the quicker.
class LineParser {
 public:
  /// The tool must live as long.
  explicit LineParser(const CommandNode& tool);
  ~LineParser();
  LineParser(const LineParser&) = delete;
  LineParser& operator=(const LineParser&) = delete;

  /// `words` come without the program. Options that they do not mention keep their values. Throws Failure (Usage).
  ParsedLine Parse(const std::vector<std::string>& words);

 private:
  class KnownCommand;
  struct Library;

  const CommandNode& tool_;
  std::unique_ptr<Library> library_;  // of the line before
};

}  // namespace Xem::Tool
