#include "output/curves.h"

#include <fmt/format.h>

#include <cstddef>
#include <vector>

#include "output/csv_cell.h"
#include "text.h"
#include "xem/fit/compare.h"

namespace Xem::Tool {
namespace {

std::string Cell(const std::vector<double>& values, std::size_t i) {
  return i < values.size() ? CsvCell(values[i]) : "";
}

std::string AxisText(const Axis& axis) { return axis.label + (axis.unit.empty() ? "" : " in " + axis.unit); }

}  // namespace

std::string CurvesCsv(const std::string& command, const Report& report) {
  if (report.curveFile) return report.curveFile(command);
  std::string text = fmt::format("# command: {}\n# model: {}\n", command, ModelLabel(report.result));
  if (!report.panels.empty()) {
    text += fmt::format("# x: {}\n# measured: {}\n", Printable(AxisText(report.panels.front().x)),
                        Printable(AxisText(report.panels.front().y)));
  }
  for (std::size_t i = 1; i < report.panels.size(); ++i) {
    const Panel& panel = report.panels[i];
    const Panel& first = report.panels.front();
    if (panel.curves.empty() || (AxisText(panel.x) == AxisText(first.x) && panel.y.unit == first.y.unit)) continue;
    text += fmt::format("# x of {0}: {1}\n# measured and fitted of {0}: {2}\n", Printable(Join(panel.curves, ", ")),
                        Printable(AxisText(panel.x)), Printable(AxisText(panel.y)));
  }
  // Of what was computed, each point says whether the model is stable there.
  const bool tellsStability = !report.fitted && report.result.stability;
  text += tellsStability ? "curve,x,measured,fitted,stability\n" : "curve,x,measured,fitted\n";
  for (const Fit::CurveResult& curve : report.result.curves) {
    const std::string name = CsvCell(curve.name);
    for (std::size_t i = 0; i < curve.x.size(); ++i) {
      text += name + ',' + Cell(curve.x, i) + ',' + Cell(curve.measured, i) + ',' + Cell(curve.fitted, i);
      if (tellsStability) {
        text += Fit::IsStable(report.result, curve.name, curve.x[i]) ? ",stable" : ",beyond_limit";
      }
      text += '\n';
    }
  }
  return text;
}

}  // namespace Xem::Tool
