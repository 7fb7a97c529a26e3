#include "input/csv.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <optional>

#include "failure.h"
#include "text.h"

namespace Xem::Tool {
namespace {

constexpr std::size_t kLargestInput = std::size_t{1} << 29;

/// A line of separators would take thirty times its length as cells.
constexpr std::size_t kMostColumns = 4096;

[[noreturn]] void Refuse(const std::string& sentence) { throw Failure(ExitCode::BadData, sentence); }

/// Closes what it opened.
class InputFile {
 public:
  explicit InputFile(const std::string& path)
      : owned_(path != "-"), descriptor_(owned_ ? open(path.c_str(), O_RDONLY | O_CLOEXEC) : STDIN_FILENO) {}
  ~InputFile() {
    if (owned_ && descriptor_ >= 0) close(descriptor_);
  }
  InputFile(const InputFile&) = delete;
  InputFile& operator=(const InputFile&) = delete;
  int Descriptor() const { return descriptor_; }

 private:
  bool owned_;
  int descriptor_;
};

/// The lines of a text with LF, CRLF or CR ends, counted.
class LineReader {
 public:
  explicit LineReader(std::string_view text) : rest_(text) {}

  bool Next(std::string_view& line) {
    if (rest_.empty()) return false;
    const auto end = rest_.find_first_of("\r\n");
    line = rest_.substr(0, end);
    const std::size_t skip = end == std::string_view::npos              ? rest_.size()
                             : rest_.substr(end).substr(0, 2) == "\r\n" ? end + 2
                                                                        : end + 1;
    rest_.remove_prefix(skip);
    ++number_;
    return true;
  }
  int Number() const { return number_; }

 private:
  std::string_view rest_;
  int number_ = 0;
};

/// The most frequent of the three separators outside of quotes; a comma in a semicolon or tab file belongs to a name.
char SeparatorOf(std::string_view header) {
  bool quoted = false;
  bool semicolon = false;
  bool tab = false;
  for (const char letter : header) {
    if (letter == '"') quoted = !quoted;
    if (quoted) continue;
    semicolon |= letter == ';';
    tab |= letter == '\t';
  }
  return semicolon ? ';' : tab ? '\t' : ',';
}

std::vector<std::string> Cells(std::string_view line, char separator, const std::string& where) {
  std::vector<std::string> cells(1);
  bool quoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char letter = line[i];
    if (letter == '"' && quoted && i + 1 < line.size() && line[i + 1] == '"') {
      cells.back() += '"';
      ++i;
    } else if (letter == '"') {
      quoted = !quoted;
    } else if (letter == separator && !quoted) {
      if (cells.size() == kMostColumns) Refuse(fmt::format("{}: more than {} columns", where, kMostColumns));
      cells.emplace_back();
    } else {
      cells.back() += letter;
    }
  }
  if (quoted) Refuse(where + ": a quoted field is not closed on its line");
  for (std::string& cell : cells) cell = std::string(Trimmed(cell));
  return cells;
}

void KeepMetadata(std::string_view comment, CsvTable& table) {
  comment.remove_prefix(1);
  const auto colon = comment.find(':');
  if (colon == std::string_view::npos) return;
  const auto key = Trimmed(comment.substr(0, colon));
  if (!key.empty()) table.metadata.emplace(key, Trimmed(comment.substr(colon + 1)));
}

void CheckHeader(const CsvTable& table, std::size_t fewestColumns) {
  const std::string where = fmt::format("{}, line {}", table.source, table.headerLine);
  const auto isNumber = [](const std::string& cell) { return ParseNumber(cell).has_value(); };
  if (std::all_of(table.columns.begin(), table.columns.end(), isNumber)) {
    Refuse(where + ": the first row holds numbers; a header row must name the columns, such as strain,stress_MPa");
  }
  if (table.columns.size() < fewestColumns) {
    Refuse(fmt::format("{}: there is only one column, {}; separate columns by comma, semicolon or tab", where,
                       Quoted(table.columns.front())));
  }
}

void AddRow(std::vector<std::string> cells, int line, CsvTable& table) {
  while (cells.size() > table.columns.size() && cells.back().empty()) cells.pop_back();
  if (cells.size() > table.columns.size()) {
    Refuse(
        fmt::format("{}, line {}: {} cells, but the header names {} columns; if a comma is the decimal sign, write "
                    "numbers with '.'",
                    table.source, line, cells.size(), table.columns.size()));
  }
  table.rows.push_back({line, std::move(cells)});
}

void RefuseOtherEncodings(std::string_view text, const std::string& source) {
  if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF")) {
    Refuse(source + ": the file is UTF-16; save it as UTF-8 or plain text");
  }
  if (text.find('\0') != std::string_view::npos) Refuse(source + ": this is not a text file; a CSV file is needed");
}

}  // namespace

