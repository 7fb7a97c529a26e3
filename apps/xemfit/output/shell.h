#pragma once

#include <string>
#include <vector>

namespace Xem::Tool {

/// A command line that a shell splits into exactly these arguments. Bytes that cannot be typed are written as $'\ooo',
/// which bash, zsh and ksh read.
std::string ShellCommand(const std::vector<std::string>& arguments);

}  // namespace Xem::Tool
