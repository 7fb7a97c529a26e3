#pragma once

#include <string>

#include "xem/fit/summary.h"

namespace Xem::Tool {

/// One row per specimen, then rows `mean`, `standard_deviation`, `median`, `robust_deviation`, `number` and `unit`
/// whose status is "summary".
std::string SummaryCsv(const Fit::Summary& summary);
/// What people read: parameters with mean and scatter, how many specimens fitted, and outliers.
std::string SummaryTable(const Fit::Summary& summary);
/// "500 specimens, 488 fitted, 10 doubtful, 2 failed"
std::string SummaryCounts(const Fit::Summary& summary);

}  // namespace Xem::Tool
