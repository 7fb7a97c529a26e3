#include "verbs/shared_options.h"

namespace Xem::Tool {

void DeclareInput(Options& options, InputOptions& input) {
  options.Pairs("--column", input.columns, "Column of a role; x and y stand for abscissa and ordinate", "ROLE=NAME");
  options.Pairs("--select", input.selection, "Use only rows with this value in a column", "COLUMN=VALUE");
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
