#ifndef XEM_FIT_RESULT_H
#define XEM_FIT_RESULT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "xem/fit/export.h"
#include "xem/version.h"

/// @file
/// What goes into a fit and what comes out of it, the same for every family.
///
/// Fits keep no state and may run on several threads at once. The thread setting of the BLAS library is the caller's;
/// one thread (OPENBLAS_NUM_THREADS=1) is best, because the matrices are small.
namespace Xem::Fit {

enum class ErrorKind {
  BadInput,         ///< an option, a model name, a count or a parameter name makes no sense
  BadData,          ///< a curve is empty, malformed or unfit for the model
  NotConverged,     ///< no starting point led to a minimum
  NotIdentifiable,  ///< the data determine none of the free parameters
};

/// The one exception of the fit layer. The message names curve, row, value and remedy.
class XEM_FIT_EXPORT Error : public std::runtime_error {
 public:
  Error(ErrorKind kind, const std::string& message) : std::runtime_error(message), kind_(kind) {}
  ErrorKind Kind() const { return kind_; }

 private:
  ErrorKind kind_;
};

enum class Residual {
  Absolute,  ///< measured - fitted
  Relative,  ///< 1 - fitted / measured
};

enum class Engine {
  Best,    ///< good starts, several where needed, polished to a minimum
  Export,  ///< exactly what the plain exported function returns, for users who must reproduce a host
};

/// A row of a file that gave no point, and why.
struct UnusedRow {
  int row = 0;
  std::string reason = {};
};

/// One measured curve. An empty curve takes no part.
struct Curve {
  std::string name = {};
  std::vector<double> x = {};
  std::vector<double> y = {};
  std::vector<double> lateral = {};    ///< second strain per point where a model uses it, else empty
  std::vector<int> rows = {};          ///< row in the source of each point, for messages; empty: 1, 2, 3, ...
  double weight = 1.0;                 ///< factor on the curve's residuals, > 0
  std::vector<UnusedRow> unused = {};  ///< rows that whoever read the file left out; results list them as dropped

