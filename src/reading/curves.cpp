#include <algorithm>
#include <utility>

#include "reading/errors.h"
#include "reading/layout.h"
#include "text/text.h"
#include "xem/fit/reading.h"

namespace Xem::Fit {
namespace {

using Strings::Printable;
using Strings::Quoted;

struct KnownCurve {
  const char* name;
  Role x;
  Role y;
  const Role* companion = nullptr;
};

const KnownCurve kKnownCurves[] = {
    {"uniaxial", Roles::kStrain, Roles::kStress, &Roles::kLateralStrain},
    {"equibiaxial", Roles::kStrain, Roles::kStress, &Roles::kLateralStrain},
    {"pure_shear", Roles::kStrain, Roles::kStress, &Roles::kLateralStrain},
    {"simple_shear", Roles::kShearStrain, Roles::kStress, &Roles::kLateralStrain},
    {"volumetric", Roles::kLinearStretch, Roles::kPressure},
    {"relaxation", Roles::kTime, Roles::kModulusRatio},
    {"creep", Roles::kTime, Roles::kCreepStrain},
    {"stiffness", Roles::kShearStrain, Roles::kStiffnessRatio},
    {"damping", Roles::kShearStrain, Roles::kDamping},
    {"tensile_test", Roles::kTensileStrain, Roles::kTensileStress},
    {"flow_curve", Roles::kFlowStrain, Roles::kFlowStress},
    {"measured_limits", Roles::kMinorStrain, Roles::kMajorStrain},
    {"retention", Roles::kSuction, Roles::kWaterContent},
    {"grading", Roles::kDiameter, Roles::kPassing},
};

std::optional<std::string> Wanted(const ColumnNames& columns, const Role& role, const char* axis) {
  auto named = columns.find(std::string(role.name));
  if (named == columns.end() && *axis != '\0') named = columns.find(axis);
  return named == columns.end() ? std::nullopt : std::optional(named->second);
}

/// A column in the place of a curve, and how messages call what it holds.
struct Side {
  std::string_view role;
  ColumnChoice choice;
  std::vector<double>* values = nullptr;
};

/// Why a row gives no point; empty where it gives one.
std::string Lack(const Table& table, std::size_t row, const std::vector<Side>& sides) {
  std::string lack;
  for (const Side& side : sides) {
    if (!IsMissing(table, row, side.choice.index)) continue;
    const std::string cell = CellText(table, row, side.choice.index);
    lack += (lack.empty() ? "no " : ", no ") + std::string(side.role) +
            (cell.empty() ? " (the cell is empty)" : " (" + Printable(cell) + ")");
  }
  return lack;
}

std::string WithUnit(const Table& table, const ColumnChoice& choice) {
  const Column& column = table.columns[choice.index];
  const std::string unit = !column.unit.empty() ? column.unit : choice.unit;
  const std::string name = Printable(column.name);
  // A name that says its unit need not be followed by it.
  return unit.empty() || name.find(unit) != std::string::npos ? name : name + " (" + Printable(unit) + ")";
}

std::string Understood(const Table& table, const std::vector<Side>& sides, const Curve& curve) {
  std::string text = std::to_string(curve.x.size()) + (curve.x.size() == 1 ? " row of " : " rows of ");
  for (std::size_t i = 0; i < sides.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == sides.size() ? " and " : ", ") + WithUnit(table, sides[i].choice);
  }
  for (const std::string& remark : table.remarks) text += "; " + remark;
  if (curve.unused.empty()) return text;
  constexpr std::size_t kMostNamed = 5;
  const std::size_t count = curve.unused.size();
  text += "; " + std::to_string(count) + (count == 1 ? " row" : " rows") + " without a number left out (line ";
  for (std::size_t i = 0; i < std::min(count, kMostNamed); ++i) {
    text += (i == 0 ? "" : ", ") + std::to_string(curve.unused[i].row);
  }
  return text + (count > kMostNamed ? ", ...)" : ")");
}

/// Ordinates or abscissae of a curve, whichever are being brought to one unit.
struct Scale {
  const char* name;
  std::string TableCurve::*unit;
  std::vector<double> Curve::*values;
};

std::string UseOneUnit(const std::vector<TableCurve*>& curves, const Scale& side, std::vector<std::string>& notes) {
  std::string unit;
  std::string first;
  for (const TableCurve* measured : curves) {
    if (measured->curve.Empty() || !unit.empty()) continue;
    unit = measured->*side.unit;
    first = measured->curve.name;
  }
  if (unit.empty()) return unit;
  for (TableCurve* measured : curves) {
    if (measured->curve.Empty() || measured->*side.unit == unit) continue;
    const std::string curve = "curve " + measured->curve.name + ": ";
    const std::string own = std::exchange(measured->*side.unit, unit);
    if (own.empty()) {
      notes.push_back(curve + "its " + side.name + " column names no unit; taken as " + unit);
      continue;
    }
    const auto factor = ConversionFactor(own, unit);
    if (!factor) {
      RefuseData(measured->input.file + ": " + side.name + " in " + Quoted(own) + " cannot be converted to " +
                 Quoted(unit) + ", the unit of curve " + first + "; use one unit for all");
    }
    for (double& value : measured->curve.*side.values) value *= *factor;
    notes.push_back(curve + side.name + " converted from " + own + " to " + unit);
  }
  return unit;
}

}  // namespace

