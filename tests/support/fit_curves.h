#pragma once

#include <span>
#include <string>

#include "xem/fit/result.h"
#include "xem/records.h"

namespace Xem::Testing {

/// Points as a curve of the fit layer.
inline Fit::Curve FitCurve(std::span<const _T_FUNT_BASE> points, const std::string& name = "") {
  Fit::Curve curve;
  curve.name = name;
  for (const _T_FUNT_BASE& point : points) {
    curve.x.push_back(point.first);
    curve.y.push_back(point.second);
  }
  return curve;
}

}  // namespace Xem::Testing
