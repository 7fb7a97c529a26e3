#pragma once

#include "kernels/vector.h"

namespace Xem::MaterialUtil {
namespace {

/// Raising a share gives to its own term and takes from the rest of those that follow.
void PronyShare(std::size_t count, double span, double share, double time, const PronyShareColumns& columns) {
  ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA {
    const V later = at.Load(columns.byRest);
    const V gain = at.Load(columns.byCoefficient) - later;
    at.Store(span * gain, columns.byCoefficient);
    at.Store(later + share * gain, columns.byRest);
    at.Store(time * at.Load(columns.byTime), columns.byTime);
  });
}

}  // namespace
}  // namespace Xem::MaterialUtil
