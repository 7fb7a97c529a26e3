#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "output/report.h"

namespace Xem::Tool {

/// A curve ready to be drawn.
struct DrawnCurve {
  std::string legend;
  bool named = true;             ///< in the key of a picture, which has room for some only
  std::size_t index = 0;         ///< among the curves of the result, so that a curve looks the same in every panel
  std::vector<double> x, y;      ///< measured points
  std::vector<double> residual;  ///< measured - fitted at the points
  std::vector<double> stableX, stable;              ///< the model; NaN where the line breaks
  std::vector<double> unstableX, unstable;          ///< the model beyond a stability limit
  std::vector<double> bandX, bandLower, bandUpper;  ///< confidence band of the model; empty where none is wanted
};

struct Range {
  double lower = 0.0;
  double upper = 1.0;
};

/// A point with a name of its own; the name may be empty.
struct DrawnMark {
  double x = 0.0;
  double y = 0.0;
  std::string label;
  std::size_t index = 0;  ///< of its curve, among the curves of the result
};

struct DrawnPanel {
  std::string title;
  Axis x;
  Axis y;
  std::vector<DrawnCurve> curves;
  std::vector<Overlay> overlays;
  Range xRange;  ///< what the axes show
  Range yRange;
  std::vector<DrawnMark> marks;
  std::string lines;  ///< what they are
  std::string band;   ///< "95 % confidence band" where one is drawn
};

struct Figure {
  std::string title;
  std::vector<DrawnPanel> panels;
};

/// Evaluates the curves of a report on a fine grid over what was measured; curves without measured points
/// and those whose model cannot be evaluated are drawn through their own points. Used by every kind of picture.
Figure MakeFigure(const Report& report);

/// "nominal stress (MPa)"
std::string AxisLabel(const Axis& axis);

}  // namespace Xem::Tool
