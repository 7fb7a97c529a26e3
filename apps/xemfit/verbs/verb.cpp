#include "verbs/verb.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "input/bundled.h"
#include "input/digest.h"
#include "output/output.h"
#include "text.h"
#include "xem/version.h"

namespace Xem::Tool {
void Verb::Declare(Options& options) {
  DeclareOwn(options);
  if (shares_ == Shares::Fit || shares_ == Shares::FitAndStable) DeclareFit(options, fit_);
  if (shares_ == Shares::FitAndStable || shares_ == Shares::OutputAndStable) DeclareStable(options, requireStable_);
  if (shares_ != Shares::Output && shares_ != Shares::OutputAndStable) DeclareInput(options, input_);
  DeclareOutput(options, output_);
}

ExitCode Verb::Execute(const std::vector<std::string>& arguments) {
  CheckOutputs(output_, {});
  residualGiven_ = std::any_of(arguments.begin(), arguments.end(),
                               [](const std::string& argument) { return argument.starts_with("--residual"); });
  Report report = Run();
  auto& notes = report.result.notes;
  notes.insert(notes.begin(), readingNotes_.begin(), readingNotes_.end());
  RefuseUnusedColumns();
  CheckOutputs(output_, inputs_);
  TellInputs(report.result);
  if (report.result.version.empty()) report.result.version = XEM_VERSION;  // computed, not fitted
  const Fit::Result& result = report.result;
  if (requireStable_ && !result.stability) {
    throw Failure(ExitCode::Other, "--require-stable: model " + ModelLabel(result) + " has no stability report");
  }
  if (ReportTaker()) output_.quiet = true;
  WriteOutputs({Text().Path(), arguments}, report, output_);
  if (ReportTaker()) ReportTaker()(report);
  if (report.fitted && !result.converged)
    throw Failure(ExitCode::NotConverged,
                  "the fit did not converge: " + result.status + "; fewer terms, held values or another test may help");
  if (requireStable_ && !result.stability->Stable()) {
    throw Failure(ExitCode::Unstable, "model " + ModelLabel(result) + " is not stable at all strains");
  }
  return ExitCode::Fitted;
}

/// Rows are those that a fit used.
void Verb::TellInputs(Fit::Result& result) const {
  result.inputs = sources_;
  for (Fit::Input& input : result.inputs) {
    for (const Fit::CurveResult& curve : result.curves) {
      if (curve.name == input.curve && curve.measures.points > 0) input.rows = curve.measures.points;
    }
  }
}

std::string Verb::SourcesOf(std::string_view message) const {
  std::vector<std::string> named;
  for (const Fit::Input& source : sources_) {
    if (message.find("curve " + source.curve) == std::string_view::npos) continue;
    named.push_back(source.curve + " is from " + source.file);
  }
  return named.empty() ? "" : " (" + Join(named, ", ") + ")";
}

void Verb::RequireCurve(const char* option, const std::string& curve) const {
  const auto has = [&](const Fit::Input& source) { return source.curve == curve; };
  if (std::any_of(sources_.begin(), sources_.end(), has)) return;
  std::vector<std::string> names;
  for (const Fit::Input& source : sources_) names.push_back(source.curve);
  throw Failure(ExitCode::Usage,
                fmt::format("{}: there is no curve {}; the curves are {}", option, Quoted(curve), Join(names, ", ")));
}

Fit::Options Verb::FitOptions() const {
  Fit::Options options = ReadFitOptions(fit_);
  for (const auto& weight : fit_.weights) RequireCurve("--weight", weight.first);
  for (const auto& range : options.ranges) {
    if (!range.first.empty()) RequireCurve("--range", range.first);
  }
  for (const auto& lines : LinesLeftOut(fit_)) {
    if (!lines.first.empty()) RequireCurve("--leave-out", lines.first);
  }
  return options;
}

std::string Verb::ReadText(const std::string& path) {
  if (path == "-" && std::find(inputs_.begin(), inputs_.end(), "-") != inputs_.end()) {
    throw Failure(ExitCode::Usage, "standard input (-) can be read only once; give the other curves as files");
  }
  inputs_.push_back(path);
  std::string text = ReadFile(path);
  digests_[Fit::SourceName(path)] = Sha256(text);
  return text;
}

Fit::Table Verb::ReadTable(const std::string& path) { return ReadTable(path, input_.selection); }

Fit::Table Verb::ReadTable(const std::string& path, const std::map<std::string, std::string>& selection) {
  Fit::Table table = Fit::ParseTable(ReadText(path), Fit::SourceName(path), input_.reading);
  Fit::SelectRows(table, selection);
  return table;
}

std::optional<std::string> Verb::WantedColumn(const Role& role, char axis) {
  roles_.emplace(role.name);
  if (axis != 0) roles_.emplace(1, axis);
  const auto byRole = input_.columns.find(std::string(role.name));
  if (byRole != input_.columns.end()) return byRole->second;
  const auto byAxis = input_.columns.find(std::string(1, axis));
  return byAxis != input_.columns.end() ? std::optional(byAxis->second) : std::nullopt;
}

Fit::ColumnNames Verb::WantedColumns(const Fit::CurveRoles& roles) {
  Fit::ColumnNames columns;
  const auto add = [&](const Role& role, char axis) {
    if (const auto wanted = WantedColumn(role, axis)) columns.emplace(role.name, *wanted);
  };
  add(roles.x, 'x');
  add(roles.y, 'y');
  if (roles.companion) add(*roles.companion, 0);
  return columns;
}

void Verb::RefuseUnusedColumns() const {
  for (const auto& [key, column] : input_.columns) {
    if (roles_.count(key) > 0) continue;
    throw Failure(ExitCode::Usage, fmt::format("--column: there is no role {}; the roles are {}", Quoted(key),
                                               Join(std::vector<std::string>(roles_.begin(), roles_.end()), ", ")));
  }
}

MeasuredCurve Verb::ReadCurve(const std::string& path, const std::string& curveName, const Role& x, const Role& y,
                              const Role* lateral) {
  return CurveFrom(ReadTable(path), curveName, x, y, lateral);
}

MeasuredCurve Verb::CurveFrom(Fit::Table read, const std::string& curveName, const Role& x, const Role& y,
                              const Role* lateral) {
  Fit::CurveRoles roles{x, y};
  if (lateral) roles.companion = *lateral;
  MeasuredCurve measured{Fit::CurveFromTable(read, curveName, roles, WantedColumns(roles)), std::move(read)};
  auto weight = fit_.weights.find(curveName);
  if (weight == fit_.weights.end())
    weight = fit_.weights.find(curveName.substr(0, curveName.find_last_not_of("_0123456789") + 1));
  if (weight != fit_.weights.end()) measured.curve.weight = weight->second;
  LeaveOut(measured.curve);
  measured.input.sha256 = digests_[measured.input.file];
  sources_.push_back(measured.input);
  readingNotes_.insert(readingNotes_.end(), measured.notes.begin(), measured.notes.end());
  return measured;
}

void Verb::LeaveOut(Fit::Curve& curve) const {
  if (fit_.leftOut.empty()) return;
  const auto leftOut = LinesLeftOut(fit_);
  for (const std::string& name : {curve.name, std::string()}) {
    const auto found = leftOut.find(name);
    if (found == leftOut.end()) continue;
    Fit::Curve kept = curve;
    for (std::vector<double>* column : {&kept.x, &kept.y, &kept.lateral}) column->clear();
    kept.rows.clear();
    for (std::size_t i = 0; i < curve.x.size(); ++i) {
      if (found->second.count(curve.Row(i)) > 0) {
        kept.unused.push_back({curve.Row(i), "left out by --leave-out"});
        continue;
      }
      kept.x.push_back(curve.x[i]);
      kept.y.push_back(curve.y[i]);
      if (!curve.lateral.empty()) kept.lateral.push_back(curve.lateral[i]);
      kept.rows.push_back(curve.Row(i));
    }
    if (kept.x.empty()) {
      throw Fit::Error(Fit::ErrorKind::BadData, "curve " + curve.name + ": --leave-out leaves none of its points");
    }
    curve = std::move(kept);
  }
}

void Verb::ForgetCurves() {
  sources_.clear();
  readingNotes_.clear();
}

}  // namespace Xem::Tool
