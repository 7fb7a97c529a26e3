#include "output/text_table.h"

#include <algorithm>
#include <utility>

#include "text.h"
#include "utf8.h"

namespace Xem::Tool {
namespace {

constexpr const char* kGap = "  ";

}  // namespace

TextTable::TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {
  std::vector<std::string> titles;
  for (const Column& column : columns_) titles.push_back(OneLine(column.title));
  rows_.push_back(std::move(titles));
}

void TextTable::Add(std::vector<std::string> cells) {
  cells.resize(columns_.size());
  for (std::string& cell : cells) cell = OneLine(std::move(cell));
  rows_.push_back(std::move(cells));
}

std::string TextTable::Text() const {
  std::vector<std::size_t> widths(columns_.size(), 0);
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], CharacterCount(row[i]));
  }
  std::string text;
  for (const auto& row : rows_) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - CharacterCount(row[i]), ' ');
      if (i > 0) line += kGap;
      line += columns_[i].align == Align::Right ? blanks + row[i] : row[i] + blanks;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + '\n';
  }
  return text;
}

}  // namespace Xem::Tool
