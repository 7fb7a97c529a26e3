#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/near.h"
#include "support/run_tool.h"

// `xemfit forming curve` as people run it.
namespace Xem::Testing {
namespace {

using Json = nlohmann::ordered_json;

const std::string kSgcc = XEM_DATA_DIR "/sgcc_flow_curve.csv";
const std::string kSteel = "ghosh:518.968,0.0007648,0.28985,0";

std::vector<std::string> Curve(std::vector<std::string> more) {
  more.insert(more.begin(), {"forming", "curve"});
  return more;
}

TEST(ToolForming, ATensileTestIsFittedFirst) {
  const TemporaryFolder folder;
  const ToolRun run = RunTool(Curve({"--tensile", kSgcc, "--select", "angle_deg=0", "--yield",
                                     "hill1979:0.712/0.8/0.742,2", "--json", "out.json", "--plot", "limit.svg"}),
                              folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_NE(run.output.find("<- proposed"), std::string::npos);
  const Json result = Json::parse(folder.Read("out.json"));
  // Hockett and Sherby's law fits twice as well and starts flat, where the criterion sees a neck.
  EXPECT_EQ(result["model"], "swift");
  EXPECT_NE(run.output.find("limits collapse"), std::string::npos);
  EXPECT_GT(result["materials"][0]["plane_strain_limit"].get<double>(), 0.2);
  EXPECT_GT(result["parameters"][0]["standard_error"].get<double>(), 1.0);
  EXPECT_EQ(result["parameters"][4]["name"], "r");
  ExpectNear(result["parameters"][4]["value"].get<double>(), 0.7635, Tolerance::Rounding);
  EXPECT_EQ(result["correlation"].size(), result["parameters"].size());
  EXPECT_NE(folder.Read("limit.svg").find("plane strain"), std::string::npos);
}

TEST(ToolForming, ANoteOfSeveralMaterialsStandsOnce) {
  const TemporaryFolder folder;
  const ToolRun run = RunTool(Curve({"--tensile", "along=" + kSgcc + "@angle_deg=00", "--tensile",
                                     "across=" + kSgcc + "@angle_deg=90", "--law", "hockett-sherby"}),
                              folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_NE(run.output.find("along, across: the flow curve starts flat"), std::string::npos) << run.output;
}

TEST(ToolForming, SeveralMaterialsAndMeasuredLimitsShareADiagram) {
  const TemporaryFolder folder;
  folder.Write("limits.csv", "minor_strain_percent,major_strain_percent\n-10,40\n0,29\n10,42\n");
  folder.Write("table.csv", "plastic_strain,true_stress_MPa\n0,200\n0.1,300\n0.3,380\n0.8,450\n");
  const ToolRun run = RunTool(Curve({"--hardening", "IF=" + kSteel,
                                     "--hardening", "table.csv",
                                     "--tensile",   "45 deg=" + kSgcc + "@angle_deg=45",
                                     "--law",       "swift",
                                     "--yield",     "hill1979:2.275",
                                     "--yield",     "vonmises",
                                     "--yield",     "hill1979:0.7635,1.8",
                                     "--limits",    "limits.csv",
                                     "--json",      "-",
                                     "--plot",      "limit.svg",
                                     "--curves",    "curves.csv"}),
                              folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const Json result = Json::parse(run.output);
  std::vector<std::string> names;
  for (const Json& curve : result["curves"]) names.push_back(curve["name"]);
  EXPECT_EQ(names, (std::vector<std::string>{"45 deg tensile test", "IF", "table", "45 deg", "measured_limits"}));
  EXPECT_EQ(result["materials"][0]["r"], 2.275);
  EXPECT_EQ(result["materials"][1]["r"], nullptr);
  EXPECT_EQ(result["curves"][4]["minor_strain"][0], -0.1);
  EXPECT_EQ(result["curves"][0]["points"], 60);
  const std::string plot = folder.Read("limit.svg");
  for (const char* legend : {"measured limits", "IF, plane strain 0.289", "45 deg, plane strain 0.3"}) {
    EXPECT_NE(plot.find(legend), std::string::npos) << legend;
  }
  EXPECT_NE(folder.Read("curves.csv").find("IF,0,,0."), std::string::npos);  // plane strain
}

TEST(ToolForming, MeasuredLimitsAreComparedWithASingleCurve) {
  const TemporaryFolder folder;
  folder.Write("limits.csv", "minor_strain,major_strain\n0,0.30\n0.9,0.5\n");
  const ToolRun run = RunTool(Curve({"--hardening", kSteel, "--paths", "11", "--limits", "limits.csv"}), folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_NE(run.output.find("1 of 2 points within the curve's range, on average +0.011"), std::string::npos)
      << run.output;
}

}  // namespace
}  // namespace Xem::Testing
