#pragma once

#include "kernels/elementary.h"
#include "kernels/kernels.h"

namespace Xem::MaterialUtil {
namespace {

/// C(x) = C(0) cos^2 q + C(inf) sin^2 q,  q = pi/2 x / (x + a)
///
///   dC/da = (C(0) - C(inf)) sin q cos q pi x / (x + a)^2
struct GheTransition {
  V value;
  V zeroShare;      // cos^2 q
  V infinityShare;  // sin^2 q
  V byScale;

  XEM_INLINE GheTransition(double atZero, double atInfinity, double scale, V x) {
    // Taylor's series of sin(q) / q and cos(q) in q^2: enough up to pi/4, beyond which sine and cosine change places.
    static constexpr double kSine[] = {1.0,
                                       -1.0 / 6.0,
                                       1.0 / 120.0,
                                       -1.0 / 5040.0,
                                       1.0 / 362880.0,
                                       -1.0 / 39916800.0,
                                       1.0 / 6227020800.0,
                                       -1.0 / 1307674368000.0,
                                       1.0 / 355687428096000.0};
    static constexpr double kCosine[] = {1.0,
                                         -1.0 / 2.0,
                                         1.0 / 24.0,
                                         -1.0 / 720.0,
                                         1.0 / 40320.0,
                                         -1.0 / 3628800.0,
                                         1.0 / 479001600.0,
                                         -1.0 / 87178291200.0,
                                         1.0 / 20922789888000.0};
    constexpr double kPi = 3.141592653589793;
    const V inverse = 1.0 / (x + scale);
    const V share = x * inverse;
    const V rest = scale * inverse;  // 1 - share, without its cancellation
    const Bits swap = share > rest;
    const V angle = (0.5 * kPi) * Where(swap, rest, share);
    const V square = angle * angle;
    const V sine = angle * Polynomial(square, kSine);
    const V cosine = Polynomial(square, kCosine);
    const V less = sine * sine;
    const V more = cosine * cosine;
    zeroShare = Where(swap, less, more);
    infinityShare = Where(swap, more, less);
    value = atZero * zeroShare + atInfinity * infinityShare;
    byScale = ((atZero - atInfinity) * kPi) * (sine * cosine) * share * inverse;
  }
};

/// R = 1 / (1 / C1 + x / C2) = C1 C2 / (C2 + x C1)
///
///   dR/dC1 = (R / C1)^2,  dR/dC2 = x (R / C2)^2
void GheRatios(const GheArguments& law, const KernelBlock& block) {
  const double* const p = law.parameters;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V x = at.Load(law.strains);
    const GheTransition c1(p[0], p[1], p[4], x);
    const GheTransition c2(p[2], p[3], p[5], x);
    const V inverse = 1.0 / Fma(x, c1.value, c2.value);
    const V overC1 = c2.value * inverse;
    const V overC2 = c1.value * inverse;
    at.Store(c1.value * overC1, block.model);
    if (!block.derivatives.first) return;
    const V byC1 = overC1 * overC1;
    const V byC2 = x * overC2 * overC2;
    at.Store(byC1 * c1.zeroShare, Column(block, 0));
    at.Store(byC1 * c1.infinityShare, Column(block, 1));
    at.Store(byC2 * c2.zeroShare, Column(block, 2));
    at.Store(byC2 * c2.infinityShare, Column(block, 3));
    at.Store(byC1 * c1.byScale, Column(block, 4));
    at.Store(byC2 * c2.byScale, Column(block, 5));
  });
}

/// h = hmax u^kappa, and 0 where nothing is lost, ln u = -infinity
///
///   dh/dhmax = u^kappa,  dh/dkappa = h ln u
void GheDampings(const GheDampingArguments& law, const KernelBlock& block) {
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V logLoss = at.Load(law.logLosses);
    const Bits none = logLoss == -__builtin_inf();
    const V logarithm = Where(none, Set(0.0), logLoss);
    const V power = Where(none, Set(0.0), Exp(law.exponent * logarithm));
    const V damping = law.largestDamping * power;
    at.Store(damping, block.model);
    if (!block.derivatives.first) return;
    at.Store(power, Column(block, 0));
    at.Store(damping * logarithm, Column(block, 1));
  });
}

}  // namespace
}  // namespace Xem::MaterialUtil
