#include "solver/linalg/least_squares.h"

#include <utility>

#include "solver/linalg/lapack.h"

namespace Xem::MaterialUtil {

Vector SolveTruncated(Matrix a, std::span<const double> b, double conditionLimit) {
  Vector x(a.Columns());
  if (a.Rows() == 0 || a.Columns() == 0) return x;
  const SingularValues svd = DecomposeSingular(std::move(a));
  const double largest = svd.s[0];
  for (std::int32_t k = 0; k < svd.s.Size(); ++k) {
    const bool kept = conditionLimit <= 0.0 || largest / svd.s[k] < conditionLimit;
    if (!kept) continue;
    const double projection = Dot(svd.u.Column(k), b) / svd.s[k];
    for (std::int32_t i = 0; i < x.Size(); ++i) x[i] += projection * svd.vt(k, i);
  }
  return x;
}

}  // namespace Xem::MaterialUtil
