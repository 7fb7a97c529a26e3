#pragma once

#include "kernels/kernels.h"
#include "kernels/vector.h"

namespace Xem::MaterialUtil {
namespace {

/// P = sum C_ij P_ij,  P_ij = w1 i x1^(i-1) x2^j + w2 j x1^i x2^(j-1),  x1 = I1 - 3,  x2 = I2 - 3
///
///   dP/dC_ij = P_ij
///
/// No product is fused, so that stresses have the same bits on every processor.
///
/// A `kOrder` above 0 is the order, of which all terms are there: the compiler then writes them out.
template <bool kModel, bool kDerivatives, std::size_t kOrder>
void PolynomialStresses(const PolynomialArguments& energy, const KernelBlock& block) {
  constexpr std::size_t kMost = (kOrder > 0 ? kOrder : kLargestPolynomialOrder) + 1;
  const std::size_t order = kOrder > 0 ? kOrder : energy.order;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V x1 = at.Load(energy.i1);
    const V x2 = at.Load(energy.i2);
    const V w1 = at.Load(energy.w1);
    const V w2 = at.Load(energy.w2);
    // x1^k, x2^k and w1 k x1^(k-1), w2 k x2^(k-1): a term is a sum of two products.
    V powersOf1[kMost];
    V powersOf2[kMost];
    V slopesOf1[kMost];
    V slopesOf2[kMost];
    powersOf1[0] = powersOf2[0] = Set(1.0);
    double exponent = 1.0;
    for (std::size_t k = 1; k <= order; ++k, exponent += 1.0) {
      slopesOf1[k] = w1 * (exponent * powersOf1[k - 1]);
      slopesOf2[k] = w2 * (exponent * powersOf2[k - 1]);
      powersOf1[k] = powersOf1[k - 1] * x1;
      powersOf2[k] = powersOf2[k - 1] * x2;
    }
    V stress = Set(0.0);
    double* column = block.derivatives.first;
    const double* coefficient = energy.coefficients;
    const auto add = [&](std::size_t i, std::size_t j) XEM_INLINE_LAMBDA {
      const V unit = i == 0   ? slopesOf2[j]
                     : j == 0 ? slopesOf1[i]
                              : slopesOf1[i] * powersOf2[j] + slopesOf2[j] * powersOf1[i];
      if constexpr (kModel) stress += *coefficient++ * unit;
      if constexpr (kDerivatives) {
        at.Store(unit, column);
        column += block.derivatives.stride;
      }
    };
    if constexpr (kOrder > 0) {
      XEM_UNROLL for (std::size_t degree = 1; degree <= kOrder; ++degree) {
        XEM_UNROLL for (std::size_t j = 0; j <= degree; ++j) add(degree - j, j);
      }
    } else {
      XEM_LOOP for (std::size_t k = 0; k < energy.termCount; ++k) {
        add(static_cast<std::size_t>(energy.terms[k].i), static_cast<std::size_t>(energy.terms[k].j));
      }
    }
    if constexpr (kModel) at.Store(stress, block.model);
  });
}

/// The usual orders have code of their own.
template <bool kModel, bool kDerivatives>
void PolynomialOfItsOrder(const PolynomialArguments& energy, const KernelBlock& block) {
  const bool all = 2 * energy.termCount == energy.order * (energy.order + 3);
  if (all && energy.order == 2) return PolynomialStresses<kModel, kDerivatives, 2>(energy, block);
  if (all && energy.order == 3) return PolynomialStresses<kModel, kDerivatives, 3>(energy, block);
  PolynomialStresses<kModel, kDerivatives, 0>(energy, block);
}

}  // namespace
}  // namespace Xem::MaterialUtil
