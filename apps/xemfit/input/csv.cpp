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
#include "numbers.h"
#include "text.h"
#include "utf8.h"

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

bool EndsLine(char letter) { return letter == '\r' || letter == '\n'; }
bool IsBlank(char letter) { return letter == ' ' || letter == '\t'; }

/// A text line by line, with LF, CRLF or CR at their ends, or record by record: a record may go over several lines,
/// because quoted fields hold line ends (RFC 4180).
class Reader {
 public:
  Reader(std::string_view text, const std::string& source) : rest_(text), source_(source) {}

  bool AtEnd() const { return rest_.empty(); }
  /// Of what comes next, from 1.
  int Line() const { return line_; }
  std::string_view Rest() const { return rest_; }
  std::string_view RestOfLine() const { return rest_.substr(0, rest_.find_first_of("\r\n")); }

  void SkipLine() {
    rest_.remove_prefix(RestOfLine().size());
    SkipLineEnd();
  }

  /// The cells of a record, trimmed where they are not in quotes.
  std::vector<std::string> Record(char separator) {
    const int line = line_;
    std::vector<std::string> cells;
    cells.push_back(Field(separator));
    while (!rest_.empty() && rest_.front() == separator) {
      if (cells.size() == kMostColumns) Refuse(fmt::format("{}: more than {} columns", Where(line), kMostColumns));
      rest_.remove_prefix(1);
      cells.push_back(Field(separator));
    }
    SkipLineEnd();
    return cells;
  }

 private:
  std::string Where(int line) const { return fmt::format("{}, line {}", source_, line); }

  void SkipLineEnd() {
    if (rest_.empty()) return;
    rest_.remove_prefix(rest_.starts_with("\r\n") ? 2 : 1);
    ++line_;
  }

  /// Up to the separator or the line's end.
  std::string Field(char separator) {
    const char ends[] = {separator, '\r', '\n'};
    const auto end = [&] { return std::min(rest_.find_first_of({ends, std::size(ends)}), rest_.size()); };
    std::size_t blanks = 0;
    while (blanks < rest_.size() && IsBlank(rest_[blanks]) && rest_[blanks] != separator) ++blanks;
    rest_.remove_prefix(blanks);
    std::string field = rest_.starts_with('"') ? QuotedText() : std::string();
    const std::string_view plain = rest_.substr(0, end());
    // What should not stand behind a closing quote belongs to the field all the same.
    const std::size_t kept = plain.find_last_not_of(" \t");
    if (kept != std::string_view::npos) field += plain.substr(0, kept + 1);
    rest_.remove_prefix(plain.size());
    return field;
  }

  std::string QuotedText() {
    const int line = line_;
    std::string text;
    for (;;) {
      rest_.remove_prefix(1);
      const auto quote = rest_.find('"');
      if (quote == std::string_view::npos) Refuse(Where(line) + ": a quoted field is not closed");
      const std::string_view piece = rest_.substr(0, quote);
      text += piece;
      line_ += LineEnds(piece);
      rest_.remove_prefix(quote + 1);
      if (!rest_.starts_with('"')) return text;
      text += '"';
    }
  }

  static int LineEnds(std::string_view text) {
    int ends = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (EndsLine(text[i]) && !(text[i] == '\n' && i > 0 && text[i - 1] == '\r')) ++ends;
    }
    return ends;
  }

  std::string_view rest_;
  std::string source_;
  int line_ = 1;
};

/// Semicolon or tab where the record that begins the text has one outside of quotes, else comma: a comma in such a file
/// belongs to a name.
char SeparatorOf(std::string_view text) {
  bool quoted = false;
  bool atStart = true;  // of what may be a field
  bool semicolon = false;
  bool tab = false;
  for (const char letter : text) {
    if (letter == '"' && (quoted || atStart)) quoted = !quoted;
    if (quoted) continue;
    if (EndsLine(letter)) break;
    semicolon |= letter == ';';
    tab |= letter == '\t';
    atStart = letter == ',' || letter == ';' || letter == '\t' || letter == '"' || (atStart && letter == ' ');
  }
  return semicolon ? ';' : tab ? '\t' : ',';
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
  for (Reader reader(text, source); !reader.AtEnd();) {
    const std::string_view content = Trimmed(reader.RestOfLine());
    if (content.empty() || content.front() == '#') {
      if (!content.empty()) KeepMetadata(content, table);
      reader.SkipLine();
      continue;
    }
    const int line = reader.Line();
    if (table.columns.empty()) {
      separator = SeparatorOf(reader.Rest());
      table.headerLine = line;
      for (const std::string& name : reader.Record(separator)) table.columns.emplace_back(Trimmed(name));
      CheckHeader(table, fewestColumns);
      continue;
    }
    auto cells = reader.Record(separator);
    const bool blank = std::all_of(cells.begin(), cells.end(), [](const std::string& cell) { return cell.empty(); });
    if (!blank) AddRow(std::move(cells), line, table);
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
