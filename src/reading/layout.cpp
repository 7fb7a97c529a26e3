#include "reading/layout.h"

#include <algorithm>
#include <optional>

#include "reading/records.h"
#include "text/parse.h"
#include "text/text.h"

namespace Xem::Fit {
namespace {

using Strings::FormOf;
using Strings::NumberForm;
using Strings::Printable;
using Strings::Quoted;

/// Where a header row is looked for.
constexpr std::size_t kSampleRows = 400;
constexpr std::size_t kSampleBytes = std::size_t{1} << 20;

/// Fewer rows of numbers may be a summary above the table.
constexpr std::size_t kTableRows = 3;

struct Row {
  int line = 0;
  std::vector<std::string> cells;  // without empty ones at the end
};

/// The first rows as a separator cuts them, up to the first that it cannot.
std::vector<Row> Sample(std::string_view text, const std::string& source, char separator) {
  std::vector<Row> rows;
  try {
    for (Records records(text, source); !records.AtEnd() && rows.size() < kSampleRows;) {
      if (text.size() - records.Rest().size() > kSampleBytes) break;
      if (records.AtCommentOrBlank()) {
        records.SkipLine();
        continue;
      }
      const int line = records.Line();
      std::vector<std::string> cells = records.Cells(separator);
      while (!cells.empty() && cells.back().empty()) cells.pop_back();
      if (!cells.empty()) rows.push_back({line, std::move(cells)});
    }
  } catch (const Error&) {
    // Reading the table says so again, if the row belongs to it.
  }
  return rows;
}

bool IsNumber(const std::string& cell) { return FormOf(cell) != NumberForm::None; }

std::vector<std::size_t> NumberColumns(const Row& row) {
  std::vector<std::size_t> columns;
  for (std::size_t i = 0; i < row.cells.size(); ++i) {
    if (IsNumber(row.cells[i])) columns.push_back(i);
  }
  return columns;
}

/// A row of numbers, of which some may be missing, in the same columns.
bool Continues(const Row& row, std::size_t width, const std::vector<std::size_t>& columns) {
  if (row.cells.size() > width) return false;
  bool any = false;
  for (const std::size_t i : columns) {
    if (i >= row.cells.size()) continue;
    const bool number = IsNumber(row.cells[i]);
    any |= number;
    if (!number && !IsMissingMark(row.cells[i])) return false;
  }
  return any;
}

bool Names(const Row& row, const Row& data, const std::vector<std::size_t>& columns) {
  if (row.cells.size() < data.cells.size()) return false;
  return std::none_of(columns.begin(), columns.end(),
                      [&](std::size_t i) { return IsMissingMark(row.cells[i]) || IsNumber(row.cells[i]); });
}

bool IsBracketed(std::string_view cell) {
  return cell.size() > 2 &&
         ((cell.front() == '[' && cell.back() == ']') || (cell.front() == '(' && cell.back() == ')'));
}

/// A line drawn under the names.
bool IsRule(std::string_view cell) { return !cell.empty() && cell.find_first_not_of("-=_") == std::string_view::npos; }

/// Units that are known or stand in brackets, and no more others than these.
bool AreUnits(const Row& row) {
  std::ptrdiff_t known = 0;
  std::ptrdiff_t other = 0;
  for (const std::string& cell : row.cells) {
    if (IsNumber(cell)) return false;
    if (!cell.empty()) ++(IsBracketed(cell) || IsRule(cell) || KnownUnit(cell) ? known : other);
  }
  return known > 0 && known >= other;
}

struct Heading {
  std::size_t header = 0;
  bool units = false;
  std::size_t rows = 0;  ///< of numbers below
};

/// Rows of names over rows of numbers; what repeats an earlier row of names is none of its own.
std::vector<Heading> Headings(const std::vector<Row>& rows) {
  std::vector<Heading> headings;
  for (std::size_t first = 1; first < rows.size(); ++first) {
    const std::vector<std::size_t> columns = NumberColumns(rows[first]);
    if (columns.size() < 2) continue;
    std::size_t above = first - 1;
    while (above > 0 && Continues(rows[above], rows[first].cells.size(), columns)) --above;
    if (Continues(rows[above], rows[first].cells.size(), columns)) continue;
    Heading heading{above};
    heading.units = above > 0 && AreUnits(rows[above]) && Names(rows[above - 1], rows[first], columns);
    if (heading.units) --heading.header;
    const Row& header = rows[heading.header];
    if (!heading.units && !Names(header, rows[first], columns)) continue;
    const auto same = [&](const Heading& other) {
      return other.header == heading.header || rows[other.header].cells == header.cells;
    };
    std::size_t end = first;
    while (end < rows.size() && Continues(rows[end], header.cells.size(), columns)) ++end;
    heading.rows = end - above - 1;
    if (std::none_of(headings.begin(), headings.end(), same)) headings.push_back(heading);
    first = end - 1;
  }
  const auto isTable = [](const Heading& heading) { return heading.rows >= kTableRows; };
  if (std::any_of(headings.begin(), headings.end(), isTable)) {
    headings.erase(std::remove_if(headings.begin(), headings.end(), [&](const Heading& h) { return !isTable(h); }),
                   headings.end());
  }
  return headings;
}

/// Semicolon or tab where the record that begins the text has one outside of quotes, else comma: a comma in such a file
/// belongs to a name.
char SeparatorOf(std::string_view text) {
  bool quoted = false;
  bool atStart = true;  // of what may be a field
  bool semicolon = false;
  bool tab = false;
  for (const char letter : text.substr(0, kSampleBytes)) {
    if (letter == '"' && (quoted || atStart)) quoted = !quoted;
    if (quoted) continue;
    if (letter == '\r' || letter == '\n') break;
    semicolon |= letter == ';';
    tab |= letter == '\t';
    atStart = letter == ',' || letter == ';' || letter == '\t' || letter == '"' || (atStart && letter == ' ');
  }
  return semicolon ? ';' : tab ? '\t' : ',';
}

/// A separator and what it makes of the beginning of a text.
struct Reading {
  char separator = ',';
  std::vector<Row> rows = {};
  std::vector<Heading> headings = {};
};

Reading Read(std::string_view text, const std::string& source, char separator) {
  Reading reading{separator, Sample(text, source, separator)};
  reading.headings = Headings(reading.rows);
  return reading;
}

/// A comma in a file that another separator cuts into a table belongs to names or numbers.
std::optional<Reading> BestReading(std::string_view text, const std::string& source, char wanted) {
  if (wanted != 0) return Read(text, source, wanted);
  std::optional<Reading> best;
  for (const char separator : {';', '\t'}) {
    if (text.find(separator) == std::string_view::npos) continue;
    Reading reading = Read(text, source, separator);
    if (reading.headings.empty()) continue;
    if (best) {
      RefuseData(AtLine(source, best->rows[best->headings.front().header].line) +
                 ": columns may be separated by semicolon or by tab; --separator semicolon or --separator tab decides");
    }
    best = std::move(reading);
  }
  if (best) return best;
  Reading comma = Read(text, source, ',');
  if (!comma.headings.empty()) return comma;
  return std::nullopt;
}

/// Without a row of names over rows of numbers the first row counts as names.
void UseFirstRow(std::string_view text, const std::string& source, const ReadOptions& options, Layout& layout) {
  Records records(text, source);
  while (!records.AtEnd() && records.AtCommentOrBlank()) records.SkipLine();
  if (records.AtEnd()) return;
  layout.separator = options.separator != 0 ? options.separator : SeparatorOf(records.Rest());
  layout.headerLine = records.Line();
  const std::vector<Row> rows = Sample(text, source, layout.separator);
  if (rows.empty() || rows.front().cells.size() >= options.fewestColumns || options.fewestColumns < 2) return;
  for (const char separator : {';', '\t', ','}) {
    for (const Row& row : Sample(text, source, separator)) {
      if (NumberColumns(row).size() < 2) continue;
      RefuseData(AtLine(source, row.line) +
                 ": numbers begin here, but no row above names their columns, such as strain,stress_MPa");
    }
  }
}

void UseLine(std::string_view text, const std::string& source, const ReadOptions& options, Layout& layout) {
  Records records(text, source);
  while (!records.AtEnd() && records.Line() < options.headerLine) records.SkipLine();
  if (records.AtEnd() || records.AtCommentOrBlank()) {
    RefuseInput("--header-line: line " + std::to_string(options.headerLine) + " of " + source + " is no row of names");
  }
  layout.headerLine = records.Line();
  layout.separator = options.separator != 0 ? options.separator : SeparatorOf(records.Rest());
  const std::vector<Row> rows = Sample(records.Rest(), source, layout.separator);
  if (rows.size() > 1 && AreUnits(rows[1])) layout.unitsLine = layout.headerLine + rows[1].line - 1;
}

Layout FindTable(std::string_view text, const std::string& source, const ReadOptions& options) {
  Layout layout;
  if (options.headerLine > 0) {
    UseLine(text, source, options, layout);
    return layout;
  }
  // A list of names may be all text.
  const auto reading = options.fewestColumns < 2 ? std::nullopt : BestReading(text, source, options.separator);
  if (!reading || reading->headings.empty()) {
    UseFirstRow(text, source, options, layout);
    return layout;
  }
  const auto& [separator, rows, headings] = *reading;
  if (headings.size() > 1) {
    const std::string lines[] = {std::to_string(rows[headings[0].header].line),
                                 std::to_string(rows[headings[1].header].line)};
    RefuseData(source + ": lines " + lines[0] + " and " + lines[1] + " both name columns of numbers; --header-line " +
               lines[0] + " or --header-line " + lines[1] + " says which begins the table");
  }
  layout.separator = separator;
  layout.headerLine = rows[headings.front().header].line;
  if (headings.front().units) layout.unitsLine = rows[headings.front().header + 1].line;
  return layout;
}

/// A cell that shows a decimal sign, and where it stands.
struct Evidence {
  std::string cell;
  int line = 0;
};

std::string Told(const Evidence& evidence, const std::string& source) {
  return AtLine(source, evidence.line) + ": " + Quoted(evidence.cell);
}

/// By every number below the header. Without a comma in any the sign is a point.
void FindDecimalSign(std::string_view text, const std::string& source, Layout& layout) {
  Records records(text, source);
  while (!records.AtEnd() && records.Line() < layout.headerLine) records.SkipLine();
  records.Record(layout.separator, [](std::size_t, std::string_view) {});
  const char witness = layout.separator == ',' ? '"' : ',';
  if (records.Rest().find(witness) == std::string_view::npos) return;
  std::optional<Evidence> comma;
  std::optional<Evidence> point;
  std::optional<Evidence> thousands;
  const auto keep = [](std::optional<Evidence>& evidence, std::string_view cell, int line) {
    if (!evidence) evidence = Evidence{std::string(cell), line};
  };
  const bool anyPoint = records.Rest().find('.') != std::string_view::npos;
  while (!records.AtEnd() && !(comma && !anyPoint)) {
    if (records.AtCommentOrBlank()) {
      records.SkipLine();
      continue;
    }
    const int line = records.Line();
    records.Record(layout.separator, [&](std::size_t, std::string_view cell) {
      if (cell.find_first_of(comma ? "." : ".,") == std::string_view::npos || (point && comma)) return;
      const NumberForm form = FormOf(cell);
      if (form == NumberForm::Comma) keep(comma, cell, line);
      if (form == NumberForm::Point) keep(point, cell, line);
      if (form == NumberForm::Thousands) keep(thousands, cell, line);
    });
  }
  if (comma && point) {
    RefuseData(Told(*comma, source) + " has a decimal comma, but " + Quoted(point->cell) + " in line " +
               std::to_string(point->line) +
               " a point; write all numbers with '.', or say --decimal comma or --decimal point to read the others as "
               "text");
  }
  if (thousands && !comma) {
    RefuseData(Told(*thousands, source) +
               " is a decimal comma or a comma between thousands; --decimal comma or --decimal point decides");
  }
  layout.decimalComma = comma.has_value();
}

}  // namespace

const char* SeparatorName(char separator) {
  return separator == ',' ? "comma" : separator == ';' ? "semicolon" : "tab";
}

bool IsMissingMark(std::string_view cell) {
  constexpr std::string_view kMarks[] = {"", "NA", "N/A", "nan", "-", "--", "---", "null", "none", "#N/A", "#NV"};
  return std::any_of(std::begin(kMarks), std::end(kMarks), [&](std::string_view mark) {
    return cell.size() == mark.size() && Strings::EqualIgnoringCase(cell, mark);
  });
}

std::string UnitOf(std::string_view cell) {
  if (IsRule(cell)) return "-";
  if (IsBracketed(cell)) cell = Strings::Trimmed(cell.substr(1, cell.size() - 2));
  return KnownUnit(cell).value_or(Printable(cell));
}

Layout FindLayout(std::string_view text, const std::string& source, const ReadOptions& options) {
  Layout layout = FindTable(text, source, options);
  if (layout.headerLine == 0 || options.fewestColumns < 2) return layout;
  layout.grouped = options.decimal != DecimalSign::Automatic;
  if (layout.grouped) {
    layout.decimalComma = options.decimal == DecimalSign::Comma;
  } else {
    FindDecimalSign(text, source, layout);
  }
  return layout;
}

}  // namespace Xem::Fit
