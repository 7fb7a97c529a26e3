#pragma once

#include "kernels/elementary.h"
#include "kernels/kernels.h"

namespace Xem::MaterialUtil {
namespace {

/// exp(-x), and 0 where that is below all normal numbers, which is slow to say.
__attribute__((noinline)) V Remainder(V ratio) {
  const Bits gone = ratio > kAlwaysNormal;
  return Where(gone, Set(0.0), Exp(Where(gone, Set(0.0), -ratio)));
}

/// g(t) = 1 - sum_k g_k (1 - exp(-t / tau_k))
///
///   dg/dg_k   = exp(-t / tau_k) - 1
///   dg/dtau_k = g_k t exp(-t / tau_k) / tau_k^2
template <bool kDerivatives>
XEM_INLINE void PronyModuli(const PronyArguments& series, const KernelBlock& block) {
  Fill(block, 1.0);
  for (std::size_t k = 0; k < series.terms; ++k) {
    const double g = series.parameters[k];
    const double rate = 1.0 / series.parameters[series.terms + k];
    double* const byShare = Column(block, k);
    double* const byTime = Column(block, series.terms + k);
    ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
      const V ratio = rate * at.Load(series.times);
      const bool anyEnd = Any(~(Magnitude(ratio) <= kAlwaysNormal));
      const V remainder = __builtin_expect(anyEnd, false) ? Remainder(ratio) : ExpInside(-ratio);
      at.Store(at.Load(block.model) - g * (1.0 - remainder), block.model);
      if constexpr (kDerivatives) {
        at.Store(remainder - 1.0, byShare);
        V slope = (g * rate) * ratio * remainder;
        // Nothing remains of a term long gone, also where the product would be 0 times infinity.
        if (__builtin_expect(anyEnd, false)) slope = Where(remainder == 0.0, Set(0.0), slope);
        at.Store(slope, byTime);
      }
    });
  }
}

}  // namespace
}  // namespace Xem::MaterialUtil
