#pragma once

#include "kernels/elementary.h"
#include "kernels/kernels.h"

/// Water contents over suctions s (soil/retention_law.h); without suction the soil is saturated, theta = theta_s.
/// Errors are those of the logarithm of a saturation, |ln Se| times the rounding, and of ln s, n or lambda times its
/// rounding.
namespace Xem::MaterialUtil {
namespace {

/// theta = theta_r + (theta_s - theta_r) Se,  Se = (1 + w)^(-m),  w = (alpha s)^n,  m = 1 - 1/n or free
///
///   dtheta/dtheta_s = Se,  dtheta/dtheta_r = 1 - Se
///   dtheta/dalpha   = -(theta_s - theta_r) m Se w / (1 + w) n / alpha
///   dtheta/dn       = -(theta_s - theta_r) m Se w / (1 + w) ln(alpha s), and where m follows from n dtheta/dm / n^2
///   dtheta/dm       = -(theta_s - theta_r) Se ln(1 + w)
template <bool kFreeM>
XEM_INLINE void VanGenuchten(const RetentionArguments& law, const KernelBlock& block) {
  const double saturated = law.parameters[0];
  const double residual = law.parameters[1];
  const double alpha = law.parameters[2];
  const double n = law.parameters[3];
  const double m = kFreeM ? law.parameters[4] : 1.0 - 1.0 / n;
  const double range = saturated - residual;
  const double logAlpha = __builtin_log(alpha);
  const double scale = law.scale;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const Bits full = at.Load(law.suctions) <= 0.0;
    const V logScaled = Where(full, Set(0.0), logAlpha + at.Load(law.logSuctions));
    const Softplus sum(n * logScaled);
    const V logSum = Where(full, Set(0.0), sum.value);
    const V saturation = Exp(-m * logSum);
    at.Store(scale * Where(full, Set(saturated), residual + range * saturation), block.model);
    if (!block.derivatives.first) return;
    const V slope = (scale * range * m) * saturation * Where(full, Set(0.0), sum.slope);
    const V byM = (-scale * range) * saturation * logSum;
    at.Store(scale * saturation, Column(block, 0));
    at.Store(scale * (1.0 - saturation), Column(block, 1));
    at.Store(-slope * n / alpha, Column(block, 2));
    at.Store(kFreeM ? -slope * logScaled : byM / (n * n) - slope * logScaled, Column(block, 3));
    if (kFreeM) at.Store(byM, Column(block, 4));
  });
}

void VanGenuchtenContents(const RetentionArguments& law, const KernelBlock& block) { VanGenuchten<false>(law, block); }
void FreeVanGenuchtenContents(const RetentionArguments& law, const KernelBlock& block) {
  VanGenuchten<true>(law, block);
}

/// theta = C theta_s p,  p = (ln(e + v))^(-m),  v = (s/a)^n,  C = 1 - u / u0 with u = ln(1 + s/psi_r), u0 = u(10^6)
///
///   dtheta/dtheta_s = C p
///   dtheta/da       = theta m v / (e + v) / ln(e + v) n / a
///   dtheta/dn       = -theta m v / (e + v) / ln(e + v) ln(s/a)
///   dtheta/dm       = -theta ln ln(e + v)
///   dtheta/dpsi_r   = theta_s p (u u0' - u' u0) / u0^2,  u' = -s / (psi_r (psi_r + s))
void FredlundXingContents(const RetentionArguments& law, const KernelBlock& block) {
  constexpr double kOvenDry = 1e6;
  const double saturated = law.parameters[0];
  const double a = law.parameters[1];
  const double n = law.parameters[2];
  const double m = law.parameters[3];
  const double psi = law.parameters[4];
  const double logA = __builtin_log(a);
  const double dryTerm = __builtin_log1p(kOvenDry / psi);
  const double dryTermByPsi = -kOvenDry / (psi * (psi + kOvenDry));
  const double scale = law.scale;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const Bits full = at.Load(law.suctions) <= 0.0;
    const V suction = Where(full, Set(0.0), at.Load(law.suctions));
    const V logScaled = Where(full, Set(0.0), at.Load(law.logSuctions) - logA);
    const Softplus sum(n * logScaled - 1.0);  // e + v = e (1 + v / e)
    const V logSum = Where(full, Set(1.0), 1.0 + sum.value);
    const V logOfLogSum = Log(logSum);
    const V power = Exp(-m * logOfLogSum);
    const V suctionTerm = LogOfOneAnd(suction / psi);
    const V correction = 1.0 - suctionTerm / dryTerm;
    const V content = (scale * saturated) * correction * power;
    at.Store(content, block.model);
    if (!block.derivatives.first) return;
    const V slope = content * m * Where(full, Set(0.0), sum.slope) / logSum;
    const V suctionTermByPsi = -suction / (psi * (psi + suction));
    const V correctionByPsi = (suctionTerm * dryTermByPsi - suctionTermByPsi * dryTerm) / (dryTerm * dryTerm);
    at.Store(scale * correction * power, Column(block, 0));
    at.Store(slope * n / a, Column(block, 1));
    at.Store(-slope * logScaled, Column(block, 2));
    at.Store(-content * logOfLogSum, Column(block, 3));
    at.Store((scale * saturated) * power * correctionByPsi, Column(block, 4));
  });
}

/// theta = theta_r + (theta_s - theta_r) Se,  Se = (psi_b/s)^lambda above psi_b and 1 up to there
///
///   dtheta/dtheta_s = Se,  dtheta/dtheta_r = 1 - Se
///   dtheta/dpsi_b   = (theta_s - theta_r) lambda Se / psi_b
///   dtheta/dlambda  = (theta_s - theta_r) Se ln(psi_b/s)
void BrooksCoreyContents(const RetentionArguments& law, const KernelBlock& block) {
  const double saturated = law.parameters[0];
  const double residual = law.parameters[1];
  const double airEntry = law.parameters[2];
  const double lambda = law.parameters[3];
  const double range = saturated - residual;
  const double logAirEntry = __builtin_log(airEntry);
  const double scale = law.scale;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V suction = at.Load(law.suctions);
    const Bits full = (suction <= 0.0) | (suction <= airEntry);
    const V logScaled = Where(full, Set(0.0), logAirEntry - at.Load(law.logSuctions));
    const V saturation = Exp(lambda * logScaled);
    at.Store(scale * Where(full, Set(saturated), residual + range * saturation), block.model);
    if (!block.derivatives.first) return;
    const V drained = (scale * range) * saturation;
    at.Store(scale * saturation, Column(block, 0));
    at.Store(scale * (1.0 - saturation), Column(block, 1));
    at.Store(Where(full, Set(0.0), drained * (lambda / airEntry)), Column(block, 2));
    at.Store(drained * logScaled, Column(block, 3));
  });
}

}  // namespace
}  // namespace Xem::MaterialUtil
