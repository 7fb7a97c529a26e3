#pragma once

#include "kernels/elementary.h"
#include "kernels/kernels.h"

namespace Xem::MaterialUtil {
namespace {

/// R = gr / (gr + gamma)
///
///   dR/dgr = gamma / (gr + gamma)^2
void HyperbolicRatios(const HyperbolicArguments& law, const KernelBlock& block) {
  const double gr = law.referenceStrain;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V strain = at.Load(law.strains);
    const V inverse = 1.0 / (strain + gr);
    at.Store(gr * inverse, block.model);
    if (block.derivatives.first) at.Store(law.slopeScale * (strain * inverse) * inverse, Column(block, 0));
  });
}

/// 1/3, 1/5, 1/7, ...: (atanh(z) / z - 1) / z^2 is their polynomial in z^2.
struct AtanhSeries {
  double coefficients[28];  // 0.25^28 < 2e-17
  constexpr AtanhSeries() : coefficients{} {
    double denominator = 3.0;
    for (double& coefficient : coefficients) {
      coefficient = 1.0 / denominator;
      denominator += 2.0;
    }
  }
};

/// With z = gamma / (gamma + 2 gr), ln(1 + gamma / gr) = 2 atanh z and r = (atanh(z) / z - 1) / z^2
///
///   h      = 2/pi z (1 - (1 - z^2) r),  1 - z^2 = 4 gr (gamma + gr) / (gamma + 2 gr)^2
///   dh/dgr = -8/pi r z / (gamma + 2 gr)
///
/// r is the series where the logarithm would cancel.
void HyperbolicDampings(const HyperbolicArguments& law, const KernelBlock& block) {
  constexpr double kTwoOverPi = 0.6366197723675814;
  static constexpr AtanhSeries kSeries;
  const double gr = law.referenceStrain;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V strain = at.Load(law.strains);
    const V inverse = 1.0 / (strain + 2.0 * gr);
    const V z = strain * inverse;
    const V square = z * z;
    const Bits small = square < 0.25;
    const V logarithm = Log(1.0 + Where(small, Set(0.0), strain) / gr);
    const V remainder = Where(small, Polynomial(square, kSeries.coefficients), (0.5 * logarithm / z - 1.0) / square);
    const V complement = 4.0 * gr * (strain + gr) * inverse * inverse;
    at.Store(kTwoOverPi * z * (1.0 - complement * remainder), block.model);
    if (block.derivatives.first) at.Store((-4.0 * kTwoOverPi) * remainder * z * inverse, Column(block, 0));
  });
}

}  // namespace
}  // namespace Xem::MaterialUtil
