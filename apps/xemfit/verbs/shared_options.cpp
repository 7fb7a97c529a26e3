#include "verbs/shared_options.h"

#include <fmt/format.h>

#include <charconv>

#include "command/values.h"
#include "failure.h"
#include "numbers.h"
#include "text.h"

namespace Xem::Tool {
namespace {

Fit::Interval IntervalOf(const std::string& text, const char* option) {
  const NumberInterval interval = ParseInterval(text, option);
  return {interval.lower, interval.upper};
}

/// CURVE=LO:HI, or LO:HI for all curves.
void ReadRange(const std::string& text, std::map<std::string, Fit::Interval>& ranges) {
  const auto equals = text.rfind('=');
  const std::string curve = equals == std::string::npos ? "" : std::string(Trimmed(text.substr(0, equals)));
  const std::string range = equals == std::string::npos ? text : text.substr(equals + 1);
  if (ranges.emplace(curve, IntervalOf(range, "--range")).second) return;
  throw Failure(ExitCode::Usage, curve.empty() ? "--range: a range for all curves is given twice"
                                               : fmt::format("--range: {} is given twice", Quoted(curve)));
}

/// N or N-M, from 1, into `lines`; false for anything else.
bool ReadLines(const std::string& text, std::set<int>& lines) {
  constexpr int kMostAtOnce = 1000000;
  const auto dash = text.find('-');
  const auto first = ParseCount(Trimmed(text.substr(0, dash)));
  const auto last = dash == std::string::npos ? first : ParseCount(Trimmed(text.substr(dash + 1)));
  if (!first || !last || *first < 1 || *last < *first || *last - *first >= kMostAtOnce) return false;
  for (int line = *first; line <= *last; ++line) lines.insert(line);
  return true;
}

/// N or N,SEED.
void ReadBootstrap(const std::string& text, Fit::Options& fit) {
  const auto comma = text.find(',');
  const auto count = ParseCount(text.substr(0, comma));
  bool understood = count && *count > 0;
  if (understood) fit.bootstrap = *count;
  if (understood && comma != std::string::npos) {
    const std::string seed(Trimmed(text.substr(comma + 1)));
    const auto [end, error] = std::from_chars(seed.data(), seed.data() + seed.size(), fit.seed);
    understood = error == std::errc() && end == seed.data() + seed.size();
  }
  if (understood) return;
  throw Failure(ExitCode::Usage,
                fmt::format("--bootstrap: {} is not of the form N or N,SEED, such as 500 or 500,7", Quoted(text)));
}

}  // namespace

std::map<std::string, std::set<int>> LinesLeftOut(const FitOptions& options) {
  std::map<std::string, std::set<int>> leftOut;
  for (const std::string& text : options.leftOut) {
    const auto equals = text.rfind('=');
    std::set<int>& lines = leftOut[equals == std::string::npos ? "" : std::string(Trimmed(text.substr(0, equals)))];
    for (const std::string& part : Split(equals == std::string::npos ? text : text.substr(equals + 1), ',')) {
      if (ReadLines(part, lines)) continue;
      throw Failure(ExitCode::Usage, fmt::format("--leave-out: {} is not of the form CURVE=LINE,FROM-TO, such as "
                                                 "uniaxial=7,12-15, with lines of the file",
                                                 Quoted(text)));
    }
  }
  return leftOut;
}

Fit::Options ReadFitOptions(const FitOptions& options) {
  Fit::Options fit = options.fit;
  for (const auto& [name, text] : options.bounds) fit.bounds.emplace(name, IntervalOf(text, "--bounds"));
  for (const std::string& text : options.ranges) ReadRange(text, fit.ranges);
  if (!options.bootstrap.empty()) ReadBootstrap(options.bootstrap, fit);
  return fit;
}

void DeclareInput(Options& options, InputOptions& input) {
  options.Pairs("--column", input.columns, "Column of a role; x and y stand for abscissa and ordinate", "ROLE=NAME");
  options.Pairs("--select", input.selection, "Use only rows with this value in a column", "COLUMN=VALUE");
  options.Choice("--decimal", input.reading.decimal, "Decimal sign of the numbers; else told by the file",
                 {{"point", Fit::DecimalSign::Point}, {"comma", Fit::DecimalSign::Comma}});
  options.Choice("--separator", input.reading.separator, "Between columns; else told by the header row",
                 {{"comma", ','}, {"semicolon", ';'}, {"tab", '\t'}});
  options.Count("--header-line", input.reading.headerLine, "Line that names the columns; else found", "LINE");
}

void DeclareFit(Options& options, FitOptions& fit) {
  options.Choice("--residual", fit.fit.residual, "What is minimised: measured - fitted, or 1 - fitted / measured",
                 {{"absolute", Fit::Residual::Absolute}, {"relative", Fit::Residual::Relative}});
  options.Choice("--engine", fit.fit.engine, "Best fit, or exactly what the library's exported function returns",
                 {{"best", Fit::Engine::Best}, {"export", Fit::Engine::Export}});
  options.Pairs("--hold", fit.fit.held, "Keep a parameter at a value", "NAME=VALUE");
  options.Pairs("--start", fit.fit.start, "Starting value of a parameter, tried besides the automatic ones",
                "NAME=VALUE");
  options.Pairs("--weight", fit.weights, "Factor on the residuals of a curve", "CURVE=VALUE");
  options.Pairs("--bounds", fit.bounds, "Keep a parameter within an interval; either side may be empty", "NAME=LO:HI");
  options
      .Texts("--range", fit.ranges, "Use the points with abscissae in an interval, of one curve or of all",
             "[CURVE=]LO:HI")
      .SeparatedBy(',')
      .Repeatable();
  options
      .Texts("--leave-out", fit.leftOut, "Leave out points by their lines in the file, such as uniaxial=7,12-15",
             "[CURVE=]LINES")
      .Repeatable();
  options.Real("--level", fit.fit.level, "Level of the intervals, between 0 and 1", "NUMBER").ShowDefault();
  options.Text("--bootstrap", fit.bootstrap, "Intervals from so many resamplings of the residuals, too", "N[,SEED]");
  options.Flag("--band", fit.fit.band, "Confidence bands of the fitted curves in JSON, picture and page");
}

void DeclareStable(Options& options, bool& requireStable) {
  options.Flag("--require-stable", requireStable, "Exit with code 5 when the model has a stability limit");
}

void DeclareOutput(Options& options, OutputOptions& output) {
  options.Text("--json", output.json, "Write the result as JSON; - for standard output instead of the table", "FILE")
      .Writes();
  options.Text("--curves", output.curves, "Write measured and fitted curves as CSV", "FILE").Writes();
  options.Text("--plot", output.plot, "Draw measured points and fitted curves (.png, .svg or .pdf)", "FILE").Writes();
  options
      .Text("--report", output.report, "Write the whole result as one page that opens in a browser, offline",
            "FILE.html")
      .Writes();
  options.Flag("-q,--quiet", output.quiet, "Print no table");
}

}  // namespace Xem::Tool
