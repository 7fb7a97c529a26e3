#pragma once

#include <string>
#include <string_view>

/// The one place that writes cells of CSV files: RFC 4180, so that `input/csv.h` and any other reader gets back what
/// was meant.
namespace Xem::Tool {

/// In quotes where it must be: a separator, a quote, a line end or a blank at an end, or a `#` that would make the line
/// a comment. Bytes that are not UTF-8 are replaced, because one of them would change how a reader takes the whole
/// file.
std::string CsvCell(std::string_view text);
/// All digits that the number has; empty for what is no finite number.
std::string CsvCell(double value);

}  // namespace Xem::Tool
