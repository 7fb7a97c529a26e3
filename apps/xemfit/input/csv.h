#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace Xem::Tool {

struct CsvRow {
  int line = 0;  ///< in the source, from 1; where it begins
  std::vector<std::string> cells;
};

/// A CSV file as text: comma, semicolon or tab, decided by the header row; quoted fields as in RFC 4180, which may hold
/// separators, quotes and line ends; `#` comment lines, of which `# key: value` are kept as metadata.
struct CsvTable {
  std::string source;  ///< the file as given, or "standard input"
  std::map<std::string, std::string> metadata;
  int headerLine = 0;
  std::vector<std::string> columns;
  std::vector<CsvRow> rows;
};

/// The contents of a file, or of standard input for `-`. Throws Failure (BadData).
std::string ReadInput(const std::string& path);
/// How messages call that input.
std::string SourceName(const std::string& path);

/// Throws Failure (BadData) naming file, line and remedy.
CsvTable ReadCsv(const std::string& path);
CsvTable ParseCsv(std::string_view text, const std::string& source, std::size_t fewestColumns = 2);

/// A cell as a finite number. Throws Failure (BadData) naming file, line, column, value and remedy.
double NumberAt(const CsvTable& table, const CsvRow& row, std::size_t column);

}  // namespace Xem::Tool
