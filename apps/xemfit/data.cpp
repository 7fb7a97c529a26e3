#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <vector>

#include "commands.h"
#include "output/output.h"
#include "output/text_table.h"
#include "shared_files.h"
#include "text.h"
#include "xem/fit/reading.h"

namespace Xem::Tool {
namespace {

namespace fs = std::filesystem;

struct Bundled {
  std::string name;
  fs::path path;
};

std::vector<Bundled> AllBundled() {
  std::vector<Bundled> all;
  for (const auto& entry : fs::directory_iterator(SharedFolder() / "data")) {
    if (entry.path().extension() == ".csv") all.push_back({entry.path().stem().string(), entry.path()});
  }
  std::sort(all.begin(), all.end(), [](const Bundled& a, const Bundled& b) { return a.name < b.name; });
  return all;
}

/// None where the curves are not installed.
std::vector<std::string> BundledNames() {
  std::vector<std::string> names;
  try {
    for (const Bundled& entry : AllBundled()) names.push_back(entry.name);
  } catch (const std::exception&) {
    names.clear();
  }
  return names;
}

class Data : public Command {
 public:
  Data()
      : Command({"", "data", "List and write the published curves that come with xemfit",
                 "xemfit data\n"
                 "xemfit data treloar1944_uniaxial treloar1944_pure_shear --to curves\n"
                 "xemfit data treloar1944_uniaxial --to - | xemfit hyper fit --model polynomial:2 --uniaxial -"}) {}

  void Declare(Options& options) override {
    options.Texts("name", names_, "Curves to write; none: list them all", "NAME").Suggest(BundledNames());
    options.Flag("--all", all_, "Write every curve");
    options.Text(
        "--to", to_,
        "Folder to write to, made if it is not there, or - for standard output; the current folder if left out",
        "FOLDER");
  }

  ExitCode Execute(const std::vector<std::string>&) override {
    const auto chosen = Chosen();
    if (names_.empty() && !all_) {
      List(chosen);
    } else if (to_ == "-") {
      if (chosen.size() != 1) throw Failure(ExitCode::Usage, "--to -: name one curve");
      WriteStandardOutput(Fit::ReadInput(chosen.front().path.string()));
    } else {
      Write(chosen);
    }
    return ExitCode::Fitted;
  }

 private:
  std::vector<Bundled> Chosen() const {
    const auto all = AllBundled();
    if (names_.empty() || all_) return all;
    std::vector<Bundled> chosen;
    for (std::string name : names_) {
      if (name.ends_with(".csv")) name.erase(name.size() - 4);
      const auto found = std::find_if(all.begin(), all.end(), [&](const Bundled& b) { return b.name == name; });
      if (found == all.end()) {
        throw Failure(ExitCode::Usage, fmt::format("there is no curve {}; xemfit data lists them", Quoted(name)));
      }
      chosen.push_back(*found);
    }
    return chosen;
  }

  static void List(const std::vector<Bundled>& bundled) {
    TextTable table({{"name", TextTable::Align::Left}, {"what it is", TextTable::Align::Left}});
    for (const Bundled& entry : bundled) {
      const Fit::Table curve = Fit::ReadTable(entry.path.string());
      const auto about = curve.metadata.find("data");
      table.Add({entry.name, about == curve.metadata.end() ? "" : about->second});
    }
    WriteStandardOutput(table.Text());
  }

  void Write(const std::vector<Bundled>& bundled) const {
    std::vector<std::pair<std::string, std::string>> files;
    for (const Bundled& entry : bundled) {
      const fs::path target = fs::path(to_.empty() ? "." : to_) / entry.path.filename();
      std::string contents = Fit::ReadInput(entry.path.string());
      std::error_code error;
      if (fs::exists(target, error) && Fit::ReadInput(target.string()) != contents) {
        throw Failure(ExitCode::Other,
                      Printable(target.string()) + ": is there already and differs; move it or choose another --to");
      }
      files.emplace_back(target.lexically_normal().string(), std::move(contents));
    }
    if (!to_.empty()) MakeFolder();
    std::string told;
    for (const auto& [path, contents] : files) {
      CheckOutputFile(path);
      ReplaceFile(path, contents);
      told += path + '\n';
    }
    WriteStandardOutput(told);
  }

  void MakeFolder() const {
    std::error_code error;
    fs::create_directories(to_, error);
    if (error) throw Failure(ExitCode::Other, fmt::format("{}: cannot be made: {}", Printable(to_), error.message()));
  }

  std::vector<std::string> names_;
  std::string to_;
  bool all_ = false;
};

}  // namespace

std::unique_ptr<Command> MakeDataCommand() { return MakeCommand<Data>(); }

}  // namespace Xem::Tool
