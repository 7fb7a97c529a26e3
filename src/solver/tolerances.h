#pragma once

namespace Xem::MaterialUtil {

// Where each family's Levenberg-Marquardt iteration may stop, in the units of its stop rule: see Solve in
// levenberg_marquardt.h. They belong to the published answers: another value is another last digit in every host's
// file.

inline constexpr double kRubberTolerance = 1e-4;      ///< Ogden, Blatz-Ko and the refinement of polynomials
inline constexpr double kDynamicTolerance = 1e-3;     ///< cyclic stiffness and damping
inline constexpr double kRetentionTolerance = 1e-3;   ///< water retention
inline constexpr double kRelaxationTolerance = 1e-8;  ///< Prony series
inline constexpr double kCreepTolerance = 1e-8;       ///< creep laws

/// Of the fit layer's way to a minimum, which it polishes to rounding afterwards.
inline constexpr double kApproachTolerance = 1e-8;

}  // namespace Xem::MaterialUtil
