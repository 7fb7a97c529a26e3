#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>
#include <utility>

#include "reading/decoding.h"
#include "reading/layout.h"
#include "reading/records.h"
#include "text/parse.h"
#include "text/text.h"
#include "xem/fit/reading.h"

namespace Xem::Fit {
namespace {

using Strings::Printable;
using Strings::Quoted;
using Strings::Trimmed;

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

/// What a table may take in memory, counted so that growing columns stay below it, too.
constexpr std::size_t kLargestTable = std::size_t{256} << 20;
constexpr std::size_t kTextCost = 2 * sizeof(TextCell);

void Keep(std::string_view key, std::string_view value, Table& table) {
  if (!key.empty() && key.size() <= kLongestCell && value.size() <= kLongestCell) table.metadata.emplace(key, value);
}

/// A comment `# key: value`, or a line before the header that says the same: `key: value`, `key;value`.
void KeepMetadata(std::string_view line, char separator, Table& table) {
  const bool comment = line.front() == '#';
  if (comment) line.remove_prefix(1);
  auto end = line.find(':');
  if (!comment) end = std::min(end, line.find(separator));
  if (end == std::string_view::npos) return;
  std::string value(line.substr(end + 1));
  if (!comment) std::replace(value.begin(), value.end(), separator, ' ');
  Keep(Trimmed(line.substr(0, end)), Trimmed(value), table);
}

void CheckHeader(const Table& table, std::size_t fewestColumns) {
  const std::string where = AtLine(table.source, table.headerLine);
  const auto isNumber = [](const Column& column) { return Strings::ParseNumber(column.name).has_value(); };
  if (std::all_of(table.columns.begin(), table.columns.end(), isNumber)) {
    RefuseData(where + ": the first row holds numbers; a header row must name the columns, such as strain,stress_MPa");
  }
  if (table.columns.size() < fewestColumns) {
    RefuseData(where + ": there is only one column, " + Quoted(table.columns.front().name) +
               "; separate columns by comma, semicolon or tab");
  }
}

/// Fills a table row by row.
class TableReader {
 public:
  TableReader(std::string_view text, const Layout& layout, const ReadOptions& options, Table& table)
      : records_(text, table.source), layout_(layout), options_(options), table_(table) {}

  void Read() {
    ReadPreamble();
    ReadHeader();
    ReserveRows();
    while (!records_.AtEnd()) {
      if (!SkipComment()) ReadRow();
    }
    TellRepeated();
  }

 private:
  bool SkipComment() {
    if (!records_.AtCommentOrBlank()) return false;
    const std::string_view content = Trimmed(records_.RestOfLine());
    if (!content.empty()) KeepMetadata(content, layout_.separator, table_);
    records_.SkipLine();
    return true;
  }

  void ReadPreamble() {
    int skipped = 0;
    while (!records_.AtEnd() && records_.Line() < layout_.headerLine) {
      if (SkipComment()) continue;
      KeepMetadata(Trimmed(records_.RestOfLine()), layout_.separator, table_);
      records_.SkipLine();
      ++skipped;
    }
    if (skipped > 0) {
      table_.remarks.push_back(std::to_string(skipped) + (skipped == 1 ? " line" : " lines") + " before the header");
    }
  }

  void ReadHeader() {
    table_.headerLine = records_.Line();
    for (const std::string& name : records_.Cells(layout_.separator)) {
      table_.columns.push_back({std::string(Trimmed(name))});
    }
    CheckHeader(table_, options_.fewestColumns);
    if (layout_.unitsLine == 0) return;
    while (records_.Line() < layout_.unitsLine) records_.SkipLine();
    units_ = records_.Cells(layout_.separator);
    units_.resize(table_.columns.size());
    for (std::size_t i = 0; i < units_.size(); ++i) table_.columns[i].unit = UnitOf(units_[i]);
    table_.remarks.push_back("units in line " + std::to_string(layout_.unitsLine));
  }

  void ReserveRows() {
    const std::string_view rest = records_.Rest();
    const auto ends = std::max(std::count(rest.begin(), rest.end(), '\n'), std::count(rest.begin(), rest.end(), '\r'));
    mostRows_ = kLargestTable / (sizeof(double) * table_.columns.size() + sizeof(int));
    const std::size_t rows = std::min(static_cast<std::size_t>(ends) + 1, mostRows_);
    table_.lines.reserve(rows);
    for (Column& column : table_.columns) column.numbers.reserve(rows);
  }

