#pragma once

#include <span>

#include "soil/retention_test_function.h"
#include "solver/make_solver.h"

namespace Xem::MaterialUtil {

/// Where a start comes from besides the data.
struct RetentionStart {
  /// One per parameter; the values of held entries go into every candidate.
  std::span<const double> held;
  /// Tried first when it has one finite value per parameter, inside the region.
  std::span<const double> caller;
  /// psi_r of Fredlund and Xing where it is free.
  double residualSuction = kUsualResidualSuction;
  /// theta_s when the points do not tell one.
  double saturatedContent = 0.4;
};

/// The best of a grid of candidates for the points of `function`, into `best`.
///
/// Shapes come from tables, with an air-entry suction at 25 places from the smallest to the largest positive suction
/// (1 kPa alone when there is none); contents by linear least squares in `residual`, theta_r = 0 where it would be
/// negative or is not determined. Candidates with theta_r > 0.95 theta_s are passed over, unless that leaves none;
/// then theta_r = 0 for all. The smallest sum of squares wins, the first one on ties.
void FindRetentionStart(const XemUnsaturatedSoilTestFunction& function, ResidualKind residual,
                        const RetentionStart& start, std::span<double> best);

}  // namespace Xem::MaterialUtil
