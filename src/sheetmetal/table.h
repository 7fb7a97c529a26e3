#pragma once

#include <span>

#include "xem/records.h"

/// Piecewise linear tables of at least two points with ascending abscissae. A lookup takes logarithmic time. Points out
/// of order or doubled give some number, infinity or NaN, and a NaN abscissa gives NaN; none reads outside the table.
namespace Xem::MaterialUtil::SheetMetalForming {

/// Ordinate at `abscissa`; outside the table on the straight line of the first or last two points.
double TableValue(std::span<const _T_FUNT_BASE> points, double abscissa);

/// Slope of the first segment up to the first abscissa, of the last segment from the last abscissa on. In between it is
/// taken over the neighbours of the first point k at or above `abscissa`, (y[k+1] - y[k-1]) / (x[k+1] - x[k-1]), with
/// the indices clamped to the table.
double TableSlope(std::span<const _T_FUNT_BASE> points, double abscissa);

/// Both by one lookup.
struct TablePoint {
  double value = 0.0;
  double slope = 0.0;
};
TablePoint TableAt(std::span<const _T_FUNT_BASE> points, double abscissa);

}  // namespace Xem::MaterialUtil::SheetMetalForming
