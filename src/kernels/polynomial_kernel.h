#pragma once

#include "kernels/kernels.h"
#include "kernels/vector.h"

namespace Xem::MaterialUtil {
namespace {

/// P = sum C_ij P_ij,  P_ij = w1 i x1^(i-1) x2^j + w2 j x1^i x2^(j-1),  x1 = I1 - 3,  x2 = I2 - 3
///
///   dP/dC_ij = P_ij
template <bool kModel, bool kDerivatives>
XEM_INLINE void PolynomialStresses(const PolynomialArguments& energy, const KernelBlock& block) {
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V x1 = at.Load(energy.i1);
    const V x2 = at.Load(energy.i2);
    const V w1 = at.Load(energy.w1);
    const V w2 = at.Load(energy.w2);
    // x1^k, x2^k and w1 k x1^(k-1), w2 k x2^(k-1): a term is a sum of two products.
    V powersOf1[kLargestPolynomialOrder + 1];
    V powersOf2[kLargestPolynomialOrder + 1];
    V slopesOf1[kLargestPolynomialOrder + 1];
    V slopesOf2[kLargestPolynomialOrder + 1];
    powersOf1[0] = powersOf2[0] = Set(1.0);
    slopesOf1[0] = slopesOf2[0] = Set(0.0);
    double order = 0.0;
    XEM_LOOP for (std::size_t k = 1; k <= energy.order; ++k) {
      order += 1.0;
      slopesOf1[k] = w1 * (order * powersOf1[k - 1]);
      slopesOf2[k] = w2 * (order * powersOf2[k - 1]);
      powersOf1[k] = powersOf1[k - 1] * x1;
      powersOf2[k] = powersOf2[k - 1] * x2;
    }
    V stress = Set(0.0);
    double* column = block.derivatives.first;
    XEM_LOOP for (std::size_t k = 0; k < energy.termCount; ++k) {
      const auto i = static_cast<std::size_t>(energy.terms[k].i);
      const auto j = static_cast<std::size_t>(energy.terms[k].j);
      const V unit = i == 0   ? slopesOf2[j]
                     : j == 0 ? slopesOf1[i]
                              : Fma(slopesOf1[i], powersOf2[j], slopesOf2[j] * powersOf1[i]);
      if constexpr (kModel) stress = Fma(Set(energy.coefficients[k]), unit, stress);
      if constexpr (kDerivatives) {
        at.Store(unit, column);
        column += block.derivatives.stride;
      }
    }
    if constexpr (kModel) at.Store(stress, block.model);
  });
}

}  // namespace
}  // namespace Xem::MaterialUtil
