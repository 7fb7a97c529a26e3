#include <algorithm>
#include <cmath>
#include <string_view>
#include <vector>

#include "reading/errors.h"
#include "text/parse.h"
#include "text/text.h"
#include "xem/fit/reading.h"

namespace Xem::Fit {
namespace {

using Strings::EqualIgnoringCase;
using Strings::Join;
using Strings::Printable;
using Strings::Quoted;
using Strings::Trimmed;

/// Where a name ends behind which a unit stands without brackets: "Strain, %", "Force / N", "Travel in mm".
std::optional<std::size_t> UnitBehind(std::string_view name, std::string_view link) {
  const auto found = name.rfind(link);
  if (found == std::string_view::npos || found == 0) return std::nullopt;
  const std::string_view unit = Trimmed(name.substr(found + link.size()));
  return KnownUnit(unit) && name.find('_') > found ? std::optional(found) : std::nullopt;
}

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
  } else {
    for (const std::string_view link : {",", "/", " in "}) {
      if (const auto end = UnitBehind(name, link)) {
        const std::string unit(Trimmed(std::string_view(name).substr(*end + link.size())));
        name = std::string(Trimmed(std::string_view(name).substr(0, *end))) + "_" + unit;
        break;
      }
    }
  }
  std::replace(name.begin(), name.end(), ' ', '_');
  return name;
}

/// How well a column name fits an accepted name.
enum class Likeness { Not, UnknownUnit, KnownUnit, Exact };

struct Match {
  Likeness fit = Likeness::Not;
  std::string unit;
};

Match MatchName(const std::string& column, const AcceptedName& name) {
  const std::string_view accepted = name.name;
  if (name.exactCase && !column.starts_with(accepted)) return {};
  if (EqualIgnoringCase(column, accepted)) return {Likeness::Exact, ""};
  if (column.size() <= accepted.size() + 1 || column[accepted.size()] != '_') return {};
  if (!EqualIgnoringCase(std::string_view(column).substr(0, accepted.size()), accepted)) return {};
  const std::string suffix = column.substr(accepted.size() + 1);
  if (const auto unit = KnownUnit(suffix)) return {Likeness::KnownUnit, *unit};
  return {Likeness::UnknownUnit, suffix};
}

/// Units go into messages and results, so they are fit to be shown.
ColumnChoice Choice(std::size_t index, const std::string& suffix, const AcceptedName& accepted) {
  const std::string unit = suffix.empty() ? std::string(accepted.unit) : Printable(suffix);
  ColumnChoice choice{index, unit, 1.0, accepted.offset, accepted.convert, accepted.name};
  if (const auto fraction = ConversionFactor(choice.unit, "-")) {
    choice.scale = *fraction;
    choice.unit.clear();
  }
  return choice;
}

/// A column whose row of units says what its name does not.
Match MatchColumn(const Table& table, const Column& column, const AcceptedName& name) {
  Match match = MatchName(Normalised(column.name), name);
  if (match.fit == Likeness::Not || column.unit.empty() || column.unit == "-") return match;
  if (match.fit == Likeness::KnownUnit && match.unit != column.unit) {
    RefuseData(AtLine(table.source, table.headerLine) + ": column " + Printable(column.name) + " is in " + match.unit +
               " by its name and in " + Printable(column.unit) + " by the row of units; make them agree");
  }
  match.unit = column.unit;
  return match;
}

std::string Listed(const Table& table) { return Printable(Join(table.Names(), ", ")); }

void RequireOnce(const Table& table, std::size_t index) {
  const std::string& name = table.columns[index].name;
  const auto isCalled = [&](const Column& column) { return column.name == name; };
  if (std::count_if(table.columns.begin(), table.columns.end(), isCalled) > 1) {
    RefuseData(AtLine(table.source, table.headerLine) + ": column " + Printable(name) +
               " occurs more than once; rename or remove one of them");
  }
}

std::size_t ColumnCalled(const Table& table, const std::string& name, const char* option) {
  const auto& columns = table.columns;
  auto found = std::find_if(columns.begin(), columns.end(), [&](const Column& c) { return c.name == name; });
  if (found == columns.end()) {
    found = std::find_if(columns.begin(), columns.end(),
                         [&](const Column& column) { return EqualIgnoringCase(column.name, name); });
  }
  if (found == columns.end()) {
    RefuseInput(std::string(option) + ": " + AtLine(table.source, table.headerLine) + " has no column " + Quoted(name) +
                "; its columns are " + Listed(table));
  }
  const auto index = static_cast<std::size_t>(found - columns.begin());
  RequireOnce(table, index);
  return index;
}

ColumnChoice ChooseByHand(const Table& table, const Role& role, const std::string& wanted) {
  const std::size_t index = ColumnCalled(table, wanted, "--column");
  const Column& column = table.columns[index];
  for (const AcceptedName& accepted : role.accepted) {
    const Match match = MatchColumn(table, column, accepted);
    if (match.fit != Likeness::Not) return Choice(index, match.unit, accepted);
  }
  if (!column.unit.empty()) return Choice(index, column.unit, {});
  const std::string name = Normalised(column.name);
  const auto suffix = name.rfind('_');
  const auto unit = suffix == std::string::npos ? std::nullopt : KnownUnit(name.substr(suffix + 1));
  return Choice(index, unit.value_or(""), {});
}

