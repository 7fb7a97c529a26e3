#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "support/run_tool.h"

namespace Xem::Testing {
namespace {

using Json = nlohmann::ordered_json;
using Arguments = std::vector<std::string>;

std::string Data(const std::string& name) { return std::string(XEM_DATA_DIR) + "/" + name + ".csv"; }

Arguments FitTreloar(const std::string& model, Arguments more) {
  Arguments arguments{"hyper", "fit", "--model", model, "--json", "fit.json", "--quiet"};
  arguments.insert(arguments.end(), {"--uniaxial", Data("treloar1944_uniaxial"), "--equibiaxial",
                                     Data("treloar1944_equibiaxial"), "--pure-shear", Data("treloar1944_pure_shear")});
  arguments.insert(arguments.end(), more.begin(), more.end());
  return arguments;
}

TEST(HyperFit, ComparesModelsAndSetsUnstableOnesAside) {
  const TemporaryFolder folder;
  const ToolRun run = RunTool(FitTreloar("polynomial:2,ogden:1..2,blatz-ko", {"--plot", "fit.svg"}), folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const Json fit = Json::parse(folder.Read("fit.json"));
  EXPECT_EQ(fit["model"], "ogden");
  EXPECT_EQ(fit["terms"], 2);
  ASSERT_EQ(fit["comparison"].size(), 4u);
  EXPECT_EQ(fit["comparison"][0]["status"], "unstable where measured");
  EXPECT_EQ(folder.Read("fit.svg").find("unstable"), std::string::npos);
}

TEST(HyperFit, UnstableModelsAreDashedAndCanBeRefused) {
  const TemporaryFolder folder;
  const ToolRun run = RunTool(FitTreloar("polynomial:2", {"--require-stable", "--plot", "fit.svg"}), folder.Path());
  EXPECT_EQ(run.exitCode, 5);
  const Json fit = Json::parse(folder.Read("fit.json"));
  EXPECT_GT(fit["stability"]["equibiaxial_tension"], 2.0);
  EXPECT_TRUE(fit["stability"]["uniaxial_compression"].is_null());
  EXPECT_NE(folder.Read("fit.svg").find("unstable"), std::string::npos);
  EXPECT_EQ(RunTool(FitTreloar("ogden:3", {"--require-stable"}), folder.Path()).exitCode, 0);
}

TEST(HyperFit, VolumetricDataAreAPanelOfTheirOwn) {
  const TemporaryFolder folder;
  const ToolRun run = RunTool(FitTreloar("ogden:1", {"--volumetric", Data("silicone_volumetric"), "--volumetric-terms",
                                                     "2", "--hold", "D2=30000", "--plot", "fit.svg"}),
                              folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  const Json fit = Json::parse(folder.Read("fit.json"));
  EXPECT_EQ(fit["parameters"].size(), 4u);
  EXPECT_EQ(fit["curves"].back()["name"], "volumetric");
  EXPECT_EQ(fit["measures"]["points"], 53);
  EXPECT_GT(Derived(fit, "poisson_ratio"), 0.499);
  EXPECT_NE(folder.Read("fit.svg").find("linear stretch"), std::string::npos);
  // The volumetric curve is no mode of stress.
  const ToolRun stress =
      RunTool({"hyper", "stress", "--parameters", "fit.json", "--grid", "0:1:3", "--json", "-"}, folder.Path());
  ASSERT_EQ(stress.exitCode, 0) << stress.errors;
  EXPECT_EQ(Json::parse(stress.output)["curves"].size(), 3u);
  EXPECT_EQ(RunTool({"hyper", "check", "--parameters", "fit.json"}, folder.Path()).exitCode, 0);
}

TEST(HyperFit, LateralStrainsAreReadWhereAModelUsesThem) {
  const TemporaryFolder folder;
  // Unit modulus, lateral stretches 0.9 at 1.5 and 0.8 at 2: stresses 0.81 - 1.5^-3 and 0.64 - 2^-3.
  folder.Write("foam.csv", "strain,lateral_strain,stress_kPa\n0.5,-0.1,0.5137037037037037\n1,-0.2,0.515\n");
  folder.Write("plain.csv", "strain,lateral_strain,stress_kPa\n0.5,x,0.5\n1,x,0.6\n");
  const ToolRun run =
      RunTool({"hyper", "fit", "--model", "blatz-ko", "--uniaxial", "foam.csv", "--json", "-"}, folder.Path());
  ASSERT_EQ(run.exitCode, 0) << run.errors;
  EXPECT_NEAR(Json::parse(run.output)["parameters"][0]["value"], 1.0, 1e-12);
  EXPECT_EQ(RunTool({"hyper", "fit", "--model", "blatz-ko", "--uniaxial", "plain.csv"}, folder.Path()).exitCode, 3);
  const ToolRun other = RunTool({"hyper", "fit", "--model", "ogden:1", "--uniaxial", "plain.csv"}, folder.Path());
  EXPECT_NE(other.exitCode, 3) << other.errors;
}

TEST(HyperStress, SaysWhatLiesBeyondTheStabilityLimit) {
  const TemporaryFolder folder;
  folder.Write("m.json", R"({"model": "polynomial", "terms": 1, "parameters": [
                             {"name": "C10", "value": 0.5, "unit": "MPa"}, {"name": "C01", "value": -0.3}]})");
  const Arguments ask{"hyper", "stress", "--parameters", "m.json", "--mode", "equibiaxial", "--grid", "0:1.5:16"};
  const auto run = [&](const Arguments& more) {
    Arguments arguments = ask;
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunTool(arguments, folder.Path()).output;
  };
  const double limit = Json::parse(run({"--json", "-"}))["stability"]["equibiaxial_tension"];
  std::istringstream lines(run({"--curves", "-"}));
  int beyond = 0;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("equibiaxial,")) continue;
    const double strain = std::stod(line.substr(line.find(',') + 1));
    EXPECT_EQ(line.ends_with(",beyond_limit"), strain >= limit) << line;
    EXPECT_EQ(line.ends_with(",stable"), strain < limit) << line;
    beyond += strain >= limit ? 1 : 0;
  }
  EXPECT_GT(beyond, 0);
  EXPECT_NE(run({}).find("equibiaxial (MPa)  stability"), std::string::npos) << run({});
}

