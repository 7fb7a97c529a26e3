#include "xem/fit/cyclic.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "input/published_cyclic.h"
#include "numbers.h"
#include "output/text_table.h"
#include "text.h"
#include "verbs/compare.h"
#include "verbs/verb.h"
#include "verbs/verbs.h"

namespace Xem::Tool {
namespace {

constexpr const char* kStiffness = "stiffness";
constexpr const char* kDamping = "damping";

/// A value of the fitted curves, NaN where the family has none.
double ValueAt(const Fit::Result& result, const char* curve, double strain) {
  try {
    return result.evaluate(curve, strain);
  } catch (const Fit::Error&) {
    return std::nan("");
  }
}

std::string StrainTable(const Fit::Result& result) {
  TextTable table({{"Strain"}, {"Strain (%)"}, {"G/Gmax"}, {"Damping"}});
  for (const double strain : Fit::CyclicTableStrains()) {
    table.Add({Shortly(strain), Shortly(100.0 * strain), Fixed(ValueAt(result, kStiffness, strain), 4),
               Fixed(ValueAt(result, kDamping, strain), 4)});
  }
  return table.Text();
}

Json TableJson(const Fit::Result& result) {
  Json table = {{"strain", Fit::CyclicTableStrains()}, {"G_over_Gmax", Json::array()}, {"damping", Json::array()}};
  for (const double strain : Fit::CyclicTableStrains()) {
    table["G_over_Gmax"].push_back(ValueAt(result, kStiffness, strain));
    table["damping"].push_back(ValueAt(result, kDamping, strain));
  }
  return table;
}

Json OverlaysJson(const std::vector<PublishedCyclic>& published) {
  Json overlays = Json::array();
  for (const PublishedCyclic& soil : published) {
    for (const auto& [curve, points] : {std::pair{kStiffness, &soil.stiffness}, std::pair{kDamping, &soil.damping}}) {
      overlays.push_back(
          {{"name", soil.name}, {"source", soil.source}, {"curve", curve}, {"x", points->x}, {"y", points->y}});
    }
  }
  return overlays;
}

class CyclicFit : public Verb {
 public:
  CyclicFit()
      : Verb(
            {"cyclic",
             "fit",
             "Fit stiffness and damping of cyclically loaded soil",
             "xemfit cyclic fit --family hyperbolic --stiffness seed_idriss1970_sand_stiffness.csv\n"
             "xemfit cyclic fit --family power,hyperbolic,ghe --stiffness seed_idriss1970_sand_stiffness.csv --damping "
             "seed_idriss1970_sand_damping.csv --plot fit.png\n"
             "xemfit cyclic fit --family power --stiffness vucetic_dobry1991_pi30_stiffness.csv --hold hmax=0.24 "
             "--overlay sand --plot fit.png",
             {Roles::kShearStrain, Roles::kStiffnessRatio, Roles::kDamping}},
            Shares::Fit) {}

 private:
  void DeclareOwn(Options& options) override {
    options
        .Text("--family", families_,
              Join(Fit::ModelNames("cyclic"), ", ") + " or several separated by commas: these are compared", "NAME")
        .Suggest(Fit::ModelNames("cyclic"))
        .Required();
    options.Text("--stiffness", stiffnessFile_, "Shear strain, G/Gmax", "FILE");
    options.Text("--damping", dampingFile_, "Shear strain, damping ratio", "FILE");
    options.Choice("--form", form_,
                   "What is compared: ordinate (R and h at the measured strains, the default); with family power or "
                   "engine export also strain, log-strain, stress",
                   {{"ordinate", Fit::CyclicForm::Ordinate},
                    {"strain", Fit::CyclicForm::Strain},
                    {"log-strain", Fit::CyclicForm::LogStrain},
                    {"stress", Fit::CyclicForm::Stress}});
    options.Texts("--overlay", overlays_, "Draw published curves too: " + PublishedCyclicNames(), "NAME")
        .SeparatedBy(',')
        .Suggest(PublishedCyclicKeys());
  }

  Report Run() override {
    const std::vector<Fit::ModelChoice> choices = ModelsNamed(families_, "--family", "cyclic");
    std::vector<PublishedCyclic> published;
    for (const std::string& name : overlays_) published.push_back(PublishedCyclicCalled(name));
    const Fit::CyclicData data = ReadData();
    Report report = FitModels(choices, data, FitOptions());
    AddPanel(kStiffness, "G/Gmax", published, report);
    AddPanel(kDamping, "damping ratio", published, report);
    report.appendices.push_back(StrainTable(report.result));
    report.amend = [result = report.result, published](Json& document) {
      document["table"] = TableJson(result);
      if (!published.empty()) document["overlays"] = OverlaysJson(published);
    };
    return report;
  }

  static void AddPanel(const char* curve, const char* label, const std::vector<PublishedCyclic>& published,
                       Report& report) {
    const auto& curves = report.result.curves;
    if (std::none_of(curves.begin(), curves.end(), [&](const Fit::CurveResult& c) { return c.name == curve; })) return;
    Panel panel{curve, {"shear strain", "", true, false}, {label, "", false, false}, {curve}, {}};
    for (const PublishedCyclic& soil : published) {
      const Fit::Curve& points = std::string(curve) == kStiffness ? soil.stiffness : soil.damping;
      panel.overlays.push_back({soil.legend, points.x, points.y});
    }
    report.panels.push_back(std::move(panel));
  }

  Fit::CyclicData ReadData() {
    if (stiffnessFile_.empty() && dampingFile_.empty()) {
      throw Failure(ExitCode::Usage, "give a test curve: --stiffness, --damping or both");
    }
    Fit::CyclicData data;
    data.balance = !HasWeights();
    data.form = form_;
    if (!stiffnessFile_.empty()) {
      data.stiffness = ReadFractions(stiffnessFile_, kStiffness, Roles::kStiffnessRatio);
    }
    if (!dampingFile_.empty()) data.damping = ReadFractions(dampingFile_, kDamping, Roles::kDamping);
    return data;
  }

  /// A curve in fractions, whatever its columns say.
  Fit::Curve ReadFractions(const std::string& file, const char* name, const Role& ordinate) {
    const MeasuredCurve measured = ReadCurve(file, name, Roles::kShearStrain, ordinate);
    Fit::RequireFractions(measured);
    return measured.curve;
  }

  std::string families_;
  std::string stiffnessFile_;
  std::string dampingFile_;
  Fit::CyclicForm form_ = Fit::CyclicForm::Ordinate;
  std::vector<std::string> overlays_;
};

}  // namespace

void AddCyclicVerbs(CommandList& commands) { commands.push_back(MakeCommand<CyclicFit>()); }

}  // namespace Xem::Tool
