#include <CLI/CLI.hpp>
#include <filesystem>

#include "command/command_line.h"
#include "command/completion.h"
#include "command/manual.h"
#include "commands.h"
#include "output/output.h"

namespace Xem::Tool {
namespace {

/// Writes the files that describe the tool to others; the build calls it once.
class Internal final : public Command {
 public:
  Internal()
      : Command({"internal", "Write man pages and completions into folders", "xemfit internal build/share", "", true}) {
  }

  void Attach(CLI::App& app) override { app.add_option("folder", folder_)->required()->type_name("FOLDER"); }

  ExitCode Run() override {
    const CommandLine commandLine;
    for (const auto& [name, page] : ManualPages(commandLine)) Write("man/man1", name, page);
    Write("bash-completion/completions", "xemfit", BashCompletion(commandLine));
    Write("zsh/vendor-completions", "_xemfit", ZshCompletion(commandLine));
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

std::unique_ptr<Command> MakeInternalCommand() { return std::make_unique<Internal>(); }

}  // namespace Xem::Tool
