#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "verbs/compare.h"
#include "verbs/verbs.h"
#include "xem/fit/hyperelastic.h"

namespace Xem::Tool {
namespace {

constexpr int kMostTerms = 6;

constexpr const char* kManual =
    R"(Fits the volumetric energy of a hyperelastic model,

    U = sum D_k (J - 1)^(2k),    p = -dU/dJ = -2 sum k D_k (J - 1)^(2k-1),

to pressure (positive in compression) against volume ratio J or linear stretch, the cube root of J. The parameters D1, D2, ... are in the unit of the pressure; 2 D1 is the initial bulk modulus. Files of a volume strain are not read: add 1 first.)";

class VolumeFit final : public Verb {
 public:
  VolumeFit()
      : Verb({"volume",
              "fit",
              "Fit the volumetric energy to a confined compression test",
              "xemfit volume fit --terms 2 silicone_volumetric.csv\n"
              "xemfit volume fit --terms 1..3 silicone_volumetric.csv --plot fit.png",
              kManual,
              {Roles::kLinearStretch, Roles::kPressure}},
             Shares::Fit) {}

 private:
  void Declare(CLI::App& app) override {
    app.add_option("--terms", terms_, "Number of terms, or a range of them: these are compared")
        ->required()
        ->type_name("N|FROM..TO");
    app.add_option("file", file_, "Linear stretch or volume ratio, pressure (positive in compression)")
        ->required()
        ->type_name("FILE");
  }

  Report Run() override {
    const CountRange range = ParseCountRange(terms_, 1, kMostTerms, "--terms");
    MeasuredCurve measured = ReadCurve(file_, "volumetric", Roles::kLinearStretch, Roles::kPressure);
    const Fit::VolumetricData data{std::move(measured.curve), measured.yUnit};
    const Fit::Options options = FitOptions();
    std::vector<Candidate> candidates;
    for (int terms = range.from; terms <= range.to; ++terms) {
      candidates.push_back({"volumetric:" + std::to_string(terms),
                            [&data, &options, terms] { return Fit::FitVolumetric(data, terms, options); }});
    }
    Report report = FitCandidates(candidates);
    report.panels = {{"", {"linear stretch", "", false, false}, {"pressure", data.pressureUnit, false, false}, {}}};
    return report;
  }

  std::string terms_;
  std::string file_;
};

}  // namespace

void AddVolumeVerbs(VerbList& verbs) { verbs.push_back(std::make_unique<VolumeFit>()); }

}  // namespace Xem::Tool
