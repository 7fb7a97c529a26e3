#include "input/columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include "failure.h"
#include "input/units.h"
#include "numbers.h"
#include "text.h"

namespace Xem::Tool {
namespace {

/// "Nominal stress [MPa]" as "Nominal_stress_MPa".
std::string Normalised(std::string_view column) {
  std::string name(Trimmed(column));
  if (!name.empty() && (name.back() == ']' || name.back() == ')')) {
    const auto open = name.find_last_of("[(");
    if (open != std::string::npos && open > 0) {
      const std::string unit(Trimmed(std::string_view(name).substr(open + 1, name.size() - open - 2)));
      name = std::string(Trimmed(std::string_view(name).substr(0, open)));
      if (!unit.empty()) name += "_" + unit;
    }
  }
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}

/// How well a column name fits an accepted name.
enum class NameFit { Not, UnknownUnit, KnownUnit, Exact };

struct Match {
  NameFit fit = NameFit::Not;
  std::string unit;
};

Match MatchName(const std::string& column, const AcceptedName& name) {
  const std::string_view accepted = name.name;
  if (name.exactCase && !column.starts_with(accepted)) return {};
  if (EqualIgnoringCase(column, accepted)) return {NameFit::Exact, ""};
  if (column.size() <= accepted.size() + 1 || column[accepted.size()] != '_') return {};
  if (!EqualIgnoringCase(std::string_view(column).substr(0, accepted.size()), accepted)) return {};
  const std::string suffix = column.substr(accepted.size() + 1);
  if (const auto unit = KnownUnit(suffix)) return {NameFit::KnownUnit, *unit};
  return {NameFit::UnknownUnit, suffix};
}

ColumnChoice Choice(std::size_t index, const std::string& suffix, const AcceptedName& accepted) {
  ColumnChoice choice{
      index,        suffix.empty() ? std::string(accepted.unit) : suffix, 1.0, accepted.offset, accepted.convert,
      accepted.name};
  if (const auto fraction = ConversionFactor(choice.unit, "-")) {
    choice.scale = *fraction;
    choice.unit.clear();
  }
  return choice;
}

std::string Listed(const std::vector<std::string>& columns) { return Printable(Join(columns, ", ")); }

void RequireOnce(const CsvTable& table, std::size_t index) {
  if (std::count(table.columns.begin(), table.columns.end(), table.columns[index]) > 1) {
    throw Failure(ExitCode::BadData,
                  fmt::format("{}, line {}: column {} occurs more than once; rename or remove one of them",
                              table.source, table.headerLine, Printable(table.columns[index])));
  }
}

std::size_t ColumnCalled(const CsvTable& table, const std::string& name, const char* option) {
  auto found = std::find(table.columns.begin(), table.columns.end(), name);
  if (found == table.columns.end()) {
    found = std::find_if(table.columns.begin(), table.columns.end(),
                         [&](const std::string& column) { return EqualIgnoringCase(column, name); });
  }
  if (found == table.columns.end()) {
    throw Failure(ExitCode::Usage, fmt::format("{}: {}, line {} has no column {}; its columns are {}", option,
                                               table.source, table.headerLine, Quoted(name), Listed(table.columns)));
  }
  const auto index = static_cast<std::size_t>(found - table.columns.begin());
  RequireOnce(table, index);
  return index;
}

ColumnChoice ChooseByHand(const CsvTable& table, const Role& role, const std::string& wanted) {
  const std::size_t index = ColumnCalled(table, wanted, "--column");
  const std::string name = Normalised(table.columns[index]);
  for (const AcceptedName& accepted : role.accepted) {
    const Match match = MatchName(name, accepted);
    if (match.fit != NameFit::Not) return Choice(index, match.unit, accepted);
  }
  const auto suffix = name.rfind('_');
  const auto unit = suffix == std::string::npos ? std::nullopt : KnownUnit(name.substr(suffix + 1));
  return Choice(index, unit.value_or(""), {});
}

std::string AcceptedNames(const Role& role) {
  std::vector<std::string> names;
  for (const AcceptedName& accepted : role.accepted) names.emplace_back(accepted.name);
  return Join(names, ", ");
}

bool SameValue(const std::string& cell, const std::string& wanted) {
  if (Trimmed(cell) == Trimmed(wanted)) return true;
  const auto a = ParseNumber(cell);
  const auto b = ParseNumber(wanted);
  return a && b && *a == *b;
}

std::string ValuesOf(const CsvTable& table, std::size_t column) {
  constexpr std::size_t kMostNamed = 8;
  std::vector<std::string> values;
  for (const CsvRow& row : table.rows) {
    if (column >= row.cells.size()) continue;
    if (std::find(values.begin(), values.end(), row.cells[column]) == values.end()) values.push_back(row.cells[column]);
    if (values.size() > kMostNamed) {
      values.back() = "...";
      break;
    }
  }
  return Printable(Join(values, ", "));
}

}  // namespace

std::optional<ColumnChoice> FindColumn(const CsvTable& table, const Role& role,
                                       const std::optional<std::string>& wanted) {
  if (wanted) return ChooseByHand(table, role, *wanted);
  for (const AcceptedName& accepted : role.accepted) {
    std::size_t best = 0;
    Match bestMatch;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      Match match = MatchName(Normalised(table.columns[i]), accepted);
      if (match.fit > bestMatch.fit) {
        best = i;
        bestMatch = std::move(match);
      }
    }
    if (bestMatch.fit == NameFit::Not) continue;
    RequireOnce(table, best);
    return Choice(best, bestMatch.unit, accepted);
  }
  return std::nullopt;
}

