#pragma once

#include <span>
#include <vector>

namespace Xem::Testing {

/// A call on realistic data that returns every number of its result, status first. Rows share nothing that is written.
struct Call {
  const char* name;
  std::vector<double> (*run)();
};

/// One row per exported function.
std::span<const Call> EveryExport();
/// One row per family of the fit layer: values and standard errors of the parameters, then the measures.
std::span<const Call> FitLayerCalls();

}  // namespace Xem::Testing
