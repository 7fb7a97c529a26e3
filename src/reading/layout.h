#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "xem/fit/reading.h"

namespace Xem::Fit {

/// How a text is a table.
struct Layout {
  char separator = ',';
  int headerLine = 0;  ///< 0: there is no row at all
  int unitsLine = 0;   ///< 0: none
  bool decimalComma = false;
  bool grouped = false;  ///< a lone sign between digits stands between thousands where it is not the decimal one
};

/// Looks at the beginning of a text for the row of names, and at all of it for the decimal sign. Throws Error (BadData)
/// where there are two readings and the options do not decide.
Layout FindLayout(std::string_view text, const std::string& source, const ReadOptions& options);

/// "comma", "semicolon" or "tab".
const char* SeparatorName(char separator);

/// Empty, or a word for no number: NA, nan, -.
bool IsMissingMark(std::string_view cell);

/// A cell of a row of units without its brackets, in the usual spelling where it is known.
std::string UnitOf(std::string_view cell);

}  // namespace Xem::Fit
