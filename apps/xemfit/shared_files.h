#pragma once

#include <filesystem>

namespace Xem::Tool {

/// Where this program is; empty where the system does not tell.
std::filesystem::path ProgramPath();

/// The folder share/xemfit that belongs to this program: found from where the program is, so that an installation may
/// be moved. Throws Failure (Other) when it is not there.
std::filesystem::path SharedFolder();

}  // namespace Xem::Tool
