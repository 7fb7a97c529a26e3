#include <memory>
#include <string>
#include <vector>

#include "command/values.h"
#include "verbs/compare.h"
#include "verbs/verb.h"
#include "verbs/verbs.h"
#include "xem/fit/hyperelastic.h"

namespace Xem::Tool {
namespace {

constexpr int kMostTerms = 6;

class VolumeFit : public Verb {
 public:
  VolumeFit()
      : Verb({"volume",
              "fit",
              "Fit the volumetric energy to a confined compression test",
              "xemfit volume fit --terms 2 silicone_volumetric.csv\n"
              "xemfit volume fit --terms 1..3 silicone_volumetric.csv --plot fit.png",
              {Roles::kLinearStretch, Roles::kPressure}},
             Shares::Fit) {}

 private:
  void DeclareOwn(Options& options) override {
    options.Text("--terms", terms_, "Number of terms, or a range of them: these are compared", "N|FROM..TO").Required();
    options.Text("file", file_, "Linear stretch or volume ratio, pressure (positive in compression)", "FILE")
        .Required();
  }

  Report Run() override {
    const CountRange range = ParseCountRange(terms_, 1, kMostTerms, "--terms");
    MeasuredCurve measured = ReadCurve(file_, "volumetric", Roles::kLinearStretch, Roles::kPressure);
    const Fit::VolumetricData data{std::move(measured.curve), measured.yUnit};
    const Fit::Options options = FitOptions();
    std::vector<Fit::ModelChoice> choices;
    for (int terms = range.from; terms <= range.to; ++terms) choices.push_back({"volumetric", terms});
    Report report = FitModels(choices, data, options);
    report.panels = {{"", {"linear stretch", "", false, false}, {"pressure", data.pressureUnit, false, false}, {}}};
    return report;
  }

  std::string terms_;
  std::string file_;
};

}  // namespace

void AddVolumeVerbs(CommandList& commands) { commands.push_back(MakeCommand<VolumeFit>()); }

}  // namespace Xem::Tool
