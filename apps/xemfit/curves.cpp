#include "curves.h"

#include <fmt/format.h>

#include <cmath>
#include <cstddef>
#include <vector>

#include "text.h"

namespace Xem::Tool {
namespace {

std::string Cell(const std::vector<double>& values, std::size_t i) {
  return i < values.size() && std::isfinite(values[i]) ? Exactly(values[i]) : "";
}

std::string AxisText(const Axis& axis) { return axis.label + (axis.unit.empty() ? "" : " in " + axis.unit); }

}  // namespace

std::string CurvesCsv(const std::string& command, const Report& report) {
  std::string text = fmt::format("# command: {}\n# model: {}\n", command, ModelLabel(report.result));
  if (!report.panels.empty()) {
    text += fmt::format("# x: {}\n# measured: {}\n", Printable(AxisText(report.panels.front().x)),
                        Printable(AxisText(report.panels.front().y)));
  }
  text += "curve,x,measured,fitted\n";
  for (const Fit::CurveResult& curve : report.result.curves) {
    for (std::size_t i = 0; i < curve.x.size(); ++i) {
      text +=
          curve.name + ',' + Exactly(curve.x[i]) + ',' + Cell(curve.measured, i) + ',' + Cell(curve.fitted, i) + '\n';
    }
  }
  return text;
}

}  // namespace Xem::Tool
