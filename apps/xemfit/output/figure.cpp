#include "output/figure.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <iterator>
#include <limits>
#include <utility>

#include "numbers.h"
#include "text.h"
#include "xem/fit/compare.h"

namespace Xem::Tool {
namespace {

constexpr int kLinePoints = 400;
constexpr int kOtherScalePoints = 200;
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// Numbers from `from` to `to`, equally spaced on one kind of axis.
void AddSpaced(double from, double to, int count, bool logarithmic, std::vector<double>& grid) {
  for (int i = 0; i < count; ++i) {
    const double share = static_cast<double>(i) / (count - 1);
    grid.push_back(logarithmic ? from * std::pow(to / from, share) : from * (1.0 - share) + to * share);
  }
}

/// Abscissae of the model's line, the stability limits among them. Close enough to each other on the other kind of axis
/// too, to which a page can be switched.
std::vector<double> LineGrid(const std::vector<double>& measured, const Axis& axis, const Fit::StableRange& stable) {
  const auto usable = [&](double x) { return std::isfinite(x) && (!axis.logarithmic || x > 0.0); };
  double lowest = kInfinity;
  double highest = -kInfinity;
  double lowestPositive = kInfinity;
  for (const double x : measured) {
    if (!usable(x)) continue;
    lowest = std::min(lowest, x);
    highest = std::max(highest, x);
    if (x > 0.0) lowestPositive = std::min(lowestPositive, x);
  }
  if (axis.fromZero && !axis.logarithmic) {
    lowest = std::min(lowest, 0.0);
    highest = std::max(highest, 0.0);
  }
  std::vector<double> grid;
  if (!(lowest < highest)) return grid;
  AddSpaced(lowest, highest, kLinePoints, axis.logarithmic, grid);
  if (lowestPositive < highest && std::isfinite(highest / lowestPositive)) {
    AddSpaced(lowestPositive, highest, kOtherScalePoints, !axis.logarithmic, grid);
  }
  for (const double limit : {stable.lower, stable.upper}) {
    if (limit > lowest && limit < highest) grid.push_back(limit);
  }
  std::sort(grid.begin(), grid.end());
  grid.erase(std::unique(grid.begin(), grid.end()), grid.end());
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
void AddLine(const std::vector<double>& x, const std::vector<double>& y, const Fit::StableRange& range,
             DrawnCurve& drawn) {
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

/// Breaks where there is none.
void AddBand(const Fit::Band& band, const std::string& curve, const std::vector<double>& grid, DrawnCurve& drawn) {
  if (!band) return;
  for (const double x : grid) {
    const Fit::Interval interval = band(curve, x);
    drawn.bandX.push_back(x);
    drawn.bandLower.push_back(interval.lower);
    drawn.bandUpper.push_back(interval.upper);
  }
}

/// `lineOver` are the abscissae that the fitted line spans.
DrawnCurve Draw(const Fit::Result& result, const Fit::CurveResult& curve, const Axis& axis,
                const std::vector<double>& lineOver, const Fit::Band& band) {
  DrawnCurve drawn;
  drawn.legend = Legend(curve.name);
  if (!curve.measured.empty()) {
    drawn.x = curve.x;
    drawn.y = curve.measured;
    if (curve.fitted.size() == curve.measured.size()) {
      std::transform(curve.measured.begin(), curve.measured.end(), curve.fitted.begin(),
                     std::back_inserter(drawn.residual), std::minus<>());
    }
  }
  const Fit::StableRange stable = Fit::StableStrains(result, curve.name);
  if (!result.evaluate || curve.measured.empty()) {
    AddLine(curve.x, curve.fitted, stable, drawn);
    if (!curve.lower.empty() && curve.lower.size() == curve.x.size()) {
      drawn.bandX = curve.x;
      drawn.bandLower = curve.lower;
      drawn.bandUpper = curve.upper;
    }
    return drawn;
  }
  const std::vector<double> grid = LineGrid(lineOver, axis, stable);
  std::vector<double> line;
  line.reserve(grid.size());
  for (const double x : grid) line.push_back(Evaluated(result, curve.name, x));
  AddLine(grid, line, stable, drawn);
  AddBand(band, curve.name, grid, drawn);
  return drawn;
}

/// Smallest and largest of some numbers, each moved into `within` first.
class Extent {
 public:
  explicit Extent(bool logarithmic) : logarithmic_(logarithmic) {}
  void Add(const std::vector<double>& values, const Range& within = {-kInfinity, kInfinity}) {
    for (const double value : values) {
      if (!std::isfinite(value) || (logarithmic_ && value <= 0.0)) continue;
      lower_ = std::min(lower_, std::clamp(value, within.lower, within.upper));
      upper_ = std::max(upper_, std::clamp(value, within.lower, within.upper));
    }
  }
  bool Empty() const { return !(lower_ <= upper_); }
  Range Whole() const { return {lower_, upper_}; }

  /// With some air around it, but not across a zero at its end.
  Range Padded(double share) const {
    if (Empty()) return logarithmic_ ? Range{1.0, 10.0} : Range{0.0, 1.0};
    if (logarithmic_) {
      const double factor = std::pow(std::max(upper_ / lower_, 1.5), share);
      return {lower_ / factor, upper_ * factor};
    }
    const double span = upper_ > lower_ ? upper_ - lower_ : std::max(std::abs(upper_), 1.0);
    const auto moved = [](double end, double air) { return end * (end + air) <= 0.0 ? 0.0 : end + air; };
    return {moved(lower_, -share * span), moved(upper_, share * span)};
  }

 private:
  bool logarithmic_;
  double lower_ = kInfinity;
  double upper_ = -kInfinity;
};

/// The axes show every measured point. A line that runs away is cut off one measured span beyond the points.
void SetRanges(DrawnPanel& panel) {
  Extent x(panel.x.logarithmic);
  Extent y(panel.y.logarithmic);
  for (const DrawnCurve& curve : panel.curves) {
    x.Add(curve.x);
    x.Add(curve.stableX);
    y.Add(curve.y);
  }
  for (const Overlay& overlay : panel.overlays) {
    x.Add(overlay.x);
    y.Add(overlay.y);
  }
  if (panel.y.fromZero && !panel.y.logarithmic) y.Add({0.0});
  Range within{-kInfinity, kInfinity};
  if (!y.Empty() && !panel.y.logarithmic) {
    const Range points = y.Whole();
    const double span = points.upper - points.lower;
    if (span > 0.0) within = {points.lower - span, points.upper + span};
  }
  for (const DrawnCurve& curve : panel.curves) {
    if (curve.y.empty()) y.Add(curve.stable);  // computed, so it has no points to run away from
    y.Add(curve.stable, within);
    y.Add(curve.unstable, within);
    y.Add(curve.bandLower, within);
    y.Add(curve.bandUpper, within);
  }
  panel.xRange = x.Padded(0.03);
  panel.yRange = y.Padded(0.05);
}

/// Marks of the curve that was drawn last. Where several curves have one, the names stand in the legend, so that they
/// don't cover each other and the lines.
void AddMarks(const Panel& panel, const std::string& curve, DrawnPanel& drawn) {
  DrawnCurve& last = drawn.curves.back();
  for (const Mark& mark : panel.marks) {
    if (mark.curve != curve) continue;
    const bool alone = panel.marks.size() == 1;
    drawn.marks.push_back({mark.x, mark.y, alone ? mark.label : "", last.index});
    if (!alone) last.legend += ", " + mark.label;
  }
}

/// Curves of different quantities have no R^2 in common.
std::string QualityByCurve(const Fit::Result& result) {
  std::vector<std::string> parts;
  for (const Fit::CurveResult& curve : result.curves) {
    if (!std::isfinite(curve.measures.r2) || curve.measures.points == 0) continue;
    parts.push_back(fmt::format("{} ({})", Determination(curve.measures.r2, 4), Legend(curve.name)));
  }
  return parts.empty() ? "" : "   R² = " + Join(parts, ", ");
}

std::string Title(const Report& report) {
  const bool single = report.panels.size() == 1;
  if (!report.fitted && single && !report.panels.front().title.empty()) return report.panels.front().title;
  const std::string label = ModelLabel(report.result);
  const Fit::Measures& measures = report.result.measures;
  if (!report.fitted) return label;
  if (!std::isfinite(measures.r2)) return label + QualityByCurve(report.result);
  // One error in one unit; panels of different quantities have none in common.
  const std::string unit = single ? ' ' + report.panels.front().y.unit : "";
  return fmt::format("{}   R² = {}   RMSE = {:.3g}{}", label, Determination(measures.r2, 4), measures.rmse, unit);
}

bool Shows(const Panel& panel, const Fit::CurveResult& curve) {
  return panel.curves.empty() || std::find(panel.curves.begin(), panel.curves.end(), curve.name) != panel.curves.end();
}

/// Of many curves only some are named in the key.
void AddDrawnOnly(const std::vector<Fit::CurveResult>& curves, const Panel& panel, DrawnPanel& drawn) {
  constexpr std::size_t kMostNamed = 8;
  const auto shown = [&](const Fit::CurveResult& curve) { return !panel.curves.empty() && Shows(panel, curve); };
  const auto count = static_cast<std::size_t>(std::count_if(curves.begin(), curves.end(), shown));
  const std::size_t step = (count + kMostNamed - 1) / kMostNamed;
  std::size_t number = 0;
  for (const Fit::CurveResult& curve : curves) {
    if (!shown(curve)) continue;
    DrawnCurve one;
    one.legend = Legend(curve.name);
    one.named = number % step == 0;
    one.index = drawn.curves.size();
    one.x = curve.x;
    one.y = curve.measured;
    if (!curve.fitted.empty()) AddLine(curve.x, curve.fitted, {-kInfinity, kInfinity}, one);
    drawn.curves.push_back(std::move(one));
    ++number;
  }
}

std::vector<double> AllAbscissae(const Fit::Result& result, const Panel& panel) {
  std::vector<double> all;
  for (const Fit::CurveResult& curve : result.curves) {
    if (Shows(panel, curve)) all.insert(all.end(), curve.x.begin(), curve.x.end());
  }
  return all;
}

}  // namespace

std::string AxisLabel(const Axis& axis) { return axis.label + (axis.unit.empty() ? "" : " (" + axis.unit + ")"); }

Figure MakeFigure(const Report& report) {
  Figure figure;
  figure.title = Title(report);
  std::vector<Panel> panels = report.panels;
  if (panels.empty()) panels.emplace_back();
  const Fit::Band band = report.result.options.band ? Fit::ConfidenceBand(report.result) : Fit::Band();
  for (const Panel& panel : panels) {
    DrawnPanel drawn{panel.title, panel.x, panel.y, {}, panel.overlays, {}, {}, {}, panel.lines, {}};
    const auto& curves = report.result.curves;
    for (std::size_t i = 0; i < curves.size(); ++i) {
      const Fit::CurveResult& curve = curves[i];
      if (!Shows(panel, curve)) continue;
      std::vector<double> lineOver = curve.x;
      if (panel.oneLine) lineOver = drawn.curves.empty() ? AllAbscissae(report.result, panel) : std::vector<double>();
      drawn.curves.push_back(Draw(report.result, curve, panel.x, lineOver, band));
      drawn.curves.back().index = i;
      AddMarks(panel, curve.name, drawn);
    }
    AddDrawnOnly(report.drawn, panel, drawn);
    const bool hasBand = std::any_of(drawn.curves.begin(), drawn.curves.end(),
                                     [](const DrawnCurve& curve) { return !curve.bandX.empty(); });
    if (hasBand) {
      drawn.band = panel.band.empty() ? Percent(report.result.options.level) + " confidence band" : panel.band;
    }
    SetRanges(drawn);
    if (!drawn.curves.empty()) figure.panels.push_back(std::move(drawn));
  }
  return figure;
}

}  // namespace Xem::Tool
