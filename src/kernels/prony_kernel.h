#pragma once

#include "kernels/elementary.h"
#include "kernels/kernels.h"

namespace Xem::MaterialUtil {
namespace {

/// exp(x), and 0 where that is below all normal numbers, which is slow to say.
__attribute__((noinline)) V Remainder(V x) {
  const Bits gone = x < -kAlwaysNormal;
  if (!Any(~gone)) return Set(0.0);
  return Where(gone, Set(0.0), Exp(Where(gone, Set(0.0), x)));
}

/// g(t) = 1 - sum_k g_k (1 - exp(-t / tau_k))
///
///   dg/dg_k   = exp(-t / tau_k) - 1
///   dg/dtau_k = g_k t exp(-t / tau_k) / tau_k^2
template <bool kDerivatives>
XEM_INLINE void PronyModuli(const PronyArguments& series, const KernelBlock& block) {
  constexpr std::size_t kTogether = 16;
  if (series.terms == 0) Fill(block, 1.0);
  for (std::size_t first = 0; first < series.terms; first += kTogether) {
    const std::size_t terms = series.terms - first < kTogether ? series.terms - first : kTogether;
    const double* const shares = series.parameters + first;
    double rates[kTogether];  // -1 / tau
    double sumOfRates = 0.0;
    XEM_LOOP for (std::size_t k = 0; k < terms; ++k) {
      rates[k] = -1.0 / series.parameters[series.terms + first + k];
      sumOfRates += __builtin_fabs(rates[k]);
    }
    ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
      const V time = at.Load(series.times);
      const bool perhaps = Any(~(Magnitude(time) * sumOfRates <= kAlwaysNormal));  // NaN, too
      V modulus = first == 0 ? Set(1.0) : at.Load(block.model);
      double* byShare = Column(block, first);
      double* byTime = Column(block, series.terms + first);
      XEM_LOOP for (std::size_t k = 0; k < terms; ++k) {
        const V exponent = rates[k] * time;
        const bool anyEnd = __builtin_expect(perhaps, false) && Any(~(Magnitude(exponent) <= kAlwaysNormal));
        const V remainder = __builtin_expect(anyEnd, false) ? Remainder(exponent) : ExpInside(exponent);
        const V response = remainder - 1.0;
        modulus = Fma(Set(shares[k]), response, modulus);
        if constexpr (kDerivatives) {
          at.Store(response, byShare);
          V slope = (shares[k] * rates[k]) * exponent * remainder;
          // Nothing remains of a term long gone, also where the product would be 0 times infinity.
          if (__builtin_expect(anyEnd, false)) slope = Where(remainder == 0.0, Set(0.0), slope);
          at.Store(slope, byTime);
          byShare += block.derivatives.stride;
          byTime += block.derivatives.stride;
        }
      }
      at.Store(modulus, block.model);
    });
  }
}

}  // namespace
}  // namespace Xem::MaterialUtil
