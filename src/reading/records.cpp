#include "reading/records.h"

namespace Xem::Fit {
namespace {

/// What spreadsheets write in the place of a number that they have not.
constexpr std::string_view kSpreadsheetErrors[] = {"#N/A",   "#NV",   "#DIV/0!", "#VALUE!", "#REF!",
                                                   "#NAME?", "#NUM!", "#NULL!",  "#WERT!",  "#ZAHL!"};

int LineEnds(std::string_view text) {
  int ends = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\r' || (text[i] == '\n' && (i == 0 || text[i - 1] != '\r'))) ++ends;
  }
  return ends;
}

}  // namespace

bool Records::AtCommentOrBlank() const {
  const std::size_t first = rest_.find_first_not_of(" \t");
  if (first == std::string_view::npos || rest_[first] == '\r' || rest_[first] == '\n') return true;
  if (rest_[first] != '#') return false;
  for (const std::string_view error : kSpreadsheetErrors) {
    if (rest_.substr(first, error.size()) == error) return false;
  }
  return true;
}

std::string_view Records::QuotedField(char separator) {
  const int line = line_;
  quoted_.clear();
  for (;;) {
    rest_.remove_prefix(1);
    const auto quote = rest_.substr(0, kLongestCell + 1).find('"');
    if (quote == std::string_view::npos && rest_.size() > kLongestCell) RefuseCell();
    if (quote == std::string_view::npos) RefuseData(AtLine(source_, line) + ": a quoted field is not closed");
    const std::string_view piece = rest_.substr(0, quote);
    quoted_ += piece;
    if (quoted_.size() > kLongestCell) RefuseCell();
    line_ += LineEnds(piece);
    rest_.remove_prefix(quote + 1);
    if (rest_.empty() || rest_.front() != '"') break;
    quoted_ += '"';
  }
  // What should not stand behind a closing quote belongs to the field all the same.
  quoted_ += PlainField(separator);
  return quoted_;
}

void Records::RefuseColumns() const {
  RefuseData(AtLine(source_, recordLine_) + ": more than " + std::to_string(kMostColumns) + " columns");
}

void Records::RefuseCell() const {
  RefuseData(AtLine(source_, recordLine_) + ": a cell of more than 64 KiB; this is no table of test data");
}

}  // namespace Xem::Fit
