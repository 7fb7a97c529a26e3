#include "xem/fit/summary.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>

#include "fit/assemble.h"
#include "fit/no_number.h"
#include "xem/fit/reading.h"

namespace Xem::Fit {
namespace {

struct ToldMeasure {
  const char* name;
  double Outcome::*value;
  bool hasStatistics;
  int power;  ///< of the unit of the ordinates
};
constexpr ToldMeasure kMeasures[] = {{"points", &Outcome::points, false, 0}, {"dropped", &Outcome::dropped, false, 0},
                                     {"sse", &Outcome::sse, true, 2},        {"rmse", &Outcome::rmse, true, 1},
                                     {"r2", &Outcome::r2, true, 0},          {"aicc", &Outcome::aicc, true, 0}};
constexpr const char* kCriterion = "aicc";

constexpr const char* kStandardError = "_standard_error";

/// Of fewer values none is far from the others.
constexpr int kFewestForOutliers = 6;
/// Makes the median distance from the median that of a normal distribution's standard deviation.
constexpr double kNormal = 1.4826;

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return values.size() % 2 == 1 ? *middle : 0.5 * (*std::max_element(values.begin(), middle) + *middle);
}

using Statistics = SummaryColumn::Statistics;

std::vector<double> Kept(const SummaryColumn& column, const std::vector<bool>& counted) {
  std::vector<double> kept;
  for (std::size_t i = 0; i < column.values.size(); ++i) {
    if (counted[i] && std::isfinite(column.values[i])) kept.push_back(column.values[i]);
  }
  return kept;
}

/// A content that was found to be 0 is as good as one that was held there, and what is held need not be identified.
std::string DoubtAbout(const Parameter& parameter) {
  if (!parameter.identifiable && !parameter.held) return "not identifiable";
  return parameter.atBound && parameter.value != 0.0 ? "at its bound" : "";
}

std::string Formatted(const char* format, double value) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, format, value);
  return buffer;
}

}  // namespace

std::string Outcome::Status() const {
  switch (exitCode) {
    case 0:
      return kFitted;
    case 2:
      return "refused";
    case 3:
      return "bad data";
    case 4:
      return "not converged";
    case 5:
      return "unstable";
    default:
      return exitCode < 0 ? "stopped" : "failed";
  }
}

Outcome OutcomeOf(const Result& result) {
  const Measures& measures = result.measures;
  Outcome outcome;
  outcome.exitCode = 0;
  outcome.model = result.terms > 0 ? result.model + ":" + std::to_string(result.terms) : result.model;
  outcome.points = measures.points;
  outcome.dropped = static_cast<double>(result.dropped.size());
  outcome.sse = measures.sse;
  outcome.rmse = measures.rmse;
  outcome.r2 = measures.r2;
  outcome.aicc = measures.aicc;
  outcome.unit = measures.unit;
  outcome.relative = result.residual == Residual::Relative;
  for (const Parameter& one : result.parameters) {
    outcome.parameters.push_back({one.name, one.unit, one.value, one.standardError, DoubtAbout(one)});
  }
  for (const auto& [name, value] : result.derived) {
    const auto unit = result.derivedUnits.find(name);
    outcome.derived.push_back({name, unit == result.derivedUnits.end() ? "" : unit->second, value});
  }
  for (const CurveResult& curve : result.curves) {
    if (curve.measures.points > 0) outcome.worstR2 = std::fmin(outcome.worstR2, curve.measures.r2);
  }
  return outcome;
}

std::string DoubtsAbout(const Outcome& outcome, const Gates& gates) {
  if (!outcome.Fitted()) return "";
  std::string doubts;
  const auto add = [&](const std::string& doubt) { doubts += (doubts.empty() ? "" : "; ") + doubt; };
  const double r2 = std::isfinite(outcome.r2) ? outcome.r2 : outcome.worstR2;
  if (r2 < gates.leastR2) add("R2 " + Formatted("%.3g", r2) + " is below " + Text(gates.leastR2));
  const double all = outcome.points + outcome.dropped;
  if (outcome.dropped > gates.mostDropped * all) {
    add(Formatted("%.0f", outcome.dropped) + " of " + Formatted("%.0f", all) + " points were dropped");
  }
  for (const Outcome::Parameter& parameter : outcome.parameters) {
    if (!parameter.doubt.empty() && !gates.allowUnclear) add(parameter.name + " is " + parameter.doubt);
  }
  return doubts;
}

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
  constexpr double kOnlyRounding = 1e-9;
  std::vector<std::size_t> outliers;
  const Statistics s = Of(counted);
  if (s.number < kFewestForOutliers || !(s.robustDeviation > kOnlyRounding * std::abs(s.median))) return outliers;
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (counted[i] && std::abs(values[i] - s.median) > kFarFromMedian * s.robustDeviation) outliers.push_back(i);
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
    Set(error, parameter.standardError * ConversionFactor(parameter.unit, unit).value_or(1.0));
  }
  for (const Outcome::Parameter& quantity : outcome.derived) AddQuantity(quantity);
}

/// In the unit of the first specimen that has any. A sum of squares changes with its square, and a criterion, which has
/// points * ln(sum of squares) in it, by a summand unless the residuals were relative.
void Summary::AddMeasures(const Outcome& outcome) {
  if (measures_.empty()) {
    for (const ToldMeasure& measure : kMeasures) {
      measures_.push_back({.name = measure.name, .hasStatistics = measure.hasStatistics});
    }
  }
  const bool hasMeasures = std::isfinite(outcome.rmse);
  for (std::size_t i = 0; i < measures_.size(); ++i) {
    SummaryColumn& column = measures_[i];
    const ToldMeasure& measure = kMeasures[i];
    double value = outcome.*measure.value;
    const bool isCriterion = column.name == kCriterion && !outcome.relative;
    if (hasMeasures && (measure.power > 0 || isCriterion)) {
      if (!measuresUnit_) measuresUnit_ = outcome.unit;
      const auto factor = ConversionFactor(outcome.unit, *measuresUnit_);
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
  const auto factor = ConversionFactor(quantity.unit, *column.unit);
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

std::size_t Summary::Count(const std::string& status) const {
  return static_cast<std::size_t>(
      std::count_if(rows_.begin(), rows_.end(), [&](const Row& row) { return row.status == status; }));
}

std::size_t Summary::FailedCount() const { return rows_.size() - Count(kFitted) - Count(kDoubtful); }

}  // namespace Xem::Fit
