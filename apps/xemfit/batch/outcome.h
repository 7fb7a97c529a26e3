#pragma once

#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "batch/recipe.h"

namespace Xem::Tool {

/// What became of one specimen, and what a summary tells of its result; NaN where the result has no such number.
struct Outcome {
  struct Parameter {
    std::string name, unit;
    double value, standardError;
  };
  static constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

  int exitCode = -1;    ///< of the command; -1: it did not end by itself
  std::string message;  ///< what it said when it did not fit
  std::string model;    ///< "ogden:2"
  double points = kNone, dropped = kNone, sse = kNone, rmse = kNone, r2 = kNone, aicc = kNone;
  std::vector<Parameter> parameters{};
  std::vector<std::pair<std::string, double>> derived{};

  bool Fitted() const { return exitCode == 0; }
  /// "fitted", "bad data", "not converged" ...
  std::string Status() const;
};

/// `document` is the JSON that the command printed, empty when it printed none.
Outcome OutcomeOf(int exitCode, std::string message, const std::string& document);

/// Finished specimens, one JSON file each, in a folder that outlives the run. A file is found again only by the same
/// command on the same contents of the same files by the same version, so that nothing old is ever taken for new.
class OutcomeStore {
 public:
  /// Throws Failure when the folder cannot be made.
  explicit OutcomeStore(std::string folder);

  const std::string& Folder() const { return folder_; }

  /// The key of a specimen's outcome: its name and a digest of all that it depends on. `words` is its command, run in
  /// `workingFolder`; the words that name files it writes do not count.
  static std::string Key(const std::string& specimen, const std::vector<std::string>& words,
                         const std::vector<bool>& isOutput, const std::string& workingFolder);

  std::optional<Outcome> Find(const std::string& key) const;
  /// The file appears as a whole or not at all, whenever the process ends. Throws Failure.
  void Keep(const std::string& key, const std::string& specimen, const Outcome& outcome,
            const std::string& document) const;

 private:
  std::string PathOf(const std::string& key) const;

  std::string folder_;
};

}  // namespace Xem::Tool
