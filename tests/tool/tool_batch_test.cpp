#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "support/run_tool.h"
#include "xem/fit/reading.h"

// Many specimens by one recipe: what is found, what is summarised, and what survives bad files and interruptions.
namespace Xem::Testing {
namespace {

namespace fs = std::filesystem;
using Strings = std::vector<std::string>;

/// An exact Mooney-Rivlin curve.
std::string Rubber(double c10, double c01, const std::string& unit = "MPa", double unitFactor = 1.0) {
  std::string text = "strain,stress_" + unit + "\n";
  for (int i = 1; i <= 12; ++i) {
    const double stretch = 1.0 + 0.1 * i;
    const double stress = 2.0 * (1.0 - std::pow(stretch, -3.0)) * (c10 * stretch + c01);
    char line[80];
    std::snprintf(line, sizeof line, "%.17g,%.17g\n", stretch - 1.0, stress * unitFactor);
    text += line;
  }
  return text;
}

constexpr const char* kRecipe = "# two terms\nxemfit hyper fit --model polynomial:1 \\\n  --uniaxial {specimen}.csv\n";

/// A summary as row name -> column -> cell, with the order of its rows.
struct ReadSummary {
  explicit ReadSummary(const std::string& csv) {
    Fit::ReadOptions options;
    options.fewestColumns = 1;
    options.keepTexts = true;
    const Fit::Table table = Fit::ParseTable(csv, "summary.csv", options);
    for (std::size_t row = 0; row < table.RowCount(); ++row) {
      order.push_back(Fit::CellText(table, row, 0));
      for (std::size_t i = 0; i < table.columns.size(); ++i) {
        rows[order.back()][table.columns[i].name] = Fit::CellText(table, row, i);
      }
    }
  }
  double Number(const std::string& row, const std::string& column) { return std::atof(rows[row][column].c_str()); }

