#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "solver/linalg/numbers.h"
#include "solver/linalg/vector.h"
#include "xem/records.h"

namespace Xem::MaterialUtil {

/// The points of a host array.
inline std::span<const _T_FUNT_BASE> Points(const PointArray& array) {
  return {array.GetData(), static_cast<std::size_t>(array.GetSize())};
}
inline std::span<const _T_FUNT_BASE3> Points(const Point3Array& array) {
  return {array.GetData(), static_cast<std::size_t>(array.GetSize())};
}

/// Abscissae that are stored unchanged: times, suctions, dynamic strains, linear stretches.
inline double AsItStands(double abscissa) { return abscissa; }

/// The usual filter: points without a measurable value are dropped.
struct KeepMeasured {
  bool operator()(const _T_FUNT_BASE& point) const { return IsMeasured(point.second); }
  bool operator()(const _T_FUNT_BASE3& point) const { return IsMeasured(point.third); }
};

/// One measured curve: three vectors of the same length. Loading replaces all of them and keeps the caller's order.
struct Curve {
  Vector stretch;         ///< principal stretch, or the abscissa as it stands
  Vector stress;          ///< measured value
  Vector lateralStretch;  ///< measured, or derived from `stretch`; 0 until then

  std::int32_t PointCount() const { return stretch.Size(); }

  /// Loads the points that `keep` accepts; `toStretch` turns an abscissa into what is stored.
  template <class Point, class Keep, class ToStretch>
  void Load(std::span<const Point> points, Keep keep, ToStretch toStretch) {
    std::int64_t kept = 0;
    for (const Point& point : points) kept += keep(point) ? 1 : 0;
    stretch.Resize(kept);
    stress.Resize(kept);
    lateralStretch.Resize(kept);
    std::int64_t i = 0;
    for (const Point& point : points) {
      if (!keep(point)) continue;
      stretch[i] = toStretch(point.first);
      stress[i] = MeasuredValue(point);
      lateralStretch[i] = LateralStretch(point);
      ++i;
    }
  }

  /// lateralStretch = stretch^exponent for every point.
  void DeriveLateralStretches(double exponent);

 private:
  static double MeasuredValue(const _T_FUNT_BASE& point) { return point.second; }
  static double MeasuredValue(const _T_FUNT_BASE3& point) { return point.third; }
  static double LateralStretch(const _T_FUNT_BASE&) { return 0.0; }
  static double LateralStretch(const _T_FUNT_BASE3& point) { return point.second + 1.0; }
};

}  // namespace Xem::MaterialUtil
