#pragma once

#include <array>

#include "stability/voigt.h"

namespace Xem::MaterialUtil {

/// Eigenvalues, in no particular order, with orthonormal eigenvectors as the columns of `vectors`.
struct Eigensystem3 {
  std::array<double, 3> values{};
  Matrix3 vectors{};
};

/// Eigen-decomposition of a symmetric 3 x 3 matrix by Householder reduction to tridiagonal form and shifted QL sweeps
/// of plane rotations (Francis 1961; Martin, Reinsch and Wilkinson 1968). Repeated eigenvalues are no special case.
/// Always ends: entries that are not finite come back as NaN.
Eigensystem3 DecomposeSymmetric3(const Matrix3& a);

}  // namespace Xem::MaterialUtil
