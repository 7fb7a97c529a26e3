#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/near.h"
#include "support/run_tool.h"

// xemfit cyclic fit, as people run it.
namespace Xem::Testing {
namespace {

using Json = nlohmann::ordered_json;
using Arguments = std::vector<std::string>;

const std::string kSandStiffness = XEM_DATA_DIR "/seed_idriss1970_sand_stiffness.csv";
const std::string kSandDamping = XEM_DATA_DIR "/seed_idriss1970_sand_damping.csv";

ToolRun Fit(Arguments arguments, const TemporaryFolder& folder) {
  arguments.insert(arguments.begin(), {"cyclic", "fit"});
  return RunTool(arguments, folder.Path());
}

Json FitJson(Arguments arguments, const TemporaryFolder& folder) {
  arguments.insert(arguments.end(), {"--json", "-"});
  const ToolRun run = Fit(arguments, folder);
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  return Json::parse(run.output);
}

TEST(CyclicTool, WritesParametersTableAndOverlays) {
  const TemporaryFolder folder;
  const Json result = FitJson({"--family", "power", "--stiffness", kSandStiffness, "--overlay", "sand,clay"}, folder);
  EXPECT_EQ(result["command"], "cyclic fit");
  ExpectDigits(result["parameters"][0]["value"], 3.09175586e-4, Tolerance::SixDigits);
  EXPECT_LE(result["measures"]["rmse"], 0.0172);
  ASSERT_EQ(result["table"]["strain"].size(), 11u);
  for (const char* curve : {"G_over_Gmax", "damping"}) {
    for (const auto& value : result["table"][curve]) EXPECT_TRUE(value >= 0.0 && value <= 1.0);
  }
  ASSERT_EQ(result["overlays"].size(), 4u);
  // The built-in curve is the bundled file.
  EXPECT_EQ(result["overlays"][0]["x"], result["curves"][0]["x"]);
  EXPECT_EQ(result["overlays"][0]["y"], result["curves"][0]["measured"]);
}

TEST(CyclicTool, PercentColumnsGiveTheSameFit) {
  const TemporaryFolder folder;
  folder.Write("fraction.csv", "gamma,G/Gmax,damping\n1e-5,0.97,0.01\n1e-4,0.8,0.05\n1e-3,0.35,0.14\n1e-2,0.08,0.21\n");
  folder.Write("percent.csv", "gamma (%),G/Gmax,Damping ratio [%]\n1e-3,0.97,1\n1e-2,0.8,5\n0.1,0.35,14\n1,0.08,21\n");
  Json results[2];
  for (const int i : {0, 1}) {
    const std::string file = i == 0 ? "fraction.csv" : "percent.csv";
    results[i] = FitJson({"--family", "power", "--stiffness", file, "--damping", file}, folder);
  }
  for (const int k : {0, 1}) {
    ExpectDigits(results[1]["parameters"][k]["value"], results[0]["parameters"][k]["value"], 1e-9);
  }
}

TEST(CyclicTool, WeightsReplaceTheInverseVariance) {
  const TemporaryFolder folder;
  const Arguments both{"--family", "power", "--stiffness", kSandStiffness, "--damping", kSandDamping};
  Arguments weighted = both;
  weighted.insert(weighted.end(), {"--weight", "stiffness=1e6"});
  EXPECT_NE(FitJson(both, folder)["notes"].dump().find("inverse variance"), std::string::npos);
  const Json result = FitJson(weighted, folder);
  EXPECT_EQ(result["notes"].dump().find("inverse variance"), std::string::npos);
  ExpectDigits(result["parameters"][0]["value"], 3.09175586e-4, 1e-4);  // the stiffness alone
}

TEST(CyclicTool, ComparesFamiliesAndDrawsBothCurves) {
  const TemporaryFolder folder;
  const ToolRun run = Fit({"--family", "power,hyperbolic,ghe", "--stiffness", kSandStiffness, "--damping", kSandDamping,
                           "--overlay", "clay", "--plot", "fit.svg"},
                          folder);
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_NE(run.output.find("<- proposed"), std::string::npos);
  const std::string plot = folder.Read("fit.svg");
  for (const char* text : {"G/Gmax", "damping ratio", "shear strain", "Vucetic &amp; Dobry 1991, clay PI 30"}) {
    EXPECT_NE(plot.find(text), std::string::npos) << text;
  }
}

}  // namespace
}  // namespace Xem::Testing
