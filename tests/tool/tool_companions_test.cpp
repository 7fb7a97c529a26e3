#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/run_tool.h"

// What comes with the tool: published curves, the schema of its JSON, man pages and completion.
namespace Xem::Testing {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;
using Strings = std::vector<std::string>;

TEST(Data, ListsAndWritesThePublishedCurves) {
  const TemporaryFolder folder;
  const ToolRun list = RunTool({"data"}, folder.Path());
  EXPECT_NE(list.output.find("treloar1944_uniaxial"), std::string::npos) << list.errors;
  EXPECT_NE(list.output.find("Treloar 1944, vulcanised natural rubber"), std::string::npos);
  EXPECT_EQ(folder.Contents(), Strings());

  EXPECT_EQ(RunTool({"data", "treloar1944_uniaxial", "silicone_uniaxial.csv"}, folder.Path()).exitCode, 0);
  EXPECT_EQ(folder.Contents(), (Strings{"silicone_uniaxial.csv", "treloar1944_uniaxial.csv"}));
  const ToolRun piped = RunTool({"data", "treloar1944_uniaxial", "--to", "-"}, folder.Path());
  EXPECT_EQ(piped.output, folder.Read("treloar1944_uniaxial.csv"));

  folder.Write("silicone_uniaxial.csv", "mine");
  EXPECT_EQ(RunTool({"data", "--all"}, folder.Path()).exitCode, 1);
  EXPECT_EQ(folder.Read("silicone_uniaxial.csv"), "mine");
  EXPECT_EQ(folder.Contents().size(), 2u);
  EXPECT_EQ(RunTool({"data", "nonsense"}, folder.Path()).exitCode, 2);
}

TEST(Data, IsReadByItsName) {
  const TemporaryFolder folder;
  const auto digest = [&](const std::string& file) {
    const ToolRun run = RunTool({"volume", "fit", "--terms", "2", file, "--json", "-"}, folder.Path());
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    return Json::parse(run.output)["inputs"][0]["sha256"];
  };
  EXPECT_EQ(digest("data:silicone_volumetric"), digest(XEM_DATA_DIR "/silicone_volumetric.csv"));
  for (const std::string name : {"data:nonsense", "data:../data/silicone_volumetric", "data:"}) {
    EXPECT_EQ(RunTool({"volume", "fit", "--terms", "2", name}, folder.Path()).exitCode, 3) << name;
  }
}

/// Exit code and output of a shell command.
ToolRun Shell(const std::string& command, const fs::path& folder) {
  const std::string line = "cd '" + folder.string() + "' && { " + command + "; } >shell.out 2>&1";
  const int status = std::system(line.c_str());
  std::ifstream file(folder / "shell.out");
  return {WEXITSTATUS(status), {std::istreambuf_iterator<char>(file), {}}, ""};
}

bool HasProgram(const std::string& name) { return std::system(("command -v " + name + " >/dev/null").c_str()) == 0; }

class Descriptions : public testing::Test {
 protected:
  Descriptions() { written = RunTool({"internal", "."}, folder.Path()); }
  TemporaryFolder folder;
  ToolRun written;
};

TEST_F(Descriptions, ManPagesNameEveryOption) {
  ASSERT_EQ(written.exitCode, 0) << written.errors;
  for (const char* page : {"xemfit", "xemfit-hyper-fit", "xemfit-hyper-stress", "xemfit-batch", "xemfit-data"}) {
    const std::string path = std::string("man/man1/") + page + ".1";
    ASSERT_TRUE(fs::exists(folder.Path() / path)) << page;
    const std::string text = folder.Read(path);
    for (const char* part : {".SH NAME", ".SH SYNOPSIS"}) EXPECT_NE(text.find(part), std::string::npos) << page;
  }
  const std::string page = folder.Read("man/man1/xemfit-hyper-fit.1");
  for (const char* section : {".SH INPUT FILES", ".SH COLUMNS", ".SH OUTPUT", ".SH EXIT STATUS"}) {
    EXPECT_NE(page.find(section), std::string::npos) << section;
  }
  for (const char* option :
       {"\\-\\-model", "\\-\\-pure\\-shear", "\\-\\-hold", "\\-\\-json", "\\-\\-require\\-stable"}) {
    EXPECT_NE(page.find(option), std::string::npos) << option;
  }
  EXPECT_FALSE(fs::exists(folder.Path() / "man/man1/xemfit-internal.1"));
  if (!HasProgram("groff")) GTEST_SKIP() << "groff is not installed";
  const ToolRun checked = Shell("for page in man/man1/*.1; do groff -man -Tutf8 -ww -z $page; done", folder.Path());
  EXPECT_EQ(checked.output, "");
}

std::string WithoutEscapes(const std::string& roff) {
  return std::regex_replace(std::regex_replace(roff, std::regex(R"(\\-)"), "-"), std::regex(R"(\\e)"), "\\");
}

/// The lines below EXAMPLES as a reader would type them.
Strings ExamplesOf(const std::string& page) {
  Strings lines;
  std::istringstream text(page.substr(page.find(".SH EXAMPLES")));
  bool literal = false;
  for (std::string line; std::getline(text, line) && line != ".fi";) {
    if (std::exchange(literal, literal || line == ".nf")) lines.push_back(WithoutEscapes(line));
  }
  return lines;
}

TEST_F(Descriptions, EveryExampleRunsAsItStands) {
  const fs::path tool = fs::path(XEM_TOOL).parent_path();
  std::size_t count = 0;
  for (const auto& page : fs::directory_iterator(folder.Path() / "man/man1")) {
    const std::string name = page.path().filename().string();
    if (name == "xemfit.1") continue;
    const TemporaryFolder own;
    ASSERT_EQ(RunTool({"data", "--all"}, own.Path()).exitCode, 0);
    for (const std::string& line : ExamplesOf(folder.Read("man/man1/" + name))) {
      const ToolRun run = Shell("PATH='" + tool.string() + "':$PATH; " + line, own.Path());
      EXPECT_EQ(run.exitCode, 0) << name << ": " << line << '\n' << run.output;
      ++count;
    }
  }
  EXPECT_GT(count, 30u);
}

TEST_F(Descriptions, BashCompletes) {
  const struct {
    const char* words;
    const char* wanted;
  } cases[] = {
      {"xemfit hy", "hyper"},
      {"xemfit hyper s", "stress"},
      {"xemfit hyper fit --req", "--require-stable"},
      {"xemfit hyper fit --uniaxial a.csv --residual rel", "relative"},
      {"xemfit batch recipe.txt --summ", "--summary"},
      {"xemfit int", ""},
      {"xemfit cyclic fit --family hy", "hyperbolic"},
      {"xemfit forming curve --yield vo", "vonmises"},
      {"xemfit data silicone_v", "silicone_volumetric"},
      {"xemfit models blatz", "blatz-ko"},
  };
  for (const auto& [words, wanted] : cases) {
    const ToolRun run = Shell(std::string("bash -c '. bash-completion/completions/xemfit; COMP_WORDS=(") + words +
                                  "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _xemfit; echo \"${COMPREPLY[*]}\"'",
                              folder.Path());
    EXPECT_EQ(run.output, std::string(wanted) + "\n") << words;
  }
}

TEST_F(Descriptions, ZshReadsItsCompletion) {
  if (!HasProgram("zsh")) GTEST_SKIP() << "zsh is not installed";
  EXPECT_EQ(Shell("zsh -n zsh/vendor-completions/_xemfit", folder.Path()).output, "");
}

}  // namespace
}  // namespace Xem::Testing
