#ifndef XEM_FIT_SUMMARY_H
#define XEM_FIT_SUMMARY_H

#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "xem/fit/result.h"

/// @file
/// Many specimens by one recipe: what became of each, which of them count, mean and scatter of those.
namespace Xem::Fit {

/// What became of one specimen, and what a summary tells of its result; NaN where the result has no such number.
struct Outcome {
  struct Parameter {
    std::string name;
    std::string unit;
    double value = 0.0;
    double standardError = std::numeric_limits<double>::quiet_NaN();
    std::string doubt = {};  ///< "at its bound", "not identifiable"
  };
  static constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

  int exitCode = -1;    ///< 0 fitted, 2 refused, 3 bad data, 4 not converged, 5 unstable, -1 stopped, else failed
  std::string message;  ///< why it did not fit
  std::string model;    ///< "ogden:2"
  double points = kNone, dropped = kNone, sse = kNone, rmse = kNone, r2 = kNone, aicc = kNone;
  std::string unit = {};   ///< of rmse
  bool relative = false;   ///< relative residuals were minimised: AICc does not depend on the unit
  double worstR2 = kNone;  ///< of its curves
  std::vector<Parameter> parameters = {};
  std::vector<Parameter> derived = {};  ///< without standard errors

  bool Fitted() const { return exitCode == 0; }
  /// The word for the exit code.
  XEM_FIT_EXPORT std::string Status() const;
};

XEM_FIT_EXPORT Outcome OutcomeOf(const Result& result);

/// What a fit must be to be counted in means and scatter. A number that a result does not have opens its gate.
struct Gates {
  double leastR2 = 0.9;
  double mostDropped = 0.5;   ///< share of the measured points
  bool allowUnclear = false;  ///< parameters at a bound of their range, or not identifiable
};

/// Why a fit is not counted; empty when nothing speaks against it, and for what did not fit.
XEM_FIT_EXPORT std::string DoubtsAbout(const Outcome& outcome, const Gates& gates);

/// A number per specimen, such as a parameter or a measure; NaN where a specimen has none.
struct SummaryColumn {
  std::string name;
  std::optional<std::string> unit = {};  ///< of the first specimen that has one of its own
  std::vector<double> values = {};
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
  XEM_FIT_EXPORT Statistics Of(const std::vector<bool>& counted) const;
  /// Specimens of these that lie far from the median, by the robust deviation.
  XEM_FIT_EXPORT std::vector<std::size_t> Outliers(const std::vector<bool>& counted) const;
  std::string UnitText() const { return mixedUnits ? "mixed" : unit.value_or(""); }
};

/// All outcomes of a batch, in the order of the specimens.
class Summary {
 public:
  struct Row {
    std::string specimen, status, model, message;
    int exitCode = 0;
    std::vector<std::string> outlierIn = {};  ///< names of parameters
  };

  /// A fit with a doubt does not count.
  XEM_FIT_EXPORT void Add(const std::string& specimen, const Outcome& outcome, const std::string& doubt);
  /// After the last: names the outliers.
  XEM_FIT_EXPORT void Finish();

  XEM_FIT_EXPORT std::size_t Count(const std::string& status) const;
  XEM_FIT_EXPORT std::size_t FailedCount() const;

  const std::vector<Row>& Rows() const { return rows_; }
  const std::vector<bool>& Counted() const { return counted_; }
  /// Measures, then parameters and derived quantities.
  XEM_FIT_EXPORT std::vector<SummaryColumn> Columns() const;
  /// Of these, what a table for people tells: what has a mean, but for sums of squares and criteria.
  XEM_FIT_EXPORT std::vector<SummaryColumn> Told() const;

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

/// Outliers are further from the median than so many robust deviations (Iglewicz and Hoaglin 1993).
inline constexpr double kFarFromMedian = 3.5;

inline constexpr const char* kFitted = "fitted";
inline constexpr const char* kDoubtful = "doubtful";

}  // namespace Xem::Fit

#endif
