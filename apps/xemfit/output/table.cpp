#include "output/table.h"

#include <fmt/format.h>

#include <cstddef>

#include "numbers.h"
#include "output/text_table.h"
#include "text.h"

namespace Xem::Tool {
namespace {

using Align = TextTable::Align;

constexpr std::size_t kMostDropped = 12;

std::string Remark(const Fit::Parameter& parameter) {
  if (!parameter.identifiable) return "not identifiable";
  return parameter.held ? "held" : "";
}

std::string ParameterTable(const Fit::Result& result) {
  TextTable table({{"Parameter", Align::Left},
                   {"Value"},
                   {"Std. error"},
                   {"95 % from"},
                   {"to"},
                   {"Unit", Align::Left},
                   {"", Align::Left}});
  for (const Fit::Parameter& parameter : result.parameters) {
    table.Add({parameter.name, Shortly(parameter.value), Briefly(parameter.standardError), Briefly(parameter.lower),
               Briefly(parameter.upper), parameter.unit, Remark(parameter)});
  }
  return table.Text();
}

void AddMeasures(const std::string& name, const Fit::Measures& measures, TextTable& table) {
  table.Add({name, std::to_string(measures.points), std::to_string(measures.dropped), Fixed(measures.r2, 6),
             Briefly(measures.rmse), Briefly(measures.sse)});
}

std::string MeasuresTable(const Fit::Result& result) {
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

std::string Derived(const Fit::Result& result) {
  if (result.derived.empty()) return "";
  TextTable table({{"Derived", Align::Left}, {"Value"}, {"Unit", Align::Left}});
  for (const auto& [name, value] : result.derived) {
    const auto unit = result.derivedUnits.find(name);
    table.Add({name, Shortly(value), unit == result.derivedUnits.end() ? "" : unit->second});
  }
  return '\n' + table.Text();
}

std::string StabilityText(const Fit::Result& result) {
  if (!result.stability || result.stability->text.empty()) return "";
  const std::string& text = result.stability->text;
  return '\n' + text + (text.back() == '\n' ? "" : "\n");
}

std::string Notes(const Fit::Result& result) {
  if (result.notes.empty()) return "";
  std::string text = "\nNotes\n";
  for (const std::string& note : result.notes) text += "  " + OneLine(note) + '\n';
  return text;
}

std::string FitText(const Fit::Result& result) {
  const char* residual = result.residual == Fit::Residual::Absolute ? "absolute" : "relative";
  std::string steps;
  if (result.iterations > 0)
    steps = fmt::format(" after {} iteration{}", result.iterations, result.iterations == 1 ? "" : "s");
  return fmt::format("{}, {} residuals: {}{}\n\n", ModelLabel(result), residual, result.status, steps) +
         ParameterTable(result) + '\n' + MeasuresTable(result) + Derived(result) + DroppedList(result) +
         StabilityText(result);
}

}  // namespace

std::string TableText(const Report& report) {
  std::string text;
  for (const std::string& section : report.sections) text += section + (report.fitted ? "\n" : "");
  if (report.fitted) text += FitText(report.result);
  for (const std::string& appendix : report.appendices) text += '\n' + appendix;
  return text + Notes(report.result);
}

}  // namespace Xem::Tool
