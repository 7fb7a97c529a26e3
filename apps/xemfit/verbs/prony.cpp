#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "numbers.h"
#include "output/text_table.h"
#include "text.h"
#include "verbs/stored_rubber.h"
#include "verbs/sweeps.h"
#include "verbs/verbs.h"
#include "xem/fit/viscoelastic.h"

namespace Xem::Tool {
namespace {

constexpr const char* kCurve = "relaxation";

class PronyFit : public SweepVerb {
 public:
  PronyFit()
      : SweepVerb({"prony",
                   "fit",
                   "Fit a Prony series to relaxation curves and frequency sweeps",
                   "xemfit prony fit --terms 4 polymer_relaxation.csv\n"
                   "xemfit prony fit --terms auto --instantaneous free polymer_relaxation.csv --band --plot fit.png\n"
                   "xemfit prony fit --terms 2 --hold tau1=0.1 polymer_relaxation.csv --json fit.json\n"
                   "xemfit prony fit --terms 12 --reference-temperature 60 dma_pvb_raw.csv --plot pvb.png",
                   {Roles::kTime, Roles::kModulusRatio, Roles::kFrequency, Roles::kOmega, Roles::kStorage, Roles::kLoss,
                    Roles::kTemperature, Roles::kSet}},
                  Shares::Fit) {}

 private:
  void DeclareOwn(Options& options) override {
    options
        .Texts(
            "files", files_,
            "Relaxation curves (time, modulus, raw or over the instantaneous one) and sweeps (frequency, storage and "
            "loss modulus) of one material; - for standard input",
            "FILE")
        .Required();
    options.Text("--terms", terms_, "Number of terms; auto: as many as the data support", "COUNT|auto").ShowDefault();
    options.Text("--instantaneous,--normalise", instantaneous_,
                 "Instantaneous modulus E0 of raw moduli: fitted (what columns of moduli are given), or held at the "
                 "first value or at a given one",
                 "free|first|MODULUS");
    options.Text("--reference-temperature", reference_,
                 "Superpose the temperatures of the files first, as prony shift does, and fit the master curve",
                 "TEMPERATURE");
  }

  Report Run() override {
    std::vector<Fit::Table> tables;
    for (const std::string& file : files_) tables.push_back(ReadTable(file));
    if (!reference_.empty()) return FitMaster(tables);
    if (tables.size() == 1 && !HoldsFrequencies(tables.front())) return FitRelaxation(std::move(tables.front()));
    const Sweeps sweeps = ReadSweeps(tables);
    RequireOneTemperature(sweeps);
    Fit::DynamicData data = DataOf(sweeps);
    for (const Fit::Isotherm& isotherm : sweeps.isotherms) {
      data.curves.insert(data.curves.end(), isotherm.curves.begin(), isotherm.curves.end());
    }
    return FitDynamic(data, sweeps, DynamicOptions());
  }

  Report FitRelaxation(Fit::Table table) {
    Fit::RelaxationData data;
    SetInstantaneous(data.normalise, data.modulus);
    if (const auto temperature = Fit::FindColumn(table, Roles::kTemperature, WantedColumn(Roles::kTemperature, 0))) {
      const Sweeps sweeps = ReadSweeps({table});
      RequireOneTemperature(sweeps);
      // A column T must not be taken for the time.
      table.columns.erase(table.columns.begin() + static_cast<std::ptrdiff_t>(temperature->index));
      ForgetCurves();
    }
    MeasuredCurve measured = CurveFrom(std::move(table), kCurve, Roles::kTime, Roles::kModulusRatio);
    if (instantaneous_.empty() && Fit::HoldsModuli(measured)) data.normalise = Fit::Normalise::Free;
    data.curve = std::move(measured.curve);
    data.timeUnit = measured.xUnit;
    data.modulusUnit = measured.yUnit;

    Report report;
    report.result = Fit::FitProny(data, Terms(), FitOptions());
    const bool raw = report.result.parameters.size() % 2 == 1;
    const Axis ratio{"modulus over instantaneous modulus", "", false, false};
    report.panels = {
        {"", {"time", data.timeUnit, true, false}, raw ? Axis{"modulus", data.modulusUnit, false, false} : ratio, {}}};
    return report;
  }

  void RequireOneTemperature(const Sweeps& sweeps) const {
    if (sweeps.isotherms.size() < 2) return;
    throw Failure(ExitCode::BadData,
                  fmt::format("{}: curves at {} temperatures, {:.4g} to {:.4g} {}, are no single curve; superpose them "
                              "with --reference-temperature, or take one with --select",
                              Printable(files_.front()), sweeps.isotherms.size(), sweeps.isotherms.front().temperature,
                              sweeps.isotherms.back().temperature, sweeps.temperatureUnit));
  }

