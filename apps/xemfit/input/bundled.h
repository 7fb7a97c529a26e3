#pragma once

#include <string>

namespace Xem::Tool {

/// The bytes of an input: data:NAME is the published curve of that name, unless there is a file called so; everything
/// else is read as it is. Throws what Fit::ReadInput throws.
std::string ReadFile(const std::string& path);

}  // namespace Xem::Tool
