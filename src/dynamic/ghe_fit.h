#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "dynamic/ghe_test_functions.h"
#include "solver/make_solver.h"

namespace Xem::MaterialUtil {

/// How a fit of the generalised model went.
struct GheMeasures {
  std::int32_t status = 0;
  double tolerance = 0.0;
  double determination = 0.0;  ///< the solver's coefficient of determination
  double sumOfSquares = 0.0;   ///< of the residuals that were minimised
};

/// The points of a stiffness or damping curve that the generalised model uses.
std::vector<_T_FUNT_BASE> KeptPoints(std::span<const _T_FUNT_BASE> curve);

/// Strain at R = 0.5, ln gamma linear in R; 0.0005 when the curve does not pass 0.5.
double HalfStiffnessStrain(std::span<const _T_FUNT_BASE> kept);

/// Starting values: held entries as given, free ones as given where positive and the default elsewhere.
GheParameters StartGhe(std::span<const double> given, std::span<const std::int32_t> mask);
/// The same for (hmax, kappa); the default is a regression of ln h on ln u.
std::vector<double> StartGheDamping(std::span<const double> given, std::span<const std::int32_t> mask,
                                    const XemGHEModelDampingTestFunction& function);

struct GheRequest {
  double referenceStrain = 1.0;
  GheForm form = GheForm::Stiffness;
  ResidualKind residual = ResidualKind::Absolute;
  std::span<const std::int32_t> mask;  ///< six entries
};

/// Fits the six parameters, writing R to the ordinates of `curve`. The stress form starts from the result of the
/// stiffness form: from the default start it would stop in a local minimum.
GheMeasures FitGhe(const GheRequest& request, std::span<const _T_FUNT_BASE> stiffness, std::span<double> parameters,
                   std::span<_T_FUNT_BASE> curve);

/// Fits (hmax, kappa), or leaves them when everything is held, no point is left or G/G0 is known nowhere.
GheMeasures FitGheDamping(ResidualKind residual, std::span<const std::int32_t> mask,
                          const boost::shared_ptr<XemGHEModelDampingTestFunction>& function,
                          std::span<double> parameters);

}  // namespace Xem::MaterialUtil