  Fit::DynamicData DataOf(const Sweeps& sweeps) const {
    Fit::DynamicData data;
    SetInstantaneous(data.normalise, data.modulus);
    data.timeUnit = sweeps.timeUnit;
    data.modulusUnit = sweeps.modulusUnit;
    return data;
  }

  /// Relative residuals, unless others were asked for: storage and loss differ by decades.
  Fit::Options DynamicOptions() const {
    Fit::Options options = FitOptions();
    if (!HasResidual()) options.residual = Fit::Residual::Relative;
    return options;
  }

  Report FitDynamic(const Fit::DynamicData& data, const Sweeps& sweeps, const Fit::Options& options) {
    Report report;
    report.result = Fit::FitDynamicProny(data, Terms(), options);
    report.result.notes.insert(report.result.notes.begin(), sweeps.notes.begin(), sweeps.notes.end());
    AddPanels(data, sweeps, report);
    return report;
  }

  Report FitMaster(const std::vector<Fit::Table>& tables) {
    const auto reference = ParseNumber(reference_);
    if (!reference) {
      throw Failure(ExitCode::Usage, "--reference-temperature: " + Quoted(reference_) + " is not a number");
    }
    Sweeps sweeps = ReadSweeps(tables);
    if (!sweeps.hasTemperatures) {
      throw Failure(ExitCode::BadData,
                    "--reference-temperature: the files name no temperatures; a column may be called "
                    "temperature or T, or named by --column temperature=NAME");
    }
    Fit::Options options;
    options.level = FitOptions().level;
    options.ranges = FitOptions().ranges;  // of the curves as they were measured
    const Fit::Superposition superposition = Fit::Superpose(
        {sweeps.isotherms, *reference, sweeps.unit, Fit::ShiftLaw::Wlf, false, sweeps.modulusUnit}, options);
    sweeps.notes.insert(sweeps.notes.end(), superposition.result.notes.begin(), superposition.result.notes.end());
    Fit::DynamicData data = DataOf(sweeps);
    for (const Fit::MasterCurve& master : superposition.master) data.curves.push_back(master.reduced);
    Fit::Options ofMaster = DynamicOptions();
    ofMaster.ranges.clear();
    Report report = FitDynamic(data, sweeps, ofMaster);
    for (const Fit::DroppedPoint& point : superposition.result.dropped) {
      if (point.curve != "shift_factors") report.result.dropped.push_back(point);
    }
    report.amend = [superposition, reference](Json& document) { AmendShift(superposition, *reference, document); };
    report.appendices.push_back(FactorTable(sweeps, superposition));
    return report;
  }

  /// Moduli over frequency, over time, and the loss factor where both parts of a sweep are there.
  static void AddPanels(const Fit::DynamicData& data, const Sweeps& sweeps, Report& report) {
    const Axis modulus{"modulus", data.modulusUnit, true, false};
    Panel swept{"storage and loss modulus", FrequencyAxis(sweeps), modulus, {}};
    Panel timed{"relaxation", TimeAxis(sweeps), modulus, {}};
    for (const Fit::CurveResult& curve : report.result.curves) {
      const bool inTime = curve.name.starts_with(Fit::NameOf(Fit::ModulusKind::Relaxation));
      (inTime ? timed : swept).curves.push_back(curve.name);
    }
    Panel factor{"loss factor", FrequencyAxis(sweeps), {"loss over storage modulus", "", true, false}, {}};
    for (const Fit::CurveResult& storage : report.result.curves) {
      if (!storage.name.starts_with(Fit::NameOf(Fit::ModulusKind::Storage))) continue;
      const std::string number = storage.name.substr(std::string(Fit::NameOf(Fit::ModulusKind::Storage)).size());
      for (const Fit::CurveResult& loss : report.result.curves) {
        if (loss.name != Fit::NameOf(Fit::ModulusKind::Loss) + number || loss.x != storage.x) continue;
        Fit::CurveResult ratio;
        ratio.name = "loss_factor" + number;
        ratio.x = storage.x;
        for (std::size_t i = 0; i < loss.x.size(); ++i) {
          ratio.measured.push_back(loss.measured[i] / storage.measured[i]);
          ratio.fitted.push_back(loss.fitted[i] / storage.fitted[i]);
        }
        SortByAbscissa(ratio);
        factor.curves.push_back(ratio.name);
        report.drawn.push_back(std::move(ratio));
      }
    }
    for (Panel* panel : {&swept, &factor, &timed}) {
      if (!panel->curves.empty()) report.panels.push_back(*panel);
    }
    if (report.panels.size() == 1) report.panels.front().title.clear();
  }

