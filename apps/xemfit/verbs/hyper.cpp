#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "command/values.h"
#include "numbers.h"
#include "output/text_table.h"
#include "text.h"
#include "verbs/compare.h"
#include "verbs/stored_rubber.h"
#include "verbs/verb.h"
#include "verbs/verbs.h"
#include "xem/fit/compare.h"
#include "xem/fit/prepare.h"

namespace Xem::Tool {
namespace {

/// A deformation mode: its curve name, and how the command line asks for it.
struct ModeInput {
  const char* curve;
  const char* option;
  const char* about;
  const Role* strain;
  Fit::Curve Fit::HyperelasticData::*data;
};

constexpr std::array<ModeInput, 4> kModes{{
    {"uniaxial", "--uniaxial", "Uniaxial test: nominal strain or stretch, nominal stress", &Roles::kStrain,
     &Fit::HyperelasticData::uniaxial},
    {"equibiaxial", "--equibiaxial", "Equibiaxial test", &Roles::kStrain, &Fit::HyperelasticData::equibiaxial},
    {"pure_shear", "--pure-shear", "Pure shear (planar tension) test", &Roles::kStrain,
     &Fit::HyperelasticData::pureShear},
    {"simple_shear", "--simple-shear", "Simple shear test: shear strain, shear stress", &Roles::kShearStrain,
     &Fit::HyperelasticData::simpleShear},
}};

constexpr const char* kVolumetric = "volumetric";

class HyperFit : public Verb {
 public:
  HyperFit()
      : Verb({"hyper",
              "fit",
              "Fit hyperelastic models to test curves",
              "xemfit hyper fit --model ogden:3 --uniaxial treloar1944_uniaxial.csv --equibiaxial "
              "treloar1944_equibiaxial.csv --pure-shear treloar1944_pure_shear.csv --plot fit.png\n"
              "xemfit hyper fit --model polynomial:1..3,ogden:1..2 --uniaxial silicone_uniaxial.csv --residual "
              "relative\n"
              "xemfit hyper fit --model polynomial:2,yeoh,ogden:2 --stable --uniaxial treloar1944_uniaxial.csv\n"
              "xemfit hyper fit --model ogden:2 --uniaxial silicone_uniaxial.csv --volumetric silicone_volumetric.csv\n"
              "xemfit hyper fit --model polynomial:2 --uniaxial treloar1944_uniaxial.csv --hold C02=0 --json fit.json",
              {Roles::kStrain, Roles::kStress, Roles::kShearStrain, Roles::kLateralStrain, Roles::kLinearStretch,
               Roles::kPressure}},
             Shares::FitAndStable) {}

 private:
  void DeclareOwn(Options& options) override {
    const std::vector<std::string> names = Fit::ModelNames("rubber", kModes.front().curve);
    options
        .Text("--model", models_,
              "NAME:TERMS, NAME:FROM..TO, or several separated by commas: these are compared; " + Join(names, ", "),
              "MODEL")
        .Suggest(names)
        .Required();
    for (std::size_t i = 0; i < kModes.size(); ++i) {
      options.Texts(kModes[i].option, files_[i], std::string(kModes[i].about) + "; repeat for replicate tests", "FILE")
          .Repeatable();
    }
    options.Text(
        "--volumetric", volumetricFile_,
        "Volumetric test, fitted alongside: linear stretch or volume ratio, pressure (positive in compression)",
        "FILE");
    options.Flag("--scatter-weights", scatterWeights_,
                 "Weight each mode by the inverse scatter of its replicate tests");
    options.Count("--volumetric-terms", volumetricTerms_, "Terms of the volumetric energy, 1 when left out", "NUMBER");
    options.Flag("--stable", stable_,
                 "Only parameters whose material is stable in all modes over the measured strains");
    options.Number("--condition-limit", conditionLimit_, "Engine export: limit of the linear solve's condition number",
                   0.0);
  }

