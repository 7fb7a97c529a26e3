#include "reading/decoding.h"

#include <algorithm>
#include <string_view>

#include "reading/errors.h"
#include "text/utf8.h"

namespace Xem::Fit {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";

/// What a file of another kind begins with, and what to do with it.
struct Signature {
  std::string_view bytes;
  const char* kind;
  const char* remedy;
};

constexpr const char* kSaveAsText = "save the sheet as CSV";
constexpr const char* kWorkbook =
    "save the sheet as CSV; only the Python package reads workbooks, through xemfit.fit and pandas";
const Signature kSignatures[] = {
    {"PK\x03\x04", "an Excel workbook or another zip archive", kWorkbook},
    {"\xD0\xCF\x11\xE0", "an old Excel workbook or another Office file", kWorkbook},
    {"%PDF", "a PDF document", "export the numbers as CSV"},
    {"\x1F\x8B", "a gzip archive", "unpack it first"},
    {"<?xml", "an XML document", kSaveAsText},
    {"<html", "a web page", kSaveAsText},
    {"<!DOCTYPE", "a web page", kSaveAsText},
    {"{\\rtf", "a formatted text", "save it as plain text"},
};

void RefuseOtherKinds(std::string_view bytes, const std::string& source) {
  if (bytes.substr(0, kUtf8Mark.size()) == kUtf8Mark) bytes.remove_prefix(kUtf8Mark.size());
  for (const Signature& signature : kSignatures) {
    if (bytes.substr(0, signature.bytes.size()) != signature.bytes) continue;
    RefuseData(source + ": this is " + signature.kind + ", not a table in text; " + signature.remedy);
  }
}

void RequireRoom(std::size_t bytes, const std::string& source) {
  if (bytes > kLargestInput) RefuseData(source + ": larger than 160 MiB as UTF-8, which no test curve is");
}

enum class ByteOrder { None, Little, Big };

/// By the mark, or by zero bytes in every other place of the beginning, as letters and digits have them.
ByteOrder Utf16Order(std::string_view bytes) {
  if (bytes.substr(0, 2) == "\xFF\xFE") return ByteOrder::Little;
  if (bytes.substr(0, 2) == "\xFE\xFF") return ByteOrder::Big;
  constexpr std::size_t kBeginning = 64;
  const std::size_t length = std::min(bytes.size() / 2 * 2, kBeginning);
  if (length < 8) return ByteOrder::None;
  std::size_t zeros[2] = {0, 0};
  for (std::size_t i = 0; i < length; ++i) zeros[i % 2] += bytes[i] == '\0' ? 1 : 0;
  const std::size_t most = length / 2 - length / 8;
  if (zeros[0] == 0 && zeros[1] >= most) return ByteOrder::Little;
  if (zeros[1] == 0 && zeros[0] >= most) return ByteOrder::Big;
  return ByteOrder::None;
}

void AppendUtf8(char32_t letter, std::string& text) {
  const auto byte = [](char32_t value) { return static_cast<char>(static_cast<unsigned char>(value)); };
  if (letter < 0x80) {
    text += byte(letter);
  } else if (letter < 0x800) {
    text += {byte(0xC0 | (letter >> 6)), byte(0x80 | (letter & 0x3F))};
  } else if (letter < 0x10000) {
    text += {byte(0xE0 | (letter >> 12)), byte(0x80 | ((letter >> 6) & 0x3F)), byte(0x80 | (letter & 0x3F))};
  } else {
    text += {byte(0xF0 | (letter >> 18)), byte(0x80 | ((letter >> 12) & 0x3F)), byte(0x80 | ((letter >> 6) & 0x3F)),
             byte(0x80 | (letter & 0x3F))};
  }
}

std::string FromUtf16(std::string_view bytes, ByteOrder order, const std::string& source) {
  constexpr char32_t kMark = 0xFEFF;
  const auto unit = [&](std::size_t i) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    return static_cast<char32_t>(order == ByteOrder::Little ? first | second << 8 : first << 8 | second);
  };
  if (bytes.size() % 2 != 0) RefuseData(source + ": the file is UTF-16, but ends within a character");
  std::string text;
  text.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i < bytes.size(); i += 2) {
    char32_t letter = unit(i);
    const bool leads = letter >= 0xD800 && letter < 0xDC00;
    const char32_t next = leads && i + 2 < bytes.size() ? unit(i + 2) : 0;
    if (leads && next >= 0xDC00 && next < 0xE000) {
      letter = 0x10000 + ((letter - 0xD800) << 10) + (next - 0xDC00);
      i += 2;
    } else if (letter >= 0xD800 && letter < 0xE000) {
      letter = 0xFFFD;
    }
    if (letter == kMark && text.empty()) continue;
    AppendUtf8(letter, text);
    RequireRoom(text.size(), source);
  }
  return text;
}

}  // namespace

std::string Decode(std::string bytes, const std::string& source, std::vector<std::string>& remarks) {
  RefuseOtherKinds(bytes, source);
  const ByteOrder order = Utf16Order(bytes);
  if (order != ByteOrder::None) {
    bytes = FromUtf16(bytes, order, source);
    remarks.emplace_back("UTF-16");
  }
  if (bytes.find('\0') != std::string::npos) {
    RefuseData(source + ": this is not a text file, it has NUL bytes; a table in text (CSV) is needed");
  }
  if (!Strings::IsUtf8(bytes)) {
    const auto wide = std::count_if(bytes.begin(), bytes.end(), [](char byte) { return (byte & 0x80) != 0; });
    RequireRoom(bytes.size() + static_cast<std::size_t>(wide), source);
    bytes = Strings::AsUtf8(bytes);
  }
  if (bytes.starts_with(kUtf8Mark)) bytes.erase(0, kUtf8Mark.size());
  return bytes;
}

}  // namespace Xem::Fit
