#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>
#include <vector>

#include "output/csv_cell.h"
#include "support/near.h"
#include "support/run_tool.h"
#include "xem/fit/reading.h"

// What xemfit reads: the same numbers, however they are written down.
namespace Xem::Testing {
namespace {

using Json = nlohmann::ordered_json;

/// The JSON result of a fit of a.csv as a uniaxial curve.
Json FitOne(const std::string& file, const std::vector<std::string>& more = {}, const std::string& input = "") {
  const TemporaryFolder folder;
  folder.Write("a.csv", file);
  std::vector<std::string> arguments{"hyper", "fit", "--model", "polynomial:1", "--json", "-"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  if (input.empty()) arguments.insert(arguments.end(), {"--uniaxial", "a.csv"});
  const ToolRun run = RunTool(arguments, folder.Path(), input);
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  return Json::parse(run.output, nullptr, false);
}

struct Spelling {
  const char* name;
  std::string file;
  std::vector<std::string> options;
  std::string unit;
};

/// As a spreadsheet saves "Unicode text".
std::string Utf16(const std::string& mark, const std::string& text) {
  std::string wide = mark;
  for (const char letter : text) wide += {letter, '\0'};
  return wide;
}

// All of them say: stress 0.25, 0.5, 0.75 at strain 0.5, 1, 2, in the unit given.
const std::vector<Spelling> kSpellings{
    {"Plain", "strain,stress_MPa\n0.5,0.25\n1,0.5\n2,0.75\n", {}, "MPa"},
    {"Semicolon", "strain;stress_MPa\n0.5;0.25\n1;0.5\n2;0.75\n", {}, "MPa"},
    {"Tab", "strain\tstress_MPa\n0.5\t0.25\n1\t0.5\n2\t0.75\n", {}, "MPa"},
    {"WindowsAndMark", "\xEF\xBB\xBFstrain,stress_MPa\r\n0.5,0.25\r\n\r\n1,0.5\r\n2,0.75", {}, "MPa"},
    {"OldMac", "strain,stress_MPa\r0.5,0.25\r1,0.5\r2,0.75\r", {}, "MPa"},
    {"QuotedAndCommented",
     "# by: us\n\"strain\",\"stress_MPa\"\n0.5,\"0.25\"\n# pause\n +1 ,5e-1\n2,0.75\n",
     {},
     "MPa"},
    {"Brackets", "Nominal strain [-],Nominal stress (MPa)\n0.5,0.25\n1,0.5\n2,0.75\n", {}, "MPa"},
    {"Stretch", "stretch,stress_MPa\n1.5,0.25\n2,0.5\n3,0.75\n", {}, "MPa"},
    {"StrainBeforeStretch", "stretch,strain,stress_MPa\n9,0.5,0.25\n9,1,0.5\n9,2,0.75\n", {}, "MPa"},
    {"Percent", "strain_percent,stress_MPa\n50,0.25\n100,0.5\n200,0.75\n", {}, "MPa"},
    {"LatinOne", "strain,stress_N/mm\xb2\n0.5,0.25\n1,0.5\n2,0.75\n", {}, "N/mm²"},
    {"UnknownUnit", "strain,stress_dyn\n0.5,0.25\n1,0.5\n2,0.75\n", {}, "dyn"},
    {"NoUnit", "strain,stress\n0.5,0.25\n1,0.5\n2,0.75\n", {}, ""},
    {"ColumnsByHand",
     "lambda,load_kPa,stress_MPa\n1.5,0.25,9\n2,0.5,9\n3,0.75,9\n",
     {"--column", "x=lambda,stress=load_kPa"},
     "kPa"},
    {"DecimalComma", "strain;stress_MPa\n0,5;0,25\n1;,5\n2,0;7,5e-1\n", {}, "MPa"},
    {"QuotedDecimalComma", "strain,stress_MPa\n\"0,5\",\"0,25\"\n1,\"0,5\"\n\"2,0\",\"0,75\"\n", {}, "MPa"},
    {"Thousands", "strain;stress_Pa\n0,5;250.000,0\n1,0;500.000\n2;750.000\n", {"--decimal", "comma"}, "Pa"},
    {"Insisted", "strain;stress_Pa\n0.5;250,000\n1;500,000\n2;750,000\n", {"--decimal", "point"}, "Pa"},
    {"PreambleAndUnits",
     "Test report;\nDate;12.03.2024\nOperator;\"Ann; B.\"\nWidth;10,02;mm\nLength;50,0;mm\n\nStandard "
     "path;Strain;Stress\nmm;%;MPa\n1;50;0,25\n2;100;0,5\n4;200;0,75\n",
     {},
     "MPa"},
    {"UnitsInBracketsAndBehindNames", "\"Strain, %\"\tStress / kPa\n50\t0.25\n100\t0.5\n200\t0.75\n", {}, "kPa"},
    {"Utf16", Utf16("\xFF\xFE", "strain\tstress_MPa\r\n0.5\t0.25\r\n1\t0.5\r\n2\t0.75\r\n"), {}, "MPa"},
    {"Utf16WithoutMark", Utf16("", "strain,stress_MPa\n0.5,0.25\n1,0.5\n2,0.75\n"), {}, "MPa"},
    {"RuleBelowTheNames", "strain;stress_MPa\n------;------\n0,5;0,25\n1,0;0,5\n2,0;0,75\n", {}, "MPa"},
    {"HeaderOnEveryPage", "strain,stress\n-,MPa\n0.5,0.25\n1,0.5\n\nstrain,stress\n-,MPa\n2,0.75\n", {}, "MPa"},
    {"RowsWithoutNumbers",
     "strain,stress_MPa\nNA,1\n0.5,0.25\n0.7,-\n1,0.5\n#N/A,3\n1.5,\nnan,nan\n2,0.75\n3\n",
     {},
     "MPa"},
    {"OneOfTwoTables",
     "a,b\n1,2\n2,3\n3,4\nstrain,stress_MPa\n0.5,0.25\n1,0.5\n2,0.75\n",
     {"--header-line", "5"},
     "MPa"},
    {"Selected",
     "angle,strain,stress_MPa\n0,9,9\n45,0.5,0.25\n45,1,0.5\n90,7,7\n45.0,2,0.75\n",
     {"--select", "angle=45"},
     "MPa"},
    {"FurtherColumnsMayHoldText",
     "specimen,strain,stress_MPa,remark\nA,0.5,0.25,\nA,1,0.5,slip\nA,2,0.75\n",
     {},
     "MPa"},
};

TEST(Csv, EverySpellingIsReadAlike) {
  for (const Spelling& spelling : kSpellings) {
    SCOPED_TRACE(spelling.name);
    const Json result = FitOne(spelling.file, spelling.options);
    ASSERT_TRUE(result.is_object());
    const Json& curve = result["curves"][0];
    const double shift = std::string(spelling.name) == "ColumnsByHand" ? 1.0 : 0.0;  // lambda is not a known name
    ASSERT_EQ(curve["x"].size(), 3u);
    const double strains[] = {0.5, 1.0, 2.0};
    for (std::size_t i = 0; i < 3; ++i) ExpectNear(curve["x"][i], strains[i] + shift, Tolerance::Rounding);
    const double scale = spelling.unit == "Pa" ? 1e6 : 1.0;
    EXPECT_EQ(curve["measured"], Json({0.25 * scale, 0.5 * scale, 0.75 * scale}));
    EXPECT_EQ(result["parameters"][0]["unit"], spelling.unit);
  }
}

TEST(Csv, StandardInputIsACurveToo) {
  const Json result = FitOne("", {"--uniaxial", "-"}, "strain,stress\n0.5,0.25\n1,0.5\n2,0.75\n");
  EXPECT_EQ(result["curves"][0]["points"], 3);
}

TEST(Csv, DroppedPointsKeepTheirLineInTheFile) {
  const Json result = FitOne("# comment\nstrain,stress\n0,0\n0.5,0.25\n\n# pause\n1,0\n2,0.75\n");
  EXPECT_EQ(result["dropped"], Json::parse(R"([{"curve": "uniaxial", "row": 3, "reason": "zero stress"},
                                               {"curve": "uniaxial", "row": 7, "reason": "zero stress"}])"));
}

TEST(Csv, LookTellsWhatAFileMayBeAndWherePointsStand) {
  const TemporaryFolder folder;
  folder.Write("a.csv", "made by us\n\nTime;Modulus;Test\ns;MPa;\n1;5,5;1\n2;-;1\n3;4,25;1\n4;4;2\n5;3,5;2\n6;3;2\n");
  const ToolRun run =
      RunTool({"look", "a.csv", "--as", "relaxation", "--select", "Test=1", "--json", "-"}, folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const Json file = Json::parse(run.output).at("files").at(0);
  EXPECT_EQ(file.at("may_be").at(0).at("curve"), "relaxation");
  EXPECT_EQ(file.at("columns").at(2).at("values"), Json({"1", "2"})) << "a column that tells tests apart";
  EXPECT_EQ(file.at("columns").at(1).at("values"), Json::array()) << "and one that was measured";
  const Json& curve = file.at("curve");
  EXPECT_EQ(curve.at("y"), Json({5.5, 4.25}));
  EXPECT_EQ(curve.at("y_unit"), "MPa");
  EXPECT_EQ(curve.at("lines"), Json({5, 7}));
  EXPECT_EQ(curve.at("unused").at(0).at("line"), 6);

  const ToolRun fit =
      RunTool({"prony", "fit", "--terms", "1", "a.csv", "--leave-out", "8-9", "--json", "-"}, folder.Path());
  ASSERT_EQ(fit.exitCode, 0) << fit.errors;
  const Json result = Json::parse(fit.output);
  EXPECT_EQ(result.at("curves").at(0).at("x"), Json({1.0, 3.0, 6.0})) << "lines of the file are left out";
  EXPECT_EQ(result.at("dropped").size(), 3);
}

TEST(Csv, ProgramsLearnEveryOptionThatPeopleAreTold) {
  const TemporaryFolder folder;
  const Json commands = Json::parse(RunTool({"list", "--json", "-"}, folder.Path()).output).at("commands");
  for (const Json& one : commands) {
    std::vector<std::string> words{"--help"};
    const std::string command = one.at("command");
    const auto blank = command.find(' ');
    words.insert(words.begin(), command.substr(0, blank));
    if (blank != std::string::npos) words.insert(words.begin() + 1, command.substr(blank + 1));
    const std::string help = RunTool(words, folder.Path()).output;
    for (const Json& option : one.at("options")) {
      EXPECT_NE(help.find(option.at("name").get<std::string>()), std::string::npos) << command << option;
    }
  }
}

TEST(Csv, ResultsSayWhatWasUnderstood) {
  const Json result = FitOne(
      "Report\nBy: us\nStrain;Stress;Force\n%;MPa;N\n50;0,25;1\n100;NA;1\n200;0,75;1\nStrain;Stress;Force\n300;1;1\n");
  EXPECT_EQ(result["inputs"][0]["understood"],
            "3 rows of Strain (%) and Stress (MPa); decimal comma; 2 lines before the header; units in line 4; header "
            "repeated in line 8; 1 row without a number left out (line 6)");
  EXPECT_EQ(result["dropped"], Json::parse(R"json([{"curve": "uniaxial", "row": 6, "reason": "no stress (NA)"}])json"));
  EXPECT_EQ(result["curves"][0]["dropped"], 1);
}

TEST(Csv, SeveralTestsInOneFileAreSaidToBeThat) {
  const std::string two = "test,strain,stress\nA,0.5,0.25\nA,1,0.5\nA,2,0.75\nB,0.5,0.3\nB,1,0.6\nB,2,0.8\n";
  EXPECT_NE(FitOne(two)["notes"].dump().find("seems to hold 2 tests, by its column test (A, B)"), std::string::npos);
  EXPECT_EQ(FitOne(two, {"--select", "test=B"})["notes"].dump().find("seems to hold"), std::string::npos);
  // Loading and unloading of one specimen is one test.
  const std::string loop = "test,strain,stress\nA,0.5,0.25\nA,1,0.5\nA,2,0.75\nA,1,0.5\nA,0.5,0.3\nB,2,0.8\n";
  EXPECT_EQ(FitOne(loop)["notes"].dump().find("seems to hold"), std::string::npos);
}

struct Name {
  std::string name;
  std::string cell;  // by RFC 4180
};

const std::vector<Name> kHostileNames{
    {"plain", "plain"},
    {"rubber, black", "\"rubber, black\""},
    {"say \"no\"", "\"say \"\"no\"\"\""},
    {"\"", "\"\"\"\""},
    {"two\nlines", "\"two\nlines\""},
    {"three\r\nlines\r\n# here", "\"three\r\nlines\r\n# here\""},
    {"#5", "\"#5\""},
    {"a;b", "\"a;b\""},
    {"a\tb", "\"a\tb\""},
    {"\",\n\"", "\"\"\",\n\"\"\""},
    {"6\" pipe, 20 °C", "\"6\"\" pipe, 20 °C\""},
};

TEST(Csv, HostileNamesAreQuotedAndComeBack) {
  std::vector<std::string> names{" blank ends "};
  std::string text = "\"no, \"\"name\"\"\",x\n" + Tool::CsvCell(names.front()) + ",1\n";
  std::vector<int> lines{2};
  for (const auto& [name, cell] : kHostileNames) {
    EXPECT_EQ(Tool::CsvCell(name), cell);
    lines.push_back(static_cast<int>(std::count(text.begin(), text.end(), '\n')) + 1);
    text += cell + ",2\n";
    names.push_back(name);
  }
  const Fit::Table table = Fit::ParseTable(text, "a.csv");
  EXPECT_EQ(table.Names(), (std::vector<std::string>{"no, \"name\"", "x"}));
  ASSERT_EQ(table.RowCount(), names.size());
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(Fit::CellText(table, i, 0), names[i]);
  EXPECT_EQ(table.lines, lines);
  EXPECT_EQ(Tool::CsvCell("\xff,"), "\"\xEF\xBF\xBD,\"");
}

TEST(Csv, CurvesOfHostileNamesComeBackFromTheirFile) {
  const TemporaryFolder folder;
  std::vector<std::string> arguments{"forming", "curve", "--increment", "0.01", "--curves", "curves.csv"};
  for (const Name& one : kHostileNames) {
    arguments.insert(arguments.end(), {"--hardening", one.name + "=swift:518.968,0.0007648,0.28985"});
  }
  const ToolRun run = RunTool(arguments, folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const Fit::Table table = Fit::ParseTable(folder.Read("curves.csv"), "curves.csv");
  EXPECT_EQ(table.Names(), (std::vector<std::string>{"curve", "x", "measured", "fitted"}));
  std::vector<std::string> names;
  for (std::size_t row = 0; row < table.RowCount(); ++row) {
    EXPECT_TRUE(std::isfinite(Fit::NumberAt(table, row, 1)));
    const std::string name = Fit::CellText(table, row, 0);
    if (names.empty() || names.back() != name) names.push_back(name);
  }
  ASSERT_EQ(names.size(), kHostileNames.size());
  for (std::size_t i = 0; i < names.size(); ++i) EXPECT_EQ(names[i], kHostileNames[i].name);
}

TEST(Csv, StressesOfFurtherCurvesTakeTheUnitOfTheFirst) {
  for (const auto& [unit, perMegapascal] : {std::pair("Pa", 1e6),
                                            {"kPa", 1e3},
                                            {"GPa", 1e-3},
                                            {"psi", 145.03773773},
                                            {"ksi", 0.14503773773},
                                            {"N/mm^2", 1.0}}) {
    const TemporaryFolder folder;
    const std::string scaled = std::to_string(perMegapascal * 0.5);
    folder.Write("a.csv", "strain,stress_MPa\n0.5,0.25\n1,0.5\n");
    folder.Write("b.csv", std::string("strain,stress_") + unit + "\n0.5," + scaled + "\n1," + scaled + "\n");
    const ToolRun run = RunTool(
        {"hyper", "fit", "--model", "polynomial:1", "--uniaxial", "a.csv", "--pure-shear", "b.csv", "--json", "-"},
        folder.Path());
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const Json result = Json::parse(run.output);
    EXPECT_EQ(result["parameters"][1]["unit"], "MPa");
    EXPECT_NEAR(result["curves"][1]["measured"][0], 0.5, 1e-3 / perMegapascal + 1e-6);
    EXPECT_NE(result["notes"].dump().find(std::string("from ") + unit + " to MPa"), std::string::npos);
  }
}

TEST(Prepare, RawFileBecomesACurveThatTellsItsHistory) {
  // Nominal stress 0.4 (lambda - 1/lambda^2) MPa on 20 mm2, 25 mm long, after a set of 0.2; then back.
  std::string raw = "Report;;\nTime;Load;Stroke\ns;kN;cm\n";
  const auto row = [&](double strain, double factor) {
    const double lambda = 1.0 + strain;
    std::string line = std::to_string(0.020 * factor * 0.4 * (lambda - 1.0 / (lambda * lambda))) + ';' +
                       std::to_string(2.5 * (strain + 0.2)) + '\n';
    std::replace(line.begin(), line.end(), '.', ',');
    raw += "0;" + line;
  };
  for (int i = 0; i <= 40; ++i) row(0.025 * i, 1.0);
  for (int i = 39; i >= 0; --i) row(0.025 * i, 0.5);
  const TemporaryFolder folder;
  folder.Write("raw.csv", raw);
  const ToolRun run = RunTool({"prepare", "raw.csv", "--area", "20", "--gauge-length", "25", "--branch", "loading",
                               "--zero", "--points", "15", "--out", "curve.csv", "--plot", "curve.svg"},
                              folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_NE(run.output.find("thinned from 41 to 15 points"), std::string::npos) << run.output;
  EXPECT_NE(folder.Read("curve.svg").find("rgb(160, 160, 160)"), std::string::npos);
  const std::string curve = folder.Read("curve.csv");
  EXPECT_NE(curve.find("# took the loading branch of cycle 1 of 1, rows 4 to 44\n"), std::string::npos) << curve;
  EXPECT_NE(curve.find("\nstrain,stress\n0,0\n"), std::string::npos);
  const ToolRun fit =
      RunTool({"hyper", "fit", "--model", "neo-hooke", "--uniaxial", "curve.csv", "--json", "-"}, folder.Path());
  ASSERT_EQ(fit.exitCode, 0) << fit.errors;
  const Json c10 = Json::parse(fit.output)["parameters"][0];
  EXPECT_EQ(c10["unit"], "MPa");
  EXPECT_NEAR(c10["value"], 0.2, 1e-3);  // six digits behind the point of a force in kN
  for (const auto& [option, value, mention] :
       {std::tuple("--cycle", "3", "there is no cycle 3; the record has 1 cycle"),
        {"--gauge-length", "0", "give --gauge-length"},
        {"--column", "area=Load", "no role \"area\""},
        {"--points", "1", "at least 2"}}) {
    std::vector<std::string> arguments{"prepare", "raw.csv", "--area", "20", "--out", "none.csv", option, value};
    if (option != std::string("--gauge-length")) arguments.insert(arguments.end(), {"--gauge-length", "25"});
    const ToolRun refused = RunTool(arguments, folder.Path());
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_NE(refused.errors.find(mention), std::string::npos) << refused.errors;
  }
  EXPECT_EQ(folder.Contents().size(), 3u);
}

}  // namespace
}  // namespace Xem::Testing
