#include "batch/batch.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <limits>
#include <optional>
#include <thread>
#include <utility>

#include "batch/outcome.h"
#include "batch/progress.h"
#include "batch/recipe.h"
#include "batch/summary.h"
#include "batch/workers.h"
#include "command/command_line.h"
#include "input/csv.h"
#include "numbers.h"
#include "output/output.h"
#include "text.h"

namespace Xem::Tool {
namespace {

namespace fs = std::filesystem;

constexpr int kMostJobs = 1024;

class Batch final : public Command {
 public:
  Batch()
      : Command({"", "batch", "Fit many specimens by one recipe, in parallel",
                 "echo 'hyper fit --model ogden:2 --uniaxial {specimen}_uniaxial.csv' > recipe.txt\n"
                 "xemfit batch recipe.txt --summary summary.csv\n"
                 "printf 'specimen\\nsilicone\\n' > specimens.csv\n"
                 "xemfit batch recipe.txt --list specimens.csv --jobs 4 --summary -"}) {}

  void Declare(Options& options) override {
    options
        .Text("recipe", recipePath_, "Text file with the command for one specimen, {specimen} where names differ",
              "RECIPE")
        .Required();
    options.Text("folder", folder_,
                 "Where the specimens are and the commands run; that of the list or recipe if left out", "FOLDER");
    options.Text("--list", list_, "CSV file of specimens; its columns may stand in braces in the recipe", "FILE");
    options.Text("--summary", summaryPath_, "Write a row per specimen, mean and scatter as CSV; - for standard output",
                 "FILE");
    options.Count("-j,--jobs", jobs_, "Specimens at a time; all cores if left out", "COUNT").Between(1, kMostJobs);
    options.Real("--timeout", timeout_, "Stop a specimen that takes longer; no limit if left out", "SECONDS")
        .Between(0.0, std::numeric_limits<double>::max());
    options.Text("--work", work_, "Where finished specimens are kept; RECIPE.work if left out", "FOLDER");
    options.Flag("--again", again_, "Fit every specimen again, finished or not");
    options.Flag("-q,--quiet", quiet_, "Print no table and no progress");
  }

  ExitCode Execute(const std::vector<std::string>&) override {
    UseOneThread();
    Prepare();
    const OutcomeStore store(work_);
    FindFinished(store);
    const std::size_t reused = specimens_.size() - open_.size();
    const bool complete = FitOpen(store);
    if (!complete) {
      throw Failure(ExitCode::Interrupted,
                    fmt::format("interrupted; {} of {} specimens are finished and kept in {}; the same command goes on "
                                "from there",
                                reused + finishedNow_, specimens_.size(), Printable(work_)));
    }
    return Tell();
  }

 private:
  void Prepare() {
    recipe_ = ReadRecipe();
    if (folder_.empty()) folder_ = fs::path(list_.empty() ? recipePath_ : list_).parent_path().string();
    if (folder_.empty()) folder_ = ".";
    std::error_code error;
    if (!fs::is_directory(folder_, error)) {
      throw Failure(ExitCode::BadData, Printable(folder_) + ": there is no such folder");
    }
    if (work_.empty()) work_ = recipePath_ + ".work";
    if (!summaryPath_.empty() && summaryPath_ != "-") CheckOutputFile(summaryPath_);
    if (!list_.empty()) specimens_ = ReadSpecimens(list_);
    CheckRecipe(recipe_, Samples());
    if (list_.empty()) specimens_ = FindSpecimens(recipe_, folder_, {recipePath_, summaryPath_});
    outcomes_.resize(specimens_.size());
  }

  Recipe ReadRecipe() const {
    try {
      return ParseRecipe(ReadInput(recipePath_), SourceName(recipePath_));
    } catch (const Failure& failure) {
      throw Failure(ExitCode::Usage, failure.what());
    }
  }

  /// What the recipe is tried with before anything runs.
  std::vector<Placeholders> Samples() const {
    std::vector<Placeholders> samples;
    for (const Specimen& specimen : specimens_) samples.push_back(specimen.values);
    if (samples.empty()) samples.push_back({{"specimen", "{specimen}"}});
    return samples;
  }

  void FindFinished(const OutcomeStore& store) {
    for (std::size_t i = 0; i < specimens_.size(); ++i) {
      const auto words = Expand(recipe_, specimens_[i].values);
      keys_.push_back(OutcomeStore::Key(specimens_[i].name, words, recipe_.isOutput, folder_));
      if (!again_ && HasItsFiles(words)) outcomes_[i] = store.Find(keys_[i]);
      if (!outcomes_[i])
        open_.push_back(i);
      else if (!outcomes_[i]->Fitted())
        ++failed_;
    }
  }

