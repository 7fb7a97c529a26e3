#pragma once

#include <string>
#include <vector>

#include "batch/outcome.h"
#include "batch/summary.h"

namespace Xem::Tool {

/// What the page shows of a specimen besides its row of the summary.
struct OverviewSpecimen {
  std::vector<Outcome::Curve> curves;
  std::vector<std::string> files;  ///< that its fit wrote, as seen from the page
};

/// One page for a browser without a network: all curves in one picture, histograms of the parameters, the summary, and
/// a table of specimens that sorts and leads to their files. `recipe` are the words of the command for one specimen,
/// `shellCommand` is what the reader types to get the same page.
std::string OverviewPage(const std::vector<std::string>& recipe, const std::string& shellCommand,
                         const Fit::Summary& summary, const std::vector<OverviewSpecimen>& specimens);

}  // namespace Xem::Tool
