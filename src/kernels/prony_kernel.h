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

/// Some terms of a series of `all`, from `first` on.
struct PronyTerms {
  static constexpr std::size_t kMost = 16;

  std::size_t all, first, count;
  const double* shares;  // g
  double rates[kMost];   // -1 / tau
  double slopes[kMost];  // -g / tau
};

/// Adds terms at one vector of points or two. `kFar`: exponents may be beyond kAlwaysNormal, or NaN.
///
///   g(t) = 1 - sum_k g_k (1 - exp(-t / tau_k))
///
///   dg/dg_k   = exp(-t / tau_k) - 1
///   dg/dtau_k = g_k t exp(-t / tau_k) / tau_k^2
template <bool kDerivatives, bool kFar, std::size_t n, class At>
XEM_INLINE void AddPronyTerms(const PronyTerms& terms, const double* times, const KernelBlock& block, const At* at) {
  V time[n], modulus[n];
  XEM_UNROLL for (std::size_t i = 0; i < n; ++i) {
    time[i] = at[i].Load(times);
    modulus[i] = terms.first == 0 ? Set(1.0) : at[i].Load(block.model);
  }
  double* byShare = Column(block, terms.first);
  double* byTime = Column(block, terms.all + terms.first);
  XEM_LOOP for (std::size_t k = 0; k < terms.count; ++k) {
    XEM_UNROLL for (std::size_t i = 0; i < n; ++i) {
      const V exponent = terms.rates[k] * time[i];
      const bool anyEnd = kFar && AnyBeyond(exponent, kAlwaysNormal);
      const V remainder = anyEnd ? Remainder(exponent) : ExpInside(exponent);
      const V response = remainder - 1.0;
      modulus[i] = Fma(Set(terms.shares[k]), response, modulus[i]);
      if (!kDerivatives) continue;
      at[i].Store(response, byShare);
      const V slope = terms.slopes[k] * exponent * remainder;
      // Nothing remains of a term long gone, also where the product would be 0 times infinity.
      at[i].Store(kFar ? Where(remainder == 0.0, Set(0.0), slope) : slope, byTime);
    }
    byShare += block.derivatives.stride;
    byTime += block.derivatives.stride;
  }
  XEM_UNROLL for (std::size_t i = 0; i < n; ++i) at[i].Store(modulus[i], block.model);
}

template <bool kDerivatives>
XEM_INLINE void PronyModuli(const PronyArguments& series, const KernelBlock& block) {
  if (series.terms == 0) Fill(block, 1.0);
  PronyTerms terms;
  terms.all = series.terms;
  for (terms.first = 0; terms.first < terms.all; terms.first += terms.count) {
    const std::size_t left = terms.all - terms.first;
    terms.count = left < PronyTerms::kMost ? left : PronyTerms::kMost;
    terms.shares = series.parameters + terms.first;
    double sumOfRates = 0.0;
    XEM_LOOP for (std::size_t k = 0; k < terms.count; ++k) {
      terms.rates[k] = -1.0 / series.parameters[terms.all + terms.first + k];
      terms.slopes[k] = terms.shares[k] * terms.rates[k];
      sumOfRates += __builtin_fabs(terms.rates[k]);
    }
    ForEachPairOfVectors(block.count, [&](const auto& at) XEM_INLINE_LAMBDA {
      constexpr std::size_t n = sizeof at / sizeof *at;
      bool far = false;
      for (const auto& one : at) far = far || AnyBeyond(one.Load(series.times) * sumOfRates, kAlwaysNormal);
      if (__builtin_expect(!far, true)) {
        return AddPronyTerms<kDerivatives, false, n>(terms, series.times, block, at);
      }
      for (const auto& one : at) AddPronyTerms<kDerivatives, true, 1>(terms, series.times, block, &one);
    });
  }
}

}  // namespace
}  // namespace Xem::MaterialUtil
