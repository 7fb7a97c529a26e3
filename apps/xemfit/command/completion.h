#pragma once

#include <string>

#include "command/command_line.h"

namespace Xem::Tool {

/// Completion of commands, verbs, options and their fixed values for the two shells.
std::string BashCompletion(const CommandLine& commandLine);
std::string ZshCompletion(const CommandLine& commandLine);

}  // namespace Xem::Tool
