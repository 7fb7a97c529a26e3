#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "command/values.h"
#include "commands.h"
#include "numbers.h"
#include "output/csv_cell.h"
#include "output/output.h"
#include "text.h"
#include "xem/fit/json.h"
#include "xem/fit/reading.h"

namespace Xem::Tool {
namespace {

class Eval : public Command {
 public:
  Eval()
      : Command({"", "eval", "Evaluate any stored result on a grid",
                 "xemfit prony fit --terms 2 polymer_relaxation.csv --json fit.json --quiet\n"
                 "xemfit eval fit.json --curve relaxation --grid 0.01:1000:6:log"}) {}

  void Declare(Options& options) override {
    options.Text("file", file_, "Result, as written by --json; - for standard input", "FILE").Required();
    options.Text("--curve", curve_, "Curve of the result; may be left out where there is one", "NAME");
    options
        .Text("--grid", grid_, "Abscissae, equally spaced, or with :log equally spaced in their logarithm",
              "FROM:TO:COUNT[:log]")
        .Required();
    options.Text("--out", out_, "Write there instead of standard output", "FILE").Writes();
  }

  ExitCode Execute(const std::vector<std::string>&) override {
    const std::vector<double> grid = Grid();
    if (!out_.empty()) CheckOutputFile(out_);
    const Fit::Result result = Fit::FromJson(Fit::ReadInput(file_), Fit::SourceName(file_));
    const std::string curve = Curve(result);
    const Fit::Band band = Fit::ConfidenceBand(result);
    std::string text = band ? "x,fitted,lower,upper\n" : "x,fitted\n";
    for (const double x : grid) {
      text += CsvCell(x) + ',' + CsvCell(Value(result, curve, x));
      if (band) text += BandCells(band(curve, x));
      text += '\n';
    }
    if (out_.empty()) {
      WriteStandardOutput(text);
    } else {
      ReplaceFile(out_, text);
    }
    return ExitCode::Fitted;
  }

 private:
  std::vector<double> Grid() const {
    constexpr std::string_view kLog = ":log";
    const bool logarithmic = grid_.ends_with(kLog);
    std::vector<double> grid = ParseGrid(grid_.substr(0, grid_.size() - (logarithmic ? kLog.size() : 0)), "--grid");
    if (!logarithmic) return grid;
    if (!(grid.front() > 0.0)) throw Failure(ExitCode::Usage, "--grid: a logarithmic grid begins above 0");
    const double from = std::log10(grid.front());
    const double step = (std::log10(grid.back()) - from) / (static_cast<double>(grid.size()) - 1.0);
    for (std::size_t i = 1; i + 1 < grid.size(); ++i) grid[i] = std::pow(10.0, from + static_cast<double>(i) * step);
    return grid;
  }

  std::string Curve(const Fit::Result& result) const {
    std::vector<std::string> names;
    for (const Fit::CurveResult& curve : result.curves) names.push_back(curve.name);
    if (!curve_.empty()) return curve_;
    if (names.size() == 1) return names.front();
    throw Failure(ExitCode::Usage, "--curve: name one of the curves of the result: " + Join(names, ", "));
  }

  /// Empty where there is no band.
  static std::string BandCells(const Fit::Interval& band) {
    const auto cell = [](double value) { return std::isfinite(value) ? CsvCell(value) : std::string(); };
    return ',' + cell(band.lower) + ',' + cell(band.upper);
  }

  double Value(const Fit::Result& result, const std::string& curve, double x) const {
    const double value = result.evaluate(curve, x);
    if (std::isfinite(value)) return value;
    throw Failure(ExitCode::Other, fmt::format("curve {} has no finite value at {}", Printable(curve), Shortly(x)));
  }

  std::string file_;
  std::string curve_;
  std::string grid_;
  std::string out_;
};

}  // namespace

std::unique_ptr<Command> MakeEvalCommand() { return MakeCommand<Eval>(); }

}  // namespace Xem::Tool