  bool HasItsFiles(const std::vector<std::string>& words) const {
    for (std::size_t i = 0; i < words.size(); ++i) {
      std::error_code error;
      if (recipe_.isOutput[i] && !fs::exists(fs::path(folder_) / FileOf(words[i]), error)) return false;
    }
    return true;
  }

  bool FitOpen(const OutcomeStore& store) {
    const WorkerOptions options{jobs_ > 0 ? jobs_ : static_cast<int>(std::max(1U, std::thread::hardware_concurrency())),
                                timeout_};
    ProgressLine progress(specimens_.size(), !quiet_);
    const std::size_t reused = specimens_.size() - open_.size();
    return RunJobs(
        open_.size(), options, [&](std::size_t job) { return Fit(specimens_[open_[job]]); },
        [&](std::size_t job, const JobResult& result) { Take(store, open_[job], result); },
        [&] { progress.Show(reused + finishedNow_, finishedNow_, failed_); });
  }

  /// In a process of its own.
  int Fit(const Specimen& specimen) const {
    std::vector<std::string> words = Expand(recipe_, specimen.values);
    words.insert(words.begin(), "xemfit");
    words.insert(words.end(), {"--json", "-"});
    fs::current_path(folder_);
    return CommandLine().Run(words);
  }

  void Take(const OutcomeStore& store, std::size_t index, const JobResult& result) {
    Outcome outcome = OutcomeOf(result.exitCode, std::string(Trimmed(Said(result))), result.output);
    ++finishedNow_;
    if (!outcome.Fitted()) ++failed_;
    // What ended for a reason outside of the data may end otherwise the next time.
    const bool lasting = outcome.exitCode >= 0 && outcome.exitCode != static_cast<int>(ExitCode::Other) &&
                         outcome.exitCode <= static_cast<int>(ExitCode::Unstable);
    if (lasting) store.Keep(keys_[index], specimens_[index].name, outcome, result.output);
    outcomes_[index] = std::move(outcome);
  }

  std::string Said(const JobResult& result) const {
    if (result.outOfTime) return fmt::format("took longer than {} s", Shortly(timeout_));
    if (result.signal != 0) return fmt::format("ended by signal {} ({})", result.signal, strsignal(result.signal));
    const std::string_view said = Trimmed(result.errors);
    constexpr std::string_view kPrefix = "xemfit: ";
    return std::string(said.starts_with(kPrefix) ? said.substr(kPrefix.size()) : said);
  }

  ExitCode Tell() const {
    Summary summary;
    for (std::size_t i = 0; i < specimens_.size(); ++i) summary.Add(specimens_[i].name, *outcomes_[i]);
    const auto refused = [](const std::optional<Outcome>& o) {
      return o->exitCode == static_cast<int>(ExitCode::Usage);
    };
    if (std::all_of(outcomes_.begin(), outcomes_.end(), refused)) {
      throw Failure(ExitCode::Usage, recipe_.source + ": " + outcomes_.front()->message);
    }
    if (!summaryPath_.empty() && summaryPath_ != "-") ReplaceFile(summaryPath_, summary.Csv());
    if (summaryPath_ == "-") WriteStandardOutput(summary.Csv());
    if (summaryPath_ != "-" && !quiet_) WriteStandardOutput(summary.Table());
    if (summary.FailedCount() == 0) return ExitCode::Fitted;
    fmt::print(stderr, "xemfit: {} of {} specimens failed:\n", summary.FailedCount(), specimens_.size());
    for (std::size_t i = 0; i < specimens_.size(); ++i) {
      if (outcomes_[i]->Fitted()) continue;
      fmt::print(stderr, "  {}: {}: {}\n", Printable(specimens_[i].name), outcomes_[i]->Status(),
                 Printable(outcomes_[i]->message));
    }
    return ExitCode::BadData;
  }

  std::string recipePath_, folder_, list_, summaryPath_, work_;
  int jobs_ = 0;
  double timeout_ = 0.0;
  bool again_ = false;
  bool quiet_ = false;

  Recipe recipe_;
  std::vector<Specimen> specimens_;
  std::vector<std::string> keys_;
  std::vector<std::optional<Outcome>> outcomes_;
  std::vector<std::size_t> open_;  // specimens without an outcome
  std::size_t finishedNow_ = 0;
  std::size_t failed_ = 0;
};

}  // namespace

std::unique_ptr<Command> MakeBatchCommand() { return std::make_unique<Batch>(); }

}  // namespace Xem::Tool
