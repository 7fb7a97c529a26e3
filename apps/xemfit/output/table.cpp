#include "output/table.h"

#include <fmt/format.h>

#include <cstddef>

#include "numbers.h"
#include "output/text_table.h"
#include "text.h"

namespace Xem::Tool {
namespace {

constexpr std::size_t kMostDropped = 12;

std::string RemarkCell(const Fit::Parameter& parameter) {
  if (!parameter.identifiable) return "not identifiable";
  if (parameter.atBound) return "at its bound";
  return parameter.held ? "held" : "";
}

std::string ParameterTable(const Fit::Result& result) {
  using Align = TextTable::Align;
  const bool bootstrap = result.options.bootstrap > 0;
  std::vector<TextTable::Column> columns{
      {"Parameter", Align::Left}, {"Value"}, {"Std. error"}, {Percent(result.options.level) + " from"}, {"to"}};
  if (bootstrap) columns.insert(columns.end(), {{"Bootstrap from"}, {"to"}});
  columns.insert(columns.end(), {{"Unit", Align::Left}, {"", Align::Left}});
  TextTable table(columns);
  for (const Fit::Parameter& parameter : result.parameters) {
    std::vector<std::string> row{parameter.name, Shortly(parameter.value), Briefly(parameter.standardError),
                                 Briefly(parameter.lower), Briefly(parameter.upper)};
    if (bootstrap) row.insert(row.end(), {Briefly(parameter.bootstrapLower), Briefly(parameter.bootstrapUpper)});
    row.insert(row.end(), {parameter.unit, RemarkCell(parameter)});
    table.Add(row);
  }
  return table.Text();
}

void AddMeasures(const std::string& name, const Fit::Measures& measures, TextTable& table) {
  table.Add({name, std::to_string(measures.points), std::to_string(measures.dropped), Determination(measures.r2, 6),
             Briefly(measures.rmse), Briefly(measures.sse)});
}

std::string MeasuresTable(const Fit::Result& result) {
  using Align = TextTable::Align;
  const std::string& unit = result.measures.unit;
  TextTable table({{"Curve", Align::Left},
                   {"Points"},
                   {"Dropped"},
                   {"R2"},
                   {unit.empty() ? "RMSE" : "RMSE (" + unit + ")"},
                   {unit.empty() ? "SSE" : "SSE (" + unit + "^2)"}});
  int fitted = 0;
  for (const Fit::CurveResult& curve : result.curves) {
    if (curve.measures.points == 0) continue;  // computed, not fitted
    AddMeasures(curve.name, curve.measures, table);
    ++fitted;
  }
  if (fitted > 1) AddMeasures("all", result.measures, table);
  return table.Text() + fmt::format("AICc {}\n", Briefly(result.measures.aicc));
}

std::string DroppedList(const Fit::Result& result) {
  if (result.dropped.empty()) return "";
  std::string text = "\nDropped points\n";
  for (std::size_t i = 0; i < result.dropped.size() && i < kMostDropped; ++i) {
    const Fit::DroppedPoint& point = result.dropped[i];
    text += fmt::format("  {}, row {}: {}\n", OneLine(point.curve), point.row, OneLine(point.reason));
  }
  if (result.dropped.size() > kMostDropped) {
    text += fmt::format("  and {} more, all in the JSON output\n", result.dropped.size() - kMostDropped);
  }
  return text;
}

std::string DerivedTable(const Fit::Result& result) {
  if (result.derived.empty()) return "";
  using Align = TextTable::Align;
  TextTable table({{"Derived", Align::Left}, {"Value"}, {"Unit", Align::Left}});
  for (const auto& [name, value] : result.derived) {
    const auto unit = result.derivedUnits.find(name);
    table.Add({name, Shortly(value), unit == result.derivedUnits.end() ? "" : unit->second});
  }
  return '\n' + table.Text();
}

std::string LimitTable(const Fit::Stability& limits, double level) {
  using Align = TextTable::Align;
  TextTable table({{"Stability limit", Align::Left}, {"Strain"}, {Percent(level) + " from"}, {"to"}});
  const auto add = [&](const char* label, const std::string& name, double limit) {
    const auto found = limits.intervals.find(name);
    if (found == limits.intervals.end()) {
      table.Add({label, WithinInterval(limit, limit, limit), "-", "-"});
      return;
    }
    const auto& [lower, upper] = found->second;
    const double known = std::isfinite(limit) ? limit : (std::isfinite(lower) ? lower : upper);
    const double reach = std::max(std::isfinite(lower) ? std::abs(known - lower) : 0.01,
                                  std::isfinite(upper) ? std::abs(upper - known) : 0.01);
    const auto end = [&](double strain) { return WithinInterval(strain, strain - reach, strain + reach); };
    table.Add({label, std::isfinite(limit) ? end(limit) : "none", end(lower), end(upper)});
  };
  add("uniaxial tension", "uniaxial_tension", limits.uniaxialTension);
  add("uniaxial compression", "uniaxial_compression", limits.uniaxialCompression);
  add("equibiaxial tension", "equibiaxial_tension", limits.equibiaxialTension);
  add("equibiaxial compression", "equibiaxial_compression", limits.equibiaxialCompression);
  add("pure shear tension", "pure_shear_tension", limits.pureShearTension);
  add("pure shear compression", "pure_shear_compression", limits.pureShearCompression);
  return table.Text();
}

std::string StabilityText(const Fit::Result& result) {
  if (!result.stability || result.stability->text.empty()) return "";
  // Four digits that the interval does not bear out would only mislead.
  if (!result.stability->intervals.empty()) return '\n' + LimitTable(*result.stability, result.options.level);
  const std::string& text = result.stability->text;
  return '\n' + text + (text.back() == '\n' ? "" : "\n");
}

std::string NotesText(const Fit::Result& result) {
  if (result.notes.empty()) return "";
  std::string text = "\nNotes\n";
  for (const std::string& note : result.notes) text += "  " + OneLine(note) + '\n';
  return text;
}

/// What was understood of each file, in a line.
std::string InputList(const Fit::Result& result) {
  std::string text;
  for (const Fit::Input& input : result.inputs) {
    if (input.understood.empty()) continue;
    text += fmt::format("  {} from {}: {}\n", OneLine(input.curve), OneLine(input.file), OneLine(input.understood));
  }
  return text.empty() ? "" : "\nInput\n" + text;
}

std::string FitText(const Fit::Result& result) {
  const char* residual = result.residual == Fit::Residual::Absolute ? "absolute" : "relative";
  std::string steps;
  if (result.iterations > 0)
    steps = fmt::format(" after {} iteration{}", result.iterations, result.iterations == 1 ? "" : "s");
  return fmt::format("{}, {} residuals: {}{}\n\n", ModelLabel(result), residual, result.status, steps) +
         ParameterTable(result) + '\n' + MeasuresTable(result) + DerivedTable(result) + InputList(result) +
         DroppedList(result) + StabilityText(result);
}

}  // namespace

std::string TableText(const Report& report) {
  std::string text;
  for (const std::string& section : report.sections) text += section + (report.fitted ? "\n" : "");
  if (report.fitted) text += FitText(report.result);
  for (const std::string& appendix : report.appendices) text += '\n' + appendix;
  return text + NotesText(report.result);
}

}  // namespace Xem::Tool
