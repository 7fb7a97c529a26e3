#include "batch/batch.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <thread>
#include <utility>

#include "batch/outcome.h"
#include "batch/overview.h"
#include "batch/progress.h"
#include "batch/recipe.h"
#include "batch/summary.h"
#include "batch/workers.h"
#include "command/command_line.h"
#include "numbers.h"
#include "output/output.h"
#include "output/page.h"
#include "output/shell.h"
#include "text.h"
#include "xem/fit/reading.h"

namespace Xem::Tool {
namespace {

namespace fs = std::filesystem;

constexpr int kMostJobs = 1024;
constexpr double kAnyR2 = -1e300;

class Batch : public Command {
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
    options.Text("--report", overviewPath_,
                 "Write a page for a browser: all curves, histograms of parameters, a table that sorts", "FILE.html");
    options.Number("--min-r2", gates_.leastR2, "A fit with a smaller R2 is doubtful; 0.9 if left out", kAnyR2);
    options
        .Number("--max-dropped", gates_.mostDropped,
                "A fit that left out a greater share of the points is doubtful; 0.5 if left out", 0.0)
        .type = "SHARE";
    options.Flag("--allow-unclear", gates_.allowUnclear,
                 "Count fits with parameters at a bound or not identifiable, which are doubtful otherwise");
    options.Count("-j,--jobs", jobs_, "Specimens at a time; all cores if left out", "COUNT").Between(1, kMostJobs);
    options.Number("--timeout", timeout_, "Stop a specimen that takes longer; no limit if left out", 0.0).type =
        "SECONDS";
    options.Text("--work", work_, "Where finished specimens are kept; RECIPE.work if left out", "FOLDER");
    options.Text("--shard", shard_,
                 "Fit one of so many equal parts, counted from 1, such as 3/8: one job of a cluster each; they share "
                 "the work folder",
                 "I/N");
    options.Flag("--gather", gather_, "Fit nothing: the summary and page of all that shards have finished");
    options.Flag("--again", again_, "Fit every specimen again, finished or not");
    options.Flag("-q,--quiet", quiet_, "Print no table and no progress");
  }

  ExitCode Execute(const std::vector<std::string>& arguments) override {
    UseOneThread();
    Prepare();
    OutcomeStore store(work_, shard_.empty() ? "" : KeepShard());
    if (!again_ || gather_) store.FindKept();
    if (gather_) {
      Gather(store);
    } else if (!FitAll(store)) {
      throw Failure(ExitCode::Interrupted,
                    fmt::format("interrupted; {} of {} specimens are finished and kept in {}; the same command goes on "
                                "from there",
                                KeptCount(store), specimens_.size(), Printable(work_)));
    }
    return Tell(arguments);
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
    if (!overviewPath_.empty()) {
      RequirePageFormat(overviewPath_);
      CheckOutputFile(overviewPath_);
    }
    if (!list_.empty()) specimens_ = ReadSpecimens(list_);
    CheckRecipe(recipe_, Samples());
    if (list_.empty()) specimens_ = FindSpecimens(recipe_, folder_, {recipePath_, summaryPath_});
    outcomes_.resize(specimens_.size());
    folder_ = fs::absolute(folder_).string();
  }

  /// Leaves every N-th specimen, so that parts are equal however long each end of the list takes. Returns a name for
  /// what this part keeps.
  std::string KeepShard() {
    const auto slash = shard_.find('/');
    const auto part = ParseCount(shard_.substr(0, slash));
    const auto parts = slash == std::string::npos ? std::nullopt : ParseCount(shard_.substr(slash + 1));
    if (!part || !parts || *part < 1 || *part > *parts) {
      throw Failure(ExitCode::Usage,
                    fmt::format("--shard: {} is not I/N with I from 1 to N, such as 3/8", Quoted(shard_)));
    }
    if (gather_) throw Failure(ExitCode::Usage, "--shard fits a part, --gather none: give one of them");
    std::vector<Specimen> own;
    for (std::size_t i = static_cast<std::size_t>(*part) - 1; i < specimens_.size();
         i += static_cast<std::size_t>(*parts)) {
      own.push_back(std::move(specimens_[i]));
    }
    specimens_ = std::move(own);
    outcomes_.resize(specimens_.size());
    return fmt::format("{}of{}.", *part, *parts);
  }

