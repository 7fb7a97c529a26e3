#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <thread>
#include <utility>

#include "batch/outcome.h"
#include "batch/progress.h"
#include "batch/recipe.h"
#include "batch/summary.h"
#include "batch/workers.h"
#include "command/command_line.h"
#include "commands.h"
#include "input/csv.h"
#include "output/output.h"
#include "process.h"
#include "text.h"

namespace Xem::Tool {
namespace {

namespace fs = std::filesystem;

constexpr int kMostJobs = 1024;

constexpr const char* kManual =
    R"(A recipe is a text file that holds the command for one specimen, as it would be typed, with {specimen} where the names of its files differ. The batch finds the specimens, runs the command for each of them in parallel, and gathers parameters, measures and status into one table.

The recipe relaxation.txt

    # Four terms for every relaxation test
    prony fit --terms 4 {specimen}.csv

run as

    xemfit batch relaxation.txt tests --summary summary.csv

fits tests/A1.csv, tests/A2.csv and so on, and calls the specimens A1, A2 and so on. A specimen may have several files, and files of its own to write:

    hyper fit --model ogden:2
      --uniaxial   {specimen}_ut.csv
      --pure-shear {specimen}_ps.csv
      --plot       plots/{specimen}.png

A specimen is whatever makes the first input file with {specimen} in its name exist, so that {specimen}/ut.csv takes every folder that has a file ut.csv.

WRITING A RECIPE
Words are separated by blanks and line ends, so that a long command may take several lines. Text from # to the end of the line is a comment. Single or double quotes hold a word with blanks together. A leading "xemfit" and a backslash at the end of a line change nothing, so that a command may be pasted from a terminal. Names of files are relative to FOLDER, in which every command runs. --json is left out, because the batch keeps the results itself.

SPECIMENS FROM A LIST
With --list the specimens are the rows of a CSV file. Its column specimen names them, and every column may stand in braces in the recipe:

    specimen,file,stress
    A1,creep_500.csv,500
    A2,creep_549.csv,549

A list of names alone, one a line below the header specimen, serves to choose some specimens of a folder.

THE SUMMARY
--summary writes a CSV file with one row per specimen, ordered by specimen (A2 before A10) or as in the list: specimen, status, exit_code, model, points, dropped, sse, rmse, r2, aicc, then each parameter and its standard error, derived quantities, and the message of a specimen that failed. The status is fitted, bad data, not converged, unstable, refused (the command cannot be carried out), failed (anything else) or stopped (a crash, or --timeout). Below the specimens follow the rows mean, standard_deviation, number and unit, marked by the status summary; they count the specimens that fitted. A parameter that comes in different units is converted to that of the first specimen.

INTERRUPTION
Each finished specimen is kept in the work folder. After an interruption of any kind the same command goes on where it stopped, and its summary is the same to the byte as without the interruption. A specimen is done again when the recipe, one of its files or the version of xemfit changes, when a file that it should have written is missing, or when it was stopped or failed for a reason outside of its data. The work folder may be deleted at any time.)";

class Batch final : public Command {
 public:
  Batch()
      : Command({"batch", "Fit many specimens by one recipe, in parallel",
                 "echo 'hyper fit --model ogden:2 --uniaxial {specimen}_uniaxial.csv' > recipe.txt\n"
                 "xemfit batch recipe.txt --summary summary.csv\n"
                 "printf 'specimen\\nsilicone\\n' > specimens.csv\n"
                 "xemfit batch recipe.txt --list specimens.csv --jobs 4 --summary -",
                 kManual, false}) {}

  void Attach(CLI::App& app) override {
    app.add_option("recipe", recipePath_, "Text file with the command for one specimen, {specimen} where names differ")
        ->required()
        ->type_name("RECIPE");
    app.add_option("folder", folder_,
                   "Where the specimens are and the commands run; that of the list or recipe if "
                   "left out")
        ->type_name("FOLDER");
    app.add_option("--list", list_, "CSV file of specimens; its columns may stand in braces in the recipe")
        ->type_name("FILE");
    app.add_option("--summary", summaryPath_,
                   "Write a row per specimen, mean and scatter as CSV; - for standard output")
        ->type_name("FILE");
    app.add_option("-j,--jobs", jobs_, "Specimens at a time; all cores if left out")
        ->check(CLI::Range(1, kMostJobs).description(""))
        ->type_name("COUNT");
    app.add_option("--timeout", timeout_, "Stop a specimen that takes longer; no limit if left out")
        ->check(CLI::NonNegativeNumber.description(""))
        ->type_name("SECONDS");
    app.add_option("--work", work_, "Where finished specimens are kept; RECIPE.work if left out")->type_name("FOLDER");
    app.add_flag("--again", again_, "Fit every specimen again, finished or not");
    app.add_flag("-q,--quiet", quiet_, "Print no table and no progress");
  }

  ExitCode Run() override {
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
    std::vector<char*> arguments = Pointers(words);
    return CommandLine().Run(static_cast<int>(words.size()), arguments.data());
  }

  void Take(const OutcomeStore& store, std::size_t index, const JobResult& result) {
    Outcome outcome{result.exitCode, std::string(Trimmed(Said(result))), nullptr};
    if (!result.output.empty()) outcome.result = Json::parse(result.output, nullptr, false);
    if (outcome.result.is_discarded()) outcome = {-1, "its result cannot be read", nullptr};
    ++finishedNow_;
    if (!outcome.Fitted()) ++failed_;
    // What ended for a reason outside of the data may end otherwise the next time.
    const bool lasting = outcome.exitCode >= 0 && outcome.exitCode != static_cast<int>(ExitCode::Other) &&
                         outcome.exitCode <= static_cast<int>(ExitCode::Unstable);
    if (lasting) store.Keep(keys_[index], specimens_[index].name, outcome);
    outcome.ForgetCurves();
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
    std::cerr << fmt::format("xemfit: {} of {} specimens failed:\n", summary.FailedCount(), specimens_.size());
    for (std::size_t i = 0; i < specimens_.size(); ++i) {
      if (outcomes_[i]->Fitted()) continue;
      std::cerr << fmt::format("  {}: {}: {}\n", Printable(specimens_[i].name), outcomes_[i]->Status(),
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
