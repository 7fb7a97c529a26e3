#include "figure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "text.h"

namespace Xem::Tool {
namespace {

constexpr int kLinePoints = 400;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

struct Range {
  double lower = -kInfinity;
  double upper = kInfinity;
};

double Or(double value, double otherwise) { return std::isnan(value) ? otherwise : value; }

/// Strains between which the model is stable in the mode of a curve.
Range StableRange(const Fit::Result& result, const std::string& curve) {
  if (!result.stability) return {};
  const Fit::Stability& limits = *result.stability;
  if (curve == "uniaxial") return {Or(limits.uniaxialCompression, -kInfinity), Or(limits.uniaxialTension, kInfinity)};
  if (curve == "equibiaxial") {
    return {Or(limits.equibiaxialCompression, -kInfinity), Or(limits.equibiaxialTension, kInfinity)};
  }
  if (curve == "pure_shear") {
    return {Or(limits.pureShearCompression, -kInfinity), Or(limits.pureShearTension, kInfinity)};
  }
  return {};
}

/// Abscissae of the model's line, the stability limits among them.
std::vector<double> LineGrid(const std::vector<double>& measured, const Axis& axis, const Range& stable) {
  const auto usable = [&](double x) { return std::isfinite(x) && (!axis.logarithmic || x > 0.0); };
  double lowest = kInfinity;
  double highest = -kInfinity;
  for (const double x : measured) {
    if (!usable(x)) continue;
    lowest = std::min(lowest, x);
    highest = std::max(highest, x);
  }
  if (axis.fromZero && !axis.logarithmic) {
    lowest = std::min(lowest, 0.0);
    highest = std::max(highest, 0.0);
  }
  std::vector<double> grid;
  if (!(lowest < highest)) return grid;
  for (int i = 0; i < kLinePoints; ++i) {
    const double share = static_cast<double>(i) / (kLinePoints - 1);
    grid.push_back(axis.logarithmic ? lowest * std::pow(highest / lowest, share)
                                    : lowest * (1.0 - share) + highest * share);
  }
  for (const double limit : {stable.lower, stable.upper}) {
    if (limit > lowest && limit < highest) grid.push_back(limit);
  }
  std::sort(grid.begin(), grid.end());
  return grid;
}

double Evaluated(const Fit::Result& result, const std::string& curve, double x) {
  try {
    const double value = result.evaluate(curve, x);
    return std::isfinite(value) ? value : kNaN;
  } catch (const Fit::Error&) {
    return kNaN;
  }
}

/// Splits a line into its stable and unstable parts, which meet at the limits.
void AddLine(const std::vector<double>& x, const std::vector<double>& y, const Range& range, DrawnCurve& drawn) {
  for (std::size_t i = 0; i < x.size(); ++i) {
    drawn.stableX.push_back(x[i]);
    drawn.stable.push_back(x[i] >= range.lower && x[i] <= range.upper ? y[i] : kNaN);
    drawn.unstableX.push_back(x[i]);
    drawn.unstable.push_back(x[i] <= range.lower || x[i] >= range.upper ? y[i] : kNaN);
  }
}

std::string Legend(std::string name) {
  std::replace(name.begin(), name.end(), '_', ' ');
  return name;
}

DrawnCurve Draw(const Fit::Result& result, const Fit::CurveResult& curve, const Axis& axis) {
  DrawnCurve drawn;
  drawn.legend = Legend(curve.name);
  if (!curve.measured.empty()) {
    drawn.x = curve.x;
    drawn.y = curve.measured;
  }
  const Range stable = StableRange(result, curve.name);
  if (!result.evaluate) {
    AddLine(curve.x, curve.fitted, stable, drawn);
    return drawn;
  }
  const std::vector<double> grid = LineGrid(curve.x, axis, stable);
  std::vector<double> line;
  line.reserve(grid.size());
  for (const double x : grid) line.push_back(Evaluated(result, curve.name, x));
  AddLine(grid, line, stable, drawn);
  return drawn;
}

std::string Title(const Report& report) {
  const std::string label = ModelLabel(report.result);
  const Fit::Measures& measures = report.result.measures;
  if (!report.fitted || !std::isfinite(measures.r2)) return label;
  return fmt::format("{}   R² = {:.4f}   RMSE = {:.3g}", label, measures.r2, measures.rmse);
}

}  // namespace

Figure MakeFigure(const Report& report) {
  Figure figure;
  figure.title = Title(report);
  std::vector<Panel> panels = report.panels;
  if (panels.empty()) panels.emplace_back();
  for (const Panel& panel : panels) {
    DrawnPanel drawn{panel.title, panel.x, panel.y, {}};
    for (const Fit::CurveResult& curve : report.result.curves) {
      const auto& names = panel.curves;
      if (!names.empty() && std::find(names.begin(), names.end(), curve.name) == names.end()) continue;
      drawn.curves.push_back(Draw(report.result, curve, panel.x));
    }
    if (!drawn.curves.empty()) figure.panels.push_back(std::move(drawn));
  }
  return figure;
}

}  // namespace Xem::Tool
