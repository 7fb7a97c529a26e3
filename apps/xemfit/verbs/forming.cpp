#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "text.h"
#include "verbs/compare.h"
#include "verbs/forming_input.h"
#include "verbs/forming_report.h"
#include "verbs/verb.h"
#include "verbs/verbs.h"

namespace Xem::Tool {
namespace {

std::string FileStem(const std::string& path) {
  return path == "-" ? "standard input" : std::filesystem::path(path).stem().string();
}

class FormingCurve : public Verb {
 public:
  FormingCurve()
      : Verb({"forming",
              "curve",
              "Forming-limit curves from hardening constants, tables or tensile tests",
              "xemfit forming curve --hardening ghosh:518.968,0.0007648,0.28985,0 --plot limit.png\n"
              "xemfit forming curve --tensile sgcc_flow_curve.csv --select angle_deg=0 --yield "
              "hill1979:0.712/0.8/0.742,2\n"
              "xemfit forming curve --hardening \"IF steel=swift:518.968,0.0007648,0.28985\" --yield hill1979:2.275 "
              "--hardening AA6016=hockett-sherby:120,555.5,1.106,0.5232 --yield hill1979:0.57,1.8\n"
              "xemfit forming curve --tensile \"0 deg=sgcc_flow_curve.csv@angle_deg=0\" --tensile \"45 "
              "deg=sgcc_flow_curve.csv@angle_deg=45\" --law swift --report limits.html",
              {Roles::kTensileStrain, Roles::kTensileStress, Roles::kFlowStrain, Roles::kFlowStress,
               Roles::kMinorStrain, Roles::kMajorStrain}},
             Shares::Fit) {}

 private:
  void DeclareOwn(Options& options) override {
    options
        .Texts("--hardening", hardenings_,
               "ghosh:K,e0,n,p, swift:K,e0,n, hockett-sherby:si,ss,N,p, voce:s0,q,b, swift-voce:K,e0,n,s0,q,b,w or a "
               "CSV file of a flow curve; repeat for several "
               "materials",
               "[NAME=]LAW")
        .Suggest({"ghosh:", "swift:", "hockett-sherby:", "voce:", "swift-voce:"})
        .Repeatable();
    options
        .Texts("--tensile", tensiles_,
               "Tensile test from which a law is fitted, up to the maximum force; @COLUMN=VALUE behind the file uses "
               "only those rows; repeat for several materials",
               "[NAME=]FILE")
        .Repeatable();
    options
        .Texts("--yield", yields_,
               "vonmises (the default), hill1979:r,m or hill1979:r0/r45/r90,m; one for all materials or one for each, "
               "those of --hardening first",
               "CRITERION")
        .Suggest({"vonmises", "hill1979:"})
        .Repeatable();
    options
        .Text("--law", laws_,
              "Laws to fit: ghosh, swift, hockett-sherby, voce, swift-voce, or several, which are compared", "LAWS")
        .Suggest(Fit::ModelNames("hardening"))
        .ShowDefault();
    using Strain = std::optional<Fit::StrainMeasure>;
    using Stress = std::optional<Fit::StressMeasure>;
    options.Choice<Strain>("--strain-measure", strain_, "Strain of the tensile test; else the column's name tells",
                           {{"plastic", Fit::StrainMeasure::Plastic},
                            {"true", Fit::StrainMeasure::True},
                            {"engineering", Fit::StrainMeasure::Engineering}});
    options.Choice<Stress>("--stress-measure", stress_, "Stress of the tensile test; else the column's name tells",
                           {{"true", Fit::StressMeasure::True}, {"engineering", Fit::StressMeasure::Engineering}});
    options.Number(
        "--youngs-modulus", youngsModulus_,
        "Removes the elastic strain, in the unit of the stress; else read from a straight beginning of the curve", 0.0);
    options.Number("--proof-strain", proofStrain_, "Leave out points of the tensile test below this plastic strain",
                   0.0);
    options.Count("--paths", settings_.paths, "Number of stress paths; 41, or more where the left side needs them",
                  "COUNT");
    options.Number("--increment", settings_.increment, "Major strain per step; 0.0001", 0.0);
    options.Number("--tolerance", settings_.tolerance,
                   "Strain ratio that counts as plane strain; the square root of the increment", 0.0);
    options.Text("--limits", limits_, "Measured limit strains, drawn beside the curve: minor_strain, major_strain",
                 "FILE");
  }

  Report Run() override {
    std::vector<SheetMaterial> materials = ReadMaterials();
    for (SheetMaterial& material : materials) {
      material.limit = Fit::ComputeFormingLimit(material.hardening, material.yield, settings_);
    }
    std::optional<Fit::Curve> measured;
    if (!limits_.empty()) measured = ReadLimits();
    return FormingReport(std::move(materials), measured, stressUnit_);
  }

  std::vector<SheetMaterial> ReadMaterials() {
    if (hardenings_.empty() && tensiles_.empty()) {
      throw Failure(ExitCode::Usage, "give a material: --hardening LAW:CONSTANTS, --hardening FILE or --tensile FILE");
    }
    const std::vector<Fit::YieldCriterion> yields = Yields(hardenings_.size() + tensiles_.size());
    std::vector<SheetMaterial> materials;
    for (const std::string& text : hardenings_) {
      materials.push_back(ReadHardening(text, materials));
      materials.back().yield = yields[materials.size() - 1];
    }
    ReadTensiles(yields, materials);
    return materials;
  }

