#pragma once

#include <string_view>

/// What a page is made of besides its contents: files of this folder, compiled in.
namespace Xem::Tool::PageAssets {

std::string_view Style();
std::string_view Script();          ///< needs an element "figure" and the figure as JSON in an element "figure-data"
std::string_view OverviewScript();  ///< the same for the page of a batch, and "histograms" and "specimen-table"

}  // namespace Xem::Tool::PageAssets
