#pragma once

#include <string>

#include "output/figure.h"
#include "output/report.h"

namespace Xem::Tool {

/// Throws Failure (Usage) unless the path ends in .png, .svg or .pdf.
void RequirePlotFormat(const std::string& path);

/// The picture of a report in the format that the path asks for, drawn by gnuplot. The same report gives the same
/// bytes. Throws Failure (Other) when gnuplot is missing or refuses.
std::string DrawPlot(const Report& report, const std::string& path);

/// The same for any figure; `extension` is ".png", ".svg" or ".pdf", `option` begins the messages.
std::string DrawFigure(const Figure& figure, const std::string& extension, const std::string& option);

}  // namespace Xem::Tool
