#pragma once

#include <string_view>

/// The parts of the report page that are files of this folder or of a package, compiled in.
namespace Xem::Tool::PageAssets {

std::string_view Style();   ///< report.css
std::string_view Script();  ///< report.js

// uPlot; empty in a build that could not get it.
std::string_view ChartLibrary();
std::string_view ChartStyle();
std::string_view ChartLicence();

}  // namespace Xem::Tool::PageAssets
