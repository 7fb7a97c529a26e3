#pragma once

#include <optional>
#include <string>
#include <vector>

#include "output/report.h"
#include "xem/fit/sheet_metal.h"

namespace Xem::Tool {

/// One sheet metal: where its hardening comes from, and its limit curve.
struct SheetMaterial {
  std::string name;
  bool named = false;  ///< by the caller
  Fit::Hardening hardening;
  Fit::YieldCriterion yield;
  std::optional<Report> fit;  ///< of the hardening law to a tensile test
  Fit::FormingLimit limit;
};

/// One result for all materials: parameters (prefixed by the material's name when there are several), tensile and limit
/// curves, measured limits with the computed major strain beside them; plots of the flow curves and of the
/// forming-limit diagram.
Report FormingReport(std::vector<SheetMaterial> materials, const std::optional<Fit::Curve>& measured,
                     const std::string& stressUnit);

}  // namespace Xem::Tool
