#pragma once

#include <string>

namespace Xem::Tool {

/// The file docs/manual/NAME.md, which the build puts into the tool: "hyper-fit" and so on for each command, and what
/// their man pages share. Paragraphs are separated by empty lines; a line after `## ` is a heading, and lines that
/// begin with four blanks are shown as they are. Throws std::out_of_range for a name without a file.
std::string ManualText(const std::string& name);

}  // namespace Xem::Tool
