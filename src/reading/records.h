#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "reading/errors.h"

namespace Xem::Fit {

/// A line of separators would take many times its length as cells.
inline constexpr std::size_t kMostColumns = 16384;

/// A cell beyond is no cell of a table.
inline constexpr std::size_t kLongestCell = 65536;

/// A text line by line, with LF, CRLF or CR at their ends, or record by record: a record may go over several lines,
/// because quoted fields hold line ends (RFC 4180).
class Records {
 public:
  Records(std::string_view text, const std::string& source) : rest_(text), source_(source) {}

  bool AtEnd() const { return rest_.empty(); }
  /// Of what comes next, from 1.
  int Line() const { return line_; }
  std::string_view Rest() const { return rest_; }
  std::string_view RestOfLine() const { return rest_.substr(0, rest_.find_first_of("\r\n")); }

  void SkipLine() {
    rest_.remove_prefix(RestOfLine().size());
    SkipLineEnd();
  }

  /// True before a blank line or a comment; a line that begins with an error of a spreadsheet, such as #N/A, is a row.
  bool AtCommentOrBlank() const;

  /// Hands out the cells of a record, trimmed where they are not in quotes; each is valid until the next. Returns how
  /// many there were.
  template <class Take>
  std::size_t Record(char separator, Take take) {
    recordLine_ = line_;
    std::size_t count = 0;
    for (;;) {
      if (count == kMostColumns) RefuseColumns();
      take(count, Field(separator));
      ++count;
      if (rest_.empty() || rest_.front() != separator) break;
      rest_.remove_prefix(1);
    }
    SkipLineEnd();
    return count;
  }
  std::vector<std::string> Cells(char separator) {
    std::vector<std::string> cells;
    Record(separator, [&](std::size_t, std::string_view cell) { cells.emplace_back(cell); });
    return cells;
  }

 private:
  void SkipLineEnd() {
    if (rest_.empty()) return;
    rest_.remove_prefix(rest_.starts_with("\r\n") ? 2 : 1);
    ++line_;
  }

  /// Up to the separator or the line's end.
  std::string_view Field(char separator) {
    std::size_t begin = 0;
    while (begin < rest_.size() && (rest_[begin] == ' ' || rest_[begin] == '\t') && rest_[begin] != separator) ++begin;
    rest_.remove_prefix(begin);
    if (!rest_.empty() && rest_.front() == '"') return QuotedField(separator);
    return PlainField(separator);
  }

  std::string_view PlainField(char separator) {
    std::size_t end = 0;
    while (end < rest_.size() && rest_[end] != separator && rest_[end] != '\n' && rest_[end] != '\r') ++end;
    if (end > kLongestCell) RefuseCell();
    std::size_t kept = end;
    while (kept > 0 && (rest_[kept - 1] == ' ' || rest_[kept - 1] == '\t')) --kept;
    const std::string_view field = rest_.substr(0, kept);
    rest_.remove_prefix(end);
    return field;
  }

  std::string_view QuotedField(char separator);
  [[noreturn]] void RefuseColumns() const;
  [[noreturn]] void RefuseCell() const;

  std::string_view rest_;
  std::string source_;
  std::string quoted_;
  int line_ = 1;
  int recordLine_ = 1;
};

}  // namespace Xem::Fit
