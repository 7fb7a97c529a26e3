#include "output/csv_cell.h"

#include <cmath>

#include "numbers.h"
#include "text.h"
#include "utf8.h"

namespace Xem::Tool {

std::string CsvCell(std::string_view text) {
  const std::string valid = ValidUtf8(text);
  const bool plain = valid.find_first_of(",;\t\"\n\r") == std::string::npos && Trimmed(valid).size() == valid.size() &&
                     !valid.starts_with('#');
  if (plain) return valid;
  std::string quoted = "\"";
  for (const char letter : valid) quoted += letter == '"' ? "\"\"" : std::string(1, letter);
  return quoted + '"';
}

std::string CsvCell(double value) { return std::isfinite(value) ? Exactly(value) : ""; }

}  // namespace Xem::Tool
