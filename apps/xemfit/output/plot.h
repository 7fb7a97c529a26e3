#pragma once

#include <string>

#include "output/report.h"

namespace Xem::Tool {

/// Throws Failure (Usage) unless the path ends in .png, .svg or .pdf.
void RequirePlotFormat(const std::string& path);

/// The picture of a report in the format that the path asks for, drawn by gnuplot. The same report gives the same
/// bytes. Throws Failure (Other) when gnuplot is missing or refuses.
std::string DrawPlot(const Report& report, const std::string& path);

}  // namespace Xem::Tool
