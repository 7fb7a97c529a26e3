#include <gtest/gtest.h>

#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/near.h"
#include "support/run_tool.h"

namespace Xem::Testing {
namespace {

using Json = nlohmann::ordered_json;

std::vector<std::string> RetentionArguments(const std::vector<std::string>& more) {
  std::vector<std::string> arguments{"retention", "fit"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

/// The JSON result of a fit; `files` are written first.
Json Fit(const TemporaryFolder& folder, std::vector<std::string> more) {
  more.insert(more.end(), {"--json", "-"});
  const ToolRun run = RunTool(RetentionArguments(more), folder.Path());
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  return Json::parse(run.output, nullptr, false);
}

double Value(const Json& result, const std::string& name) {
  for (const Json& parameter : result["parameters"]) {
    if (parameter["name"] == name) return parameter["value"];
  }
  ADD_FAILURE() << "no " << name;
  return NAN;
}

TEST(RetentionTool, FitsADatabaseSoilInItsOwnUnit) {
  const TemporaryFolder folder;
  const Json result = Fit(folder, {XEM_DATA_DIR "/unsoda_retention.csv", "--select", "soil=4521", "--grading",
                                   XEM_DATA_DIR "/unsoda_grain_size.csv", "--plot", "fit.svg", "--grid", "1:10000:5"});
  EXPECT_EQ(result["model"], "van-genuchten");
  ExpectDigits(Value(result, "alpha"), .0211273, Tolerance::SixDigits);
  EXPECT_EQ(result["parameters"][2]["unit"], "1/cm");
  EXPECT_LT(result["measures"]["rmse"], .0091);
  ASSERT_EQ(result["curves"].size(), 3U);
  EXPECT_EQ(result["curves"][1]["name"], "grading");
  EXPECT_EQ(result["curves"][2]["name"], "grid");
  ExpectDigits(result["curves"][2]["x"][2], 100.0, Tolerance::Rounding);
  ExpectNear(result["curves"][2]["fitted"][0], .352629, 1e-5);
  const std::string plot = folder.Read("fit.svg");
  EXPECT_NE(plot.find("suction (cm)"), std::string::npos);
  EXPECT_NE(plot.find("grading"), std::string::npos);
}

TEST(RetentionTool, TellsTheConductivityOfModelsThatHaveOne) {
  const TemporaryFolder folder;
  const std::vector<std::string> soil{XEM_DATA_DIR "/unsoda_retention.csv", "--select", "soil=4521", "--conductivity"};
  std::vector<std::string> arguments = soil;
  arguments.insert(arguments.end(), {"25 cm/d", "--grid", "1:1000:4", "--curves", "k.csv"});
  const Json result = Fit(folder, arguments);
  const Json& curve = result["curves"][1];
  EXPECT_EQ(curve["name"], "conductivity");
  ASSERT_EQ(curve["x"].size(), 4U);
  EXPECT_NE(folder.Read("k.csv").find("hydraulic conductivity in cm/d"), std::string::npos);
  folder.Write("fit.json", result.dump());
  const ToolRun eval = RunTool({"eval", "fit.json", "--curve", "conductivity", "--grid", "100:1000:2"}, folder.Path());
  EXPECT_EQ(eval.exitCode, 0) << eval.errors;
  ExpectDigits(std::stod(eval.output.substr(eval.output.find("\n100,") + 5)), curve["fitted"][2], Tolerance::Rounding);
  for (const std::string wrong : {"0", "fast", "-1"}) {
    arguments = soil;
    arguments.push_back(wrong);
    EXPECT_EQ(RunTool(RetentionArguments(arguments), folder.Path()).exitCode, 2) << wrong;
  }
  arguments = soil;
  arguments.insert(arguments.end(), {"25", "--model", "fredlund-xing"});
  EXPECT_EQ(RunTool(RetentionArguments(arguments), folder.Path()).exitCode, 2);
}

TEST(RetentionTool, ReadsSuctionsAndWaterAsTheHeaderSays) {
  // One soil, alpha = 0.02 1/cm, n = 2, theta_s = 0.4, theta_r = 0.1, and its porosity 0.4.
  struct Case {
    const char* header;
    double perCentimetre;
    double perContent;
    const char* unit;
    double alpha;
  };
  for (const Case& c :
       {Case{"suction_cm,theta", 1, 1, "1/cm", .02}, Case{"suction_kPa,theta", .0980665, 1, "1/kPa", 0},
        Case{"Suction [m],theta_percent", .01, 100, "1/m", 2}, Case{"suction,water content", .0980665, 1, "1/kPa", 0},
        Case{"pF,theta", 0, 1, "1/cm", .02}, Case{"suction_pF,saturation", 0, 2.5, "1/cm", .02},
        Case{"tension_cm,saturation_percent", 1, 250, "1/cm", .02}, Case{"psi,theta", .0980665, 1, "1/kPa", 0},
        Case{"psi_cm,theta", 1, 1, "1/cm", .02}, Case{"suction_psi,theta", .0142233433, 1, "1/psi", 1.40613952}}) {
    const TemporaryFolder folder;
    std::string file = std::string("# porosity: 0.4\n") + c.header + "\n";
    for (const double cm : {1., 5., 20., 50., 100., 300., 1000., 5000., 20000.}) {
      const double content = .1 + .3 / std::sqrt(1 + std::pow(.02 * cm, 2));
      const double suction = c.perCentimetre > 0 ? cm * c.perCentimetre : std::log10(cm);
      file += Json(suction).dump() + "," + Json(content * c.perContent).dump() + "\n";
    }
    folder.Write("soil.csv", file);
    const Json result = Fit(folder, {"soil.csv"});
    EXPECT_EQ(result["parameters"][2]["unit"], c.unit) << c.header;
    ExpectDigits(Value(result, "alpha"), c.alpha > 0 ? c.alpha : .02 / .0980665, 1e-6, c.header);
    ExpectDigits(Value(result, "theta_r"), .1, 1e-6, c.header);
  }
}

TEST(RetentionTool, ComparesModelsAndTakesAGradingAlone) {
  const TemporaryFolder folder;
  const Json all = Fit(folder, {"--model", "all", XEM_DATA_DIR "/unsoda_retention.csv", "--select", "soil=4521"});
  ASSERT_EQ(all["comparison"].size(), 6U);
  EXPECT_EQ(all["model"], "fredlund-xing");
  folder.Write("mm.csv", "# porosity: 0.44\nsieve_mm,percent_finer\n2,100\n0.5,80\n0.25,52\n0.063,18\n0.002,6\n");
  folder.Write("um.csv", "particle_size_um;fraction_finer\n2000;1\n500;0.8\n250;0.52\n63;0.18\n2;0.06\n");
  const Json alone = Fit(folder, {"--grading", "mm.csv"});
  EXPECT_EQ(alone["curves"].size(), 1U);
  EXPECT_EQ(Derived(alone, "porosity"), .44);
  ExpectDigits(Value(Fit(folder, {"--grading", "um.csv", "--porosity", "0.44"}), "alpha"), Value(alone, "alpha"), 1e-6);
}

}  // namespace
}  // namespace Xem::Testing
