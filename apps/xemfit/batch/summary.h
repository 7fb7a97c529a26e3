#pragma once

#include <string>
#include <vector>

#include "batch/outcome.h"

namespace Xem::Tool {

/// A number per specimen, such as a parameter or a measure; NaN where a specimen has none.
struct SummaryColumn {
  std::string name;
  std::string unit;
  std::vector<double> values;
  bool hasStatistics = false;  ///< mean and scatter make sense
  bool isParameter = false;
  bool mixedUnits = false;  ///< units that cannot be converted into each other: no statistics

  struct Statistics {
    int number = 0;
    double mean, deviation, lowest, highest;  ///< NaN where the number does not suffice
  };
  /// Over the specimens that fitted.
  Statistics Of(const std::vector<bool>& fitted) const;
};

/// All outcomes of a batch, in the order of the specimens.
class Summary {
 public:
  void Add(const std::string& specimen, const Outcome& outcome);

  /// One row per specimen, then rows `mean`, `standard_deviation`, `number` and `unit` whose status is "summary".
  std::string Csv() const;
  /// What people read: parameters with mean and scatter, and how many specimens fitted.
  std::string Table() const;
  int FailedCount() const;

 private:
  struct Row {
    std::string specimen, status, model, message;
    int exitCode = 0;
  };
  SummaryColumn& ColumnCalled(const std::string& name, const std::string& unit);
  void AddParameter(const Outcome::Parameter& parameter);
  void Set(SummaryColumn& column, double value);

  std::vector<Row> rows_;
  std::vector<bool> fitted_;
  std::vector<SummaryColumn> measures_;
  std::vector<SummaryColumn> columns_;  // parameters and derived quantities, as they first appeared
};

}  // namespace Xem::Tool