ColumnChoice ChooseColumn(const CsvTable& table, const Role& role, const std::optional<std::string>& wanted) {
  if (const auto found = FindColumn(table, role, wanted)) return *found;
  throw Failure(
      ExitCode::BadData,
      fmt::format("{}, line {}: no column for {} among {}; it may be called {}, with a unit suffix such as "
                  "_MPa, or named by --column {}=NAME",
                  table.source, table.headerLine, role.name, Listed(table.columns), AcceptedNames(role), role.name));
}

bool HasColumn(const CsvTable& table, const Role& role) {
  for (const AcceptedName& accepted : role.accepted) {
    for (const std::string& column : table.columns) {
      if (MatchName(Normalised(column), accepted).fit != NameFit::Not) return true;
    }
  }
  return false;
}

std::optional<Quantity> MetadataQuantity(const CsvTable& table, const Role& role) {
  for (const AcceptedName& accepted : role.accepted) {
    for (const auto& [key, text] : table.metadata) {
      const Match match = MatchName(Normalised(key), accepted);
      if (match.fit == NameFit::Not) continue;
      const auto value = ParseNumber(text);
      if (!value || !std::isfinite(*value)) {
        throw Failure(ExitCode::BadData,
                      fmt::format("{}, comment {}: {} is not a number", table.source, Printable(key), Quoted(text)));
      }
      const ColumnChoice choice = Choice(0, match.unit, accepted);
      return Quantity{choice.Quantity(*value), choice.unit};
    }
  }
  return std::nullopt;
}

void SelectRows(CsvTable& table, const std::map<std::string, std::string>& selection) {
  for (const auto& [column, value] : selection) {
    const std::size_t index = ColumnCalled(table, column, "--select");
    const auto differs = [&, index = index, &wanted = value](const CsvRow& row) {
      return index >= row.cells.size() || !SameValue(row.cells[index], wanted);
    };
    if (std::all_of(table.rows.begin(), table.rows.end(), differs)) {
      throw Failure(ExitCode::BadData, fmt::format("{}: no row has {} = {}; values there are {}", table.source,
                                                   Printable(column), Quoted(value), ValuesOf(table, index)));
    }
    table.rows.erase(std::remove_if(table.rows.begin(), table.rows.end(), differs), table.rows.end());
  }
}

}  // namespace Xem::Tool
