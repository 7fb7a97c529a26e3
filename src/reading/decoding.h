#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Xem::Fit {

/// The most that is read of a file, as bytes and again as UTF-8.
inline constexpr std::size_t kLargestInput = std::size_t{160} << 20;

/// The bytes of a text file as UTF-8 without a byte-order mark: UTF-16 with one or recognised by its zero bytes, what
/// is not UTF-8 as Latin-1. Remarks say what was not plain. Throws Error (BadData) for anything that is not text, by
/// name where its kind is known.
std::string Decode(std::string bytes, const std::string& source, std::vector<std::string>& remarks);

}  // namespace Xem::Fit
