#pragma once

#include "kernels/elementary.h"
#include "kernels/kernels.h"

namespace Xem::MaterialUtil {
namespace {

/// gamma = gr / (2 R) (1 / R - 1)^(1 / a), at a stiffness ratio R
///
///   dgamma/dgr = gamma / gr
///   dgamma/da  = -ln(1 / R - 1) gamma / a^2
void PowerLawStrains(const PowerLawArguments& law, const KernelBlock& block) {
  const double gr = law.referenceStrain;
  const double a = law.exponent;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V logOdds = at.Load(law.logarithms);
    const V byReferenceStrain = at.Load(law.factors) * Exp(logOdds / a);
    const V strain = gr * byReferenceStrain;
    at.Store(strain, block.model);
    if (!block.derivatives.first) return;
    at.Store(byReferenceStrain, Column(block, 0));
    at.Store(-logOdds * strain / (a * a), Column(block, 1));
  });
}

/// s ln gamma of the same strain
void PowerLawLogStrains(const PowerLawArguments& law, const KernelBlock& block) {
  const double a = law.exponent;
  const double s = law.logScale;
  const double logReference = __builtin_log(law.referenceStrain);
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V logOdds = at.Load(law.logarithms);
    at.Store(s * (logReference + at.Load(law.factors) + logOdds / a), block.model);
    if (!block.derivatives.first) return;
    at.Store(Set(s / law.referenceStrain), Column(block, 0));
    at.Store(-s * logOdds / (a * a), Column(block, 1));
  });
}

/// R = 1 / (1 + T) by ln T, with what its derivatives have in common.
struct PowerLawState {
  V ratio;  // R
  V loss;   // 1 - R, which does not cancel
  V slope;  // R (1 - R), and 0 where the law is flat beyond the range of numbers

  XEM_INLINE explicit PowerLawState(V logPower) {
    const V power = Exp(logPower);
    ratio = 1.0 / (1.0 + power);
    loss = Where(ratio == 0.0, Set(1.0), power * ratio);
    slope = ratio * loss;
  }
  XEM_INLINE V SlopeTimes(V logArgument) const { return Where(slope == 0.0, Set(0.0), logArgument * slope); }
};

/// R = 1 / (1 + T),  T = (2 x / gr)^a, at a stress x
///
///   dR/dgr = a R (1 - R) / gr
///   dR/da  = -ln(2 x / gr) R (1 - R)
void PowerLawRatios(const PowerLawArguments& law, const KernelBlock& block) {
  const double gr = law.referenceStrain;
  const double a = law.exponent;
  const double logReference = __builtin_log(gr);
  const double scale = a / gr;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V logArgument = at.Load(law.logarithms) - logReference;
    const PowerLawState state(a * logArgument);
    at.Store(state.ratio, block.model);
    if (!block.derivatives.first) return;
    at.Store(scale * state.slope, Column(block, 0));
    at.Store(-state.SlopeTimes(logArgument), Column(block, 1));
  });
}

/// ln T at a strain, where R = 1 / (1 + T) stands on both sides of T = (2 R gamma / gr)^a:
///
///   ln T + a ln(1 + T) = a ln(2 gamma / gr)
///
/// The left side rises and is convex. Halley's iteration starts at what it is far from the bend, where f f'' stays
/// below f'^2, and what is left of the error after a step below 2e-6 is below 1e-17. Each lane stops by itself, so that
/// a point does not depend on its neighbours.
XEM_INLINE V LogPowerAtStrain(double a, V logArgument) {
  constexpr double kSmallStep = 2e-6;
  constexpr double kNoLoss = -800.0;  // T = 0
  const V wanted = a * logArgument;
  const V goal = Where(wanted < kNoLoss, Set(kNoLoss), wanted);
  V logPower = Where(goal > 0.0, goal / (1.0 + a), goal);
  Bits moving = logPower == logPower;
  for (int iteration = 0; iteration < 100 && Any(moving); ++iteration) {
    const Softplus sum(logPower);
    const V slope = 1.0 + a * sum.slope;
    const V excess = logPower + a * sum.value - goal;
    const V step = excess * slope / (slope * slope - excess * (0.5 * a) * sum.slope * (1.0 - sum.slope));
    logPower = Where(moving, logPower - step, logPower);
    moving = moving & (Magnitude(step) > kSmallStep);
  }
  return logPower;
}

/// R = 1 / (1 + (2 R gamma / gr)^a) at a strain gamma, from which `logarithms` are. With x = R gamma
///
///   dR/dgr =  a R (1 - R) / gr       / (1 + a (1 - R))
///   dR/da  = -ln(2 x / gr) R (1 - R) / (1 + a (1 - R))
void PowerLawRatiosAtStrains(const PowerLawArguments& law, const KernelBlock& block) {
  const double gr = law.referenceStrain;
  const double a = law.exponent;
  const double logReference = __builtin_log(gr);
  const double scale = a / gr;
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V logOfStrain = at.Load(law.logarithms) - logReference;
    const V logPower = LogPowerAtStrain(a, logOfStrain);
    const PowerLawState state(logPower);
    at.Store(state.ratio, block.model);
    if (!block.derivatives.first) return;
    const V implicit = 1.0 / (1.0 + a * state.loss);
    at.Store(scale * state.slope * implicit, Column(block, 0));
    at.Store(-state.SlopeTimes(logPower / a) * implicit, Column(block, 1));
  });
}

}  // namespace
}  // namespace Xem::MaterialUtil
