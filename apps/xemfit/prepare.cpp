#include "xem/fit/prepare.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <utility>
#include <vector>

#include "command/values.h"
#include "commands.h"
#include "input/bundled.h"
#include "numbers.h"
#include "output/output.h"
#include "output/plot.h"
#include "text.h"
#include "verbs/shared_options.h"

namespace Xem::Tool {
namespace {

constexpr const char* kKept = "kept";

/// What a file is made of: the curve, the scatter of a mean, what led to it.
struct Outcome {
  Fit::Curve curve;
  std::vector<double> deviation;
  std::string unit;
  std::vector<std::string> history;
  std::vector<Overlay> raw;
};

class PrepareRecord : public Command {
 public:
  PrepareRecord()
      : Command({"",
                 "prepare",
                 "Turn the record of a testing machine into a curve to fit",
                 "printf 'Time;Force;Travel\\ns;N;mm\\n0;0,0;0,0\\n1;4,5;5,0\\n2;7,1;10,0\\n3;4,0;5,1\\n' > raw.csv\n"
                 "xemfit prepare raw.csv --area 20 --gauge-length 25 --cut-unloading --out curve.csv\n"
                 "xemfit prepare treloar1944_uniaxial.csv --measure true --points 10",
                 {Roles::kForce, Roles::kExtension, Roles::kStrain, Roles::kStress, Roles::kTrueStrain,
                  Roles::kTrueStress}}) {}

  bool ReadsCurves() const override { return true; }

  void Declare(Options& options) override {
    options.Texts("files", files_, "Records: force or stress, extension or strain; - for standard input", "FILE")
        .Required();
    options.Text("--out", out_, "Curve to write; - for standard output, also when it is left out", "FILE").Writes();
    options.Flag("--average", average_, "The mean of several records, and its scatter (column stress_std)");
    options.Number("--area", prepare_.area, "First cross-section in mm2, which makes stress of force", 0.0);
    options.Number("--gauge-length", prepare_.gaugeLength, "First length in mm, which makes strain of extension", 0.0);
    options.Choice("--measure", prepare_.measure, "Of the output; that of the input is told by its columns",
                   {{"engineering", Fit::CurveMeasure::Engineering}, {"true", Fit::CurveMeasure::True}});
    options.Text("--cycle", cycle_, "Cycle of a record that goes back and forth, counted from 1, or the last one",
                 "N|last");
    options.Choice<std::optional<Fit::Branch>>(
        "--branch", prepare_.branch, "Of that cycle; loading when left out",
        {{"loading", Fit::Branch::Loading}, {"unloading", Fit::Branch::Unloading}});
    options.Flag("--cut-unloading", prepare_.cutUnloading, "Leave out what follows the largest strain");
    options.Flag("--zero", prepare_.zero, "Shift to the zero of the branch");
    options.Flag("--toe", prepare_.toe,
                 "Take out the slack: where the straight part, prolonged, meets zero stress becomes strain 0");
    options.Text("--range", range_, "Keep strains between these, in the measure of the output", "LO:HI");
    options.Flag("--smooth", prepare_.smooth, "Smooth stresses by parabolas over a fiftieth of the curve");
    options.Count("--points", points_, "Thin to so many points that keep the shape; of a mean, how many it has",
                  "COUNT");
    options.Text("--plot", plot_, "Draw the record in grey and what was kept in colour (.png, .svg or .pdf)", "FILE")
        .Writes();
    options.Flag("-q,--quiet", quiet_, "Do not tell the steps");
    DeclareInput(options, input_);
  }

