#pragma once

#include <string>
#include <string_view>

namespace Xem::Tool {

/// SHA-256 of some bytes in 64 hexadecimal digits (FIPS 180-4), so that a result tells which file it came from.
std::string Sha256(std::string_view bytes);

}  // namespace Xem::Tool
