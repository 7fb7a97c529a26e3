#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>

#include "input/csv.h"

namespace Xem::Tool {

/// A sentence when a file holds several tests one after another: when abscissae go back and forth in the file but one
/// way only among the rows that agree in a further column, whose value changes from test to test.
std::optional<std::string> SeveralTests(const CsvTable& table, std::span<const double> abscissae);

}  // namespace Xem::Tool
