#include "batch/summary.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>

#include "numbers.h"
#include "output/csv_cell.h"
#include "output/text_table.h"
#include "text.h"
#include "xem/fit/reading.h"

namespace Xem::Tool {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Measure {
  const char* name;
  double Outcome::*value;
  bool hasStatistics;
  int power;  ///< of the unit of the ordinates
};
constexpr Measure kMeasures[] = {{"points", &Outcome::points, false, 0}, {"dropped", &Outcome::dropped, false, 0},
                                 {"sse", &Outcome::sse, true, 2},        {"rmse", &Outcome::rmse, true, 1},
                                 {"r2", &Outcome::r2, true, 0},          {"aicc", &Outcome::aicc, true, 0}};
constexpr const char* kCriterion = "aicc";

constexpr const char* kStandardError = "_standard_error";

/// Iglewicz and Hoaglin (1993): 3.5 robust deviations; of fewer values none is far from the others.
constexpr double kFar = 3.5;
constexpr int kFewestForOutliers = 6;
/// Makes the median distance from the median that of a normal distribution's standard deviation.
constexpr double kNormal = 1.4826;

std::string ForPeople(double value) { return std::isfinite(value) ? Shortly(value) : "-"; }

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  const std::size_t middle = values.size() / 2;
  return values.size() % 2 == 1 ? values[middle] : 0.5 * (values[middle - 1] + values[middle]);
}

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
      {"median", [](const SummaryColumn&, const Statistics& s) { return CsvCell(s.median); }},
      {"robust_deviation", [](const SummaryColumn&, const Statistics& s) { return CsvCell(s.robustDeviation); }},
      {"number",
       [](const SummaryColumn& c, const Statistics& s) { return c.hasStatistics ? std::to_string(s.number) : ""; }},
      {"unit", [](const SummaryColumn& c, const Statistics&) { return CsvCell(c.UnitText()); }},
  };
  return rows;
}

std::vector<double> Kept(const SummaryColumn& column, const std::vector<bool>& counted) {
  std::vector<double> kept;
  for (std::size_t i = 0; i < column.values.size(); ++i) {
    if (counted[i] && std::isfinite(column.values[i])) kept.push_back(column.values[i]);
  }
  return kept;
}

}  // namespace

Statistics SummaryColumn::Of(const std::vector<bool>& counted) const {
  const std::vector<double> kept = hasStatistics && !mixedUnits ? Kept(*this, counted) : std::vector<double>();
  if (kept.empty()) return {0, kNaN, kNaN, kNaN, kNaN, kNaN, kNaN};
  const double count = static_cast<double>(kept.size());
  double mean = 0.0;
  for (const double value : kept) mean += value / count;
  double squares = 0.0;
  for (const double value : kept) squares += (value - mean) * (value - mean);
  const double median = Median(kept);
  std::vector<double> distances;
  for (const double value : kept) distances.push_back(std::abs(value - median));
  const bool several = kept.size() > 1;
  const auto [lowest, highest] = std::minmax_element(kept.begin(), kept.end());
  return {static_cast<int>(kept.size()),
          mean,
          several ? std::sqrt(squares / (count - 1.0)) : kNaN,
          median,
          several ? kNormal * Median(distances) : kNaN,
          *lowest,
          *highest};
}

std::vector<std::size_t> SummaryColumn::Outliers(const std::vector<bool>& counted) const {
  constexpr double kRounding = 1e-9;
  std::vector<std::size_t> outliers;
  const Statistics s = Of(counted);
  if (s.number < kFewestForOutliers || !(s.robustDeviation > kRounding * std::abs(s.median))) return outliers;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (counted[i] && std::abs(values[i] - s.median) > kFar * s.robustDeviation) outliers.push_back(i);
  }
  return outliers;
}

void Summary::Add(const std::string& specimen, const Outcome& outcome, const std::string& doubt) {
  rows_.push_back({specimen, doubt.empty() ? outcome.Status() : kDoubtful, outcome.model,
                   doubt.empty() ? outcome.message : doubt, outcome.exitCode});
  counted_.push_back(outcome.Fitted() && doubt.empty());
  AddMeasures(outcome);
  for (const Outcome::Parameter& parameter : outcome.parameters) {
    SummaryColumn& value = AddQuantity(parameter);
    value.isParameter = true;
    const std::string unit = value.unit.value_or("");  // the next line may move the column
    SummaryColumn& error = ColumnCalled(parameter.name + kStandardError);
    error.unit = unit;
    Set(error, parameter.standardError * Fit::ConversionFactor(parameter.unit, unit).value_or(1.0));
  }
  for (const Outcome::Parameter& quantity : outcome.derived) AddQuantity(quantity);
}

/// In the unit of the first specimen that has any. A sum of squares changes with its square, and a criterion, which has
/// points * ln(sum of squares) in it, by a summand unless the residuals were relative.
void Summary::AddMeasures(const Outcome& outcome) {
  if (measures_.empty()) {
    for (const Measure& measure : kMeasures) {
      measures_.push_back({.name = measure.name, .hasStatistics = measure.hasStatistics});
    }
  }
  const bool hasMeasures = std::isfinite(outcome.rmse);
  for (std::size_t i = 0; i < measures_.size(); ++i) {
    SummaryColumn& column = measures_[i];
    const Measure& measure = kMeasures[i];
    double value = outcome.*measure.value;
    const bool isCriterion = column.name == kCriterion && !outcome.relative;
    if (hasMeasures && (measure.power > 0 || isCriterion)) {
      if (!measuresUnit_) measuresUnit_ = outcome.unit;
      const auto factor = Fit::ConversionFactor(outcome.unit, *measuresUnit_);
      if (!factor) column.mixedUnits = true;
      value = isCriterion ? value + 2.0 * outcome.points * std::log(factor.value_or(1.0))
                          : value * std::pow(factor.value_or(1.0), measure.power);
      const bool named = !measuresUnit_->empty() && !isCriterion;
      if (named) column.unit = *measuresUnit_ + (measure.power == 2 ? "^2" : "");
    }
    Set(column, value);
  }
}

