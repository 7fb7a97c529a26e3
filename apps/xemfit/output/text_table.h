#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Xem::Tool {

/// Rows of cells with aligned columns, for people.
class TextTable {
 public:
  enum class Align { Left, Right };
  struct Column {
    std::string title;
    Align align = Align::Right;
  };

  explicit TextTable(std::vector<Column> columns);
  void Add(std::vector<std::string> cells);
  /// Lines end in a line break and have no trailing blanks.
  std::string Text() const;

 private:
  std::vector<Column> columns_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace Xem::Tool
