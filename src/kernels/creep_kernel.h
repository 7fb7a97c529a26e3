#pragma once

#include "kernels/elementary.h"
#include "kernels/kernels.h"

namespace Xem::MaterialUtil {
namespace {

/// eps = P t^C4 + S t at one stress s, P = C1 s^C2, S = C5 s^C6. The error of t^C4 is that of C4 ln t, |C4 ln t| times
/// the rounding.
///
///   d/dC1 = s^C2 t^C4,  d/dC2 = P t^C4 ln s,  d/dC4 = P t^C4 ln t
///   d/dC5 = s^C6 t,     d/dC6 = S t ln s,     d/dC3 = d/dC7 = 0
void CreepStrains(const CreepArguments& law, const KernelBlock& block) {
  ForEachVector(block.count, [&](auto at) XEM_INLINE_LAMBDA {
    const V time = at.Load(law.times);
    const V logTime = at.Load(law.logTimes);
    const V power = Exp(law.timeExponent * logTime);
    const V primary = law.primary * power;
    const V secondary = law.secondary * time;
    at.Store(primary + secondary, block.model);
    if (!block.derivatives.first) return;
    at.Store(law.stressToC2 * power, Column(block, 0));
    at.Store(primary * law.logStress, Column(block, 1));
    at.Store(Set(0.0), Column(block, 2));
    at.Store(primary * logTime, Column(block, 3));
    at.Store(law.stressToC6 * time, Column(block, 4));
    at.Store(secondary * law.logStress, Column(block, 5));
    at.Store(Set(0.0), Column(block, 6));
  });
}

}  // namespace
}  // namespace Xem::MaterialUtil
