#pragma once

#include <map>
#include <string>

#include "command/parser.h"

namespace Xem::Tool {

/// File name -> page in the man macros: xemfit.1 and one page per command, made from what --help is made from and from
/// ManualText().
std::map<std::string, std::string> ManualPages(const CommandNode& tool);

}  // namespace Xem::Tool
