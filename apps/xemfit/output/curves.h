#pragma once

#include <string>

#include "output/report.h"

namespace Xem::Tool {

/// Measured and fitted ordinates of every curve as CSV: curve, x, measured, fitted. Numbers read back exactly; a
/// missing one is an empty cell.
std::string CurvesCsv(const std::string& command, const Report& report);

}  // namespace Xem::Tool
