#include "batch/summary.h"

#include <fmt/format.h>

#include <cmath>
#include <cstddef>
#include <functional>
#include <vector>

#include "numbers.h"
#include "output/csv_cell.h"
#include "output/text_table.h"
#include "text.h"

namespace Xem::Tool {
namespace {

using Statistics = Fit::SummaryColumn::Statistics;

std::string ForPeople(double value) { return std::isfinite(value) ? Shortly(value) : "-"; }

/// The rows below the specimens.
struct StatisticsRow {
  const char* name;
  std::function<std::string(const Fit::SummaryColumn&, const Statistics&)> cell;
};

const std::vector<StatisticsRow>& StatisticsRows() {
  static const std::vector<StatisticsRow> rows{
      {"mean", [](const Fit::SummaryColumn&, const Statistics& s) { return CsvCell(s.mean); }},
      {"standard_deviation", [](const Fit::SummaryColumn&, const Statistics& s) { return CsvCell(s.deviation); }},
      {"median", [](const Fit::SummaryColumn&, const Statistics& s) { return CsvCell(s.median); }},
      {"robust_deviation", [](const Fit::SummaryColumn&, const Statistics& s) { return CsvCell(s.robustDeviation); }},
      {"number", [](const Fit::SummaryColumn& c,
                    const Statistics& s) { return c.hasStatistics ? std::to_string(s.number) : ""; }},
      {"unit", [](const Fit::SummaryColumn& c, const Statistics&) { return CsvCell(c.UnitText()); }},
  };
  return rows;
}

}  // namespace

std::string SummaryCsv(const Fit::Summary& summary) {
  const std::vector<Fit::SummaryColumn> columns = summary.Columns();
  const auto& rows = summary.Rows();
  std::string text = "specimen,status,exit_code,model";
  for (const Fit::SummaryColumn& column : columns) text += ',' + CsvCell(column.name);
  text += ",outlier_in,message\n";
  for (std::size_t i = 0; i < rows.size(); ++i) {
    const Fit::Summary::Row& row = rows[i];
    text += CsvCell(row.specimen) + ',' + row.status + ',' + (row.exitCode < 0 ? "" : std::to_string(row.exitCode)) +
            ',' + CsvCell(row.model);
    for (const Fit::SummaryColumn& column : columns) text += ',' + CsvCell(column.values[i]);
    text += ',' + CsvCell(Join(row.outlierIn, " ")) + ',' + CsvCell(row.message) + '\n';
  }
  std::vector<Statistics> statistics;
  for (const Fit::SummaryColumn& column : columns) statistics.push_back(column.Of(summary.Counted()));
  for (const StatisticsRow& row : StatisticsRows()) {
    text += std::string(row.name) + ",summary,,";
    for (std::size_t i = 0; i < columns.size(); ++i) text += ',' + row.cell(columns[i], statistics[i]);
    text += ",,\n";
  }
  return text;
}

std::string SummaryTable(const Fit::Summary& summary) {
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
  for (const Fit::SummaryColumn& column : summary.Told()) {
    const Statistics s = column.Of(summary.Counted());
    table.Add({column.name, ForPeople(s.mean), ForPeople(s.deviation), ForPeople(s.median),
               ForPeople(s.robustDeviation), std::to_string(s.number), ForPeople(s.lowest), ForPeople(s.highest),
               column.mixedUnits ? "mixed: no mean" : column.unit.value_or("")});
  }
  std::string outliers;
  for (const Fit::Summary::Row& row : summary.Rows()) {
    if (!row.outlierIn.empty())
      outliers += fmt::format("  {}: {}\n", Printable(row.specimen), Join(row.outlierIn, ", "));
  }
  if (!outliers.empty()) {
    outliers =
        fmt::format("\nOutliers, more than {} robust deviations from the median; they count\n", Fit::kFarFromMedian) +
        outliers;
  }
  return SummaryCounts(summary) + "\n\n" + table.Text() + outliers;
}

std::string SummaryCounts(const Fit::Summary& summary) {
  std::string text = fmt::format("{} specimens, {} fitted", summary.Rows().size(), summary.Count(Fit::kFitted));
  if (summary.Count(Fit::kDoubtful) > 0)
    text += fmt::format(", {} doubtful and not counted", summary.Count(Fit::kDoubtful));
  return text + fmt::format(", {} failed", summary.FailedCount());
}

}  // namespace Xem::Tool
