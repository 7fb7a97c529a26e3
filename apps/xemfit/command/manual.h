#pragma once

#include <map>
#include <string>

#include "command/command_line.h"

namespace Xem::Tool {

/// File name -> page in the man macros: xemfit.1 and one page per command, made from what --help is made from.
///
/// The manual text of a command is paragraphs separated by empty lines; a line in capitals is a heading, and lines that
/// begin with four blanks are shown as they are.
std::map<std::string, std::string> ManualPages(const CommandLine& commandLine);

}  // namespace Xem::Tool
