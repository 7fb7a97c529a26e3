#pragma once

#include <string>

#include "command/parser.h"

namespace Xem::Tool {

/// Completion of commands, verbs, options and their fixed values for the two shells.
std::string BashCompletion(const CommandNode& tool);
std::string ZshCompletion(const CommandNode& tool);

}  // namespace Xem::Tool
