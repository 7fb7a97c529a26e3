#include <algorithm>
#include <functional>

#include "text/text.h"
#include "xem/fit/reading.h"

namespace Xem::Fit {
namespace {

using Strings::Join;
using Strings::Printable;

constexpr std::size_t kFewestRows = 3;
constexpr std::size_t kMostTold = 5;

using Position = std::vector<double>::const_iterator;

bool GoesOneWay(Position from, Position to) {
  return std::is_sorted(from, to) || std::is_sorted(from, to, std::greater<>());
}

/// The values of a column, each of which stands in one run of rows whose abscissae go one way; empty when that is not
/// so.
std::vector<std::string> TestsIn(const Table& table, std::size_t column, const std::vector<double>& abscissae,
                                 const std::vector<std::size_t>& rows) {
  std::vector<std::string> values;
  for (std::size_t first = 0, next = 0; first < rows.size(); first = next) {
    const std::string value = CellText(table, rows[first], column);
    while (next < rows.size() && CellText(table, rows[next], column) == value) ++next;
    const auto begin = abscissae.begin();
    if (next - first < kFewestRows ||
        !GoesOneWay(begin + static_cast<std::ptrdiff_t>(first), begin + static_cast<std::ptrdiff_t>(next))) {
      return {};
    }
    if (std::find(values.begin(), values.end(), value) != values.end()) return {};
    values.push_back(value);
  }
  return values;
}

}  // namespace

std::optional<std::string> SeveralTests(const Table& table, const std::vector<double>& abscissae,
                                        const std::vector<std::size_t>& rows) {
  if (GoesOneWay(abscissae.begin(), abscissae.end())) return std::nullopt;
  for (std::size_t column = 0; column < table.columns.size(); ++column) {
    std::vector<std::string> values = TestsIn(table, column, abscissae, rows);
    if (values.size() < 2) continue;
    const std::string name = Printable(table.columns[column].name);
    const std::string one = values.front();
    const std::size_t count = values.size();
    values.resize(std::min(count, kMostTold));
    return table.source + " seems to hold " + std::to_string(count) + " tests, by its column " + name + " (" +
           Printable(Join(values, ", ")) + (count > kMostTold ? ", ..." : "") + "), and all were used; --select " +
           name + "=" + Printable(one) + " takes one";
  }
  return std::nullopt;
}

}  // namespace Xem::Fit
