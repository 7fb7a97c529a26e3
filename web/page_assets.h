#pragma once

#include <string_view>

/// What a page is made of besides its contents: files of this folder, compiled in.
namespace Xem::Tool::PageAssets {

std::string_view Style();
std::string_view Script();  ///< needs an element "figure" and the figure as JSON in an element "figure-data"

}  // namespace Xem::Tool::PageAssets
