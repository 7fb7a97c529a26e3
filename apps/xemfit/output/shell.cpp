#include "output/shell.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <string_view>

#include "text.h"
#include "utf8.h"

namespace Xem::Tool {
namespace {

bool IsPlain(char letter) {
  return std::isalnum(static_cast<unsigned char>(letter)) ||
         std::string_view("_@%+=:,./-").find(letter) != std::string_view::npos;
}

bool IsControl(char letter) { return std::iscntrl(static_cast<unsigned char>(letter)) != 0; }

std::string Escaped(const std::string& argument) {
  std::string text = "$'";
  for (const char letter : argument) {
    const auto byte = static_cast<unsigned char>(letter);
    const bool typed = byte >= 0x20 && byte < 0x7F && letter != '\'' && letter != '\\';
    text += typed ? std::string(1, letter) : fmt::format("\\{:03o}", byte);
  }
  return text + '\'';
}

std::string InQuotes(const std::string& argument) {
  std::string text = "'";
  for (const char letter : argument) text += letter == '\'' ? "'\\''" : std::string(1, letter);
  return text + '\'';
}

std::string ShellWord(const std::string& argument) {
  if (!argument.empty() && std::all_of(argument.begin(), argument.end(), IsPlain)) return argument;
  const bool typeable = std::none_of(argument.begin(), argument.end(), IsControl) && IsUtf8(argument);
  return typeable ? InQuotes(argument) : Escaped(argument);
}

}  // namespace

std::string ShellCommand(const std::vector<std::string>& arguments) {
  std::vector<std::string> words;
  for (const std::string& argument : arguments) words.push_back(ShellWord(argument));
  return Join(words, " ");
}

}  // namespace Xem::Tool
