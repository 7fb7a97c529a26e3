#pragma once

#include "kernels/elementary.h"
#include "kernels/kernels.h"

namespace Xem::MaterialUtil {
namespace {

/// gamma = gr / (2 R) (1 / R - 1)^(1 / a), at a stiffness ratio R
///
///   dgamma/dgr = gamma / gr
///   dgamma/da  = -ln(1 / R - 1) gamma / a^2
void PowerLawStrains(const PowerLawArguments& law, const KernelBlock& block) {
  const double gr = law.referenceStrain;
  const double a = law.exponent;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V logOdds = at.Load(law.logarithms);
    const V byReferenceStrain = at.Load(law.factors) * Exp(logOdds / a);
    const V strain = gr * byReferenceStrain;
    at.Store(strain, block.model);
    if (!block.derivatives.first) return;
    at.Store(byReferenceStrain, Column(block, 0));
    at.Store(-logOdds * strain / (a * a), Column(block, 1));
  });
}

/// s ln gamma of the same strain
void PowerLawLogStrains(const PowerLawArguments& law, const KernelBlock& block) {
  const double a = law.exponent;
  const double s = law.logScale;
  const double logReference = __builtin_log(law.referenceStrain);
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V logOdds = at.Load(law.logarithms);
    at.Store(s * (logReference + at.Load(law.factors) + logOdds / a), block.model);
    if (!block.derivatives.first) return;
    at.Store(Set(s / law.referenceStrain), Column(block, 0));
    at.Store(-s * logOdds / (a * a), Column(block, 1));
  });
}

/// R = 1 / (1 + T),  T = (2 x / gr)^a, at a stress x
///
///   dR/dgr = a R (1 - R) / gr
///   dR/da  = -ln(2 x / gr) R (1 - R)
void PowerLawRatios(const PowerLawArguments& law, const KernelBlock& block) {
  const double gr = law.referenceStrain;
  const double a = law.exponent;
  const double logReference = __builtin_log(gr);
  const double scale = a / gr;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V logArgument = at.Load(law.logarithms) - logReference;
    const V power = Exp(a * logArgument);
    const V ratio = 1.0 / (1.0 + power);
    at.Store(ratio, block.model);
    if (!block.derivatives.first) return;
    // 1 - R without cancellation; the law is flat beyond the range of numbers.
    const V slope = Where(ratio == 0.0, Set(0.0), ratio * (power * ratio));
    at.Store(scale * slope, Column(block, 0));
    at.Store(Where(slope == 0.0, Set(0.0), -logArgument * slope), Column(block, 1));
  });
}

}  // namespace
}  // namespace Xem::MaterialUtil
