#include <gtest/gtest.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "support/near.h"
#include "support/run_tool.h"

// The page that --report writes: what it says, that it stands alone, and that no input can break it.
namespace Xem::Testing {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kData = XEM_DATA_DIR "/treloar1944_";

bool Holds(const std::string& page, const std::string& text) { return page.find(text) != std::string::npos; }

std::string Between(const std::string& text, const std::string& start, const std::string& end) {
  const auto from = text.find(start);
  if (from == std::string::npos) return "";
  const auto begin = from + start.size();
  return text.substr(begin, text.find(end, begin) - begin);
}

/// What the page shows of a command, back as it was typed.
std::string Unescaped(std::string text) {
  const std::vector<std::pair<std::string, std::string>> entities{
      {"&lt;", "<"}, {"&gt;", ">"}, {"&quot;", "\""}, {"&amp;", "&"}};
  for (const auto& [entity, letter] : entities) {
    for (auto at = text.find(entity); at != std::string::npos; at = text.find(entity, at + 1)) {
      text.replace(at, entity.size(), letter);
    }
  }
  return text;
}

TEST(ReportPage, HoldsEverythingAndFetchesNothing) {
  const TemporaryFolder folder;
  const ToolRun run = RunTool(
      {"hyper", "fit", "--model", "polynomial:2", "--uniaxial", kData + std::string("uniaxial.csv"), "--equibiaxial",
       kData + std::string("equibiaxial.csv"), "--hold", "C02=0", "--json", "fit.json", "--report", "fit.html"},
      folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const std::string page = folder.Read("fit.html");
  for (const char* const part :
       {"<h1>polynomial:2</h1>", "id=\"figure\"", "id=\"parameters\"", "id=\"curves\"", "id=\"correlation\"",
        "<td>C02</td>", "<td>held</td>", "<td>equibiaxial</td>", "id=\"reproduce\"", "converged"}) {
    EXPECT_TRUE(Holds(page, part)) << part;
  }
  for (const char* const outside : {" src=", "<link rel=\"stylesheet", "@import", "url("}) {
    EXPECT_FALSE(Holds(page, outside)) << outside;
  }

  const Json figure = Json::parse(Between(page, "id=\"figure-data\">", "</script>"));
  const Json fit = Json::parse(folder.Read("fit.json"));
  ASSERT_EQ(figure["panels"].size(), 1u);
  const Json& curves = figure["panels"][0]["curves"];
  ASSERT_EQ(curves.size(), 2u);
  for (std::size_t c = 0; c < curves.size(); ++c) {
    const Json& curve = fit["curves"][c];
    EXPECT_EQ(curves[c]["points"], Json({curve["x"], curve["measured"]}));
    const double expected = curve["measured"][3].get<double>() - curve["fitted"][3].get<double>();
    ExpectNear(curves[c]["residual"][3].get<double>(), expected, Tolerance::Rounding);
    EXPECT_GT(curves[c]["stable"][0].size(), 100u);
  }
}

TEST(ReportPage, SurvivesAnyNameAndRepeatsTheCommand) {
  const TemporaryFolder folder;
  const std::string name = "it's <script><b> & \"\xff\n$(x).csv";
  folder.Write(name, "strain,stress_<i>\n0.1,0.1\n0.2,0\n0.4,0.3\n0.8,0.5\n");
  const ToolRun run =
      RunTool({"hyper", "fit", "--model", "polynomial:1", "--uniaxial", name, "--report", "fit.html"}, folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const std::string page = folder.Read("fit.html");
  EXPECT_FALSE(Holds(page, "<b>"));
  EXPECT_FALSE(Holds(page, "<i>"));
  EXPECT_FALSE(Holds(page, "\xff"));
  EXPECT_TRUE(Holds(Between(page, "id=\"dropped\"", "</section>"), "<td class=\"number\">3</td><td>zero stress</td>"));

  // A shell that splits the command sees the arguments again.
  folder.Write("again.sh", "set -- " + Unescaped(Between(page, "<code>", "</code>")) + "\nshift\n\"$XEM_TOOL\" \"$@\"");
  ASSERT_EQ(
      std::system(("cd '" + folder.Path().string() + "' && XEM_TOOL='" XEM_TOOL "' bash again.sh >again.txt").c_str()),
      0);
  EXPECT_EQ(folder.Read("again.txt"), run.output);
  EXPECT_TRUE(folder.Read("fit.html") == page);
}

}  // namespace
}  // namespace Xem::Testing
