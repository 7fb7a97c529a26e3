#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// The one place that knows how characters are bytes.
namespace Xem::Strings {

/// True when every byte belongs to a well-formed sequence (Unicode 15, table 3-7).
bool IsUtf8(std::string_view text);

/// Text in any encoding as UTF-8: what is not UTF-8 already is taken as Latin-1.
std::string AsUtf8(std::string_view text);

/// UTF-8 in which U+FFFD stands for every ill-formed piece: for output that must be UTF-8.
std::string ValidUtf8(std::string_view text);

/// Characters, not bytes, of a UTF-8 text.
std::size_t CharacterCount(std::string_view text);

/// At most `bytes` from the beginning, without cutting a character.
std::string_view Beginning(std::string_view text, std::size_t bytes);

}  // namespace Xem::Strings