  void ReadRow() {
    const int line = records_.Line();
    RequireRoom(line);
    const std::string_view beginning = records_.Rest();
    const std::size_t row = table_.RowCount();
    std::size_t filled = 0;  // cells that are not empty, up to the last
    texts_ = 0;
    const std::size_t count = records_.Record(layout_.separator, [&](std::size_t column, std::string_view cell) {
      if (!cell.empty()) filled = column + 1;
      if (column < table_.columns.size()) AddCell(cell, row, table_.columns[column]);
    });
    if (filled > table_.columns.size()) RefuseWidth(line, filled);
    for (std::size_t i = count; i < table_.columns.size(); ++i) table_.columns[i].numbers.push_back(kNone);
    if (filled == 0 || Repeats(row, line)) {
      TakeBack(row);
      return;
    }
    if (filled == 1 && table_.columns.size() > 1) RequireSeparator(beginning.substr(0, LineLength(beginning)), line);
    table_.lines.push_back(line);
  }

  void AddCell(std::string_view cell, std::size_t row, Column& column) {
    const double number = Number(cell);
    column.numbers.push_back(number);
    if (cell.empty() || (std::isfinite(number) && !options_.keepTexts)) return;
    column.texts.push_back({row, std::string(cell)});
    textBytes_ += kTextCost + cell.size();
    ++texts_;
  }

  /// NaN for what is not one.
  double Number(std::string_view cell) const {
    if (cell.empty()) return kNone;
    // Nearly all cells are plain numbers.
    char digits[32];
    const char* begin = cell.data();
    if (layout_.decimalComma && cell.size() <= sizeof digits) {
      // A point becomes what no number holds.
      std::transform(cell.begin(), cell.end(), digits, [](char letter) {
        return letter == ',' ? '.' : letter == '.' ? '?' : letter;
      });
      begin = digits;
    }
    double value = 0.0;
    const auto [end, error] = std::from_chars(begin, begin + cell.size(), value);
    if (error == std::errc() && end == begin + cell.size() && !(layout_.decimalComma && begin == cell.data())) {
      return value;
    }
    return Strings::ParseWrittenNumber(cell, layout_.decimalComma, layout_.grouped).value_or(kNone);
  }

  /// The header once more, as at the top of a printed page, or its units.
  bool Repeats(std::size_t row, int line) {
    if (texts_ == 0 || options_.fewestColumns < 2) return false;
    bool names = true;
    bool units = !units_.empty();
    for (std::size_t i = 0; i < table_.columns.size(); ++i) {
      const Column& column = table_.columns[i];
      const bool has = !column.texts.empty() && column.texts.back().row == row;
      const std::string_view text = has ? std::string_view(column.texts.back().text) : std::string_view();
      names &= text == column.name;
      units &= !units_.empty() && text == units_[i];
    }
    if (names) repeated_.push_back(line);
    return names || units;
  }

  void TakeBack(std::size_t row) {
    for (Column& column : table_.columns) {
      column.numbers.pop_back();
      if (!column.texts.empty() && column.texts.back().row == row) column.texts.pop_back();
    }
  }

  static std::size_t LineLength(std::string_view text) { return std::min(text.find_first_of("\r\n"), text.size()); }

  [[noreturn]] void RefuseWidth(int line, std::size_t cells) const {
    RefuseData(AtLine(table_.source, line) + ": " + std::to_string(cells) + " cells, but the header names " +
               std::to_string(table_.columns.size()) +
               " columns; if a comma is the decimal sign, separate columns by semicolon or write numbers with '.'");
  }

  void RequireSeparator(std::string_view text, int line) const {
    for (const char other : {',', ';', '\t'}) {
      const auto cells = static_cast<std::size_t>(std::count(text.begin(), text.end(), other)) + 1;
      if (other == layout_.separator || cells != table_.columns.size()) continue;
      RefuseData(AtLine(table_.source, line) + ": separated by " + SeparatorName(other) + ", but the header by " +
                 SeparatorName(layout_.separator) + "; use one of them throughout");
    }
  }