  void Gather(const OutcomeStore& store) {
    for (std::size_t i = 0; i < specimens_.size(); ++i) {
      const auto words = Expand(recipe_, specimens_[i].values);
      outcomes_[i] = store.Find(KeyOf(specimens_[i], words));
      if (!outcomes_[i]) outcomes_[i] = OutcomeWithout(-1, "no shard has finished it");
    }
  }

  Recipe ReadRecipe() const {
    try {
      return ParseRecipe(Fit::ReadInput(recipePath_), Fit::SourceName(recipePath_));
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

  bool HasItsFiles(const std::vector<std::string>& words) const {
    for (std::size_t i = 0; i < words.size(); ++i) {
      std::error_code error;
      if (recipe_.isOutput[i] && !fs::exists(fs::path(folder_) / FileOf(words[i]), error)) return false;
    }
    return true;
  }

  /// What was kept of a specimen, unless it is to be fitted again.
  std::optional<Outcome> Finished(const OutcomeStore& store, const std::vector<std::string>& words,
                                  const std::string& key) const {
    return !again_ && HasItsFiles(words) ? store.Find(key) : std::nullopt;
  }

  std::size_t KeptCount(const OutcomeStore& store) const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < specimens_.size(); ++i) {
      const auto words = Expand(recipe_, specimens_[i].values);
      count += outcomes_[i] || Finished(store, words, KeyOf(specimens_[i], words)) ? 1 : 0;
    }
    return count;
  }

  std::string KeyOf(const Specimen& specimen, const std::vector<std::string>& words) const {
    return OutcomeStore::Key(specimen.name, words, recipe_.isOutput, folder_);
  }

  bool FitAll(const OutcomeStore& store) {
    const WorkerOptions options{jobs_ > 0 ? jobs_ : static_cast<int>(std::max(1U, std::thread::hardware_concurrency())),
                                timeout_};
    ProgressLine progress(specimens_.size(), !quiet_);
    return RunJobs(
        specimens_.size(), options, [&](std::size_t job) { return Answer(store, specimens_[job]); },
        [&](std::size_t job, const JobResult& result) { Take(job, result); },
        [&] { progress.Show(finished_, finishedNow_, failed_); });
  }

  // In a worker. All that takes time per specimen is done there; only its answer comes back.

  static constexpr char kFresh = '+';
  static constexpr char kFound = '=';

  std::string Answer(const OutcomeStore& store, const Specimen& specimen) {
    const std::vector<std::string> words = Expand(recipe_, specimen.values);
    const std::string key = KeyOf(specimen, words);
    std::optional<Outcome> outcome = Finished(store, words, key);
    const char state = outcome ? kFound : kFresh;
    if (!outcome) {
      outcome = FitSpecimen(words);
      try {
        if (outcome->Lasting()) store.Keep(key, *outcome);
      } catch (const Failure& failure) {  // such as a full disk
        outcome = OutcomeWithout(static_cast<int>(failure.Code()), failure.what());
      }
    }
    if (overviewPath_.empty()) outcome->curves.clear();
    return state + ToText(*outcome);
  }

  /// Where a fit cannot write is told by itself.
  void MakeFolders(const std::vector<std::string>& words) const {
    for (std::size_t i = 0; i < words.size(); ++i) {
      const fs::path folder = fs::path(FileOf(words[i])).parent_path();
      std::error_code error;
      if (recipe_.isOutput[i] && !folder.empty()) fs::create_directories(folder, error);
    }
  }

  Outcome FitSpecimen(std::vector<std::string> words) {
    fs::current_path(folder_);
    MakeFolders(words);
    Outcome outcome = OutcomeWithout(0, "");
    CommandLine& commandLine = CommandLineFor(words);
    words.insert(words.begin(), "xemfit");
    const auto ended = commandLine.Run(words, [&](const Report& report) { outcome = OutcomeOf(report); });
    outcome.exitCode = static_cast<int>(ended.code);
    outcome.message = Trimmed(Printable(ended.sentence));
    return outcome;
  }

  /// The one of the specimen before where it does: to make one takes a third of a small fit.
  CommandLine& CommandLineFor(const std::vector<std::string>& words) {
    if (!commandLine_ || !commandLine_->IsMadeFor(words)) commandLine_ = std::make_unique<CommandLine>(words);
    return *commandLine_;
  }

