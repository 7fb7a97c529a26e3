#pragma once

#include <cstddef>
#include <limits>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "batch/recipe.h"
#include "output/report.h"

namespace Xem::Tool {

/// What became of one specimen, and what a summary tells of its result; NaN where the result has no such number.
struct Outcome {
  struct Parameter {
    std::string name, unit;
    double value, standardError;
    std::string doubt{};  ///< "at its bound", "not identifiable"
  };
  /// As much of a curve as a picture shows.
  struct Curve {
    std::string name;
    Axis x, y;
    std::vector<double> points[2], line[2];
  };
  static constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

  int exitCode = -1;    ///< of the command; -1: it did not end by itself
  std::string message;  ///< what it said when it did not fit
  std::string model;    ///< "ogden:2"
  double points = kNone, dropped = kNone, sse = kNone, rmse = kNone, r2 = kNone, aicc = kNone;
  std::string unit{};      ///< of rmse
  bool relative = false;   ///< relative residuals were minimised: AICc does not depend on the unit
  double worstR2 = kNone;  ///< of its curves
  std::vector<Parameter> parameters{};
  std::vector<Parameter> derived{};  ///< without standard errors
  std::vector<Curve> curves{};

  bool Fitted() const { return exitCode == 0; }
  /// "fitted", "bad data", "not converged" ...
  std::string Status() const;
  /// It ended for a reason outside of the data if not, and may end otherwise the next time.
  bool Lasting() const;
};

/// Without what it says when it ends: its exit code and message.
Outcome OutcomeOf(const Report& report);

/// Between processes and runs. Throws what the JSON library throws for a text that is no outcome.
std::string ToText(const Outcome& outcome);
Outcome OutcomeFrom(const std::string& text);

/// Finished specimens in a folder that outlives the run: files of lines, a key and its outcome in each. An outcome is
/// found again only by the same command on the same contents of the same files by the same version, so that nothing old
/// is ever taken for new.
class OutcomeStore {
 public:
  /// Throws Failure when the folder cannot be made or read.
  explicit OutcomeStore(const std::string& folder);

  /// The key of a specimen's outcome: its name and a digest of all that it depends on. `words` is its command, run in
  /// `workingFolder`; the words that name files it writes do not count.
  static std::string Key(const std::string& specimen, const std::vector<std::string>& words,
                         const std::vector<bool>& isOutput, const std::string& workingFolder);

  /// Of those that were there when the store was made.
  std::optional<Outcome> Find(const std::string& key) const;
  /// Appends to a file that belongs to this process; a new file per outcome would take as long as a small fit. A line
  /// that a killed process left half written is none. Throws Failure.
  void Keep(const std::string& key, const Outcome& outcome) const;

 private:
  /// Where a line has its outcome.
  struct Place {
    std::string file;
    std::size_t offset, size;
  };

  std::string folder_;  // wherever the process is
  std::map<std::string, Place> kept_;
};

}  // namespace Xem::Tool