  Report Run() override {
    const std::vector<Fit::ModelChoice> choices = ModelsNamed(models_, "--model", "rubber", kModes.front().curve);
    std::vector<std::string> notes;
    Fit::HyperelasticData data = ReadData(UseLateralStrains(choices), notes);
    Fit::Options options = FitOptions();
    if (scatterWeights_) Fit::WeighByScatter(options.residual, data, notes);
    options.conditionLimit = conditionLimit_;
    options.stable = stable_;
    Report report = FitModels(choices, data, options);
    report.panels = Panels(report.result, data.stressUnit);
    report.result.notes.insert(report.result.notes.begin(), notes.begin(), notes.end());
    return report;
  }

  static bool UseLateralStrains(const std::vector<Fit::ModelChoice>& choices) {
    return std::any_of(choices.begin(), choices.end(), [](const Fit::ModelChoice& choice) {
      return !Fit::FindModel(choice.name)->curves.front().companion.empty();
    });
  }

  static std::vector<Panel> Panels(const Fit::Result& result, const std::string& unit) {
    Panel stress{"stress", {"nominal strain", "", false, true}, {"nominal stress", unit, false, false}, {}};
    Panel pressure{"volumetric", {"linear stretch", "", false, false}, {"pressure", unit, false, false}, {}};
    for (const Fit::CurveResult& curve : result.curves) {
      (curve.name == kVolumetric ? pressure : stress).curves.push_back(curve.name);
    }
    if (pressure.curves.empty()) return {stress};
    return {stress, pressure};
  }

  Fit::HyperelasticData ReadData(bool lateral, std::vector<std::string>& notes) {
    std::array<std::vector<MeasuredCurve>, kModes.size()> measured;
    MeasuredCurve volumetric;
    for (std::size_t i = 0; i < kModes.size(); ++i) {
      for (const std::string& file : files_[i]) {
        const std::size_t before = measured[i].size();
        const std::string name = kModes[i].curve + (before == 0 ? "" : "_" + std::to_string(before + 1));
        measured[i].push_back(
            ReadCurve(file, name, *kModes[i].strain, Roles::kStress, lateral ? &Roles::kLateralStrain : nullptr));
      }
    }
    std::vector<Fit::TableCurve*> all;
    for (auto& tests : measured) {
      for (MeasuredCurve& test : tests) all.push_back(&test);
    }
    if (Inputs().empty()) {
      throw Failure(ExitCode::Usage, "give a test curve: --uniaxial, --equibiaxial, --pure-shear or --simple-shear");
    }
    if (!volumetricFile_.empty()) {
      volumetric = ReadCurve(volumetricFile_, kVolumetric, Roles::kLinearStretch, Roles::kPressure);
      all.push_back(&volumetric);
    }
    Fit::HyperelasticData data;
    data.volumetricTerms = volumetricTerms_;
    data.stressUnit = Fit::UseOneOrdinateUnit(all, notes);
    for (std::size_t i = 0; i < kModes.size(); ++i) {
      for (std::size_t k = 0; k < measured[i].size(); ++k) {
        Fit::Curve& curve = measured[i][k].curve;
        if (k == 0) {
          data.*kModes[i].data = std::move(curve);
        } else {
          data.replicates.push_back({kModes[i].curve, std::move(curve)});
        }
      }
    }
    data.volumetric = std::move(volumetric.curve);
    return data;
  }

  std::string models_;
  std::array<std::vector<std::string>, kModes.size()> files_;
  std::string volumetricFile_;
  int volumetricTerms_ = 1;
  bool stable_ = false;
  double conditionLimit_ = 0.0;
  bool scatterWeights_ = false;
};

/// Strains nearer to -1 have stresses beyond any picture.
constexpr double kLowestDrawn = -0.95;

/// What a report on a stored model repeats of it.
Fit::Result Restated(const Fit::Result& stored) {
  Fit::Result result;
  result.model = stored.model;
  result.terms = stored.terms;
  result.formula = stored.formula;
  result.parameters = stored.parameters;
  return result;
}

Panel StressPanel(const Fit::Result& result) {
  const std::string unit = result.parameters.empty() ? "" : result.parameters.front().unit;
  return {"", {"nominal strain", "", false, false}, {"nominal stress", unit, false, false}, {}};
}

class HyperStress : public Verb {
 public:
  HyperStress()
      : Verb({"hyper", "stress", "Evaluate a fitted hyperelastic model",
              "xemfit hyper fit --model ogden:2 --uniaxial treloar1944_uniaxial.csv --json fit.json --quiet\n"
              "xemfit hyper stress --parameters fit.json --mode uniaxial,pure_shear --grid 0:2:5\n"
              "xemfit hyper stress --parameters fit.json --grid 0:2:201 --curves stress.csv --quiet"},
             Shares::Output) {}

