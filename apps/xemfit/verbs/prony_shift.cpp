#include <fmt/format.h>

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "numbers.h"
#include "text.h"
#include "verbs/sweeps.h"
#include "verbs/verbs.h"

namespace Xem::Tool {
namespace {

class PronyShift : public SweepVerb {
 public:
  PronyShift()
      : SweepVerb(
            {"prony",
             "shift",
             "Superpose curves at several temperatures to one master curve",
             "xemfit prony shift dma_pvb_raw.csv --reference-temperature 60 --curves master.csv --plot shift.png\n"
             "xemfit prony fit --terms 12 master.csv --plot series.png\n"
             "xemfit prony shift dma_pvb_raw.csv --reference-temperature 20 --law arrhenius --vertical",
             {Roles::kTime, Roles::kModulusRatio, Roles::kFrequency, Roles::kOmega, Roles::kStorage, Roles::kLoss,
              Roles::kTemperature, Roles::kSet}},
            Shares::Fit) {}

 private:
  void DeclareOwn(Options& options) override {
    options
        .Texts("files", files_,
               "Sweeps (frequency, storage and loss modulus) or relaxation curves (time, modulus) with a column of "
               "temperatures; - for standard input",
               "FILE")
        .Required();
    options
        .Text("--reference-temperature", reference_, "Temperature of the master curve, in the unit of the column",
              "TEMPERATURE")
        .Required();
    options.Choice(
        "--law", law_, "What is fitted to the shift factors",
        {{"wlf", Fit::ShiftLaw::Wlf}, {"arrhenius", Fit::ShiftLaw::Arrhenius}, {"none", Fit::ShiftLaw::None}});
    options.Flag("--vertical", vertical_, "Shift moduli by a factor for each temperature, too");
  }

  Report Run() override {
    const auto reference = ParseNumber(reference_);
    if (!reference) {
      throw Failure(ExitCode::Usage, "--reference-temperature: " + Quoted(reference_) + " is not a number");
    }
    std::vector<Fit::Table> tables;
    for (const std::string& file : files_) tables.push_back(ReadTable(file));
    const Sweeps sweeps = ReadSweeps(tables);
    if (!sweeps.hasTemperatures) {
      throw Failure(ExitCode::BadData, Printable(files_.front()) +
                                           ": there is no column of temperatures; it may be called temperature or T, "
                                           "or named by --column temperature=NAME");
    }
    const Fit::Superposition superposition =
        Fit::Superpose({sweeps.isotherms, *reference, sweeps.unit, law_, vertical_, sweeps.modulusUnit}, FitOptions());

    Report report;
    report.result = superposition.result;
    report.result.notes.insert(report.result.notes.begin(), sweeps.notes.begin(), sweeps.notes.end());
    report.panels = ShiftPanels(sweeps, superposition, *reference, report.drawn);
    report.appendices.push_back(FactorTable(sweeps, superposition));
    report.curveFile = [sweeps, superposition, reference](const std::string& command) {
      return MasterCsv(command, sweeps, superposition, *reference);
    };
    report.amend = [superposition, reference](Json& document) {
      AmendShift(superposition, *reference, document);
      AmendMaster(superposition, document);
    };
    return report;
  }

  /// The master curve beside the factors, with the common curve as what was fitted.
  static void AmendMaster(const Fit::Superposition& superposition, Json& document) {
    for (const Fit::MasterCurve& master : superposition.master) {
      const Fit::Curve& curve = master.reduced.curve;
      document["curves"].push_back({{"name", curve.name},
                                    {"points", curve.x.size()},
                                    {"dropped", 0},
                                    {"r2", nullptr},
                                    {"rmse", nullptr},
                                    {"relative_rms", master.misfit},
                                    {"x", curve.x},
                                    {"measured", curve.y},
                                    {"fitted", master.smooth}});
    }
  }

  std::vector<std::string> files_;
  std::string reference_;
  Fit::ShiftLaw law_ = Fit::ShiftLaw::Wlf;
  bool vertical_ = false;
};

}  // namespace

void AddShiftVerbs(CommandList& commands) { commands.push_back(MakeCommand<PronyShift>()); }

}  // namespace Xem::Tool
