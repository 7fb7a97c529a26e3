#pragma once

#include <memory>
#include <string>
#include <vector>

#include "failure.h"

namespace CLI {
class App;
}

namespace Xem::Tool {

/// What `--help`, the man page and the completion of a command say besides its options.
struct CommandText {
  std::string name;      ///< "batch"
  std::string about;     ///< one line
  std::string examples;  ///< command lines, one a line
  std::string manual;    ///< paragraphs for the man page, as for ManualPages()
  bool hidden = false;   ///< known to the build only
};

/// One `xemfit NAME` that stands by itself: it serves the fits but is none.
class Command {
 public:
  virtual ~Command() = default;
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

  const CommandText& Text() const { return text_; }
  virtual void Attach(CLI::App& app) = 0;
  /// Throws Failure.
  virtual ExitCode Run() = 0;

 protected:
  explicit Command(CommandText text) : text_(std::move(text)) {}

 private:
  CommandText text_;
};

using CommandList = std::vector<std::unique_ptr<Command>>;
/// Every command, in the order of the help.
CommandList MakeCommands();

}  // namespace Xem::Tool
