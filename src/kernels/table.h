#pragma once

#include "kernels/creep_kernel.h"
#include "kernels/elementary.h"
#include "kernels/ghe_kernel.h"
#include "kernels/hyperbolic_kernel.h"
#include "kernels/least_squares_kernel.h"
#include "kernels/ogden_kernel.h"
#include "kernels/polynomial_kernel.h"
#include "kernels/positive_definite_kernel.h"
#include "kernels/power_law_damping_kernel.h"
#include "kernels/power_law_kernel.h"
#include "kernels/prony_kernel.h"
#include "kernels/prony_share_kernel.h"
#include "kernels/retention_kernel.h"
#include "kernels/triangle_kernel.h"

/// All kernels for the instruction set of the file that includes this.
namespace Xem::MaterialUtil {
namespace {

void PronyBlock(const PronyArguments& series, const KernelBlock& block) {
  block.derivatives.first ? PronyModuli<true>(series, block) : PronyModuli<false>(series, block);
}

void OgdenBlock(const OgdenArguments& series, const KernelBlock& block) {
  block.derivatives.first ? OgdenStresses<true>(series, block) : OgdenStresses<false>(series, block);
}

void PolynomialBlock(const PolynomialArguments& energy, const KernelBlock& block) {
  if (!energy.coefficients) return PolynomialOfItsOrder<false, true>(energy, block);
  block.derivatives.first ? PolynomialOfItsOrder<true, true>(energy, block)
                          : PolynomialOfItsOrder<true, false>(energy, block);
}

constexpr Kernels kTable{
    .exp = ExpOf,
    .log = LogOf,
    .prony = PronyBlock,
    .pronyShare = PronyShare,
    .ogden = OgdenBlock,
    .polynomial = PolynomialBlock,
    .powerLawStrains = PowerLawStrains,
    .powerLawLogStrains = PowerLawLogStrains,
    .powerLawRatios = PowerLawRatios,
    .powerLawRatiosAtStrains = PowerLawRatiosAtStrains,
    .powerLawDampingStrains = PowerLawDampingStrains,
    .powerLawDampingLogStrains = PowerLawDampingLogStrains,
    .powerLawDampings = PowerLawDampingsAtStresses,
    .powerLawDampingsAtStrains = PowerLawDampingsAtStrains,
    .hyperbolicRatios = HyperbolicRatios,
    .hyperbolicDampings = HyperbolicDampings,
    .gheRatios = GheRatios,
    .gheDampings = GheDampings,
    .vanGenuchten = VanGenuchtenContents,
    .freeVanGenuchten = FreeVanGenuchtenContents,
    .fredlundXing = FredlundXingContents,
    .brooksCorey = BrooksCoreyContents,
    .creep = CreepStrains,
    .absoluteResiduals = AbsoluteResiduals,
    .relativeResiduals = RelativeResiduals,
    .multiply = Multiply,
    .addProducts = AddProducts,
    .addProductsOfLast = AddProductsOfLast,
    .totals = Totals,
    .products = Products,
    .solvePositiveDefinite = SolvePositiveDefinite,
    .triangularise = Triangularise,
};

}  // namespace
}  // namespace Xem::MaterialUtil
