#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "input/csv.h"
#include "input/roles.h"

namespace Xem::Tool {

/// Where the numbers of a role stand: quantity = convert(cell * scale + offset), in `unit` ("" for fractions and for
/// columns that name none). An unknown unit suffix is kept as it is.
struct ColumnChoice {
  std::size_t index = 0;
  std::string unit;
  double scale = 1.0;
  double offset = 0.0;
  double (*convert)(double) = nullptr;
  std::string_view accepted;  ///< the name of the role that the column goes by; empty for any other column

  double Quantity(double cell) const {
    const double value = cell * scale + offset;
    return convert ? convert(value) : value;
  }
};

/// The column for a role by its name, or the column called `wanted`. Throws Failure: BadData when no column or more
/// than one fits, Usage when `wanted` is not there.
ColumnChoice ChooseColumn(const CsvTable& table, const Role& role, const std::optional<std::string>& wanted);
/// The same for a column that a file need not have: nothing when no column fits.
std::optional<ColumnChoice> FindColumn(const CsvTable& table, const Role& role,
                                       const std::optional<std::string>& wanted);

/// True when a column's name fits the role.
bool HasColumn(const CsvTable& table, const Role& role);

/// The number of a `# key: value` line whose key names `role`, with its unit, such as `# stress_MPa: 500`. Throws
/// Failure (BadData) when the value is not a number.
struct Quantity {
  double value = 0.0;
  std::string unit;
};
std::optional<Quantity> MetadataQuantity(const CsvTable& table, const Role& role);

/// Keeps the rows whose cells equal the selected values, as text or as numbers. Throws Failure: Usage for a column that
/// is not there, BadData when no row is left.
void SelectRows(CsvTable& table, const std::map<std::string, std::string>& selection);

}  // namespace Xem::Tool
