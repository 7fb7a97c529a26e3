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

/// Bundled curves of a rubber in three modes.
inline Fit::HyperelasticData RubberData(const std::string& rubber) {
  const auto curve = [&](const char* mode) {
    return FitCurve(BundledCurve(rubber + mode, "nominal_strain", "nominal_stress_MPa"));
  };
  Fit::HyperelasticData data;
  data.uniaxial = curve("_uniaxial.csv");
  data.equibiaxial = curve("_equibiaxial.csv");
  data.pureShear = curve("_pure_shear.csv");
  data.stressUnit = "MPa";
  return data;
}
inline Fit::HyperelasticData TreloarData() { return RubberData("treloar1944"); }

}  // namespace Xem::Testing