  /// For one more row, so that no column grows beyond what was reserved.
  void RequireRoom(int line) const {
    const std::size_t row = sizeof(double) * table_.columns.size() + sizeof(int);
    if (table_.RowCount() < mostRows_ && table_.RowCount() * row + textBytes_ <= kLargestTable) return;
    RefuseData(AtLine(table_.source, line) +
               ": the table takes more than 256 MiB up to here, which no test curve does; take fewer rows or columns");
  }

  void TellRepeated() {
    if (repeated_.empty()) return;
    constexpr std::size_t kMostNamed = 5;
    std::string lines;
    for (std::size_t i = 0; i < std::min(repeated_.size(), kMostNamed); ++i) {
      lines += (lines.empty() ? "" : ", ") + std::to_string(repeated_[i]);
    }
    table_.remarks.push_back("header repeated in line " + lines + (repeated_.size() > kMostNamed ? ", ..." : ""));
  }

  Records records_;
  const Layout& layout_;
  const ReadOptions& options_;
  Table& table_;
  std::vector<std::string> units_;  // as written
  std::vector<int> repeated_;
  std::size_t texts_ = 0;  // of the row
  std::size_t textBytes_ = 0;
  std::size_t mostRows_ = 0;
};

/// `# unit of stress: MPa` does what a row of units does.
void UseUnitsOfMetadata(Table& table) {
  for (Column& column : table.columns) {
    const auto unit = table.metadata.find("unit of " + column.name);
    if (unit != table.metadata.end() && column.unit.empty()) column.unit = UnitOf(unit->second);
  }
}

const TextCell* TextAt(const Column& column, std::size_t row) {
  const auto found = std::lower_bound(column.texts.begin(), column.texts.end(), row,
                                      [](const TextCell& cell, std::size_t wanted) { return cell.row < wanted; });
  return found != column.texts.end() && found->row == row ? &*found : nullptr;
}

}  // namespace

Table ReadTable(const std::string& path, const ReadOptions& options) {
  return ParseTable(ReadInput(path), SourceName(path), options);
}

Table ParseTable(std::string bytes, const std::string& source, const ReadOptions& options) {
  Table table{source};
  const std::string text = Decode(std::move(bytes), source, table.remarks);
  const Layout layout = FindLayout(text, source, options);
  if (layout.headerLine == 0) RefuseData(source + ": the file is empty; a header row and rows of numbers are needed");
  table.decimalComma = layout.decimalComma;
  if (layout.decimalComma) table.remarks.emplace_back("decimal comma");
  TableReader(text, layout, options, table).Read();
  UseUnitsOfMetadata(table);
  if (table.RowCount() == 0) RefuseData(source + ": the file has a header row but no rows of numbers");
  return table;
}

std::string CellText(const Table& table, std::size_t row, std::size_t column) {
  if (const TextCell* cell = TextAt(table.columns[column], row)) return cell->text;
  const double number = table.columns[column].numbers[row];
  if (!std::isfinite(number)) return "";
  char digits[32];
  return std::string(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
}

bool IsMissing(const Table& table, std::size_t row, std::size_t column) {
  if (std::isfinite(table.columns[column].numbers[row])) return false;
  const TextCell* cell = TextAt(table.columns[column], row);
  return cell == nullptr || IsMissingMark(cell->text);
}

double NumberAt(const Table& table, std::size_t row, std::size_t column) {
  const double number = table.columns[column].numbers[row];
  if (std::isfinite(number)) return number;
  const std::string where =
      AtLine(table.source, table.lines[row]) + ", column " + Printable(table.columns[column].name);
  const TextCell* cell = TextAt(table.columns[column], row);
  if (cell == nullptr) RefuseData(where + ": the cell is empty; give a number or remove the row");
  if (!std::isnan(number) || IsMissingMark(cell->text)) {
    RefuseData(where + ": " + Quoted(cell->text) + " is not a finite number; correct or remove the row");
  }
  const Strings::NumberForm form = Strings::FormOf(cell->text);
  if (form == Strings::NumberForm::Comma && !table.decimalComma) {
    RefuseData(where + ": " + Quoted(cell->text) + " uses a decimal comma; write numbers with '.'");
  }
  if (form == Strings::NumberForm::Point && table.decimalComma) {
    RefuseData(where + ": " + Quoted(cell->text) + " has a point, but the decimal sign of the table is a comma");
  }
  RefuseData(where + ": " + Quoted(cell->text) + " is not a number; correct or remove the row");
}

}  // namespace Xem::Fit
