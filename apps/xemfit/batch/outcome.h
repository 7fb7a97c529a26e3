#pragma once

#include <cstddef>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "batch/recipe.h"
#include "output/report.h"
#include "xem/fit/summary.h"

namespace Xem::Tool {

/// What became of one specimen, with its curves for a picture.
struct Outcome : Fit::Outcome {
  /// As much of a curve as a picture shows.
  struct Curve {
    std::string name;
    Axis x, y;
    std::vector<double> points[2], line[2];
  };
  std::vector<Curve> curves = {};

  /// It ended for a reason outside of the data if not, and may end otherwise the next time.
  bool Lasting() const;
};

/// One without a result.
Outcome OutcomeWithout(int exitCode, const std::string& message);
/// Without what it says when it ends: its exit code and message.
Outcome OutcomeOf(const Report& report);

/// Between processes and runs, on one line. Throws std::runtime_error for a text that is no outcome.
std::string ToText(const Outcome& outcome);
Outcome OutcomeFrom(std::string_view text);

/// Finished specimens in a folder that outlives the run: files of lines, a key and its outcome in each. An outcome is
/// found again only by the same command on the same contents of the same files by the same version, so that nothing old
/// is ever taken for new.
class OutcomeStore {
 public:
  /// Files that are written begin with `prefix`, which tells jobs on several machines apart. Throws Failure when the
  /// folder cannot be made.
  explicit OutcomeStore(const std::string& folder, const std::string& prefix = "");

  /// Looks for the outcomes that are there already; what comes later is not found. Throws Fit::Error for a file that
  /// cannot be read.
  void FindKept();

  /// The key of a specimen's outcome: its name and a digest of all that it depends on. `words` is its command, run in
  /// `workingFolder`; the words that name files it writes do not count.
  static std::string Key(const std::string& specimen, const std::vector<std::string>& words,
                         const std::vector<bool>& isOutput, const std::string& workingFolder);

  /// Of those that were there when the store looked for them.
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

  std::string prefix_;
  std::string folder_;  // wherever the process is
  std::map<std::string, Place> kept_;
};

}  // namespace Xem::Tool
