#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "stability/stability_scan.h"

namespace Xem::MaterialUtil {

/// Limits of a model and the report in words, as the exported checks append it.
struct StabilityReport {
  StabilityLimits limits;
  std::wstring text;
};

/// Scans a model between two nominal strains. `coefficients` are those of PolynomialTermCount(order) terms, or the
/// pairs of the Ogden terms; more are ignored, fewer throw CInvalidArgException.
StabilityReport ReportPolynomialStability(std::int32_t order, std::span<const double> coefficients,
                                          std::span<const double> volumetric, double lower, double upper);
StabilityReport ReportOgdenStability(std::int32_t terms, std::span<const double> pairs,
                                     std::span<const double> volumetric, double lower, double upper);
StabilityReport ReportStability(XemMaterialStabilityBase& model, std::span<const double> parameters,
                                std::span<const double> volumetric, double lower, double upper);
StabilityReport ReportBlatzKoStability(double modulus, double lower, double upper);

/// Six lines, and a closing one when any mode fails.
std::wstring WriteStabilityReport(const StabilityLimits& limits);

}  // namespace Xem::MaterialUtil