TEST(HyperCheck, ReportsTheRangeAskedFor) {
  const TemporaryFolder folder;
  folder.Write("m.json", R"({"model": "polynomial", "terms": 1,
                             "parameters": [{"name": "C10", "value": 0.5}, {"name": "C01", "value": -0.3}]})");
  const ToolRun all = RunTool({"hyper", "check", "--parameters", "m.json", "--json", "out.json"}, folder.Path());
  ASSERT_EQ(all.exitCode, 0) << all.errors;
  EXPECT_NE(all.output.find("Equbiaxial tension     : unstable at a nominal strain larger than = 0.1400"),
            std::string::npos);
  EXPECT_NEAR(Json::parse(folder.Read("out.json"))["stability"]["pure_shear_compression"], -0.21, 1e-12);

  struct {
    Arguments more;
    int exitCode;
  } const cases[] = {{{"--require-stable"}, 5},
                     {{"--range", "-0.1:0.1", "--require-stable"}, 0},
                     {{"--range", "0:0.1", "--require-stable"}, 0},
                     {{"--model", "polynomial"}, 0},
                     {{"--model", "ogden"}, 2},
                     {{"--range", "0.1:1"}, 2},
                     {{"--range", "-0.5"}, 2},
                     {{"--range", "nan:1"}, 2}};
  for (const auto& c : cases) {
    Arguments arguments{"hyper", "check", "--parameters", "m.json"};
    arguments.insert(arguments.end(), c.more.begin(), c.more.end());
    EXPECT_EQ(RunTool(arguments, folder.Path()).exitCode, c.exitCode) << c.more.back();
  }
}

TEST(VolumeFit, ReadsStretchesOrVolumeRatios) {
  const TemporaryFolder folder;
  folder.Write("stretch.csv", "linear_stretch,pressure_MPa\n0.99,59.402\n0.98,117.616\n0.97,174.654\n");
  folder.Write("ratio.csv", "volume_ratio,pressure_MPa\n0.970299,59.402\n0.941192,117.616\n0.912673,174.654\n");
  std::string values[2];
  int next = 0;
  for (const char* file : {"stretch.csv", "ratio.csv"}) {
    const ToolRun run = RunTool({"volume", "fit", "--terms", "1", file, "--json", "-"}, folder.Path());
    ASSERT_EQ(run.exitCode, 0) << run.errors;
    const Json fit = Json::parse(run.output);
    EXPECT_EQ(fit["model"], "volumetric");
    EXPECT_NEAR(fit["parameters"][0]["value"], 1000.0, 0.05);  // pressures are 2000 (1 - J)
    values[next++] = fit["parameters"][0]["unit"].get<std::string>();
  }
  EXPECT_EQ(values[0], "MPa");
  EXPECT_EQ(RunTool({"volume", "fit", "--terms", "0", "ratio.csv"}, folder.Path()).exitCode, 2);
  EXPECT_EQ(RunTool({"volume", "fit", "--terms", "1", "none.csv"}, folder.Path()).exitCode, 3);
}

}  // namespace
}  // namespace Xem::Testing
