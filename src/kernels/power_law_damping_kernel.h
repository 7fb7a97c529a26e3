#pragma once

#include "kernels/power_law_kernel.h"

/// Damping of the power law, h = hmax (1 - R) with hmax = 2 a / ((a + 2) pi).
namespace Xem::MaterialUtil {
namespace {

inline constexpr double kPi = 3.141592653589793;

struct LargestPowerLawDamping {
  double value;
  double byExponent;
  XEM_INLINE explicit LargestPowerLawDamping(double a)
      : value(2.0 * a / ((a + 2.0) * kPi)), byExponent(4.0 / (kPi * (a + 2.0) * (a + 2.0))) {}
};

/// A measured damping as a stiffness ratio, R = 1 - h / hmax = 1 - (2 / a + 1) pi h / 2, which depends on a: what that
/// adds to derivatives by a is gamma' / gamma by R, times dR/da = pi h / a^2.
struct RatioOfDamping {
  V inverse;  // 1 / R
  V odds;     // 1 / R - 1
  V logOdds;
  V logSlope;  // (-1 / R - 1 / (a R (1 - R))) pi h / a^2

  XEM_INLINE RatioOfDamping(double a, V damping) {
    const V ratio = 1.0 - (2.0 / a + 1.0) * damping * kPi / 2.0;
    inverse = 1.0 / ratio;
    odds = inverse - 1.0;
    logOdds = Log(odds);
    logSlope = (-inverse - 1.0 / (a * ratio * (1.0 - ratio))) * (damping * kPi / (a * a));
  }
};

/// What the power of a negative number to x is of that of its magnitude: 1, -1 or, of an x that is not whole, NaN.
XEM_INLINE double SignOfPower(double x) {
  if (x != __builtin_floor(x)) return __builtin_nan("");
  return 0.5 * x == __builtin_floor(0.5 * x) ? 1.0 : -1.0;
}

/// gamma = gr / (2 R) (1 / R - 1)^(1 / a), at the ratio of a damping; where that is not below hmax, it has a value for
/// whole 1 / a alone. The error is that of the logarithm, |ln(1 / R - 1) / a| times the rounding.
///
///   dgamma/dgr = gamma / gr
///   dgamma/da  = -ln(1 / R - 1) gamma / a^2, and what R adds
void PowerLawDampingStrains(const PowerLawArguments& law, const KernelBlock& block) {
  const double gr = law.referenceStrain;
  const double a = law.exponent;
  const double sign = SignOfPower(1.0 / a);
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const RatioOfDamping known(a, at.Load(law.factors));
    const V magnitude = Exp(Log(Magnitude(known.odds)) / a);
    const V power = Where(known.odds < 0.0, sign * magnitude, magnitude);
    const V byReferenceStrain = 0.5 * known.inverse * power;
    const V strain = gr * byReferenceStrain;
    at.Store(strain, block.model);
    if (!block.derivatives.first) return;
    at.Store(byReferenceStrain, Column(block, 0));
    at.Store(-known.logOdds * strain / (a * a) + strain * known.logSlope, Column(block, 1));
  });
}

/// s ln gamma of the same strain
void PowerLawDampingLogStrains(const PowerLawArguments& law, const KernelBlock& block) {
  const double gr = law.referenceStrain;
  const double a = law.exponent;
  const double s = law.logScale;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const RatioOfDamping known(a, at.Load(law.factors));
    at.Store(s * (Log(0.5 * gr * known.inverse) + known.logOdds / a), block.model);
    if (!block.derivatives.first) return;
    at.Store(Set(s / gr), Column(block, 0));
    at.Store(-s * known.logOdds / (a * a) + s * known.logSlope, Column(block, 1));
  });
}

/// h = hmax (1 - R), dh = dhmax (1 - R) - hmax dR, with R at a stress x or at a strain (power_law_kernel.h)
template <bool kAtStrain>
XEM_INLINE void PowerLawDampings(const PowerLawArguments& law, const KernelBlock& block) {
  const double gr = law.referenceStrain;
  const double a = law.exponent;
  const double logReference = __builtin_log(gr);
  const LargestPowerLawDamping largest(a);
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V logarithm = at.Load(law.logarithms) - logReference;
    const V logPower = kAtStrain ? LogPowerAtStrain(a, logarithm) : a * logarithm;
    const PowerLawState state(logPower);
    at.Store(largest.value * state.loss, block.model);
    if (!block.derivatives.first) return;
    const V implicit = kAtStrain ? largest.value / (1.0 + a * state.loss) : Set(largest.value);
    const V logArgument = kAtStrain ? logPower / a : logarithm;
    at.Store((-a / gr) * state.slope * implicit, Column(block, 0));
    at.Store(largest.byExponent * state.loss + state.SlopeTimes(logArgument) * implicit, Column(block, 1));
  });
}

void PowerLawDampingsAtStresses(const PowerLawArguments& law, const KernelBlock& block) {
  PowerLawDampings<false>(law, block);
}

void PowerLawDampingsAtStrains(const PowerLawArguments& law, const KernelBlock& block) {
  PowerLawDampings<true>(law, block);
}

}  // namespace
}  // namespace Xem::MaterialUtil