std::string NamesOf(const Role& role) {
  std::vector<std::string> names;
  for (const AcceptedName& accepted : role.accepted) names.emplace_back(accepted.name);
  return Join(names, ", ");
}

bool SameValue(const std::string& cell, const std::string& wanted) {
  if (Trimmed(cell) == Trimmed(wanted)) return true;
  const auto a = Strings::ParseNumber(cell);
  const auto b = Strings::ParseNumber(wanted);
  return a && b && *a == *b;
}

std::string ValuesOf(const Table& table, std::size_t column) {
  constexpr std::size_t kMostNamed = 8;
  std::vector<std::string> values;
  for (std::size_t row = 0; row < table.RowCount(); ++row) {
    const std::string cell = CellText(table, row, column);
    if (std::find(values.begin(), values.end(), cell) == values.end()) values.push_back(cell);
    if (values.size() > kMostNamed) {
      values.back() = "...";
      break;
    }
  }
  return Printable(Join(values, ", "));
}

void KeepRows(const std::vector<std::size_t>& kept, Table& table) {
  for (std::size_t i = 0; i < kept.size(); ++i) table.lines[i] = table.lines[kept[i]];
  table.lines.resize(kept.size());
  for (Column& column : table.columns) {
    std::vector<TextCell> texts;
    auto text = column.texts.begin();
    for (std::size_t i = 0; i < kept.size(); ++i) {
      column.numbers[i] = column.numbers[kept[i]];
      while (text != column.texts.end() && text->row < kept[i]) ++text;
      if (text != column.texts.end() && text->row == kept[i]) texts.push_back({i, std::move(text->text)});
    }
    column.numbers.resize(kept.size());
    column.texts = std::move(texts);
  }
}

}  // namespace

std::optional<ColumnChoice> FindColumn(const Table& table, const Role& role, const std::optional<std::string>& wanted) {
  if (wanted) return ChooseByHand(table, role, *wanted);
  for (const AcceptedName& accepted : role.accepted) {
    std::size_t best = 0;
    Match bestMatch;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      Match match = MatchColumn(table, table.columns[i], accepted);
      if (match.fit > bestMatch.fit) {
        best = i;
        bestMatch = std::move(match);
      }
    }
    if (bestMatch.fit == Likeness::Not) continue;
    RequireOnce(table, best);
    return Choice(best, bestMatch.unit, accepted);
  }
  return std::nullopt;
}

ColumnChoice ChooseColumn(const Table& table, const Role& role, const std::optional<std::string>& wanted) {
  if (const auto found = FindColumn(table, role, wanted)) return *found;
  RefuseData(AtLine(table.source, table.headerLine) + ": no column for " + std::string(role.name) + " among " +
             Listed(table) + "; it may be called " + NamesOf(role) +
             ", with a unit suffix such as _MPa, or named by --column " + std::string(role.name) + "=NAME");
}

bool HasColumn(const Table& table, const Role& role) {
  for (const AcceptedName& accepted : role.accepted) {
    for (const Column& column : table.columns) {
      if (MatchName(Normalised(column.name), accepted).fit != Likeness::Not) return true;
    }
  }
  return false;
}

std::optional<Quantity> MetadataQuantity(const Table& table, const Role& role) {
  for (const AcceptedName& accepted : role.accepted) {
    for (const auto& [key, text] : table.metadata) {
      Match match = MatchName(Normalised(key), accepted);
      if (match.fit == Likeness::Not) continue;
      // "500" or "500 MPa"
      const std::size_t blank = text.find(' ');
      const auto value = Strings::ParseWrittenNumber(text.substr(0, blank), table.decimalComma, false);
      const std::string unit(blank == std::string::npos ? "" : Trimmed(text.substr(blank)));
      if (match.unit.empty()) match.unit = KnownUnit(unit).value_or(unit);
      if (!value || !std::isfinite(*value)) {
        RefuseData(table.source + ", comment " + Printable(key) + ": " + Quoted(text) + " is not a number");
      }
      const ColumnChoice choice = Choice(0, match.unit, accepted);
      return Quantity{choice.Quantity(*value), choice.unit};
    }
  }
  return std::nullopt;
}

void SelectRows(Table& table, const std::map<std::string, std::string>& selection) {
  for (const auto& [column, value] : selection) {
    const std::size_t index = ColumnCalled(table, column, "--select");
    std::vector<std::size_t> kept;
    for (std::size_t row = 0; row < table.RowCount(); ++row) {
      if (SameValue(CellText(table, row, index), value)) kept.push_back(row);
    }
    if (kept.empty()) {
      RefuseData(table.source + ": no row has " + Printable(column) + " = " + Quoted(value) + "; values there are " +
                 ValuesOf(table, index));
    }
    KeepRows(kept, table);
  }
}

}  // namespace Xem::Fit
