#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "support/near.h"
#include "support/run_tool.h"

namespace Xem::Testing {
namespace {

using Json = nlohmann::ordered_json;

Json Fitted(const std::vector<std::string>& arguments, const TemporaryFolder& folder) {
  std::vector<std::string> all = arguments;
  all.insert(all.end(), {"--json", "-"});
  const ToolRun run = RunTool(all, folder.Path());
  EXPECT_EQ(run.exitCode, 0) << run.errors;
  return run.exitCode == 0 ? Json::parse(run.output) : Json();
}

TEST(PronyVerb, NormalisesRawModuli) {
  const TemporaryFolder folder;
  folder.Write("raw.csv", "t_h,E_MPa\n0,1000\n0.1,980\n0.3,940\n1,850\n2,770\n4,700\n8,680\n16,678\n");
  const Json result = Fitted({"prony", "fit", "--terms", "1", "--normalise", "first", "raw.csv"}, folder);
  EXPECT_EQ(Derived(result, "instantaneous_modulus"), 1000.0);
  EXPECT_EQ(result["parameters"][1]["unit"], "h");
  EXPECT_EQ(result["parameters"][2]["name"], "E0");
  EXPECT_EQ(result["parameters"][2]["unit"], "MPa");
  EXPECT_TRUE(result["parameters"][2]["held"]);
  EXPECT_EQ(result["dropped"][0]["row"], 2);
  EXPECT_EQ(RunTool({"prony", "fit", "--terms", "1", "--normalise", "1000", "raw.csv"}, folder.Path()).exitCode, 0);
}

// What a column is called and measured in, not how large its numbers are, says whether they are ratios.
TEST(PronyVerb, NeverTakesAModulusForARatio) {
  const TemporaryFolder folder;
  for (const std::string column : {"G", "E", "modulus", "relaxation_modulus", "E_relax", "stress", "g_GPa", "g"}) {
    folder.Write("raw.csv", "time," + column + "\n0.1,0.88\n0.3,0.84\n1,0.75\n2,0.67\n4,0.6\n8,0.58\n16,0.578\n");
    const Json result = Fitted({"prony", "fit", "--terms", "1", "raw.csv"}, folder);
    EXPECT_EQ(result["parameters"].back()["name"], column == "g" ? "tau1" : "E0") << column;
  }
  folder.Write("fit.json",
               Fitted({"prony", "fit", "--terms", "1", "--instantaneous", "free", "raw.csv"}, folder).dump());
  const ToolRun run = RunTool({"eval", "fit.json", "--grid", "0.1:16:3"}, folder.Path());
  EXPECT_EQ(run.output.substr(0, 20), "x,fitted,lower,upper") << run.errors;
}

TEST(PronyVerb, ConvertsWithAStoredModelAndFitsTheResult) {
  const TemporaryFolder folder;
  folder.Write("test.csv", "strain,stress_MPa\n0.1,0.27355\n0.2,0.505556\n0.4,0.889796\n0.8,1.491358\n1.2,1.993388\n");
  folder.Write("history.csv", "time_s,strain\n0,0\n1,0.2\n2,0.4\n5,0.8\n");
  ASSERT_EQ(RunTool({"hyper", "fit", "--model", "polynomial:1", "--hold", "C01=0", "--uniaxial", "test.csv", "--json",
                     "fit.json"},
                    folder.Path())
                .exitCode,
            0);
  const Json result = Fitted(
      {"prony", "convert", "--parameters", "fit.json", "--mode", "uniaxial", "history.csv", "--reference", "0.4"},
      folder);
  ASSERT_EQ(result["curves"][0]["fitted"].size(), 3u);
  ExpectDigits(result["curves"][0]["fitted"][0], 0.4 / 0.505556, 1e-4);
  EXPECT_EQ(result["dropped"][0]["row"], 2);  // no stress without strain
  ASSERT_EQ(RunTool({"prony", "convert", "--parameters", "fit.json", "history.csv", "--reference", "0.4", "--curves",
                     "relaxation.csv"},
                    folder.Path())
                .exitCode,
            0);
  EXPECT_EQ(RunTool({"prony", "fit", "--terms", "1", "--column", "time=x,g=fitted", "relaxation.csv"}, folder.Path())
                .exitCode,
            0);
}

TEST(CreepVerb, SeveralFilesInDifferentUnitsIdentifyTheExponents) {
  const TemporaryFolder folder;
  folder.Write("a.csv", "# stress_MPa: 100\ntime_h,creep_strain\n1,1e-4\n2,2e-4\n4,4e-4\n8,8e-4\n");
  folder.Write("b.csv", "# stress_GPa: 0.2\ntime_min,creep_strain_percent\n60,0.08\n120,0.16\n240,0.32\n480,0.64\n");
  const Json result = Fitted({"creep", "fit", "--type", "secondary", "a.csv", "b.csv"}, folder);
  ExpectDigits(result["parameters"][1]["value"], 3.0, 1e-9);
  ExpectDigits(result["parameters"][0]["value"], 1e-10, 1e-9);
  EXPECT_EQ(result["parameters"][0]["unit"], "MPa^-C6 h^-1");
  EXPECT_EQ(result["curves"][0]["name"], "a");
}

}  // namespace
}  // namespace Xem::Testing
