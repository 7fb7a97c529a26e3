#include "output/html.h"

#include <fmt/format.h>

#include <cctype>
#include <cstddef>
#include <nlohmann/json.hpp>

#include "utf8.h"

namespace Xem::Tool {

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char letter : ValidUtf8(text)) {
    switch (letter) {
      case '&':
        escaped += "&amp;";
        break;
      case '<':
        escaped += "&lt;";
        break;
      case '>':
        escaped += "&gt;";
        break;
      case '"':
        escaped += "&quot;";
        break;
      default:
        escaped += std::iscntrl(static_cast<unsigned char>(letter)) && letter != '\n' ? ' ' : letter;
    }
  }
  return escaped;
}

std::string ScriptJson(const Json& value) {
  std::string text;
  // Only strings can hold this character; it could end the element.
  for (const char letter : value.dump(-1, ' ', false, Json::error_handler_t::replace)) {
    text += letter == '<' ? "\\u003c" : std::string(1, letter);
  }
  return text;
}

void HtmlTable::Add(const std::vector<std::string>& cells) {
  rows_ += "<tr>";
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const std::string text = i < cells.size() ? Escaped(cells[i]) : "";
    rows_ += (columns_[i].kind == Kind::Number ? "<td class=\"number\">" : "<td>") + text + "</td>";
  }
  rows_ += "</tr>\n";
}

std::string HtmlTable::Text() const {
  std::string head;
  for (const Column& column : columns_) {
    head += (column.kind == Kind::Number ? "<th scope=\"col\" class=\"number\">" : "<th scope=\"col\">") +
            Escaped(column.title) + "</th>";
  }
  return "<div class=\"table\"><table>\n<thead><tr>" + head + "</tr></thead>\n<tbody>\n" + rows_ +
         "</tbody>\n</table></div>\n";
}

std::string Section(const std::string& id, const std::string& title, const std::string& contents) {
  return fmt::format("<section id=\"{}\">\n<h2>{}</h2>\n{}</section>\n", id, Escaped(title), contents);
}

std::string Paragraph(const std::string& text) { return "<p>" + Escaped(text) + "</p>\n"; }

std::string Badge(const char* kind, const std::string& text) {
  return fmt::format("<span class=\"badge {}\">{}</span>\n", kind, Escaped(text));
}

std::string Shell(const std::string& command) {
  return "<pre class=\"shell\"><code>" + Escaped(command) + "</code></pre>\n";
}

}  // namespace Xem::Tool