  ExitCode Execute(const std::vector<std::string>&) override {
    ReadOptions();
    CheckOutputs({"", out_, plot_, "", quiet_}, files_);
    std::vector<Fit::Prepared> prepared;
    for (const std::string& file : files_) prepared.push_back(PrepareOne(file));
    const Outcome outcome = average_ ? Mean(prepared) : Single(std::move(prepared.front()));
    const std::string picture = plot_.empty() ? "" : DrawPlot(Picture(outcome), plot_);
    const std::string text = CurveText(outcome);
    if (!plot_.empty()) ReplaceFile(plot_, picture);
    if (out_.empty() || out_ == "-") {
      WriteStandardOutput(text);
      return ExitCode::Fitted;
    }
    ReplaceFile(out_, text);
    if (!quiet_) WriteStandardOutput(Told(outcome));
    return ExitCode::Fitted;
  }

 private:
  void ReadOptions() {
    if (files_.size() > 1 && !average_) {
      throw Failure(ExitCode::Usage,
                    fmt::format("{} records, but one curve is made of one; --average makes their mean", files_.size()));
    }
    if (!cycle_.empty()) {
      const auto number = ParseCount(cycle_);
      if (cycle_ != "last" && !(number && *number > 0)) {
        throw Failure(ExitCode::Usage, fmt::format("--cycle: {} is neither last nor a number from 1", Quoted(cycle_)));
      }
      prepare_.cycle = number.value_or(Fit::kLastCycle);
    }
    if (!range_.empty()) {
      const NumberInterval range = ParseInterval(range_, "--range");
      prepare_.range = {range.lower, range.upper};
    }
    if (points_ != kAllPoints && points_ < 2) throw Failure(ExitCode::Usage, "--points: at least 2 are needed");
    if (points_ != kAllPoints && !average_) prepare_.points = static_cast<std::size_t>(points_);
    for (const auto& [role, column] : input_.columns) RequireRole(role);
    if (std::count(files_.begin(), files_.end(), "-") > 1) {
      throw Failure(ExitCode::Usage, "standard input (-) can be read only once");
    }
  }

  void RequireRole(const std::string& role) const {
    std::vector<std::string> names{"x", "y"};
    for (const Role& known : Text().roles) names.emplace_back(known.name);
    if (std::find(names.begin(), names.end(), role) != names.end()) return;
    throw Failure(ExitCode::Usage,
                  fmt::format("--column: there is no role {}; the roles are {}", Quoted(role), Join(names, ", ")));
  }

  Fit::Prepared PrepareOne(const std::string& file) const {
    Fit::Table table = Fit::ParseTable(ReadFile(file), Fit::SourceName(file), input_.reading);
    Fit::SelectRows(table, input_.selection);
    const bool hasSize = prepare_.area > 0.0 || prepare_.gaugeLength > 0.0;
    Fit::RawRecord record = Fit::RecordFromTable(table, hasSize, input_.columns);
    record.curve.curve.name = table.source;
    Fit::Prepared prepared = Fit::Prepare(record, prepare_);
    // More than a picture shows.
    constexpr std::size_t kDrawn = 4000;
    if (!plot_.empty()) prepared.raw = Fit::Thin(prepared.raw, kDrawn).curve;
    return prepared;
  }

  static Outcome Single(Fit::Prepared prepared) {
    return {std::move(prepared.curve),
            {},
            prepared.unit,
            std::move(prepared.history),
            {{"record", std::move(prepared.raw.x), std::move(prepared.raw.y), true}}};
  }

