#include "batch/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "input/units.h"
#include "numbers.h"
#include "output/csv_cell.h"
#include "output/text_table.h"

namespace Xem::Tool {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Measure {
  const char* name;
  double Outcome::*value;
  bool hasStatistics;
};
constexpr Measure kMeasures[] = {{"points", &Outcome::points, false}, {"dropped", &Outcome::dropped, false},
                                 {"sse", &Outcome::sse, true},        {"rmse", &Outcome::rmse, true},
                                 {"r2", &Outcome::r2, true},          {"aicc", &Outcome::aicc, true}};

constexpr const char* kStandardError = "_standard_error";

std::string ForPeople(double value) { return std::isfinite(value) ? Shortly(value) : "-"; }

using Statistics = SummaryColumn::Statistics;

/// The rows below the specimens.
struct StatisticsRow {
  const char* name;
  std::function<std::string(const SummaryColumn&, const Statistics&)> cell;
};

const std::vector<StatisticsRow>& StatisticsRows() {
  static const std::vector<StatisticsRow> rows{
      {"mean", [](const SummaryColumn&, const Statistics& s) { return CsvCell(s.mean); }},
      {"standard_deviation", [](const SummaryColumn&, const Statistics& s) { return CsvCell(s.deviation); }},
      {"number",
       [](const SummaryColumn& c, const Statistics& s) { return c.hasStatistics ? std::to_string(s.number) : ""; }},
      {"unit", [](const SummaryColumn& c, const Statistics&) { return CsvCell(c.mixedUnits ? "mixed" : c.unit); }},
  };
  return rows;
}

}  // namespace

Statistics SummaryColumn::Of(const std::vector<bool>& fitted) const {
  Statistics statistics{0, kNaN, kNaN, kNaN, kNaN};
  if (!hasStatistics || mixedUnits) return statistics;
  std::vector<double> kept;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (fitted[i] && std::isfinite(values[i])) kept.push_back(values[i]);
  }
  if (kept.empty()) return statistics;
  const double count = static_cast<double>(kept.size());
  double mean = 0.0;
  for (const double value : kept) mean += value / count;
  double squares = 0.0;
  for (const double value : kept) squares += (value - mean) * (value - mean);
  const auto [lowest, highest] = std::minmax_element(kept.begin(), kept.end());
  const double deviation = kept.size() > 1 ? std::sqrt(squares / (count - 1.0)) : kNaN;
  return {static_cast<int>(kept.size()), mean, deviation, *lowest, *highest};
}

void Summary::Add(const std::string& specimen, const Outcome& outcome) {
  rows_.push_back({specimen, outcome.Status(), outcome.model, outcome.message, outcome.exitCode});
  fitted_.push_back(outcome.Fitted());
  if (measures_.empty()) {
    for (const Measure& measure : kMeasures) {
      measures_.push_back({measure.name, "", {}, measure.hasStatistics, false, false});
    }
  }
  for (std::size_t i = 0; i < measures_.size(); ++i) Set(measures_[i], outcome.*kMeasures[i].value);
  for (const Outcome::Parameter& parameter : outcome.parameters) AddParameter(parameter);
  for (const auto& [name, value] : outcome.derived) {
    SummaryColumn& column = ColumnCalled(name, "");
    column.hasStatistics = true;
    Set(column, value);
  }
}

void Summary::AddParameter(const Outcome::Parameter& parameter) {
  SummaryColumn& value = ColumnCalled(parameter.name, parameter.unit);
  value.hasStatistics = value.isParameter = true;
  const auto factor = ConversionFactor(parameter.unit, value.unit);
  if (!factor) value.mixedUnits = true;
  Set(value, parameter.value * factor.value_or(1.0));
  Set(ColumnCalled(parameter.name + kStandardError, value.unit), parameter.standardError * factor.value_or(1.0));
}

SummaryColumn& Summary::ColumnCalled(const std::string& name, const std::string& unit) {
  const auto found =
      std::find_if(columns_.begin(), columns_.end(), [&](const SummaryColumn& column) { return column.name == name; });
  return found != columns_.end() ? *found : columns_.emplace_back(SummaryColumn{name, unit, {}, false, false, false});
}

/// For the specimen that was added last.
void Summary::Set(SummaryColumn& column, double value) {
  column.values.resize(rows_.size(), kNaN);
  column.values.back() = value;
}

std::string Summary::Csv() const {
  std::vector<SummaryColumn> columns = measures_;
  columns.insert(columns.end(), columns_.begin(), columns_.end());
  std::string text = "specimen,status,exit_code,model";
  for (const SummaryColumn& column : columns) text += ',' + CsvCell(column.name);
  text += ",message\n";
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const Row& row = rows_[i];
    text += CsvCell(row.specimen) + ',' + row.status + ',' + (row.exitCode < 0 ? "" : std::to_string(row.exitCode)) +
            ',' + CsvCell(row.model);
    for (const SummaryColumn& column : columns)
      text += ',' + (i < column.values.size() ? CsvCell(column.values[i]) : "");
    text += ',' + CsvCell(row.message) + '\n';
  }
  for (const StatisticsRow& row : StatisticsRows()) {
    text += std::string(row.name) + ",summary,,";
    for (const SummaryColumn& column : columns) text += ',' + row.cell(column, column.Of(fitted_));
    text += ",\n";
  }
  return text;
}

std::string Summary::Table() const {
  using Align = TextTable::Align;
  TextTable table({{"parameter", Align::Left},
                   {"mean"},
                   {"standard deviation"},
                   {"number"},
                   {"lowest"},
                   {"highest"},
                   {"unit", Align::Left}});
  const auto add = [&](const SummaryColumn& column) {
    const Statistics s = column.Of(fitted_);
    table.Add({column.name, ForPeople(s.mean), ForPeople(s.deviation), std::to_string(s.number), ForPeople(s.lowest),
               ForPeople(s.highest), column.mixedUnits ? "mixed: no mean" : column.unit});
  };
  for (const SummaryColumn& column : columns_) {
    if (column.hasStatistics) add(column);
  }
  for (const SummaryColumn& column : measures_) {
    if (column.name == "rmse" || column.name == "r2") add(column);
  }
  return fmt::format("{} specimens, {} fitted, {} failed\n\n{}", rows_.size(),
                     rows_.size() - static_cast<std::size_t>(FailedCount()), FailedCount(), table.Text());
}

int Summary::FailedCount() const { return static_cast<int>(std::count(fitted_.begin(), fitted_.end(), false)); }

}  // namespace Xem::Tool
