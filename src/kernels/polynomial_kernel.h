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
    V powersOf1[kLargestPolynomialOrder];  // differentiation takes one power away
    V powersOf2[kLargestPolynomialOrder];
    powersOf1[0] = powersOf2[0] = Set(1.0);
    for (std::size_t k = 1; k < energy.order; ++k) {
      powersOf1[k] = powersOf1[k - 1] * x1;
      powersOf2[k] = powersOf2[k - 1] * x2;
    }
    V stress = Set(0.0);
    for (std::size_t k = 0; k < energy.termCount; ++k) {
      const int i = energy.terms[k].i;
      const int j = energy.terms[k].j;
      const V byI1 = i == 0 ? Set(0.0) : static_cast<double>(i) * powersOf1[i - 1] * powersOf2[j];
      const V byI2 = j == 0 ? Set(0.0) : static_cast<double>(j) * powersOf1[i] * powersOf2[j - 1];
      const V unit = w1 * byI1 + w2 * byI2;
      if constexpr (kModel) stress += energy.coefficients[k] * unit;
      if constexpr (kDerivatives) at.Store(unit, Column(block, k));
    }
    if constexpr (kModel) at.Store(stress, block.model);
  });
}

}  // namespace
}  // namespace Xem::MaterialUtil