  void Take(std::size_t index, const JobResult& result) {
    Outcome outcome =
        result.answered ? OutcomeFrom(std::string_view(result.answer).substr(1)) : OutcomeWithout(-1, Ended(result));
    ++finished_;
    if (!result.answered || result.answer.front() == kFresh) ++finishedNow_;
    if (!outcome.Fitted()) ++failed_;
    outcomes_[index] = std::move(outcome);
  }

  std::string Ended(const JobResult& result) const {
    if (result.outOfTime) return fmt::format("took longer than {} s", Shortly(timeout_));
    if (result.signal != 0) return fmt::format("ended by signal {} ({})", result.signal, strsignal(result.signal));
    return "its process ended without a result";
  }

  ExitCode Tell(const std::vector<std::string>& arguments) const {
    Fit::Summary summary;
    for (std::size_t i = 0; i < specimens_.size(); ++i) {
      summary.Add(specimens_[i].name, *outcomes_[i], Fit::DoubtsAbout(*outcomes_[i], gates_));
    }
    summary.Finish();
    const auto refused = [](const std::optional<Outcome>& o) {
      return o->exitCode == static_cast<int>(ExitCode::Usage);
    };
    if (!outcomes_.empty() && std::all_of(outcomes_.begin(), outcomes_.end(), refused)) {
      throw Failure(ExitCode::Usage, recipe_.source + ": " + outcomes_.front()->message);
    }
    if (!summaryPath_.empty() && summaryPath_ != "-") ReplaceFile(summaryPath_, SummaryCsv(summary));
    if (!overviewPath_.empty()) ReplaceFile(overviewPath_, Overview(summary, arguments));
    if (summaryPath_ == "-") WriteStandardOutput(SummaryCsv(summary));
    if (summaryPath_ != "-" && !quiet_) WriteStandardOutput(SummaryTable(summary));
    List(summary, summary.Count(Fit::kDoubtful), "are doubtful and not counted",
         [](const Fit::Summary::Row& row) { return row.status == Fit::kDoubtful; });
    List(summary, summary.FailedCount(), "failed",
         [](const Fit::Summary::Row& row) { return row.status != Fit::kDoubtful && row.status != Fit::kFitted; });
    return summary.FailedCount() == 0 ? ExitCode::Fitted : ExitCode::BadData;
  }

  static void List(const Fit::Summary& summary, std::size_t count, const char* what,
                   const std::function<bool(const Fit::Summary::Row&)>& isListed) {
    if (count == 0) return;
    fmt::print(stderr, "xemfit: {} of {} specimens {}:\n", count, summary.Rows().size(), what);
    for (const Fit::Summary::Row& row : summary.Rows()) {
      if (!isListed(row)) continue;
      fmt::print(stderr, "  {}: {}: {}\n", Printable(row.specimen), row.status, Printable(row.message));
    }
  }

  std::string Overview(const Fit::Summary& summary, const std::vector<std::string>& arguments) const {
    std::vector<OverviewSpecimen> specimens;
    const fs::path place = fs::absolute(overviewPath_).parent_path();
    for (std::size_t i = 0; i < specimens_.size(); ++i) {
      OverviewSpecimen specimen{outcomes_[i]->curves, {}};
      const auto words = Expand(recipe_, specimens_[i].values);
      for (std::size_t k = 0; k < words.size(); ++k) {
        const fs::path file = fs::path(folder_) / FileOf(words[k]);
        std::error_code error;
        if (recipe_.isOutput[k] && fs::exists(file, error))
          specimen.files.push_back(fs::relative(file, place, error).string());
      }
      specimens.push_back(std::move(specimen));
    }
    return OverviewPage(recipe_.words, ShellCommand(arguments), summary, specimens);
  }

  std::string recipePath_, folder_, list_, summaryPath_, overviewPath_, work_;
  Fit::Gates gates_;
  int jobs_ = 0;
  double timeout_ = 0.0;
  std::string shard_;
  bool gather_ = false;
  bool again_ = false;
  bool quiet_ = false;

  Recipe recipe_;
  std::vector<Specimen> specimens_;
  std::vector<std::optional<Outcome>> outcomes_;
  std::size_t finished_ = 0;
  std::size_t finishedNow_ = 0;  // in this run
  std::size_t failed_ = 0;

  std::unique_ptr<CommandLine> commandLine_;  // of a worker
};

}  // namespace

std::unique_ptr<Command> MakeBatchCommand() { return MakeCommand<Batch>(); }

}  // namespace Xem::Tool
