#include "shared_files.h"

// Who starts the tool in a browser lays the files that belong to it here first.
namespace Xem::Tool {

std::filesystem::path ProgramPath() { return "/bin/xemfit"; }

std::filesystem::path SharedFolder() { return "/share/xemfit"; }

}  // namespace Xem::Tool