  Strings order;
  std::map<std::string, std::map<std::string, std::string>> rows;
};

/// Tests in ./tests, recipe in ./recipe.
class Batch : public testing::Test {
 protected:
  Batch() {
    fs::create_directory(folder.Path() / "tests");
    folder.Write("recipe", kRecipe);
  }
  ToolRun Run(const Strings& more = {}) const {
    Strings arguments{"batch", "recipe", "tests", "--summary", "summary.csv"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunTool(arguments, folder.Path());
  }
  void WriteSpecimens(int count) const {
    for (int i = 1; i <= count; ++i) {
      folder.Write("tests/S" + std::to_string(i) + ".csv", Rubber(0.4 + 0.01 * i, 0.1 - 0.001 * i));
    }
  }
  /// Lines of the work folder, each the key of a specimen and its outcome.
  Strings Kept() const {
    Strings lines;
    if (!fs::exists(folder.Path() / "recipe.work")) return lines;
    for (const auto& entry : fs::directory_iterator(folder.Path() / "recipe.work")) {
      std::ifstream file(entry.path());
      for (std::string line; std::getline(file, line);) {
        if (!line.empty() && !file.eof()) lines.push_back(line);
      }
    }
    std::sort(lines.begin(), lines.end());
    return lines;
  }
  /// What was finished is still there and was not done again, which would have added a line.
  void ExpectKeptAsBefore(const Strings& before) const {
    const Strings now = Kept();
    for (const std::string& line : before) {
      EXPECT_EQ(std::count(now.begin(), now.end(), line), std::count(before.begin(), before.end(), line))
          << line.substr(0, 60);
    }
  }

  /// Starts the batch, sends the signal once three specimens are finished, and returns how it ended.
  int Interrupt(int signal) const {
    const pid_t child = fork();
    if (child == 0) {
      ::signal(SIGINT, SIG_DFL);  // ignored where the tests run in the background of a script
      const int nothing = open("/dev/null", O_WRONLY);
      dup2(nothing, STDOUT_FILENO);
      dup2(open((folder.Path() / "errors").c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
      if (chdir(folder.Path().c_str()) != 0) _exit(125);
      execl(XEM_TOOL, "xemfit", "batch", "recipe", "tests", "--summary", "summary.csv", "--jobs", "1", nullptr);
      _exit(125);
    }
    while (Kept().size() < 3) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    kill(child, signal);
    int status = 0;
    waitpid(child, &status, 0);
    return status;
  }

  TemporaryFolder folder;
};

TEST_F(Batch, SummarisesEverySpecimenAndSaysWhichFailed) {
  folder.Write("tests/A10.csv", Rubber(0.6, 0.1));
  folder.Write("tests/A2.csv", Rubber(500.0, 200.0, "kPa"));
  folder.Write("tests/A1.csv", Rubber(0.4, 0.3));
  folder.Write("tests/bad.csv", "strain,stress_MPa\n0.1,oops, really\n");
  folder.Write("tests/notes.txt", "not a specimen");
  const ToolRun run = Run();
  EXPECT_EQ(run.exitCode, 3);
  EXPECT_NE(run.errors.find("1 of 4 specimens failed:\n  bad: bad data: bad.csv, line 2"), std::string::npos)
      << run.errors;
  EXPECT_NE(run.output.find("C10"), std::string::npos);

  ReadSummary summary(folder.Read("summary.csv"));
  EXPECT_EQ(summary.order, (Strings{"A1", "A2", "A10", "bad", "mean", "standard_deviation", "median",
                                    "robust_deviation", "number", "unit"}));
  EXPECT_NEAR(summary.Number("A2", "C10"), 0.5, 1e-9);  // in the unit of the first
  EXPECT_NEAR(summary.Number("mean", "C10"), 0.5, 1e-9);
  EXPECT_NEAR(summary.Number("mean", "C01"), 0.2, 1e-9);
  EXPECT_NEAR(summary.Number("standard_deviation", "C10"), 0.1, 1e-9);
  EXPECT_NEAR(summary.Number("mean", "shear_modulus"), 1.4, 1e-9);
  EXPECT_NEAR(summary.Number("robust_deviation", "C10"), 0.14826, 1e-9);
  EXPECT_EQ(summary.rows["number"]["C10"], "3");
  EXPECT_EQ(summary.rows["unit"]["C10"], "MPa");
  EXPECT_EQ(summary.rows["A1"]["points"], "12");
  EXPECT_EQ(summary.rows["A1"]["model"], "polynomial:1");
  EXPECT_EQ(summary.rows["A1"]["status"], "fitted");
  EXPECT_EQ(summary.rows["bad"]["status"], "bad data");
  EXPECT_EQ(summary.rows["bad"]["exit_code"], "3");
  EXPECT_EQ(summary.rows["bad"]["C10"], "");
  EXPECT_NE(summary.rows["bad"]["message"].find("bad.csv, line 2"), std::string::npos);
}

/// What repeats itself and looks like chance, between -1 and 1.
double Scatter(int i) { return std::sin(12.9898 * i + 1.0) * std::cos(78.233 * i * i); }

/// Rubber with noise, in MPa times `unitFactor`.
std::string Noisy(int seed, double c10, const std::string& unit = "MPa", double unitFactor = 1.0) {
  std::string text = "strain,stress_" + unit + "\n";
  for (int i = 1; i <= 12; ++i) {
    const double stretch = 1.0 + 0.1 * i;
    const double stress =
        2.0 * (1.0 - std::pow(stretch, -3.0)) * (c10 * stretch + 0.1) + 0.01 * Scatter(100 * seed + i);
    text += std::to_string(stretch - 1.0) + ',' + std::to_string(stress * unitFactor) + '\n';
  }
  return text;
}

TEST_F(Batch, AveragesEveryQuantityInOneUnit) {
  for (const int factor : {1, 1000}) {  // the same four tests, all in MPa and two of them in kPa
    for (int i = 1; i <= 4; ++i) {
      const bool other = i % 2 == 0 && factor != 1;
      folder.Write("tests/S" + std::to_string(i) + ".csv", Noisy(i, 0.5, other ? "kPa" : "MPa", other ? factor : 1.0));
    }
    ASSERT_EQ(Run({"--again"}).exitCode, 0);
    folder.Write("summary" + std::to_string(factor), folder.Read("summary.csv"));
  }
  ReadSummary one(folder.Read("summary1"));
  ReadSummary both(folder.Read("summary1000"));
  for (const char* row : {"mean", "standard_deviation", "median", "S2"}) {
    for (const char* column : {"C10", "C10_standard_error", "shear_modulus", "bulk_modulus", "rmse", "sse", "aicc"}) {
      const double expected = one.Number(row, column);  // files have six digits
      EXPECT_NEAR(both.Number(row, column), expected, 1e-4 * std::abs(expected)) << row << ' ' << column;
    }
  }
  EXPECT_EQ(both.rows["unit"]["sse"], "MPa^2");

  folder.Write("tests/S3.csv", Noisy(3, 0.5, "parrots"));
  ASSERT_EQ(Run().exitCode, 0);
  ReadSummary mixed(folder.Read("summary.csv"));
  for (const char* column : {"C10", "shear_modulus", "rmse", "aicc"})
    EXPECT_EQ(mixed.rows["mean"][column], "") << column;
  EXPECT_EQ(mixed.rows["unit"]["rmse"], "mixed");
}

TEST_F(Batch, DoesNotCountJunk) {
  for (int i = 1; i <= 90; ++i) folder.Write("tests/S" + std::to_string(i) + ".csv", Noisy(i, 0.5 + 0.02 * Scatter(i)));
  ASSERT_EQ(Run().exitCode, 0);
  ReadSummary good(folder.Read("summary.csv"));
  folder.Write("tests/far.csv", Noisy(7, 0.9));
  for (int i = 1; i <= 10; ++i) {
    std::string text = "strain,stress_MPa\n";
    for (int k = 1; k <= 20; ++k)
      text += std::to_string(0.1 * k) + ',' + std::to_string(3 + 2 * Scatter(50 * i + k)) + '\n';
    folder.Write("tests/junk" + std::to_string(i) + ".csv", text);
  }
  folder.Write("recipe", kRecipe + std::string(" --curves curves/{specimen}.csv"));  // a folder that is not there yet
  const ToolRun run = Run({"--report", "overview.html"});
  EXPECT_EQ(run.exitCode, 0);
  EXPECT_NE(run.errors.find("10 of 101 specimens are doubtful"), std::string::npos) << run.errors;
  EXPECT_NE(run.output.find("  far: C10\n"), std::string::npos) << run.output;
  ReadSummary all(folder.Read("summary.csv"));
  EXPECT_EQ(all.rows["junk1"]["status"], "doubtful");
  EXPECT_EQ(all.rows["far"]["outlier_in"], "C10");
  EXPECT_NEAR(all.Number("median", "C10"), good.Number("median", "C10"), 1e-3);
  EXPECT_NEAR(all.Number("mean", "C10"), good.Number("mean", "C10") + 0.4 / 91, 1e-3);  // what is far counts
  EXPECT_NEAR(all.Number("robust_deviation", "C10") / good.Number("robust_deviation", "C10"), 1.0, 0.1);
  const std::string page = folder.Read("overview.html");
  for (const char* part :
       {"10 doubtful", "href=\"./tests/curves/far.csv\"", "class=\"number far\"", "\"histograms\":[{"}) {
    EXPECT_NE(page.find(part), std::string::npos) << part;
  }
  ASSERT_EQ(Run({"--min-r2", "-100", "--again"}).exitCode, 0);
  EXPECT_GT(ReadSummary(folder.Read("summary.csv")).Number("standard_deviation", "C10"),
            5 * all.Number("standard_deviation", "C10"));
}

TEST_F(Batch, DoubtsFitsForClearReasonsAlone) {
  const std::string data = XEM_DATA_DIR;
  std::string cut = "strain,stress_MPa\n";  // three strains do not tell five parameters
  for (int i = 0; i < 12; ++i)
    cut += std::to_string(0.3 * (i % 3 + 1)) + ',' + std::to_string(0.2 * (i % 3 + 1)) + '\n';
  folder.Write("tests/cut.csv", cut);
  std::string zeros = "strain,stress_MPa\n";
  for (int i = 1; i <= 30; ++i) zeros += std::to_string(0.01 * i) + ",0\n";
  folder.Write("tests/zeros.csv", zeros + Rubber(0.4, 0.1).substr(18));
  const struct {
    const char* name;
    std::string recipe, status, message;
  } cases[] = {
      // What a model holds by itself is no doubt: exponents of a single stress, psi_r, gamma_r.
      {"creep", "creep fit " + data + "/metal_creep_{specimen}.csv", "fitted", ""},
      {"soil", "retention fit --model fredlund-xing --select soil=4521 " + data + "/{specimen}.csv", "fitted", ""},
      {"ghe", "cyclic fit --family ghe --stiffness " + data + "/{specimen}_stiffness.csv", "fitted", ""},
      {"cut", "hyper fit --model polynomial:2 --uniaxial {specimen}.csv", "doubtful", "not identifiable"},
      {"zeros", "hyper fit --model polynomial:1 --residual relative --uniaxial {specimen}.csv", "doubtful",
       "30 of 42 points were dropped"},
  };
  const std::map<std::string, std::string> specimens{
      {"creep", "500MPa"}, {"soil", "unsoda_retention"}, {"ghe", "seed_idriss1970_sand"}};
  for (const auto& [name, recipe, status, message] : cases) {
    const auto specimen = specimens.count(name) > 0 ? specimens.at(name) : name;
    folder.Write("recipe", recipe);
    folder.Write("list.csv", "specimen\n" + specimen + '\n');
    const ToolRun run = Run({"--list", "list.csv"});
    auto row = ReadSummary(folder.Read("summary.csv")).rows[specimen];
    EXPECT_EQ(row["status"], status) << name << run.errors;
    EXPECT_NE(row["message"].find(message), std::string::npos) << name << ": " << row["message"];
  }
}

struct Source {
  const char* name;
  std::string recipe;
  std::vector<std::pair<std::string, std::string>> files;  // below tests/
  Strings arguments;
  Strings specimens;
};

const std::vector<Source> kSources{
    {"FolderPerSpecimen",
     "hyper fit --model polynomial:1 --uniaxial={specimen}/ut.csv",
     {{"left/ut.csv", Rubber(1, 1)}, {"right/ut.csv", Rubber(1, 1)}, {"empty/other.csv", ""}},
     {"tests"},
     {"left", "right"}},
    {"PartOfAName",
     "hyper fit --model 'polynomial:1' --uniaxial \"my test {specimen}_ut.csv\" # the first input decides",
     {{"my test 7_ut.csv", Rubber(1, 1)}, {"my test 7_ps.csv", ""}, {"_ut.csv", ""}},
     {"tests"},
     {"7"}},
    {"RowsOfAList",
     "hyper fit --model polynomial:1 --uniaxial {file} --hold C01={c01}",
     {{"list.csv", "specimen;file;c01\nz/1;p.csv;0\na;q.csv;0.5\n"},
      {"p.csv", Rubber(1, 0)},
      {"q.csv", Rubber(1, 0.5)}},
     {"--list", "tests/list.csv"},
     {"z/1", "a"}},
    {"NamesOfAList",
     kRecipe,
     {{"list.csv", "specimen\nb\n\na\n"}, {"a.csv", Rubber(1, 1)}, {"b.csv", Rubber(1, 1)}, {"c.csv", Rubber(1, 1)}},
     {"tests", "--list", "tests/list.csv"},
     {"b", "a"}},
};

TEST_F(Batch, KeepsOutcomesOfFilesWithAnyName) {
  fs::create_directories(folder.Path() / "tests");
  fs::copy_file(XEM_DATA_DIR "/metal_creep_500MPa.csv", folder.Path() / "tests" / "a tab\there.csv");
  folder.Write("tests/no\\tab.csv", "nothing\n");
  folder.Write("recipe", "creep fit --type primary {specimen}.csv");
  for (const char* mode : {"--again", "--gather"}) {
    const ToolRun run = RunTool({"batch", "recipe", "tests", "--summary", "-", mode}, folder.Path());
    EXPECT_NE(run.output.find("\"a tab\there\",fitted"), std::string::npos) << mode << '\n' << run.output << run.errors;
    EXPECT_NE(run.output.find("no\\tab.csv"), std::string::npos) << mode << '\n' << run.output;
  }
}

TEST_F(Batch, FindsSpecimensOfEverySource) {
  for (const Source& source : kSources) {
    SCOPED_TRACE(source.name);
    fs::remove_all(folder.Path() / "tests");
    for (const auto& [name, contents] : source.files) {
      fs::create_directories((folder.Path() / "tests" / name).parent_path());
      folder.Write("tests/" + name, contents);
    }
    folder.Write("recipe", source.recipe);
    Strings arguments{"batch", "recipe", "--summary", "-"};
    arguments.insert(arguments.end(), source.arguments.begin(), source.arguments.end());
    const ToolRun run = RunTool(arguments, folder.Path());
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    ReadSummary summary(run.output);
    ASSERT_GT(summary.order.size(), 6U);
    EXPECT_EQ(Strings(summary.order.begin(), summary.order.end() - 6), source.specimens);
    EXPECT_NEAR(summary.Number("mean", "C10"), 1.0, 1e-9);
  }
}

TEST_F(Batch, RefusesABadRecipeBeforeAnythingRuns) {
  WriteSpecimens(2);
  const std::map<std::string, std::string> recipes{
      {"", "the recipe is empty"},
      {"# only a comment", "the recipe is empty"},
      {"hyper fit --model polynomial:1 --uniaxial 'a{specimen}.csv", "line 1: a quote is not closed"},
      {"hyper fit --model polynomial:1 --uniaxial S1.csv", "no input file has {specimen}"},
      {"hyper fit --model polynomial:1 --uniaxial {name}.csv", "\"{name}\" is not known; there is {specimen}"},
      {"hyper fit --model polynomial:1 --unaxial {specimen}.csv", "--unaxial"},
      {"hyper fit --model polynomial:1 --uniaxial {specimen}.csv --json a.json", "leave out --json"},
      {"hyper fit --model polynomial:1 --uniaxial {specimen}.csv --curves c.csv", "every specimen would write c.csv"},
      {"batch {specimen}.csv", "must begin with a command and its verb"},
      {"hyper fit --model nonsense:1 --uniaxial {specimen}.csv", "nonsense"},
  };
  for (const auto& [recipe, message] : recipes) {
    folder.Write("recipe", recipe);
    const ToolRun run = Run();
    EXPECT_EQ(run.exitCode, 2) << recipe;
    EXPECT_NE(run.errors.find(message), std::string::npos) << recipe << ": " << run.errors;
    EXPECT_EQ(run.output, "");
    EXPECT_FALSE(fs::exists(folder.Path() / "summary.csv")) << recipe;
  }
}

TEST_F(Batch, GoesOnAfterAnyEndWithTheSameSummary) {
  WriteSpecimens(30);
  folder.Write("tests/S15.csv", "strain,stress\n1,oops\n");  // fails, and that is finished work too
  for (const int signal : {SIGINT, SIGKILL}) {
    fs::remove_all(folder.Path() / "recipe.work");
    fs::remove(folder.Path() / "summary.csv");
    const int status = Interrupt(signal);
    const Strings before = Kept();
    ASSERT_LT(before.size(), 30u) << "too late to interrupt anything";
    EXPECT_FALSE(fs::exists(folder.Path() / "summary.csv"));
    if (signal == SIGINT) {
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 130) << status;
      const std::string errors = folder.Read("errors");
      EXPECT_NE(errors.find(std::to_string(before.size()) + " of 30 specimens are finished"), std::string::npos);
      EXPECT_NE(errors.find("the same command goes on"), std::string::npos) << errors;
    }
    EXPECT_EQ(Run({"--jobs", "3"}).exitCode, 3);
    ExpectKeptAsBefore(before);
  }
  const std::string resumed = folder.Read("summary.csv");
  EXPECT_EQ(Run({"--jobs", "1", "--work", "fresh"}).exitCode, 3);
  EXPECT_EQ(folder.Read("summary.csv"), resumed);
}

TEST_F(Batch, DoesAgainWhatHasChanged) {
  WriteSpecimens(3);
  folder.Write("recipe", "hyper fit --model polynomial:1 --uniaxial {specimen}.csv --curves {specimen}.fitted");
  ASSERT_EQ(Run().exitCode, 0);
  const std::string curves = folder.Read("tests/S1.fitted");
  EXPECT_NE(curves, "");
  fs::remove(folder.Path() / "tests/S1.fitted");
  ASSERT_EQ(Run().exitCode, 0);
  EXPECT_EQ(folder.Read("tests/S1.fitted"), curves);
  const struct {
    const char* what;
    std::function<void()> change;
    std::size_t newOutcomes;
  } changes[] = {
      {"nothing", [] {}, 0},
      {"a file", [&] { folder.Write("tests/S2.csv", Rubber(0.7, 0.2)); }, 1},
      {"a recipe",
       [&] { folder.Write("recipe", "hyper fit --model polynomial:1 --uniaxial {specimen}.csv --hold C01=0"); }, 3},
  };
  std::size_t kept = Kept().size();
  for (const auto& [what, change, newOutcomes] : changes) {
    const Strings before = Kept();
    change();
    ASSERT_EQ(Run().exitCode, 0) << what;
    EXPECT_EQ(Kept().size(), kept += newOutcomes) << what;
    ExpectKeptAsBefore(before);
  }
  EXPECT_NEAR(ReadSummary(folder.Read("summary.csv")).Number("S1", "C01"), 0.0, 0.0);
}

TEST_F(Batch, StopsASpecimenThatTakesTooLongAndTriesItAgain) {
  WriteSpecimens(2);
  folder.Write("recipe", "hyper fit --model polynomial:1 --uniaxial {file}");
  folder.Write("list.csv", "specimen,file\na,S1.csv\nstuck,never.csv\nb,S2.csv\n");
  const Strings arguments{"batch",       "recipe",    "tests", "--list", "list.csv", "--summary",
                          "summary.csv", "--timeout", "5",     "--jobs", "2"};
  ASSERT_EQ(mkfifo((folder.Path() / "tests/never.csv").c_str(), 0600), 0);  // a read from it waits for ever
  EXPECT_EQ(RunTool(arguments, folder.Path()).exitCode, 3);
  ReadSummary summary(folder.Read("summary.csv"));
  EXPECT_EQ(summary.order[1], "stuck");
  EXPECT_EQ(summary.rows["stuck"]["status"], "stopped");
  EXPECT_EQ(summary.rows["stuck"]["message"], "took longer than 5 s");
  EXPECT_EQ(summary.rows["b"]["status"], "fitted");

  fs::remove(folder.Path() / "tests/never.csv");
  folder.Write("tests/never.csv", Rubber(1, 1));
  EXPECT_EQ(RunTool(arguments, folder.Path()).exitCode, 0);
}

/// A process other than this one that has the file open, or 0.
int ReaderOf(const fs::path& file) {
  for (const auto& process : fs::directory_iterator("/proc")) {
    const int id = std::atoi(process.path().filename().c_str());
    std::error_code error;
    for (fs::directory_iterator entry(process.path() / "fd", error), end; id > 0 && id != getpid() && entry != end;
         entry.increment(error)) {
      if (fs::read_symlink(entry->path(), error) == file) return id;
    }
  }
  return 0;
}

TEST_F(Batch, LosesNothingToAWorkerThatDiesOnceAndOneSpecimenToOneThatAlwaysDoes) {
  WriteSpecimens(20);
  std::string list = "specimen\ndeadly\n";
  for (int i = 1; i <= 20; ++i) list += "S" + std::to_string(i) + '\n';
  folder.Write("list.csv", list);
  const fs::path deadly = folder.Path() / "tests/deadly.csv";
  for (const int deaths : {1, 2}) {
    ASSERT_EQ(mkfifo(deadly.c_str(), 0600), 0);
    std::thread killer([&] {
      for (int i = 0; i < 2; ++i) {
        std::ofstream file(deadly);  // opens when a worker reads
        int reader = 0;
        while (i < deaths && reader == 0) reader = ReaderOf(deadly);
        if (reader == 0) file << Rubber(1, 1);
        if (reader != 0) kill(reader, SIGSEGV);
        file.close();
        while (reader != 0 && kill(reader, 0) == 0) std::this_thread::sleep_for(std::chrono::milliseconds(1));
      }
    });
    const ToolRun run = Run({"--jobs", "2", "--again", "--list", "list.csv"});
    killer.join();
    EXPECT_EQ(run.exitCode, deaths == 1 ? 0 : 3) << run.errors;
    ReadSummary summary(folder.Read("summary.csv"));
    EXPECT_EQ(summary.rows["number"]["C10"], deaths == 1 ? "21" : "20");
    EXPECT_EQ(summary.rows["deadly"]["status"], deaths == 1 ? "fitted" : "stopped");
    EXPECT_EQ(summary.rows["S20"]["status"], "fitted");
    fs::remove(deadly);
  }
}

TEST_F(Batch, ShowsItsProgressOnATerminal) {
  WriteSpecimens(2);
  ASSERT_EQ(mkfifo((folder.Path() / "tests/never.csv").c_str(), 0600), 0);
  folder.Write("list.csv", "specimen\nS1\nS2\nnever\n");
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  if (child < 0) GTEST_SKIP() << "no terminal can be had here";
  if (child == 0) {
    if (chdir(folder.Path().c_str()) != 0) _exit(125);
    execl(XEM_TOOL, "xemfit", "batch", "recipe", "tests", "--list", "list.csv", "--timeout", "5", nullptr);
    _exit(125);
  }
  std::string seen;
  char block[4096];
  for (ssize_t count; (count = read(terminal, block, sizeof block)) > 0;)
    seen.append(block, static_cast<std::size_t>(count));
  waitpid(child, nullptr, 0);
  close(terminal);
  EXPECT_NE(seen.find("\r2 of 3 specimens, "), std::string::npos) << seen;
  EXPECT_NE(seen.find(" left\x1b[K"), std::string::npos) << seen;
}

}  // namespace
}  // namespace Xem::Testing
