#pragma once

#include "kernels/elementary.h"
#include "kernels/least_squares_kernel.h"
#include "kernels/ogden_kernel.h"
#include "kernels/prony_kernel.h"

/// All kernels for the instruction set of the file that includes this.
namespace Xem::MaterialUtil {
namespace {

void ExpOf(std::size_t count, const double* x, double* result) {
  ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA { at.Store(Exp(at.Load(x)), result); });
}

void LogOf(std::size_t count, const double* x, double* result) {
  ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA { at.Store(Log(at.Load(x)), result); });
}

void PronyBlock(const PronyArguments& series, const KernelBlock& block) {
  block.derivatives.first ? PronyModuli<true>(series, block) : PronyModuli<false>(series, block);
}

void OgdenBlock(const OgdenArguments& series, const KernelBlock& block) {
  block.derivatives.first ? OgdenStresses<true>(series, block) : OgdenStresses<false>(series, block);
}

constexpr Kernels kTable{
    .exp = ExpOf,
    .log = LogOf,
    .prony = PronyBlock,
    .ogden = OgdenBlock,
    .absoluteResiduals = AbsoluteResiduals,
    .relativeResiduals = RelativeResiduals,
    .multiply = Multiply,
    .addProducts = AddProducts,
    .total = Total,
};

}  // namespace
}  // namespace Xem::MaterialUtil
