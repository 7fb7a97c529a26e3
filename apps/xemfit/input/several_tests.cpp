#include "input/several_tests.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <vector>

#include "text.h"

namespace Xem::Tool {
namespace {

constexpr std::size_t kFewestRows = 3;
constexpr std::size_t kMostNamed = 5;

bool GoesOneWay(std::span<const double> x) {
  return std::is_sorted(x.begin(), x.end()) || std::is_sorted(x.begin(), x.end(), std::greater<>());
}

std::string CellOf(const CsvRow& row, std::size_t column) {
  return column < row.cells.size() ? row.cells[column] : std::string();
}

/// The values of a column, each of which stands in one run of rows whose abscissae go one way; empty when that is not
/// so.
std::vector<std::string> Tests(const CsvTable& table, std::size_t column, std::span<const double> abscissae) {
  std::vector<std::string> values;
  for (std::size_t first = 0, next = 0; first < table.rows.size(); first = next) {
    const std::string value = CellOf(table.rows[first], column);
    while (next < table.rows.size() && CellOf(table.rows[next], column) == value) ++next;
    if (next - first < kFewestRows || !GoesOneWay(abscissae.subspan(first, next - first))) return {};
    if (std::find(values.begin(), values.end(), value) != values.end()) return {};
    values.push_back(value);
  }
  return values;
}

}  // namespace

std::optional<std::string> SeveralTests(const CsvTable& table, std::span<const double> abscissae) {
  if (GoesOneWay(abscissae)) return std::nullopt;
  for (std::size_t column = 0; column < table.columns.size(); ++column) {
    std::vector<std::string> values = Tests(table, column, abscissae);
    if (values.size() < 2) continue;
    const std::string name = Printable(table.columns[column]);
    const std::string one = values.front();
    const std::size_t count = values.size();
    values.resize(std::min(count, kMostNamed));
    return fmt::format(
        "{} seems to hold {} tests, by its column {} ({}{}), and all were used; --select {}={} takes one", table.source,
        count, name, Printable(Join(values, ", ")), count > kMostNamed ? ", ..." : "", name, Printable(one));
  }
  return std::nullopt;
}

}  // namespace Xem::Tool
