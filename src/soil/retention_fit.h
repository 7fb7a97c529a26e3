#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "soil/grading.h"
#include "soil/retention_start.h"

namespace Xem::MaterialUtil {

enum class RetentionSource : std::int32_t { Measured = 0, Grading = 1, Both = 2 };

/// What is fitted, and how.
struct RetentionSettings {
  RetentionModel model = RetentionModel::VanGenuchten;
  RetentionSource source = RetentionSource::Measured;
  ResidualKind residual = ResidualKind::Relative;
  double porosity = -1.0;  ///< outside (0, 1): see RetentionPorosity
  double particleDensity = 2.65;
  double exponent = 1.38;
  FixedTermMask mask;                     ///< one per parameter
  bool usualResidualSuctionHeld = false;  ///< psi_r is held at 1500 kPa because nothing is said of it

  /// From [model, source, variant, porosity, density, exponent, flags ...]; missing and senseless entries after the
  /// third take their defaults. Nothing when one of the first three is missing or model or source is unknown.
  static std::optional<RetentionSettings> Read(std::span<const double> settings);
};

/// The given porosity when it lies in (0, 1), else the largest measured content, if that does, else 0.4.
double RetentionPorosity(double given, std::span<const _T_FUNT_BASE> measured);

/// The points of one call.
struct RetentionPoints {
  double porosity = 0.0;
  std::vector<_T_FUNT_BASE> derived;  ///< from the grading
  std::vector<_T_FUNT_BASE> fitted;   ///< those of the source, measured ones first
};
RetentionPoints LoadRetention(const RetentionSettings& settings, std::span<const _T_FUNT_BASE> measured,
                              std::span<const _T_FUNT_BASE> grading);

/// The default abscissae of an output curve, 10^-2 to 10^6 kPa at 50 equal steps of the exponent; ordinates are 0.
std::vector<_T_FUNT_BASE> RetentionGrid();

struct RetentionFit {
  boost::shared_ptr<XemUnsaturatedSoilTestFunction> function;
  Vector parameters;
  std::int32_t status = 0;
};

/// Fits the data. `given` holds the values of held parameters and perhaps a start; a held entry beyond its end throws
/// CInvalidArgException. With every parameter held, or no usable point, the start is the result.
RetentionFit FitRetention(const RetentionSettings& settings, const RetentionPoints& data,
                          std::span<const double> given);

}  // namespace Xem::MaterialUtil
