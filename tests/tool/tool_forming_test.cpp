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

TEST(ToolForming, ConstantsGiveTheLimitCurve) {
  const TemporaryFolder folder;
  const ToolRun run = RunTool(Curve({"--hardening", kSteel, "--paths", "11", "--json", "-"}), folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const Json result = Json::parse(run.output);
  const Json& curve = result["curves"][0];
  EXPECT_EQ(curve["name"], "forming_limit");
  ASSERT_EQ(curve["major_strain"].size(), 11u);
  EXPECT_NEAR(curve["major_strain"][0].get<double>(), 0.6856, 1e-6);
  EXPECT_NEAR(curve["minor_strain"][0].get<double>(), -0.2974639, 1e-6);
  EXPECT_NEAR(curve["major_strain"][10].get<double>(), 0.6389, 1e-6);
  EXPECT_NEAR(Derived(result, "plane_strain_limit"), 0.2958814, 1e-6);
  EXPECT_TRUE(result["parameters"][0]["held"].get<bool>());
}

TEST(ToolForming, ATensileTestIsFittedFirst) {
  const TemporaryFolder folder;
  const ToolRun run = RunTool(Curve({"--tensile", kSgcc, "--select", "angle_deg=0", "--yield",
                                     "hill1979:0.712/0.8/0.742,2", "--json", "out.json", "--plot", "limit.svg"}),
                              folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_NE(run.output.find("<- proposed"), std::string::npos);
  const Json result = Json::parse(folder.Read("out.json"));
  EXPECT_EQ(result["model"], "hockett-sherby");
  EXPECT_LT(result["curves"][0]["rmse"].get<double>(), 3.2);
  EXPECT_GT(result["parameters"][0]["standard_error"].get<double>(), 1.0);
  EXPECT_EQ(result["parameters"][4]["name"], "r");
  ExpectNear(result["parameters"][4]["value"].get<double>(), 0.7635, Tolerance::Rounding);
  EXPECT_EQ(result["correlation"].size(), result["parameters"].size());
  EXPECT_NE(folder.Read("limit.svg").find("plane strain"), std::string::npos);
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
  for (const char* legend : {"measured limits", "IF, plane strain 0.288", "45 deg, plane strain 0.3"}) {
    EXPECT_NE(plot.find(legend), std::string::npos) << legend;
  }
  EXPECT_NE(folder.Read("curves.csv").find("IF,0,,0."), std::string::npos);  // plane strain
}

TEST(ToolForming, MeasuredLimitsAreComparedWithASingleCurve) {
  const TemporaryFolder folder;
  folder.Write("limits.csv", "minor_strain,major_strain\n0,0.30\n0.9,0.5\n");
  const ToolRun run = RunTool(Curve({"--hardening", kSteel, "--paths", "11", "--limits", "limits.csv"}), folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_NE(run.output.find("1 of 2 points within the curve's range, on average +0.004"), std::string::npos)
      << run.output;
}

struct FormingComplaint {
  std::vector<std::string> arguments;
  int exitCode;
  std::string mention;
};

TEST(ToolForming, ComplaintsNameOptionAndRemedy) {
  const TemporaryFolder folder;
  folder.Write("plain.csv", "strain,stress_MPa\n0.01,200\n0.02,210\n0.03,215\n0.05,230\n0.1,250\n0.2,280\n");
  folder.Write("short.csv", "plastic_strain,true_stress_MPa\n0.01,200\n0.02,210\n");
  folder.Write("twice.csv", "plastic_strain,true_stress_MPa\n0,200\n0.1,210\n0.1,215\n");
  const std::vector<FormingComplaint> complaints{
      {{}, 2, "--hardening"},
      {{"--hardening", "voce:1,2"}, 2, "there is no law \"voce\""},
      {{"--hardening", "ghosh:1,2"}, 2, "ghosh:K,e0,n,p"},
      {{"--hardening", "ghosh:500,a,0.2,0"}, 2, "e0: \"a\" is not a number"},
      {{"--hardening", "ghosh:-500,0,0.2,0"}, 2, "K = -500 must be above 0"},
      {{"--hardening", "none.csv"}, 3, "none.csv"},
      {{"--hardening", "twice.csv"}, 3, "occurs more than once"},
      {{"--hardening", kSteel, "--yield", "tresca"}, 2, "no criterion \"tresca\""},
      {{"--hardening", kSteel, "--yield", "hill1979"}, 2, "hill1979:r,m"},
      {{"--hardening", kSteel, "--yield", "hill1979:1/2,2"}, 2, "r0/r45/r90"},
      {{"--hardening", kSteel, "--yield", "vonmises", "--yield", "vonmises"}, 2, "one for each of the 1"},
      {{"--hardening", kSteel, "--paths", "3"}, 2, "two are needed; take"},
      {{"--hardening", kSteel, "--increment", "1"}, 2, "increment"},
      {{"--hardening", "A=" + kSteel, "--hardening", "A=" + kSteel}, 2, "two materials are called \"A\""},
      {{"--hardening", kSteel, "--increment", "0.03", "--tolerance", "0.0001"}, 4, "larger tolerance"},
      {{"--tensile", "plain.csv"}, 3, "--strain-measure"},
      {{"--tensile", "short.csv"}, 3, "at least"},
      {{"--tensile", "plain.csv", "--strain-measure", "true", "--law", "voce"}, 2, "there is no model \"voce\""},
      {{"--tensile", kSgcc + "@angle_deg"}, 3, "angle_deg"},
      {{"--tensile", kSgcc + "@angle_deg=30"}, 3, "angle_deg"},
      {{"--hardening", kSteel, "--limits", "plain.csv"}, 3, "minor_strain"},
  };
  for (const FormingComplaint& complaint : complaints) {
    std::vector<std::string> arguments = Curve(complaint.arguments);
    arguments.insert(arguments.end(), {"--json", "out.json"});
    const ToolRun run = RunTool(arguments, folder.Path());
    EXPECT_EQ(run.exitCode, complaint.exitCode) << complaint.mention << ": " << run.errors;
    EXPECT_NE(run.errors.find(complaint.mention), std::string::npos) << run.errors;
    EXPECT_EQ(run.output, "") << complaint.mention;
    EXPECT_EQ(folder.Contents().size(), 3u) << complaint.mention;
  }
}

}  // namespace
}  // namespace Xem::Testing