  bool Empty() const { return x.empty(); }
  int Row(std::size_t point) const { return rows.empty() ? static_cast<int>(point) + 1 : rows[point]; }
};

/// Numbers from one to another; either side may be infinite.
struct Interval {
  double lower = -std::numeric_limits<double>::infinity();
  double upper = std::numeric_limits<double>::infinity();
};

/// Options that every fit understands.
struct Options {
  Residual residual = Residual::Absolute;
  Engine engine = Engine::Best;
  std::map<std::string, double> held;   ///< parameters by name that keep a value
  std::map<std::string, double> start;  ///< starting values by name, tried besides the automatic ones
  double conditionLimit = 0.0;          ///< engine Export, models linear in their parameters: see the exports
  /// Intervals that parameters stay in, by name, within the ranges of the model itself. One that ends at a bound is
  /// reported like one at the end of its range.
  std::map<std::string, Interval> bounds = {};
  /// Abscissae that are used, by curve as they were measured; the empty name stands for every curve that has none of
  /// its own. Points outside are listed as dropped.
  std::map<std::string, Interval> ranges = {};
  double level = 0.95;     ///< of all intervals
  int bootstrap = 0;       ///< how many times the residuals are resampled within their curves; 0: not at all
  std::uint64_t seed = 1;  ///< of the resampling: the same seed gives the same numbers
  bool band = false;       ///< the confidence band of the fitted curves, too
  /// Models of rubber: only parameters whose material is stable over the measured strains, in all modes.
  bool stable = false;
};

struct Parameter {
  std::string name;
  std::string unit;
  double value = 0.0;
  double standardError = std::numeric_limits<double>::quiet_NaN();  ///< NaN when held or not identifiable
  double lower = std::numeric_limits<double>::quiet_NaN();          ///< interval of the level asked for
  double upper = std::numeric_limits<double>::quiet_NaN();
  bool held = false;         ///< held by the caller, or at a bound of its range (then a note says so)
  bool identifiable = true;  ///< false: the data leave a direction open in which this parameter takes part
  bool atBound = false;      ///< free, but the data push it against a bound of its range
  double bootstrapLower = std::numeric_limits<double>::quiet_NaN();  ///< interval from resampled residuals
  double bootstrapUpper = std::numeric_limits<double>::quiet_NaN();
};

/// R^2, RMSE and SSE are those of measured - fitted in the data's unit, whatever was minimised.
struct Measures {
  int points = 0;
  int dropped = 0;
  double sse = 0.0;
  double rmse = 0.0;
  double r2 = 0.0;         ///< 1 - SSres / SStot about the mean of all points; NaN for curves of different quantities
  double objective = 0.0;  ///< the minimised sum: weights and relative residuals included
  double aicc =
      0.0;  ///< m ln(objective / m) + 2 k + 2 k (k + 1) / (m - k - 1), k = free parameters + 1; NaN if m < k + 2
  std::string unit = {};  ///< of rmse, and squared of sse; empty where ordinates are ratios or name none
};

struct CurveResult {
  std::string name;
  Measures measures;  ///< of this curve alone; `aicc` and `objective` are those of the whole fit only
  std::vector<double> x;
  std::vector<double> measured;
  std::vector<double> fitted;
  std::vector<double> companion = {};             ///< lateral strains where a model used them, else empty
  std::map<std::string, double> conditions = {};  ///< what was constant during the test, such as "stress" in creep
  std::vector<double> lower = {};                 ///< confidence band of `fitted`, where it was asked for
  std::vector<double> upper = {};
};

struct DroppedPoint {
  std::string curve;
  int row = 0;
  std::string reason;
};

struct StabilityInterval {
  double lower = std::numeric_limits<double>::quiet_NaN();
  double upper = std::numeric_limits<double>::quiet_NaN();
};

/// Nominal strains at which the material tangent stops being positive definite; NaN where the model is stable.
struct Stability {
  double uniaxialTension = std::numeric_limits<double>::quiet_NaN();
  double uniaxialCompression = std::numeric_limits<double>::quiet_NaN();
  double equibiaxialTension = std::numeric_limits<double>::quiet_NaN();
  double equibiaxialCompression = std::numeric_limits<double>::quiet_NaN();
  double pureShearTension = std::numeric_limits<double>::quiet_NaN();
  double pureShearCompression = std::numeric_limits<double>::quiet_NaN();
  std::string text;  ///< the report in the system's own words
  /// Intervals of the limits, of the level of the fit, by name, such as "uniaxial_tension", from the covariance of a
  /// fit's parameters. An infinite end: the data allow that there is no limit. Limits without an entry are as sure as
  /// the parameters given.
  std::map<std::string, StabilityInterval> intervals;
  bool Stable() const;
};

/// Where a curve came from, for those who read the result later. Filled by whoever read the file.
struct Input {
  std::string curve;
  std::string file;
  std::string sha256;                ///< of the bytes of the file, in hexadecimal digits
  std::vector<std::string> columns;  ///< names of the columns that were used
  int rows = 0;                      ///< how many rows were used
  std::string understood = {};       ///< in words: rows, columns with their units, what was skipped
};

struct Result {
  std::string model;    ///< such as "polynomial"
  int terms = 0;        ///< order or number of terms; 0 where a model has none
  std::string formula;  ///< of the model, as the catalogue has it
  Residual residual = Residual::Absolute;
  bool converged = false;
  std::string status;  ///< in words
  int iterations = 0;
  std::vector<Parameter> parameters;
  std::vector<std::vector<double>> correlation;  ///< square, in the order of `parameters`; NaN where undefined
  std::vector<std::vector<double>> covariance;   ///< likewise
  Measures measures;
  std::vector<CurveResult> curves;
  std::vector<DroppedPoint> dropped;
  std::optional<Stability> stability;               ///< hyperelastic models
  std::map<std::string, double> derived;            ///< further quantities by name, such as "shear_modulus"
  std::map<std::string, std::string> derivedUnits;  ///< of those that have one
  std::vector<std::string> notes;
  Options options;            ///< those of the fit
  std::string version;        ///< of the library that fitted
  std::vector<Input> inputs;  ///< empty where the curves did not come from files
  /// The fitted curve: value at `x` for the curve of that name. Throws Error for a name that the model does not know.
  std::function<double(const std::string& curve, double x)> evaluate;

  /// Value of a parameter. Throws Error when there is none of that name.
  XEM_FIT_EXPORT double Value(const std::string& name) const;
};

/// The confidence interval of the fitted curve of that name at an abscissa, NaN where there is none.
using Band = std::function<Interval(const std::string& curve, double x)>;

/// The band of a fitted or stored result at the level of its intervals (delta method: covariance of the parameters,
/// slopes of the model). Empty where the covariance or the model is not known; NaN where a parameter that is not
/// identifiable bears on the curve.
XEM_FIT_EXPORT Band ConfidenceBand(const Result& result);

inline bool Stability::Stable() const {
  for (const double limit : {uniaxialTension, uniaxialCompression, equibiaxialTension, equibiaxialCompression,
                             pureShearTension, pureShearCompression}) {
    if (limit == limit) return false;
  }
  return true;
}

}  // namespace Xem::Fit

#endif
