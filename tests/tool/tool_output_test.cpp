#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "support/near.h"
#include "support/run_tool.h"

// What xemfit leaves behind.
namespace Xem::Testing {
namespace {

using Json = nlohmann::ordered_json;

std::vector<std::string> TreloarArguments(const std::string& model, const std::vector<std::string>& more) {
  const std::string data = XEM_DATA_DIR "/treloar1944_";
  std::vector<std::string> arguments{"hyper",         "fit",
                                     "--model",       model,
                                     "--uniaxial",    data + "uniaxial.csv",
                                     "--equibiaxial", data + "equibiaxial.csv",
                                     "--pure-shear",  data + "pure_shear.csv"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

TEST(Comparison, ProposesOneOfTheCandidates) {
  const TemporaryFolder folder;
  // Noise of a thousandth upon C10 = 0.5, C01 = 0.1: higher orders only follow the noise.
  std::string file = "strain,stress_MPa\n";
  for (int i = 1; i <= 30; ++i) {
    const double stretch = 1.0 + 0.05 * i;
    const double noise = 1e-3 * std::sin(12.9898 * i * i);
    const double stress = 2.0 * (1.0 - std::pow(stretch, -3)) * (0.5 * stretch + 0.1) + noise;
    file += std::to_string(stretch - 1.0) + "," + std::to_string(stress) + "\n";
  }
  folder.Write("a.csv", file);
  const ToolRun run =
      RunTool({"hyper", "fit", "--model", "polynomial:1..3", "--uniaxial", "a.csv", "--json", "-"}, folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const Json result = Json::parse(run.output);
  EXPECT_EQ(result["terms"], 1);
  ASSERT_EQ(result["comparison"].size(), 3u);
  EXPECT_EQ(result["comparison"][0]["proposed"], true);
  EXPECT_EQ(result["comparison"][1]["proposed"], false);
  EXPECT_GE(result["comparison"][1]["aicc"], result["comparison"][0]["aicc"].get<double>() - 2.0);
}

TEST(Comparison, GoesOnWithoutCandidatesThatCannotBeFitted) {
  const TemporaryFolder folder;
  const ToolRun run =
      RunTool(TreloarArguments("polynomial:1,polynomial:2", {"--hold", "C20=0.001", "--json", "-"}), folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const Json result = Json::parse(run.output);
  EXPECT_EQ(result["terms"], 2);
  EXPECT_NE(result["notes"].dump().find("polynomial:1 could not be fitted"), std::string::npos);
}

TEST(Curves, ReadBackExactlyAndFitAgain) {
  const TemporaryFolder folder;
  ASSERT_EQ(
      RunTool(TreloarArguments("polynomial:2", {"--curves", "c.csv", "--json", "c.json"}), folder.Path()).exitCode, 0);
  const Json first = Json::parse(folder.Read("c.json"));
  const ToolRun run = RunTool({"hyper", "fit", "--model", "polynomial:2", "--uniaxial", "c.csv", "--column",
                               "x=x,y=fitted", "--select", "curve=uniaxial", "--json", "-"},
                              folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const Json again = Json::parse(run.output);
  EXPECT_EQ(again["curves"][0]["x"], first["curves"][0]["x"]);
  EXPECT_EQ(again["curves"][0]["measured"], first["curves"][0]["fitted"]);
  ExpectNear(again["measures"]["r2"], 1.0, Tolerance::Rounding);
}

TEST(Stress, OfAStoredFitIsItsFittedCurve) {
  const TemporaryFolder folder;
  ASSERT_EQ(RunTool(TreloarArguments("polynomial:3", {"--json", "fit.json"}), folder.Path()).exitCode, 0);
  const Json fit = Json::parse(folder.Read("fit.json"));
  const ToolRun run = RunTool({"hyper", "stress", "--parameters", "fit.json", "--mode", "uniaxial,pure-shear", "--grid",
                               "0.02:6.6:3", "--json", "-"},
                              folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const Json stress = Json::parse(run.output);
  ASSERT_EQ(stress["curves"].size(), 2u);
  EXPECT_EQ(stress["curves"][1]["name"], "pure_shear");
  EXPECT_EQ(stress["curves"][0]["x"], Json({0.02, 3.31, 6.6}));
  const auto& fitted = fit["curves"][0]["fitted"];
  ExpectNear(stress["curves"][0]["fitted"][0], fitted.front(), Tolerance::Rounding);
  ExpectNear(stress["curves"][0]["fitted"][2], fitted.back(), Tolerance::Rounding);
}

TEST(EveryOutput, HasTheSameBytesTwice) {
  const TemporaryFolder folder;
  const char* const formats[] = {"png", "svg", "pdf"};
  for (const char* const round : {"a", "b"}) {
    for (const char* const format : formats) {
      const std::string base = round;
      const ToolRun run = RunTool(
          TreloarArguments("polynomial:2", {"--json", base + ".json", "--curves", base + ".csv", "--plot",
                                            base + "." + format, "--band", "--bootstrap", "20", "--level", "0.9"}),
          folder.Path());
      ASSERT_EQ(run.exitCode, 0) << run.errors;
    }
    sleep(std::string(round) == "a" ? 1 : 0);  // dates in documents would differ
  }
  for (const char* const extension : {".json", ".csv", ".png", ".svg", ".pdf"}) {
    const std::string first = folder.Read(std::string("a") + extension);
    EXPECT_GT(first.size(), 500u) << extension;
    EXPECT_TRUE(first == folder.Read(std::string("b") + extension)) << extension;
  }
  EXPECT_EQ(folder.Read("a.png").substr(1, 3), "PNG");
  EXPECT_EQ(folder.Read("a.pdf").substr(0, 4), "%PDF");
  EXPECT_NE(folder.Read("a.svg").find("</svg>"), std::string::npos);
}

TEST(Help, WorksAtEveryLevel) {
  const TemporaryFolder folder;
  for (const std::vector<std::string>& command : {std::vector<std::string>{}, {"hyper"}, {"hyper", "fit"}}) {
    for (const auto& [option, text] : {std::pair("--help", "Usage: xemfit"), {"--version", "xemfit "}}) {
      std::vector<std::string> arguments = command;
      arguments.push_back(option);
      const ToolRun run = RunTool(arguments, folder.Path());
      EXPECT_EQ(run.exitCode, 0);
      EXPECT_NE(run.output.find(text), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace Xem::Testing