  /// The name that the caller gave or a usual one, made different from those before.
  static std::string NameFor(const std::string& given, const std::string& usual,
                             const std::vector<SheetMaterial>& before) {
    const auto taken = [&](const std::string& name) {
      return std::any_of(before.begin(), before.end(), [&](const SheetMaterial& one) { return one.name == name; });
    };
    if (!given.empty() && taken(given)) {
      throw Failure(ExitCode::Usage, fmt::format("two materials are called {}", Quoted(given)));
    }
    std::string name = given.empty() ? usual : given;
    for (int number = 2; taken(name); ++number) name = fmt::format("{} {}", usual, number);
    return name;
  }

  SheetMaterial ReadHardening(const std::string& text, const std::vector<SheetMaterial>& before) {
    NamedHardening named = ParseHardening(text);
    SheetMaterial material;
    material.named = !named.file.name.empty();
    material.hardening = std::move(named.hardening);
    if (named.file.path.empty()) {
      material.name = NameFor(named.file.name, material.hardening.law, before);
      return material;
    }
    material.name = NameFor(named.file.name, FileStem(named.file.path), before);
    material.hardening.table = CurveFrom(ReadTable(named.file.path, named.file.selection), material.name,
                                         Roles::kFlowStrain, Roles::kFlowStress)
                                   .curve;
    return material;
  }

  void ReadTensiles(const std::vector<Fit::YieldCriterion>& yields, std::vector<SheetMaterial>& materials) {
    std::vector<MeasuredCurve> measured;
    const std::size_t first = materials.size();
    for (const std::string& text : tensiles_) {
      const NamedFile file = ParseNamedFile(text, "--tensile");
      SheetMaterial material;
      material.named = !file.name.empty();
      material.name = NameFor(file.name, FileStem(file.path), materials);
      const std::string curve = tensiles_.size() == 1 && first == 0 ? "tensile_test" : material.name + " tensile test";
      measured.push_back(CurveFrom(file.selection.empty() ? ReadTable(file.path) : ReadTable(file.path, file.selection),
                                   curve, Roles::kTensileStrain, Roles::kTensileStress));
      material.yield = yields[materials.size()];
      materials.push_back(std::move(material));
    }
    if (measured.empty()) return;
    std::vector<std::string> notes;
    std::vector<Fit::TableCurve*> all;
    for (MeasuredCurve& one : measured) all.push_back(&one);
    stressUnit_ = Fit::UseOneOrdinateUnit(all, notes);
    for (std::size_t i = 0; i < measured.size(); ++i) {
      FitMaterial(Tensile(measured[i]), materials[first + i]);
      auto& own = materials[first + i].fit->result.notes;
      if (i == 0) own.insert(own.begin(), notes.begin(), notes.end());
    }
  }

  Fit::TensileData Tensile(const MeasuredCurve& measured) const {
    Fit::TensileData data;
    data.curve = measured.curve;
    data.stressUnit = stressUnit_;
    data.youngsModulus = youngsModulus_;
    data.proofStrain = proofStrain_;
    Fit::SetMeasures(measured, strain_, stress_, data);
    return data;
  }

  static Fit::Hardening FittedHardening(const Fit::Result& result) {
    Fit::Hardening hardening;
    hardening.law = result.model;
    for (const Fit::Parameter& parameter : result.parameters) hardening.constants.push_back(parameter.value);
    return hardening;
  }

  /// A law serves when limits can be computed from it.
  void FitMaterial(const Fit::TensileData& data, SheetMaterial& material) const {
    Fit::Options options = FitOptions();
    std::erase_if(options.ranges,
                  [&](const auto& range) { return !range.first.empty() && range.first != data.curve.name; });
    const auto doubt = [&](const Fit::Result& result) -> std::string {
      return Fit::LimitsCollapse(FittedHardening(result), material.yield) ? "flat at first, so that limits collapse"
                                                                          : "";
    };
    material.fit = FitModels(ModelsNamed(laws_, "--law", "hardening"), data, options, doubt);
    material.hardening = FittedHardening(material.fit->result);
  }

  std::vector<Fit::YieldCriterion> Yields(std::size_t count) const {
    std::vector<Fit::YieldCriterion> yields;
    for (const std::string& text : yields_) yields.push_back(ParseYield(text));
    if (yields.empty()) yields.emplace_back();
    if (yields.size() == 1) yields.resize(count, yields.front());
    if (yields.size() != count) {
      throw Failure(ExitCode::Usage, fmt::format("--yield: give one criterion for all or one for each of the {} "
                                                 "materials, not {}",
                                                 count, yields.size()));
    }
    return yields;
  }

  Fit::Curve ReadLimits() {
    const NamedFile file = ParseNamedFile(limits_, "--limits");
    return CurveFrom(ReadTable(file.path, file.selection), "measured_limits", Roles::kMinorStrain, Roles::kMajorStrain)
        .curve;
  }

  std::vector<std::string> hardenings_;
  std::vector<std::string> tensiles_;
  std::vector<std::string> yields_;
  std::string laws_ = "swift,ghosh,hockett-sherby";
  std::optional<Fit::StrainMeasure> strain_;
  std::optional<Fit::StressMeasure> stress_;
  double youngsModulus_ = 0.0;
  double proofStrain_ = -1.0;
  Fit::FormingLimitSettings settings_;
  std::string limits_;
  std::string stressUnit_;
};

}  // namespace

void AddFormingVerbs(CommandList& commands) { commands.push_back(MakeCommand<FormingCurve>()); }

}  // namespace Xem::Tool
