#pragma once

#include <span>
#include <string>

#include "support/curves.h"
#include "xem/fit/hyperelastic.h"
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

/// The bundled natural rubber in its three modes.
inline Fit::HyperelasticData TreloarData() {
  const auto curves = TreloarCurves();
  Fit::HyperelasticData data;
  data.uniaxial = FitCurve(curves[0]);
  data.equibiaxial = FitCurve(curves[1]);
  data.pureShear = FitCurve(curves[2]);
  data.stressUnit = "MPa";
  return data;
}

}  // namespace Xem::Testing