 private:
  void DeclareOwn(Options& options) override {
    options
        .Text("--parameters", parameters_, "Model and parameters, as written by --json; - for standard input", "FILE")
        .Required();
    options
        .Text("--mode", modes_,
              "uniaxial, equibiaxial, pure_shear, simple_shear or several separated by commas; "
              "those of the fit when left out",
              "MODE")
        .Suggest({"uniaxial", "equibiaxial", "pure_shear", "simple_shear"});
    options.Text("--grid", grid_, "Nominal strains, equally spaced", "FROM:TO:COUNT").Required();
  }

  Report Run() override {
    const std::vector<double> strains = ParseGrid(grid_, "--grid");
    const Fit::Result stored = StoredRubber(ReadText(parameters_), Fit::SourceName(parameters_));
    Report report;
    report.fitted = false;
    Fit::Result& result = report.result = Restated(stored);
    result.status = "evaluated";
    for (const std::string& mode : Modes(stored)) {
      RequireStrains(mode, strains.front());
      Fit::CurveResult curve;
      curve.name = mode;
      curve.x = strains;
      for (const double strain : strains) curve.fitted.push_back(Stress(stored, mode, strain));
      result.curves.push_back(std::move(curve));
    }
    result.stability = Fit::CheckStability(stored);
    report.panels = {StressPanel(result)};
    report.sections = {StressTable(result)};
    return report;
  }

  std::vector<std::string> Modes(const Fit::Result& stored) const {
    std::vector<std::string> modes;
    if (!modes_.empty()) modes = Split(modes_, ',');
    for (const Fit::CurveResult& curve : stored.curves) {
      if (modes_.empty()) modes.push_back(curve.name);
    }
    if (modes_.empty()) modes.erase(std::remove(modes.begin(), modes.end(), kVolumetric), modes.end());
    if (modes.empty()) throw Failure(ExitCode::Usage, "--mode: name a mode, such as uniaxial");
    for (std::string& mode : modes) {
      std::replace(mode.begin(), mode.end(), '-', '_');
      const auto has = [&](const ModeInput& known) { return mode == known.curve; };
      if (std::none_of(kModes.begin(), kModes.end(), has)) {
        throw Failure(ExitCode::Usage,
                      fmt::format("--mode: {} is not uniaxial, equibiaxial, pure_shear or simple_shear", Quoted(mode)));
      }
      if (std::count(modes.begin(), modes.end(), mode) > 1) {
        throw Failure(ExitCode::Usage, fmt::format("--mode: {} is given twice", Quoted(mode)));
      }
    }
    return modes;
  }

  static void RequireStrains(const std::string& mode, double lowest) {
    if (mode != "simple_shear" && lowest <= -1.0) {
      throw Failure(ExitCode::Usage,
                    fmt::format("--grid: strains in mode {} must be above -1, not {}", mode, Shortly(lowest)));
    }
  }

  static double Stress(const Fit::Result& stored, const std::string& mode, double strain) {
    const double stress = stored.evaluate(mode, strain);
    if (std::isfinite(stress)) return stress;
    throw Failure(ExitCode::Other, fmt::format("the stress in mode {} at strain {} is beyond the range of numbers",
                                               mode, Shortly(strain)));
  }

  static std::string StressTable(const Fit::Result& result) {
    const std::string unit = result.parameters.empty() ? "" : result.parameters.front().unit;
    std::vector<TextTable::Column> columns{{"strain"}};
    for (const Fit::CurveResult& curve : result.curves) {
      columns.push_back({curve.name + (unit.empty() ? "" : " (" + unit + ")")});
      columns.push_back({"stability", TextTable::Align::Left});
    }
    TextTable table(columns);
    for (std::size_t i = 0; i < result.curves.front().x.size(); ++i) {
      std::vector<std::string> cells{Shortly(result.curves.front().x[i])};
      for (const Fit::CurveResult& curve : result.curves) {
        cells.push_back(Shortly(curve.fitted[i]));
        cells.push_back(Fit::IsStable(result, curve.name, curve.x[i]) ? "stable" : "beyond_limit");
      }
      table.Add(std::move(cells));
    }
    return table.Text();
  }

