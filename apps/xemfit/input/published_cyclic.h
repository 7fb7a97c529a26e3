#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "xem/fit/result.h"

namespace Xem::Tool {

/// A bundled data file as text.
struct BundledFile {
  std::string_view name;
  std::string_view text;
};
const std::vector<BundledFile>& BundledCyclicFiles();

/// Published curves of one soil, by name.
struct PublishedCyclic {
  std::string name;    ///< "sand"
  std::string legend;  ///< "Seed & Idriss 1970, sand"
  std::string source;
  Fit::Curve stiffness;
  Fit::Curve damping;
};

/// Names that --overlay understands, for help and messages.
std::string PublishedCyclicNames();
std::vector<std::string> PublishedCyclicKeys();
/// Throws Failure (Usage) for an unknown name.
PublishedCyclic PublishedCyclicCalled(const std::string& name);

}  // namespace Xem::Tool
