#pragma once

#include <string>

#include "output/report.h"

namespace Xem::Tool {

/// What people read on standard output: model and status, parameters with their uncertainty, measures in all and per
/// curve, dropped points, stability, notes.
std::string TableText(const Report& report);

}  // namespace Xem::Tool
