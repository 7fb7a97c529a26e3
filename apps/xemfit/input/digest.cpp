#include "input/digest.h"

#include <sha256.h>

#include <cstdint>

namespace Xem::Tool {

std::string Sha256(std::string_view bytes) {
  char digits[SHA256_DIGEST_STRING_LENGTH];
  SHA256Data(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size(), digits);
  return digits;
}

}  // namespace Xem::Tool
