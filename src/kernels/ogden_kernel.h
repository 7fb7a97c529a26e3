#pragma once

#include "kernels/elementary.h"
#include "kernels/kernels.h"

namespace Xem::MaterialUtil {
namespace {

/// P(lambda) = sum_k mu_k (axial_k - lateral_k) / lambda,  axial = lambda^alpha,  lateral = lambda^(alpha e)
///
///   dP/dmu_k    = (axial_k - lateral_k) / lambda
///   dP/dalpha_k = mu_k ln lambda (axial_k - e lateral_k) / lambda
///
/// The lateral exponent e is -1/2, -1 or -2: both powers are first or second powers of one number and its reciprocal.
/// That number is formed with |alpha|, so that alpha and -alpha exchange the two, to the last bit.
template <bool kDerivatives>
XEM_INLINE void OgdenStresses(const OgdenArguments& series, const KernelBlock& block) {
  const double e = series.lateralExponent;
  const double share = e == -0.5 ? 0.5 : 1.0;
  const bool squaredAxial = e == -0.5;
  const bool squaredLateral = e == -2.0;
  Fill(block, 0.0);
  for (std::size_t k = 0; k < series.terms; ++k) {
    const double mu = series.pairs[2 * k];
    const double alpha = series.pairs[2 * k + 1];
    const double exponent = share * __builtin_fabs(alpha);
    double* const byModulus = Column(block, 2 * k);
    double* const byExponent = Column(block, 2 * k + 1);
    ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
      const V logStretch = at.Load(series.logStretches);
      const V inverseStretch = at.Load(series.inverseStretches);
      const V root = Exp(exponent * logStretch);
      const V inverse = 1.0 / root;
      const V axialRoot = alpha < 0.0 ? inverse : root;
      const V lateralRoot = alpha < 0.0 ? root : inverse;
      const V axial = squaredAxial ? axialRoot * axialRoot : axialRoot;
      const V lateral = squaredLateral ? lateralRoot * lateralRoot : lateralRoot;
      const V unit = (axial - lateral) * inverseStretch;
      at.Store(at.Load(block.model) + mu * unit, block.model);
      if constexpr (kDerivatives) {
        at.Store(unit, byModulus);
        at.Store((mu * logStretch) * ((axial - e * lateral) * inverseStretch), byExponent);
      }
    });
  }
}

}  // namespace
}  // namespace Xem::MaterialUtil
