#pragma once

#include <span>

#include "solver/linalg/matrix.h"

namespace Xem::MaterialUtil {

/// Least-squares solution of A x = b by truncated singular values: s_k is kept when `conditionLimit` <= 0 or
/// s_max / s_k < conditionLimit; in the dropped directions the solution has minimum norm. No rows: zeros.
Vector SolveTruncated(Matrix a, std::span<const double> b, double conditionLimit);

}  // namespace Xem::MaterialUtil
