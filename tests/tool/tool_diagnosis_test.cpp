#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/run_tool.h"

// What xemfit says and does when something is wrong: one sentence that names file, row or option, the right exit code,
// nothing on standard output and no file left behind.
namespace Xem::Testing {
namespace {

constexpr int kOther = 1;
constexpr int kUsage = 2;
constexpr int kBadData = 3;

struct Complaint {
  const char* name;
  std::vector<std::string> arguments;  // after "hyper fit --json out.json --curves out.csv", unless they name a command
  std::string file;                    // contents of a.csv
  int exitCode;
  std::vector<std::string> mentions;
};

const std::string kGood = "strain,stress_MPa\n0.1,0.2\n0.2,0.35\n0.3,0.45\n0.5,0.6\n";
const std::vector<std::string> kFitOne{"--model", "polynomial:1", "--uniaxial", "a.csv"};

std::vector<std::string> FitOneWith(std::vector<std::string> more) {
  more.insert(more.begin(), kFitOne.begin(), kFitOne.end());
  return more;
}

const std::vector<Complaint> kComplaints{
    // files
    {"MissingFile",
     {"--model", "polynomial:1", "--uniaxial", "none.csv"},
     kGood,
     kBadData,
     {"none.csv", "No such file"}},
    {"Folder", {"--model", "polynomial:1", "--uniaxial", "."}, kGood, kBadData, {".:", "directory"}},
    {"EmptyFile", kFitOne, "", kBadData, {"a.csv", "empty"}},
    {"OnlyComments", kFitOne, "# stress_MPa: 3\n\n", kBadData, {"a.csv", "empty"}},
    {"HeaderOnly", kFitOne, "strain,stress_MPa\n", kBadData, {"a.csv", "no rows"}},
    {"NoHeader", kFitOne, "0.1,0.2\n0.2,0.3\n", kBadData, {"a.csv, line 1", "header row"}},
    {"OneColumn", kFitOne, "strain stress\n0.1 0.2\n", kBadData, {"a.csv, line 1", "one column"}},
    {"Binary",
     kFitOne,
     std::string("\x7f"
                 "ELF\0\0",
                 6),
     kBadData,
     {"a.csv", "not a text file"}},
    {"Utf16", kFitOne, std::string("\xff\xfes\0t\0", 6), kBadData, {"a.csv", "UTF-16"}},
    // cells
    {"Text",
     kFitOne,
     "# x\nstrain,stress_MPa\n0.1,0.2\n0.2,abc\n",
     kBadData,
     {"a.csv, line 4", "column stress_MPa", "\"abc\"", "not a number"}},
    {"TrailingText", kFitOne, "strain,stress\n0.1,0.2\n0.2,0.3MPa\n", kBadData, {"a.csv, line 3", "\"0.3MPa\""}},
    {"NotANumber", kFitOne, "strain,stress\n0.1,0.2\n0.2,NaN\n", kBadData, {"a.csv, line 3", "\"NaN\"", "finite"}},
    {"Infinite", kFitOne, "strain,stress\ninf,0.2\n0.2,1\n", kBadData, {"a.csv, line 2", "column strain", "\"inf\""}},
    {"TooLarge", kFitOne, "strain,stress\n0.1,1e999\n0.2,1\n", kBadData, {"a.csv, line 2", "\"1e999\""}},
    {"MissingCell", kFitOne, "strain,stress\n0.1,0.2\n0.2\n", kBadData, {"a.csv, line 3", "column stress", "empty"}},
    {"ExtraCell", kFitOne, "strain,stress\n0.1,0.2\n0,2,0,3\n", kBadData, {"a.csv, line 3", "4 cells", "decimal"}},
    {"DecimalComma",
     kFitOne,
     "strain;stress\n0.1;0.2\n0,2;0.3\n",
     kBadData,
     {"a.csv, line 3", "\"0,2\"", "decimal comma", "'.'"}},
    {"ManyColumns", kFitOne, "strain,stress" + std::string(5000, ','), kBadData, {"a.csv, line 1", "4096 columns"}},
    {"OpenQuote", kFitOne, "strain,stress\n\"0.1,0.2\n", kBadData, {"a.csv, line 2", "quoted"}},
    {"OnePoint", kFitOne, "strain,stress\n0.1,0.2\n", kBadData, {"uniaxial", "a.csv", "point"}},
    {"AllDropped", kFitOne, "strain,stress\n0.1,0\n0.2,0\n", kBadData, {"uniaxial", "a.csv", "0 of 2 points"}},
    // columns
    {"NoStressColumn",
     kFitOne,
     "strain,force_N\n0.1,0.2\n",
     kBadData,
     {"a.csv, line 1", "stress", "force_N", "--column"}},
    {"DuplicateColumn", kFitOne, "strain,stress,stress\n0.1,0.2,0.3\n", kBadData, {"a.csv, line 1", "more than once"}},
    {"WantedColumnMissing", FitOneWith({"--column", "y=force"}), kGood, kUsage, {"--column", "\"force\"", "a.csv"}},
    {"UnknownRole", FitOneWith({"--column", "z=strain"}), kGood, kUsage, {"--column", "\"z\"", "stress"}},
    {"NothingSelected",
     FitOneWith({"--select", "strain=9"}),
     kGood,
     kBadData,
     {"a.csv", "strain", "\"9\"", "0.1, 0.2"}},
    {"SelectedColumnMissing", FitOneWith({"--select", "soil=9"}), kGood, kUsage, {"--select", "\"soil\""}},
    {"UnitsThatDiffer",
     {"--model", "polynomial:1", "--uniaxial", "a.csv", "--pure-shear", "force.csv"},
     kGood,
     kBadData,
     {"force.csv", "\"furlong\"", "\"MPa\""}},
    // options
    {"NoCurve", {"--model", "polynomial:1"}, kGood, kUsage, {"--uniaxial"}},
    {"NoModel", {"--uniaxial", "a.csv"}, kGood, kUsage, {"--model"}},
    {"UnknownModel",
     {"--model", "rubber:2", "--uniaxial", "a.csv"},
     kGood,
     kUsage,
     {"--model", "\"rubber\"", "polynomial"}},
    {"NoOrder", {"--model", "polynomial", "--uniaxial", "a.csv"}, kGood, kUsage, {"--model", "polynomial:2"}},
    {"NegativeOrder",
     {"--model", "polynomial:-1", "--uniaxial", "a.csv"},
     kGood,
     kUsage,
     {"--model", "-1", "between 1"}},
    {"HugeRange",
     {"--model", "polynomial:1..2000000000", "--uniaxial", "a.csv"},
     kGood,
     kUsage,
     {"--model", "between"}},
    {"BackwardRange", {"--model", "polynomial:3..1", "--uniaxial", "a.csv"}, kGood, kUsage, {"--model", "\"3..1\""}},
    {"OrderInWords", {"--model", "polynomial:two", "--uniaxial", "a.csv"}, kGood, kUsage, {"--model", "\"two\""}},
    {"UnknownOption", FitOneWith({"--frobnicate"}), kGood, kUsage, {"--frobnicate", "--help"}},
    {"UnknownResidual", FitOneWith({"--residual", "squared"}), kGood, kUsage, {"--residual", "absolute, relative"}},
    {"HoldWithoutValue", FitOneWith({"--hold", "C10"}), kGood, kUsage, {"--hold", "\"C10\""}},
    {"HoldTwice", FitOneWith({"--hold", "C10=1", "--hold", "C10=2"}), kGood, kUsage, {"--hold", "twice"}},
    {"HoldInWords", FitOneWith({"--hold", "C10=one"}), kGood, kUsage, {"--hold", "\"one\""}},
    {"HoldUnknown", FitOneWith({"--hold", "C99=1"}), kGood, kUsage, {"C99", "C10"}},
    {"WeightOfNoCurve", FitOneWith({"--weight", "biaxial=2"}), kGood, kUsage, {"--weight", "\"biaxial\"", "uniaxial"}},
    {"NegativeWeight", FitOneWith({"--weight", "uniaxial=-2"}), kGood, kUsage, {"uniaxial", "-2"}},
    {"StandardInputTwice",
     {"--model", "polynomial:1", "--uniaxial", "-", "--pure-shear", "-"},
     kGood,
     kUsage,
     {"standard input", "once"}},
    // outputs
    {"PlotFormat", FitOneWith({"--plot", "fit.gif"}), kGood, kUsage, {"--plot", "fit.gif", ".png"}},
    {"SameOutput", FitOneWith({"--plot", "out.json"}), kGood, kUsage, {"--json", "--plot", "out.json"}},
    {"NoSuchFolder", FitOneWith({"--plot", "none/fit.png"}), kGood, kOther, {"none/fit.png", "folder"}},
    {"OutputIsFolder", FitOneWith({"--plot", "folder.png"}), kGood, kOther, {"folder.png", "directory"}},
    // evaluation
    {"NotJson", {"hyper", "stress", "--parameters", "a.csv", "--grid", "0:1:5"}, kGood, kBadData, {"a.csv", "JSON"}},
    {"NoParameters",
     {"hyper", "stress", "--parameters", "a.csv", "--grid", "0:1:5"},
     "{\"model\": \"polynomial\"}",
     kBadData,
     {"a.csv", "parameters"}},
    {"WrongCount",
     {"hyper", "stress", "--parameters", "a.csv", "--grid", "0:1:5", "--mode", "uniaxial"},
     R"({"model": "polynomial", "terms": 2, "parameters": [{"name": "C10", "value": 1}]})",
     kUsage,
     {"5 coefficients"}},
    {"BadGrid", {"hyper", "stress", "--parameters", "a.csv", "--grid", "0:1"}, kGood, kUsage, {"--grid", "\"0:1\""}},
    {"GridTooFine",
     {"hyper", "stress", "--parameters", "a.csv", "--grid", "0:1:2000000000"},
     kGood,
     kUsage,
     {"--grid"}},
    {"UnknownMode",
     {"hyper", "stress", "--parameters", "a.csv", "--grid", "0:1:3", "--mode", "torsion"},
     R"({"model": "polynomial", "terms": 1, "parameters": [{"name": "C10", "value": 1}, {"name": "C01", "value": 1}]})",
     kUsage,
     {"--mode", "\"torsion\""}},
    {"BelowMinusOne",
     {"hyper", "stress", "--parameters", "a.csv", "--grid", "-1:1:3", "--mode", "uniaxial"},
     R"({"model": "polynomial", "terms": 1, "parameters": [{"name": "C10", "value": 1}, {"name": "C01", "value": 1}]})",
     kUsage,
     {"--grid", "above -1"}},
    {"NoCommand", {"hyper"}, kGood, kUsage, {"name a command", "xemfit hyper --help"}},
    {"UnknownCommand", {"hyper", "juggle", "stones"}, kGood, kUsage, {"juggle"}},
    {"TwoCommands",
     {"hyper", "stress", "--grid", "0:1:3", "--parameters", "a.csv", "fit"},
     kGood,
     kUsage,
     {"expected: fit"}},
};

class Diagnosis : public testing::TestWithParam<Complaint> {};

INSTANTIATE_TEST_SUITE_P(Tool, Diagnosis, testing::ValuesIn(kComplaints),
                         [](const auto& test) { return std::string(test.param.name); });

TEST_P(Diagnosis, IsOneSentenceWithTheRightCode) {
  const Complaint& complaint = GetParam();
  const TemporaryFolder folder;
  folder.Write("a.csv", complaint.file);
  folder.Write("force.csv", "strain,stress_furlong\n0.1,0.2\n0.2,0.3\n");
  std::filesystem::create_directory(folder.Path() / "folder.png");
  const auto before = folder.Contents();

  std::vector<std::string> arguments = complaint.arguments;
  if (arguments.front() != "hyper") {
    const std::vector<std::string> command{"hyper", "fit", "--json", "out.json", "--curves", "out.csv"};
    arguments.insert(arguments.begin(), command.begin(), command.end());
  }
  const ToolRun run = RunTool(arguments, folder.Path(), kGood);

  EXPECT_EQ(run.exitCode, complaint.exitCode) << run.errors;
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
  EXPECT_EQ(run.errors.rfind("xemfit: ", 0), 0u) << run.errors;
  for (const std::string& mention : complaint.mentions) {
    EXPECT_NE(run.errors.find(mention), std::string::npos) << "\"" << mention << "\" is not in: " << run.errors;
  }
  EXPECT_EQ(folder.Contents(), before);
}

TEST(Outputs, AnEarlierResultSurvivesAFailedRun) {
  const TemporaryFolder folder;
  folder.Write("a.csv", kGood);
  folder.Write("out.json", "earlier");
  std::filesystem::create_directory(folder.Path() / "bin");
  std::vector<std::string> arguments = FitOneWith({"--json", "out.json", "--plot", "fit.png"});
  arguments.insert(arguments.begin(), {"hyper", "fit"});
  const ToolRun run = RunTool(arguments, folder.Path(), "", {"PATH=" + (folder.Path() / "bin").string()});
  EXPECT_EQ(run.exitCode, kOther);
  EXPECT_NE(run.errors.find("gnuplot"), std::string::npos) << run.errors;
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(folder.Read("out.json"), "earlier");
  EXPECT_EQ(folder.Contents(), (std::vector<std::string>{"a.csv", "bin", "out.json"}));
}

TEST(Outputs, AnInputIsNeverOverwritten) {
  const TemporaryFolder folder;
  folder.Write("a.csv", kGood);
  std::filesystem::create_symlink("a.csv", folder.Path() / "link.csv");
  std::vector<std::string> arguments = FitOneWith({"--curves", "link.csv"});
  arguments.insert(arguments.begin(), {"hyper", "fit"});
  EXPECT_EQ(RunTool(arguments, folder.Path()).exitCode, kUsage);
  EXPECT_EQ(folder.Read("a.csv"), kGood);
}

}  // namespace
}  // namespace Xem::Testing
