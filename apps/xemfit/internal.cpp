#include <filesystem>

#include "command/command_line.h"
#include "command/completion.h"
#include "command/manual.h"
#include "commands.h"
#include "output/output.h"

namespace Xem::Tool {
namespace {

/// Writes the files that describe the tool to others; the build calls it once.
class Internal : public Command {
 public:
  Internal()
      : Command(
            {"", "internal", "Write man pages and completions into folders", "xemfit internal build/share", {}, true}) {
  }

  void Declare(Options& options) override { options.Text("folder", folder_, "", "FOLDER").Required(); }

  ExitCode Execute(const std::vector<std::string>&) override {
    const CommandLine commandLine;
    const CommandNode& tool = commandLine.Tool();
    for (const auto& [name, page] : ManualPages(tool)) Write("man/man1", name, page);
    Write("bash-completion/completions", "xemfit", BashCompletion(tool));
    Write("zsh/vendor-completions", "_xemfit", ZshCompletion(tool));
    return ExitCode::Fitted;
  }

 private:
  void Write(const std::string& folder, const std::string& name, const std::string& text) const {
    const std::filesystem::path path = std::filesystem::path(folder_) / folder;
    std::filesystem::create_directories(path);
    ReplaceFile((path / name).string(), text);
  }

  std::string folder_;
};

}  // namespace

std::unique_ptr<Command> MakeInternalCommand() { return MakeCommand<Internal>(); }

}  // namespace Xem::Tool
