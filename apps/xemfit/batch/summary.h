#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "batch/outcome.h"

namespace Xem::Tool {

/// A number per specimen, such as a parameter or a measure; NaN where a specimen has none.
struct SummaryColumn {
  std::string name;
  std::optional<std::string> unit{};  ///< of the first specimen that has one of its own
  std::vector<double> values{};
  bool hasStatistics = false;  ///< mean and scatter make sense
  bool isParameter = false;
  bool mixedUnits = false;  ///< units that cannot be converted into each other: no statistics

  struct Statistics {
    int number = 0;
    double mean, deviation;          ///< NaN where the number does not suffice
    double median, robustDeviation;  ///< 1.4826 times the median of the distances from the median
    double lowest, highest;
  };
  /// Over the specimens that count.
  Statistics Of(const std::vector<bool>& counted) const;
  /// Specimens of these that lie far from the median, by the robust deviation.
  std::vector<std::size_t> Outliers(const std::vector<bool>& counted) const;
  std::string UnitText() const { return mixedUnits ? "mixed" : unit.value_or(""); }
};

/// All outcomes of a batch, in the order of the specimens.
class Summary {
 public:
  struct Row {
    std::string specimen, status, model, message;
    int exitCode = 0;
    std::vector<std::string> outlierIn{};  ///< names of parameters
  };

  /// A fit with a doubt does not count.
  void Add(const std::string& specimen, const Outcome& outcome, const std::string& doubt);
  /// After the last: names the outliers.
  void Finish();

  /// One row per specimen, then rows `mean`, `standard_deviation`, `median`, `robust_deviation`, `number` and `unit`
  /// whose status is "summary".
  std::string Csv() const;
  /// What people read: parameters with mean and scatter, how many specimens fitted, and outliers.
  std::string Table() const;
  /// "500 specimens, 488 fitted, 10 doubtful, 2 failed"
  std::string Counts() const;
  std::size_t Count(const std::string& status) const;
  std::size_t FailedCount() const;

  const std::vector<Row>& Rows() const { return rows_; }
  const std::vector<bool>& Counted() const { return counted_; }
  /// Measures, then parameters and derived quantities.
  std::vector<SummaryColumn> Columns() const;
  /// Of these, what a table for people tells: what has a mean, but for sums of squares and criteria.
  std::vector<SummaryColumn> Told() const;

 private:
  SummaryColumn& ColumnCalled(const std::string& name);
  SummaryColumn& AddQuantity(const Outcome::Parameter& quantity);
  void AddMeasures(const Outcome& outcome);
  void Set(SummaryColumn& column, double value);

  std::vector<Row> rows_;
  std::vector<bool> counted_;
  std::vector<SummaryColumn> measures_;
  std::optional<std::string> measuresUnit_;
  std::vector<SummaryColumn> columns_;  // parameters and derived quantities, as they first appeared
};

inline constexpr const char* kFitted = "fitted";
inline constexpr const char* kDoubtful = "doubtful";

}  // namespace Xem::Tool
