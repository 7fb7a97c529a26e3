#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <limits>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "numbers.h"
#include "text.h"
#include "verbs/verb.h"
#include "verbs/verbs.h"
#include "xem/fit/viscoelastic.h"

namespace Xem::Tool {
namespace {

/// The file's name without folder and ending, with a number when another test has it already.
std::string TestName(const std::string& path, const std::vector<Fit::CreepTest>& tests) {
  const std::string stem = path == "-" ? "creep" : Printable(std::filesystem::path(path).stem().string());
  std::string name = stem;
  const auto taken = [&](const Fit::CreepTest& test) { return test.curve.name == name; };
  for (int number = 2; std::any_of(tests.begin(), tests.end(), taken); ++number) {
    name = fmt::format("{}_{}", stem, number);
  }
  return name;
}

/// Too wide for a linear axis to show the beginning; then every number above 0 has its place on a logarithmic one.
bool SpansDecades(const Fit::Result& result, std::vector<double> Fit::CurveResult::*side) {
  constexpr double kWide = 1e3;
  double lowest = std::numeric_limits<double>::infinity();
  double highest = 0.0;
  for (const Fit::CurveResult& curve : result.curves) {
    for (const double value : curve.*side) {
      if (value <= 0.0) continue;
      lowest = std::min(lowest, value);
      highest = std::max(highest, value);
    }
  }
  return highest > kWide * lowest;
}

class CreepFit : public Verb {
 public:
  CreepFit()
      : Verb({"creep",
              "fit",
              "Fit primary and secondary creep to tests at constant stress",
              "xemfit creep fit --type both metal_creep_500MPa.csv --residual relative --plot fit.png\n"
              "xemfit creep fit --stress 500 --hold C2=5,C6=8 metal_creep_500MPa.csv\n"
              "xemfit creep fit --type primary --select primary_secondary=1 metal_creep_500MPa.csv --json fit.json",
              {Roles::kTime, Roles::kCreepStrain, Roles::kStress}},
             Shares::Fit) {}

 private:
  void DeclareOwn(Options& options) override {
    options
        .Texts("files", files_, "Creep tests: time, creep strain; stress from a comment line such as # stress_MPa: 500",
               "FILE")
        .Required();
    options.Choice("--type", terms_, "Terms of the law: C1 s^C2 t^C4, C5 s^C6 t, or their sum",
                   {{"primary", Fit::CreepTerms::Primary},
                    {"secondary", Fit::CreepTerms::Secondary},
                    {"both", Fit::CreepTerms::Both}});
    options.Text("--stress", stresses_, "Stress of each file, separated by commas, instead of those in the files",
                 "NUMBER,...");
    options.Flag("--keep-tertiary", keepTertiary_, "Fit points of an accelerating last stage like the others");
  }

  Report Run() override {
    std::vector<std::string> notes;
    Fit::CreepData data = ReadTests(notes);
    data.tertiary = keepTertiary_ ? Fit::Tertiary::Keep : Fit::Tertiary::Drop;
    Report report;
    report.result = Fit::FitCreep(data, terms_, FitOptions());
    const bool wide = SpansDecades(report.result, &Fit::CurveResult::x);
    report.panels = {{"",
                      {"time", data.timeUnit, wide, !wide},
                      {"creep strain", "", wide && SpansDecades(report.result, &Fit::CurveResult::measured), false},
                      {}}};
    report.result.notes.insert(report.result.notes.begin(), notes.begin(), notes.end());
    return report;
  }

  Fit::CreepData ReadTests(std::vector<std::string>& notes) {
    const std::vector<double> stresses = GivenStresses();
    Fit::CreepData data;
    std::vector<MeasuredCurve> measured(files_.size());
    std::vector<Fit::TableCurve*> all;
    for (std::size_t i = 0; i < files_.size(); ++i) {
      data.tests.push_back({});
      const std::string name = TestName(files_[i], data.tests);
      measured[i] = ReadCurve(files_[i], name, Roles::kTime, Roles::kCreepStrain);
      data.tests.back().curve.name = name;
      data.tests.back().stress = stresses.empty() ? Fit::CreepStress(measured[i].table, data.stressUnit) : stresses[i];
      all.push_back(&measured[i]);
    }
    data.timeUnit = Fit::UseOneAbscissaUnit(all, notes);
    for (std::size_t i = 0; i < files_.size(); ++i) data.tests[i].curve = std::move(measured[i].curve);
    return data;
  }

  /// --stress, one number per file.
  std::vector<double> GivenStresses() const {
    std::vector<double> stresses;
    if (stresses_.empty()) return stresses;
    for (const std::string& part : Split(stresses_, ',')) {
      const auto stress = ParseNumber(part);
      if (!stress || !(*stress > 0.0)) {
        throw Failure(ExitCode::Usage, fmt::format("--stress: {} is not a positive number", Quoted(part)));
      }
      stresses.push_back(*stress);
    }
    if (stresses.size() == files_.size()) return stresses;
    throw Failure(ExitCode::Usage, fmt::format("--stress: {} values for {} files", stresses.size(), files_.size()));
  }

  std::vector<std::string> files_;
  std::string stresses_;
  Fit::CreepTerms terms_ = Fit::CreepTerms::Both;
  bool keepTertiary_ = false;
};

}  // namespace

void AddCreepVerbs(CommandList& commands) { commands.push_back(MakeCommand<CreepFit>()); }

}  // namespace Xem::Tool
