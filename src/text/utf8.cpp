#include "text/utf8.h"

#include <algorithm>

namespace Xem::Strings {
namespace {

bool IsContinuation(char byte) { return (static_cast<unsigned char>(byte) & 0xC0) == 0x80; }

/// What a byte begins: the length of its sequence, and between which bytes the second one lies. That excludes overlong
/// forms, surrogates and what is beyond U+10FFFF; further bytes are continuations.
struct Lead {
  std::size_t length;
  unsigned char lowest, highest;
};

Lead LeadOf(unsigned char byte) {
  if (byte < 0x80) return {1, 0, 0};
  if (byte >= 0xC2 && byte < 0xE0) return {2, 0x80, 0xBF};
  if (byte >= 0xE0 && byte < 0xF0) {
    return {3, static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
            static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
  }
  if (byte >= 0xF0 && byte < 0xF5) {
    return {4, static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
  }
  return {0, 0, 0};
}

/// The beginning of a text: one character, or as many bytes as look like the beginning of one.
struct Piece {
  std::size_t length;
  bool wellFormed;
};

Piece FirstPiece(std::string_view text) {
  const Lead lead = LeadOf(static_cast<unsigned char>(text.front()));
  if (lead.length < 2) return {1, lead.length == 1};
  for (std::size_t i = 1; i < lead.length; ++i) {
    const auto byte = static_cast<unsigned char>(i < text.size() ? text[i] : '\0');
    const bool fits = i == 1 ? byte >= lead.lowest && byte <= lead.highest : byte >= 0x80 && byte <= 0xBF;
    if (!fits) return {i, false};
  }
  return {lead.length, true};
}

}  // namespace

bool IsUtf8(std::string_view text) {
  while (!text.empty()) {
    const Piece piece = FirstPiece(text);
    if (!piece.wellFormed) return false;
    text.remove_prefix(piece.length);
  }
  return true;
}

std::string AsUtf8(std::string_view text) {
  if (IsUtf8(text)) return std::string(text);
  std::string converted;
  for (const char letter : text) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte >= 0x80) converted += static_cast<char>(0xC0 | (byte >> 6));
    converted += byte < 0x80 ? letter : static_cast<char>(0x80 | (byte & 0x3F));
  }
  return converted;
}

std::string ValidUtf8(std::string_view text) {
  std::string valid;
  while (!text.empty()) {
    const Piece piece = FirstPiece(text);
    valid += piece.wellFormed ? text.substr(0, piece.length) : std::string_view("\xEF\xBF\xBD");
    text.remove_prefix(piece.length);
  }
  return valid;
}

std::size_t CharacterCount(std::string_view text) {
  return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), IsContinuation));
}

std::string_view Beginning(std::string_view text, std::size_t bytes) {
  if (text.size() <= bytes) return text;
  while (bytes > 0 && IsContinuation(text[bytes])) --bytes;
  return text.substr(0, bytes);
}

}  // namespace Xem::Strings
