#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "output/report.h"

/// The few pieces of HTML that a page needs. Texts come in as they are and are escaped here.
namespace Xem::Tool {

/// For the inside of an element or of an attribute in double quotes. Bytes that are not UTF-8 are replaced.
std::string Escaped(std::string_view text);
/// For the inside of a script element; compact.
std::string ScriptJson(const Json& value);

/// Rows of cells with a heading, in a box that scrolls when it is wider than the page.
class HtmlTable {
 public:
  enum class Kind { Text, Number };
  struct Column {
    std::string title;
    Kind kind = Kind::Number;
  };

  explicit HtmlTable(std::vector<Column> columns) : columns_(std::move(columns)) {}
  void Add(const std::vector<std::string>& cells);
  std::string Text() const;

 private:
  std::vector<Column> columns_;
  std::string rows_;
};

// Pieces of a page. `contents` are HTML already.

std::string Section(const std::string& id, const std::string& title, const std::string& contents);
std::string Paragraph(const std::string& text);
/// A rounded label; `kind` is good, warning, bad or plain.
std::string Badge(const char* kind, const std::string& text);
/// What is typed into a shell.
std::string Shell(const std::string& command);

}  // namespace Xem::Tool