CurveRoles RolesOf(const std::string& curve) {
  for (const KnownCurve& known : kKnownCurves) {
    if (curve != known.name) continue;
    return {known.x, known.y, known.companion != nullptr ? std::optional(*known.companion) : std::nullopt};
  }
  std::string names;
  for (const KnownCurve& known : kKnownCurves) names += (names.empty() ? "" : ", ") + std::string(known.name);
  RefuseInput("there is no curve " + Quoted(curve) + "; the curves are " + names);
}

TableCurve CurveFromTable(const Table& table, const std::string& curve, const ColumnNames& columns) {
  return CurveFromTable(table, curve, RolesOf(curve), columns);
}

TableCurve CurveFromTable(const Table& table, const std::string& name, const CurveRoles& roles,
                          const ColumnNames& columns) {
  TableCurve read;
  Curve& curve = read.curve;
  curve.name = name;
  std::vector<Side> sides{{roles.x.name, ChooseColumn(table, roles.x, Wanted(columns, roles.x, "x")), &curve.x},
                          {roles.y.name, ChooseColumn(table, roles.y, Wanted(columns, roles.y, "y")), &curve.y}};
  if (roles.companion) {
    const auto found = FindColumn(table, *roles.companion, Wanted(columns, *roles.companion, ""));
    if (found) sides.push_back({roles.companion->name, *found, &curve.lateral});
  }
  for (const Side& side : sides) side.values->reserve(table.RowCount());
  curve.rows.reserve(table.RowCount());
  std::vector<std::size_t> used;
  used.reserve(table.RowCount());
  for (std::size_t row = 0; row < table.RowCount(); ++row) {
    const auto isMissing = [&](const Side& side) { return IsMissing(table, row, side.choice.index); };
    if (std::any_of(sides.begin(), sides.end(), isMissing)) {
      curve.unused.push_back({table.lines[row], Lack(table, row, sides)});
      continue;
    }
    for (const Side& side : sides) {
      side.values->push_back(side.choice.Quantity(NumberAt(table, row, side.choice.index)));
    }
    curve.rows.push_back(table.lines[row]);
    used.push_back(row);
  }
  if (used.empty()) {
    RefuseData(AtLine(table.source, curve.unused.front().row) + ": " + curve.unused.front().reason +
               ", and no other row has all numbers; give numbers, or name other columns with --column");
  }
  read.xUnit = sides[0].choice.unit;
  read.yUnit = sides[1].choice.unit;
  read.xName = sides[0].choice.accepted;
  read.yName = sides[1].choice.accepted;
  read.input = {name, table.source, "", {}, static_cast<int>(used.size()), Understood(table, sides, curve)};
  for (const Side& side : sides) read.input.columns.push_back(table.columns[side.choice.index].name);
  if (auto several = SeveralTests(table, curve.x, used)) read.notes.push_back(std::move(*several));
  return read;
}

std::string UseOneOrdinateUnit(const std::vector<TableCurve*>& curves, std::vector<std::string>& notes) {
  return UseOneUnit(curves, {"ordinate", &TableCurve::yUnit, &Curve::y}, notes);
}

std::string UseOneAbscissaUnit(const std::vector<TableCurve*>& curves, std::vector<std::string>& notes) {
  return UseOneUnit(curves, {"abscissa", &TableCurve::xUnit, &Curve::x}, notes);
}

}  // namespace Xem::Fit
