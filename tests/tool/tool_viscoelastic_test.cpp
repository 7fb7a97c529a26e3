#include <fmt/format.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
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

/// A sweep of two Maxwell elements with moduli in MPa at frequencies in Hz, whatever the columns count in.
std::string SweepCsv(const std::string& header, double perHertz, double perMegapascal, double moved = 1.0,
                     const std::string& behind = "") {
  std::string text = header;
  for (double f = 1e-3; f < 2e3; f *= 1.7782794100389228) {
    double storage = 3.0;
    double loss = 0.0;
    for (const auto& [modulus, tau] : {std::pair(100.0, 0.01), std::pair(40.0, 2.0)}) {
      const double x = 2.0 * 3.14159265358979323846 * f * moved * tau;
      storage += modulus * x * x / (1.0 + x * x);
      loss += modulus * x / (1.0 + x * x);
    }
    text +=
        fmt::format("{:.17g},{:.17g},{:.17g}{}\n", f * perHertz, storage * perMegapascal, loss * perMegapascal, behind);
  }
  return text;
}

TEST(PronyVerb, ReadsSweepsByAnyNameAndUnit) {
  const TemporaryFolder folder;
  const std::pair<std::string, std::array<double, 2>> files[] = {
      {"frequency_Hz,storage_MPa,loss_MPa\n", {1.0, 1.0}},
      {"\xef\xbb\xbf"
       "f,E_stor,E_loss,T,Set\nkHz,kPa,kPa,C,-\n",
       {1e-3, 1e3}},
      {"omega,G',G''\nrad/s,GPa,GPa\n", {2.0 * 3.14159265358979323846, 1e-3}},
      {"T_K,Angular frequency [rad/s],E' (MPa),E'' (MPa)\n", {2.0 * 3.14159265358979323846, 1.0}}};
  for (const auto& [header, scales] : files) {
    std::string text = SweepCsv(header, scales[0], scales[1], 1.0, header[0] == '\xef' ? ",21.3,1" : "");
    if (header[0] == 'T') {
      std::string moved = header;
      for (std::size_t at = header.size(); at < text.size(); at = text.find('\n', at) + 1) {
        moved += "293," + text.substr(at, text.find('\n', at) + 1 - at);
      }
      text = moved;
    }
    folder.Write("dma.csv", text);
    folder.Write("relaxation.csv", "time_min,relaxation_modulus_MPa\n0.1,4.9915\n0.2,3.0992\n0.3,3.00494\n");
    const Json result = Fitted({"prony", "fit", "--terms", "2", "dma.csv"}, folder);
    EXPECT_EQ(result["residual"], "relative");
    EXPECT_EQ(result["parameters"][2]["unit"], "s");
    const double perMegapascal = result["parameters"][4]["unit"] == "kPa"   ? 1e3
                                 : result["parameters"][4]["unit"] == "GPa" ? 1e-3
                                                                            : 1.0;
    ExpectDigits(result["parameters"][0]["value"], 100.0 / 143.0, 1e-6, header.c_str());
    ExpectDigits(result["parameters"][2]["value"], 0.01, 1e-6, header.c_str());
    ExpectDigits(result["parameters"][4]["value"], 143.0 * perMegapascal, 1e-6, header.c_str());
    // Times come in the unit of the relaxation curve once there is one.
    const Json both = Fitted({"prony", "fit", "--terms", "2", "dma.csv", "relaxation.csv"}, folder);
    EXPECT_EQ(both["curves"].size(), 3u);
    ExpectDigits(both["parameters"][3]["value"], 2.0 / 60.0, 1e-3, header.c_str());
  }
}

TEST(PronyVerb, ShiftsTemperaturesAndFitsTheMasterCurve) {
  const TemporaryFolder folder;
  // WLF with C1 = 10 and C2 = 60 at 20 degrees; the chamber wanders by two tenths.
  std::string text = "frequency_Hz,storage_MPa,loss_MPa,temperature\n";
  for (int t = 0; t <= 40; t += 10) {
    const double moved = std::pow(10.0, -10.0 * (t - 20) / (60.0 + t - 20));
    std::string sweep = SweepCsv("", 1.0, 1.0, moved, "," + std::to_string(t));
    std::size_t rows = 0;
    for (std::size_t at = 0; at < sweep.size(); at = sweep.find('\n', at) + 1) {
      const std::string row = sweep.substr(at, sweep.find('\n', at) - at);
      text += row + (rows++ % 2 == 0 ? ".1\n" : "\n");
    }
  }
  folder.Write("raw.csv", text);
  const std::vector<std::string> shift{"prony", "shift", "raw.csv", "--reference-temperature", "20.05"};
  std::vector<std::string> toFile = shift;
  toFile.insert(toFile.end(), {"--curves", "master.csv"});
  const Json result = Fitted(toFile, folder);
  ASSERT_EQ(result["shift"].size(), 5u);
  EXPECT_NEAR(result["shift"][0]["log10_a_T"], 5.0, 0.02);
  EXPECT_NEAR(result["parameters"][0]["value"], 10.0, 0.1);
  EXPECT_NEAR(result["parameters"][1]["value"], 60.0, 0.6);
  EXPECT_NE(result["notes"].dump().find("vary by up to 0.1"), std::string::npos);

  const Json two = Fitted({"prony", "fit", "--terms", "2", "master.csv"}, folder);
  const Json one = Fitted({"prony", "fit", "--terms", "2", "raw.csv", "--reference-temperature", "20.05"}, folder);
  for (const Json& fit : {one, two}) {
    ExpectDigits(fit["parameters"][0]["value"], 100.0 / 143.0, 1e-3);
    ExpectDigits(fit["parameters"][3]["value"], 2.0, 1e-2);
  }
  EXPECT_EQ(one["shift"].dump(), result["shift"].dump());
  // Raw, they are no single curve; and without temperatures there is nothing to shift.
  EXPECT_EQ(RunTool({"prony", "fit", "--terms", "2", "raw.csv"}, folder.Path()).exitCode, 3);
  EXPECT_EQ(RunTool({"prony", "shift", "master.csv", "--reference-temperature", "20"}, folder.Path()).exitCode, 3);
  folder.Write("law.json", result.dump());
  const ToolRun law = RunTool({"eval", "law.json", "--curve", "shift_factors", "--grid", "0:40:3"}, folder.Path());
  EXPECT_NE(law.output.find("\n40,-2.49"), std::string::npos) << law.output << law.errors;
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
