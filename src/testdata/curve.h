#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
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

/// One measured curve: three columns of the same length. Loading replaces all of them and keeps the caller's order.
struct LoadedCurve {
  Vector abscissa;   ///< principal stretch, time, suction, strain ...: what the model is a function of
  Vector measured;   ///< stress, modulus, water content, ratio ...
  Vector companion;  ///< a second quantity of each point: the lateral stretch; 0 until something is known

  std::int32_t PointCount() const { return abscissa.Size(); }

  /// Loads the points that `keep` accepts; `convert` turns an abscissa into what is stored. `further` columns of the
  /// same length share the one storage: room for what the owner of the curve derives from its points.
  template <class Point, class Keep, class Convert>
  void Load(std::span<const Point> points, Keep keep, Convert convert, std::int32_t further = 0) {
    const auto kept = static_cast<std::int64_t>(std::ranges::count_if(points, keep));
    if (kept > INT32_MAX) throw CInvalidArgException("a vector size is out of range");
    storage_ = std::make_unique_for_overwrite<double[]>(static_cast<std::size_t>(kept * (kColumns + further)));
    length_ = static_cast<std::int32_t>(kept);
    abscissa = Column(0);
    measured = Column(1);
    companion = Column(2);
    double* nextAbscissa = abscissa.begin();
    double* nextMeasured = measured.begin();
    double* nextCompanion = companion.begin();
    for (const Point& point : points) {
      if (!keep(point)) continue;
      *nextAbscissa++ = convert(point.first);
      *nextMeasured++ = MeasuredValue(point);
      *nextCompanion++ = LateralStretch(point);
    }
  }

  /// A further column of the last loading, without meaning until it is written. It lasts as long as the curve does and
  /// until the next loading.
  Vector Further(std::int32_t column) { return Column(kColumns + column); }

  /// companion = abscissa^exponent for every point.
  void DeriveCompanion(double exponent);

 private:
  static constexpr std::int32_t kColumns = 3;

  Vector Column(std::int64_t column) { return Vector::View(storage_.get() + column * length_, length_, 1); }
  static double MeasuredValue(const _T_FUNT_BASE& point) { return point.second; }
  static double MeasuredValue(const _T_FUNT_BASE3& point) { return point.third; }
  static double LateralStretch(const _T_FUNT_BASE&) { return 0.0; }
  static double LateralStretch(const _T_FUNT_BASE3& point) { return point.second + 1.0; }

  std::unique_ptr<double[]> storage_;  // of the columns, one after the other
  std::int32_t length_ = 0;
};

}  // namespace Xem::MaterialUtil
