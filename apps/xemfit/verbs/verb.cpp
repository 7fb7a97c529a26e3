#include "verbs/verb.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "input/digest.h"
#include "input/several_tests.h"
#include "input/units.h"
#include "output/output.h"
#include "text.h"

namespace Xem::Tool {
namespace {

/// Ordinates or abscissae of a curve, whichever are being brought to one unit.
struct Side {
  const char* name;
  std::string MeasuredCurve::*unit;
  std::vector<double> Fit::Curve::*values;
};

std::string UseOneUnit(const std::vector<MeasuredCurve*>& curves, const Side& side, std::vector<std::string>& notes) {
  std::string unit;
  std::string first;
  for (const MeasuredCurve* measured : curves) {
    if (measured->curve.Empty() || !unit.empty()) continue;
    unit = measured->*side.unit;
    first = measured->curve.name;
  }
  if (unit.empty()) return unit;
  for (MeasuredCurve* measured : curves) {
    if (measured->curve.Empty() || measured->*side.unit == unit) continue;
    const std::string own = std::exchange(measured->*side.unit, unit);
    if (own.empty()) {
      notes.push_back(
          fmt::format("curve {}: its {} column names no unit; taken as {}", measured->curve.name, side.name, unit));
      continue;
    }
    const auto factor = ConversionFactor(own, unit);
    if (!factor) {
      throw Failure(ExitCode::BadData,
                    fmt::format("{}: {} in {} cannot be converted to {}, the unit of curve {}; use one unit for all",
                                measured->table.source, side.name, Quoted(own), Quoted(unit), first));
    }
    for (double& value : measured->curve.*side.values) value *= *factor;
    notes.push_back(fmt::format("curve {}: {} converted from {} to {}", measured->curve.name, side.name, own, unit));
  }
  return unit;
}

}  // namespace

void Verb::Declare(Options& options) {
  DeclareOwn(options);
  if (shares_ == Shares::Fit || shares_ == Shares::FitAndStable) DeclareFit(options, fit_);
  if (shares_ == Shares::FitAndStable || shares_ == Shares::OutputAndStable) DeclareStable(options, requireStable_);
  if (shares_ != Shares::Output && shares_ != Shares::OutputAndStable) DeclareInput(options, input_);
  DeclareOutput(options, output_);
}

ExitCode Verb::Execute(const std::vector<std::string>& arguments) {
  CheckOutputs(output_, {});
  Report report = Run();
  auto& notes = report.result.notes;
  notes.insert(notes.begin(), readingNotes_.begin(), readingNotes_.end());
  RefuseUnusedColumns();
  CheckOutputs(output_, inputs_);
  TellInputs(report.result);
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
  return options;
}

std::string Verb::ReadText(const std::string& path) {
  if (path == "-" && std::find(inputs_.begin(), inputs_.end(), "-") != inputs_.end()) {
    throw Failure(ExitCode::Usage, "standard input (-) can be read only once; give the other curves as files");
  }
  inputs_.push_back(path);
  std::string text = ReadInput(path);
  digests_[SourceName(path)] = Sha256(text);
  return text;
}

CsvTable Verb::ReadTable(const std::string& path) { return ReadTable(path, input_.selection); }

CsvTable Verb::ReadTable(const std::string& path, const std::map<std::string, std::string>& selection) {
  CsvTable table = ParseCsv(ReadText(path), SourceName(path));
  SelectRows(table, selection);
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

MeasuredCurve Verb::CurveFrom(CsvTable read, const std::string& curveName, const Role& x, const Role& y,
                              const Role* lateral) {
  MeasuredCurve measured;
  measured.table = std::move(read);
  const CsvTable& table = measured.table;
  const ColumnChoice xColumn = ChooseColumn(table, x, WantedColumn(x, 'x'));
  const ColumnChoice yColumn = ChooseColumn(table, y, WantedColumn(y, 'y'));
  const auto lateralColumn = lateral ? FindColumn(table, *lateral, WantedColumn(*lateral, 0)) : std::nullopt;
  const auto number = [&](const CsvRow& row, const ColumnChoice& column) {
    return column.Quantity(NumberAt(table, row, column.index));
  };

  Fit::Curve& curve = measured.curve;
  curve.name = curveName;
  const auto weight = fit_.weights.find(curveName);
  if (weight != fit_.weights.end()) curve.weight = weight->second;
  for (const CsvRow& row : table.rows) {
    curve.x.push_back(number(row, xColumn));
    curve.y.push_back(number(row, yColumn));
    if (lateralColumn) curve.lateral.push_back(number(row, *lateralColumn));
    curve.rows.push_back(row.line);
  }
  measured.xUnit = xColumn.unit;
  measured.yUnit = yColumn.unit;
  measured.xName = xColumn.accepted;
  measured.yName = yColumn.accepted;
  measured.yColumn = table.columns[yColumn.index];
  Fit::Input source{curveName, table.source, digests_[table.source], {}, static_cast<int>(table.rows.size())};
  for (const std::size_t column : {xColumn.index, yColumn.index}) source.columns.push_back(table.columns[column]);
  if (lateralColumn) source.columns.push_back(table.columns[lateralColumn->index]);
  sources_.push_back(std::move(source));
  if (const auto several = SeveralTests(table, curve.x)) readingNotes_.push_back(*several);
  return measured;
}

std::string UseOneOrdinateUnit(const std::vector<MeasuredCurve*>& curves, std::vector<std::string>& notes) {
  return UseOneUnit(curves, {"ordinate", &MeasuredCurve::yUnit, &Fit::Curve::y}, notes);
}

std::string UseOneAbscissaUnit(const std::vector<MeasuredCurve*>& curves, std::vector<std::string>& notes) {
  return UseOneUnit(curves, {"abscissa", &MeasuredCurve::xUnit, &Fit::Curve::x}, notes);
}

}  // namespace Xem::Tool