std::string SourceName(const std::string& path) { return path == "-" ? "standard input" : Printable(path); }

std::string ReadInput(const std::string& path) {
  const std::string source = SourceName(path);
  const InputFile file(path);
  if (file.Descriptor() < 0) Refuse(fmt::format("{}: cannot be read: {}", source, std::strerror(errno)));
  std::string text;
  std::array<char, 65536> block;
  for (;;) {
    const ssize_t count = read(file.Descriptor(), block.data(), block.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) Refuse(fmt::format("{}: cannot be read: {}", source, std::strerror(errno)));
    if (count == 0) return text;
    text.append(block.data(), static_cast<std::size_t>(count));
    if (text.size() > kLargestInput) Refuse(source + ": larger than 512 MiB, which no test curve is");
  }
}

CsvTable ReadCsv(const std::string& path) { return ParseCsv(ReadInput(path), SourceName(path)); }

CsvTable ParseCsv(std::string_view original, const std::string& source, std::size_t fewestColumns) {
  RefuseOtherEncodings(original, source);
  const std::string converted = AsUtf8(original);
  std::string_view text = converted;
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  CsvTable table;
  table.source = source;
  char separator = ',';
  LineReader reader(text);
  for (std::string_view line; reader.Next(line);) {
    const std::string_view content = Trimmed(line);
    if (content.empty()) continue;
    if (content.front() == '#') {
      KeepMetadata(content, table);
      continue;
    }
    const std::string where = fmt::format("{}, line {}", source, reader.Number());
    if (table.columns.empty()) {
      separator = SeparatorOf(line);
      table.headerLine = reader.Number();
      table.columns = Cells(line, separator, where);
      CheckHeader(table, fewestColumns);
      continue;
    }
    auto cells = Cells(line, separator, where);
    const bool blank = std::all_of(cells.begin(), cells.end(), [](const std::string& cell) { return cell.empty(); });
    if (!blank) AddRow(std::move(cells), reader.Number(), table);
  }
  if (table.columns.empty()) Refuse(source + ": the file is empty; a header row and rows of numbers are needed");
  if (table.rows.empty()) Refuse(source + ": the file has a header row but no rows of numbers");
  return table;
}

double NumberAt(const CsvTable& table, const CsvRow& row, std::size_t column) {
  const auto where = [&] {
    return fmt::format("{}, line {}, column {}", table.source, row.line, Printable(table.columns[column]));
  };
  if (column >= row.cells.size() || row.cells[column].empty()) {
    Refuse(where() + ": the cell is empty; give a number or remove the row");
  }
  const std::string& cell = row.cells[column];
  const std::optional<double> value = ParseNumber(cell);
  if (!value && HasDecimalComma(cell)) {
    Refuse(fmt::format("{}: {} uses a decimal comma; write numbers with '.'", where(), Quoted(cell)));
  }
  if (!value) Refuse(fmt::format("{}: {} is not a number; correct or remove the row", where(), Quoted(cell)));
  if (!std::isfinite(*value)) {
    Refuse(fmt::format("{}: {} is not a finite number; correct or remove the row", where(), Quoted(cell)));
  }
  return *value;
}

}  // namespace Xem::Tool