  Outcome Mean(std::vector<Fit::Prepared>& prepared) const {
    Outcome outcome;
    outcome.unit = prepared.front().unit;
    std::vector<Fit::Curve> tests;
    for (Fit::Prepared& one : prepared) {
      const auto factor = Fit::ConversionFactor(one.unit, outcome.unit);
      if (!factor) {
        throw Failure(ExitCode::BadData,
                      fmt::format("{}: stress in {} cannot be converted to {}, the unit of the first", one.curve.name,
                                  Quoted(one.unit), Quoted(outcome.unit)));
      }
      for (Fit::Curve* curve : {&one.curve, &one.raw}) {
        for (double& stress : curve->y) stress *= *factor;
      }
      outcome.history.insert(outcome.history.end(), one.history.begin(), one.history.end());
      outcome.raw.push_back({one.curve.name, one.raw.x, one.raw.y, true});
      tests.push_back(std::move(one.curve));
    }
    Fit::MeanCurve mean = Fit::Average(tests, points_ == kAllPoints ? 0 : static_cast<std::size_t>(points_));
    outcome.history.push_back(fmt::format("averaged {} records at {} strains from {} to {}", tests.size(),
                                          mean.curve.x.size(), Shortly(mean.curve.x.front()),
                                          Shortly(mean.curve.x.back())));
    outcome.curve = std::move(mean.curve);
    outcome.deviation = std::move(mean.deviation);
    return outcome;
  }

  bool IsTrue() const { return prepare_.measure == Fit::CurveMeasure::True; }
  std::string StrainName() const { return IsTrue() ? "true_strain" : "strain"; }
  std::string StressName() const { return IsTrue() ? "true_stress" : "stress"; }

  /// The unit stands in a comment, so that names of columns are the same for all units.
  std::string CurveText(const Outcome& outcome) const {
    std::string text = "# prepared by xemfit " XEM_VERSION "\n";
    for (const std::string& step : outcome.history) text += "# " + OneLine(step) + '\n';
    const bool mean = !outcome.deviation.empty();
    if (!outcome.unit.empty()) {
      text += fmt::format("# unit of {}: {}\n", StressName(), OneLine(outcome.unit));
      if (mean) text += fmt::format("# unit of stress_std: {}\n", OneLine(outcome.unit));
    }
    text += StrainName() + ',' + StressName() + (mean ? ",stress_std\n" : "\n");
    // More digits than any instrument has, but none that conversions leave behind.
    const auto cell = [](double value) { return fmt::format("{:.12g}", value); };
    for (std::size_t i = 0; i < outcome.curve.x.size(); ++i) {
      text += cell(outcome.curve.x[i]) + ',' + cell(outcome.curve.y[i]);
      if (mean) text += ',' + cell(outcome.deviation[i]);
      text += '\n';
    }
    return text;
  }

  std::string Told(const Outcome& outcome) const {
    std::string text;
    for (const std::string& step : outcome.history) text += OneLine(step) + '\n';
    return text + fmt::format("{}: {} points\n", Printable(out_), outcome.curve.x.size());
  }

  /// A mean has its scatter around it.
  Report Picture(const Outcome& outcome) const {
    Report report;
    report.fitted = false;
    const bool mean = !outcome.deviation.empty();
    Fit::CurveResult curve;
    curve.name = mean ? "mean" : kKept;
    curve.x = outcome.curve.x;
    curve.measured = curve.fitted = outcome.curve.y;
    for (std::size_t i = 0; i < outcome.deviation.size(); ++i) {
      curve.lower.push_back(curve.measured[i] - outcome.deviation[i]);
      curve.upper.push_back(curve.measured[i] + outcome.deviation[i]);
    }
    report.result.curves.push_back(curve);
    Panel panel{"",
                {IsTrue() ? "true strain" : "strain", "", false, false},
                {IsTrue() ? "true stress" : "stress", outcome.unit, false, false},
                {},
                outcome.raw};
    panel.lines = "line through it";
    panel.band = "standard deviation";
    report.panels = {std::move(panel)};
    return report;
  }

  static constexpr int kAllPoints = std::numeric_limits<int>::min();

  std::vector<std::string> files_;
  std::string out_;
  std::string plot_;
  bool average_ = false;
  bool quiet_ = false;
  std::string cycle_;
  std::string range_;
  int points_ = kAllPoints;
  Fit::PrepareOptions prepare_;
  InputOptions input_;
};

}  // namespace

std::unique_ptr<Command> MakePrepareCommand() { return MakeCommand<PrepareRecord>(); }

}  // namespace Xem::Tool