  static void SortByAbscissa(Fit::CurveResult& curve) {
    std::vector<std::size_t> order(curve.x.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) { return curve.x[a] < curve.x[b]; });
    const Fit::CurveResult old = curve;
    for (std::size_t i = 0; i < order.size(); ++i) {
      curve.x[i] = old.x[order[i]];
      curve.measured[i] = old.measured[order[i]];
      curve.fitted[i] = old.fitted[order[i]];
    }
  }

  int Terms() const {
    if (terms_ == "auto") return Fit::kAutomaticTerms;
    const auto terms = ParseCount(terms_);
    if (terms && *terms >= 1 && *terms <= Fit::kMostPronyTerms) return *terms;
    throw Failure(ExitCode::Usage, fmt::format("--terms: {} is neither auto nor a number from 1 to {}", Quoted(terms_),
                                               Fit::kMostPronyTerms));
  }

  void SetInstantaneous(Fit::Normalise& normalise, double& given) const {
    if (instantaneous_.empty()) return;
    if (instantaneous_ == "first" || instantaneous_ == "free") {
      normalise = instantaneous_ == "first" ? Fit::Normalise::First : Fit::Normalise::Free;
      return;
    }
    const auto modulus = ParseNumber(instantaneous_);
    if (!modulus || !(*modulus > 0.0)) {
      throw Failure(ExitCode::Usage,
                    fmt::format("--instantaneous (--normalise): {} is neither free, first nor a positive modulus",
                                Quoted(instantaneous_)));
    }
    normalise = Fit::Normalise::Value;
    given = *modulus;
  }

  std::vector<std::string> files_;
  std::string terms_ = "auto";
  std::string instantaneous_;
  std::string reference_;
};

class PronyConvert : public Verb {
 public:
  PronyConvert()
      : Verb({"prony",
              "convert",
              "Turn a strain history into a relaxation curve with a fitted hyperelastic model",
              "printf 'time_s,strain\\n1,0.50\\n10,0.54\\n100,0.60\\n1000,0.63\\n' > creep.csv\n"
              "xemfit hyper fit --model ogden:2 --uniaxial treloar1944_uniaxial.csv --json fit.json --quiet\n"
              "xemfit prony convert --parameters fit.json --mode uniaxial creep.csv --reference 0.4 "
              "--curves relaxation.csv\n"
              "xemfit prony fit --terms 1 --normalise first --column time=x,g=fitted relaxation.csv",
              {Roles::kTime, Roles::kStrain, Roles::kShearStrain}},
             Shares::InputOutput) {}

 private:
  void DeclareOwn(Options& options) override {
    options.Text("file", file_, "Strain history: time, nominal strain (shear strain for simple_shear)", "FILE")
        .Required();
    options
        .Text("--parameters", parameters_, "Model and parameters, as written by --json; - for standard input", "FILE")
        .Required();
    options.Text("--mode", mode_, "uniaxial, equibiaxial, pure_shear or simple_shear", "MODE")
        .Suggest({"uniaxial", "equibiaxial", "pure_shear", "simple_shear"})
        .ShowDefault();
    options.Number("--reference", reference_, "Stress that is divided by the model's stress at every strain", 0.0)
        .Required();
  }

  Report Run() override {
    std::replace(mode_.begin(), mode_.end(), '-', '_');
    const Fit::Result stored = StoredRubber(ReadText(parameters_), Fit::SourceName(parameters_));
    const Role& strain = mode_ == "simple_shear" ? Roles::kShearStrain : Roles::kStrain;
    const MeasuredCurve record = ReadCurve(file_, kCurve, Roles::kTime, strain);

    Report report;
    report.fitted = false;
    report.result =
        Fit::ConvertToRelaxation(record.curve, reference_, [&](double value) { return stored.evaluate(mode_, value); });
    report.result.model = stored.model;
    report.result.terms = stored.terms;
    report.result.status = "converted";
    report.result.parameters = stored.parameters;
    report.panels = {
        {"", {"time", record.xUnit, true, false}, {"reference stress over model stress", "", false, false}, {}}};
    report.sections = {ValueTable(report.result)};
    return report;
  }

  static std::string ValueTable(const Fit::Result& result) {
    TextTable table({{"time"}, {"value"}});
    const Fit::CurveResult& curve = result.curves.front();
    for (std::size_t i = 0; i < curve.x.size(); ++i) table.Add({Shortly(curve.x[i]), Shortly(curve.fitted[i])});
    return table.Text();
  }

  std::string file_;
  std::string parameters_;
  std::string mode_ = "uniaxial";
  double reference_ = 0.0;
};

}  // namespace

void AddPronyVerbs(CommandList& commands) {
  commands.push_back(MakeCommand<PronyFit>());
  commands.push_back(MakeCommand<PronyConvert>());
}

}  // namespace Xem::Tool