  std::string parameters_;
  std::string modes_;
  std::string grid_;
};

class HyperCheck : public Verb {
 public:
  HyperCheck()
      : Verb({"hyper", "check", "Report where a hyperelastic model loses stability",
              "xemfit hyper fit --model ogden:2 --uniaxial treloar1944_uniaxial.csv --json fit.json --quiet\n"
              "xemfit hyper check --parameters fit.json\n"
              "xemfit hyper check --model ogden --parameters fit.json --range -0.5:9 --plot stable.png"},
             Shares::OutputAndStable) {}

 private:
  void DeclareOwn(Options& options) override {
    options
        .Text("--parameters", parameters_, "Model and parameters, as written by --json; - for standard input", "FILE")
        .Required();
    options.Text("--model", model_, "What the model must be, such as ogden", "NAME");
    options.Text("--range", range_, "Nominal strains between which to check; the widest range when left out",
                 "FROM:TO");
  }

  Report Run() override {
    const Fit::Result stored = StoredRubber(ReadText(parameters_), Fit::SourceName(parameters_));
    if (!model_.empty() && model_ != stored.model) {
      throw Failure(ExitCode::Usage, fmt::format("--model: {} holds a model {}, not {}", Fit::SourceName(parameters_),
                                                 Quoted(stored.model), Quoted(model_)));
    }
    const auto [lower, upper] = Range();

    Report report;
    report.fitted = false;
    Fit::Result& result = report.result = Restated(stored);
    result.stability = Fit::CheckStability(stored, lower, upper);
    result.status = result.stability->Stable() ? "stable" : "unstable";
    const std::string where = range_.empty()
                                  ? std::string()
                                  : fmt::format(" between nominal strains {} and {}", Shortly(lower), Shortly(upper));
    report.sections = {fmt::format("{}: {}{}\n\n{}", ModelLabel(result), result.status, where, result.stability->text)};
    AddCurves(stored, report);
    return report;
  }

  /// The modes that were scanned, as far as the range goes; without one, where most rubber is used.
  void AddCurves(const Fit::Result& stored, Report& report) const {
    constexpr int kSteps = 200;
    const auto [lower, upper] = range_.empty() ? std::pair(-0.5, 3.0) : Range();
    const double from = std::max(lower, kLowestDrawn);
    Fit::Result& result = report.result;
    for (const char* mode : {"uniaxial", "equibiaxial", "pure_shear"}) {
      Fit::CurveResult curve;
      curve.name = mode;
      for (int i = 0; i <= kSteps; ++i) {
        const double strain = from + (upper - from) * i / kSteps;
        const double stress = stored.evaluate(mode, strain);
        if (!std::isfinite(stress)) continue;
        curve.x.push_back(strain);
        curve.fitted.push_back(stress);
      }
      result.curves.push_back(std::move(curve));
    }
    report.panels = {StressPanel(result)};
  }

  std::pair<double, double> Range() const {
    if (range_.empty()) return {Fit::kLowestStrain, Fit::kHighestStrain};
    const std::vector<std::string> ends = Split(range_, ':');
    const auto lower = ParseNumber(ends.front());
    const auto upper = ParseNumber(ends.back());
    if (ends.size() != 2 || !lower || !upper || !(*lower <= 0.0) || !(*upper >= 0.0)) {
      throw Failure(ExitCode::Usage,
                    fmt::format("--range: {} is not FROM:TO with strains around 0, such as -0.5:9", Quoted(range_)));
    }
    return {*lower, *upper};
  }

  std::string parameters_;
  std::string model_;
  std::string range_;
};

}  // namespace

void AddHyperVerbs(CommandList& commands) {
  commands.push_back(MakeCommand<HyperFit>());
  commands.push_back(MakeCommand<HyperStress>());
  commands.push_back(MakeCommand<HyperCheck>());
}

}  // namespace Xem::Tool
