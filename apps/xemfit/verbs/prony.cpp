#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "numbers.h"
#include "output/text_table.h"
#include "text.h"
#include "verbs/stored_rubber.h"
#include "verbs/verb.h"
#include "verbs/verbs.h"
#include "xem/fit/viscoelastic.h"

namespace Xem::Tool {
namespace {

constexpr const char* kCurve = "relaxation";

class PronyFit final : public Verb {
 public:
  PronyFit()
      : Verb({"prony",
              "fit",
              "Fit a Prony series to a relaxation curve",
              "xemfit prony fit --terms 4 polymer_relaxation.csv\n"
              "xemfit prony fit --terms auto --instantaneous free polymer_relaxation.csv --band --plot fit.png\n"
              "xemfit prony fit --terms 2 --hold tau1=0.1 polymer_relaxation.csv --json fit.json",
              {Roles::kTime, Roles::kModulusRatio}},
             Shares::Fit) {}

 private:
  void DeclareOwn(Options& options) override {
    options
        .Text("file", file_,
              "Relaxation curve: time, modulus (raw or over the instantaneous one); - for standard input", "FILE")
        .Required();
    options.Text("--terms", terms_, "Number of terms; auto: as many as the data support", "COUNT|auto").ShowDefault();
    options.Text("--instantaneous,--normalise", instantaneous_,
                 "Instantaneous modulus E0 of raw moduli: fitted (what columns of moduli are given), or held at the "
                 "first value or at a given one",
                 "free|first|MODULUS");
  }

  Report Run() override {
    Fit::RelaxationData data;
    SetInstantaneous(data);
    MeasuredCurve measured = ReadCurve(file_, kCurve, Roles::kTime, Roles::kModulusRatio);
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

  int Terms() const {
    if (terms_ == "auto") return Fit::kAutomaticTerms;
    const auto terms = ParseCount(terms_);
    if (terms && *terms >= 1 && *terms <= Fit::kMostPronyTerms) return *terms;
    throw Failure(ExitCode::Usage, fmt::format("--terms: {} is neither auto nor a number from 1 to {}", Quoted(terms_),
                                               Fit::kMostPronyTerms));
  }

  void SetInstantaneous(Fit::RelaxationData& data) const {
    if (instantaneous_.empty()) return;
    if (instantaneous_ == "first" || instantaneous_ == "free") {
      data.normalise = instantaneous_ == "first" ? Fit::Normalise::First : Fit::Normalise::Free;
      return;
    }
    const auto modulus = ParseNumber(instantaneous_);
    if (!modulus || !(*modulus > 0.0)) {
      throw Failure(ExitCode::Usage,
                    fmt::format("--instantaneous (--normalise): {} is neither free, first nor a positive modulus",
                                Quoted(instantaneous_)));
    }
    data.normalise = Fit::Normalise::Value;
    data.modulus = *modulus;
  }

  std::string file_;
  std::string terms_ = "auto";
  std::string instantaneous_;
};

class PronyConvert final : public Verb {
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
  commands.push_back(std::make_unique<PronyFit>());
  commands.push_back(std::make_unique<PronyConvert>());
}

}  // namespace Xem::Tool
