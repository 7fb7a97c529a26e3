#pragma once

#include <algorithm>
#include <span>
#include <string>
#include <vector>

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

inline bool Mentions(const std::vector<std::string>& notes, const std::string& part) {
  return std::any_of(notes.begin(), notes.end(),
                     [&](const std::string& note) { return note.find(part) != std::string::npos; });
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
