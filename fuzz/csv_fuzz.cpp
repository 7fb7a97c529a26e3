/// Reads the input as the tool reads a file: first byte aside, every column and every metadata line for every kind of
/// role, every curve of the catalogue. The reader may refuse with an Error whose sentence fits a terminal; anything
/// else ends the process.

#include <cmath>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>

#include "refusal.h"
#include "xem/fit/reading.h"

namespace {

using namespace Xem::Fit;

constexpr const Role* kRoles[] = {&Roles::kStrain,   &Roles::kStress,       &Roles::kLinearStretch,
                                  &Roles::kTime,     &Roles::kModulusRatio, &Roles::kStiffnessRatio,
                                  &Roles::kSuction,  &Roles::kWaterContent, &Roles::kTensileStrain,
                                  &Roles::kDiameter, &Roles::kPassing,      &Roles::kPorosity};

constexpr const char* kCurves[] = {"uniaxial",     "volumetric", "relaxation",      "creep",     "stiffness",
                                   "tensile_test", "flow_curve", "measured_limits", "retention", "grading"};

void ReadColumn(const Table& table, const Role& role, const std::optional<std::string>& wanted) {
  MayRefuse([&] {
    const ColumnChoice choice = ChooseColumn(table, role, wanted);
    if (choice.index >= table.columns.size()) Report("a column that is not there", table.columns.front().name);
    for (std::size_t row = 0; row < table.RowCount(); ++row) {
      if (!std::isfinite(NumberAt(table, row, choice.index))) Report("a number that is not finite", "");
    }
  });
}

/// A refusal costs more time than all the rest, so columns that are not there are asked for once.
void ReadEverything(const Table& table, std::size_t drawn) {
  for (const Role* role : kRoles) {
    MayRefuse([&] {
      const bool has = HasColumn(table, *role);
      if (!has && FindColumn(table, *role, std::nullopt)) Report("two opinions on a column", "");
      if (has) ReadColumn(table, *role, std::nullopt);
    });
    MayRefuse([&] { MetadataQuantity(table, *role); });
  }
  const Role& role = *kRoles[drawn % std::size(kRoles)];
  ReadColumn(table, role, std::nullopt);
  ReadColumn(table, role, table.columns[drawn % table.columns.size()].name);
}

void ReadCurves(const Table& table, std::size_t drawn) {
  for (const char* name : kCurves) {
    const CurveRoles roles = RolesOf(name);
    const bool isThere = HasColumn(table, roles.x) && HasColumn(table, roles.y);
    if (!isThere && name != kCurves[drawn % std::size(kCurves)]) continue;
    MayRefuse([&] {
      const Curve curve = CurveFromTable(table, name).curve;
      if (curve.x.size() != curve.y.size() || curve.x.size() + curve.unused.size() != table.RowCount()) {
        Report("rows that are neither used nor told", name);
      }
    });
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
  ReadOptions options;
  options.fewestColumns = data[0] % 2 == 0 ? 2 : 1;
  options.decimal = static_cast<DecimalSign>(data[0] / 2 % 3);
  options.headerLine = data[0] / 8 % 8 == 7 ? 2 : 0;
  options.keepTexts = data[0] / 64 % 2 == 1;
  MayRefuse([&] {
    Table table = ParseTable(text, "input.csv", options);
    ReadEverything(table, data[0] / 2);
    ReadCurves(table, data[0] / 2);
    const std::string& first = table.columns.front().name;
    MayRefuse([&] { SelectRows(table, {{first, "1"}}); });
    SelectRows(table, {{first, CellText(table, 0, 0)}});
  });
  return 0;
}