/// In the unit of the first specimen that has it; there is no mean of units that cannot be converted.
SummaryColumn& Summary::AddQuantity(const Outcome::Parameter& quantity) {
  SummaryColumn& column = ColumnCalled(quantity.name);
  column.hasStatistics = true;
  if (!column.unit) column.unit = quantity.unit;
  const auto factor = Fit::ConversionFactor(quantity.unit, *column.unit);
  if (!factor) column.mixedUnits = true;
  Set(column, quantity.value * factor.value_or(1.0));
  return column;
}

SummaryColumn& Summary::ColumnCalled(const std::string& name) {
  const auto found =
      std::find_if(columns_.begin(), columns_.end(), [&](const SummaryColumn& column) { return column.name == name; });
  return found != columns_.end() ? *found : columns_.emplace_back(SummaryColumn{.name = name});
}

/// For the specimen that was added last.
void Summary::Set(SummaryColumn& column, double value) {
  column.values.resize(rows_.size(), kNaN);
  column.values.back() = value;
}

void Summary::Finish() {
  for (const SummaryColumn& column : columns_) {
    if (!column.isParameter) continue;
    for (const std::size_t i : column.Outliers(counted_)) rows_[i].outlierIn.push_back(column.name);
  }
}

std::vector<SummaryColumn> Summary::Columns() const {
  std::vector<SummaryColumn> columns = measures_;
  columns.insert(columns.end(), columns_.begin(), columns_.end());
  for (SummaryColumn& column : columns) column.values.resize(rows_.size(), kNaN);
  return columns;
}

std::vector<SummaryColumn> Summary::Told() const {
  std::vector<SummaryColumn> told;
  for (const SummaryColumn& column : columns_) {
    if (column.hasStatistics) told.push_back(column);
  }
  for (const SummaryColumn& column : measures_) {
    if (column.name == "rmse" || column.name == "r2") told.push_back(column);
  }
  return told;
}

std::string Summary::Csv() const {
  const std::vector<SummaryColumn> columns = Columns();
  std::string text = "specimen,status,exit_code,model";
  for (const SummaryColumn& column : columns) text += ',' + CsvCell(column.name);
  text += ",outlier_in,message\n";
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const Row& row = rows_[i];
    text += CsvCell(row.specimen) + ',' + row.status + ',' + (row.exitCode < 0 ? "" : std::to_string(row.exitCode)) +
            ',' + CsvCell(row.model);
    for (const SummaryColumn& column : columns) text += ',' + CsvCell(column.values[i]);
    text += ',' + CsvCell(Join(row.outlierIn, " ")) + ',' + CsvCell(row.message) + '\n';
  }
  for (const StatisticsRow& row : StatisticsRows()) {
    text += std::string(row.name) + ",summary,,";
    for (const SummaryColumn& column : columns) text += ',' + row.cell(column, column.Of(counted_));
    text += ",,\n";
  }
  return text;
}

std::string Summary::Table() const {
  using Align = TextTable::Align;
  TextTable table({{"parameter", Align::Left},
                   {"mean"},
                   {"standard deviation"},
                   {"median"},
                   {"robust deviation"},
                   {"number"},
                   {"lowest"},
                   {"highest"},
                   {"unit", Align::Left}});
  for (const SummaryColumn& column : Told()) {
    const Statistics s = column.Of(counted_);
    table.Add({column.name, ForPeople(s.mean), ForPeople(s.deviation), ForPeople(s.median),
               ForPeople(s.robustDeviation), std::to_string(s.number), ForPeople(s.lowest), ForPeople(s.highest),
               column.mixedUnits ? "mixed: no mean" : column.unit.value_or("")});
  }
  std::string outliers;
  for (const Row& row : rows_) {
    if (!row.outlierIn.empty())
      outliers += fmt::format("  {}: {}\n", Printable(row.specimen), Join(row.outlierIn, ", "));
  }
  if (!outliers.empty()) {
    outliers = fmt::format("\nOutliers, more than {} robust deviations from the median; they count\n", kFar) + outliers;
  }
  return Counts() + "\n\n" + table.Text() + outliers;
}

std::string Summary::Counts() const {
  std::string text = fmt::format("{} specimens, {} fitted", rows_.size(), Count(kFitted));
  if (Count(kDoubtful) > 0) text += fmt::format(", {} doubtful and not counted", Count(kDoubtful));
  return text + fmt::format(", {} failed", FailedCount());
}

std::size_t Summary::Count(const std::string& status) const {
  return static_cast<std::size_t>(
      std::count_if(rows_.begin(), rows_.end(), [&](const Row& row) { return row.status == status; }));
}

std::size_t Summary::FailedCount() const { return rows_.size() - Count(kFitted) - Count(kDoubtful); }

}  // namespace Xem::Tool
