#pragma once

#include <string>

namespace Xem::Tool {

/// Where a result goes; empty: not wanted.
struct OutputOptions {
  std::string json;
  std::string curves;
  std::string plot;
  std::string report;
  bool quiet = false;
};

}  // namespace Xem::Tool
