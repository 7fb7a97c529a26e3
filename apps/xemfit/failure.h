#pragma once

#include <stdexcept>
#include <string>

namespace Xem::Tool {

enum class ExitCode {
  Fitted = 0,
  Other = 1,          ///< anything else: an output that cannot be written, gnuplot missing
  Usage = 2,          ///< an option, a model name, a count
  BadData = 3,        ///< a missing, unreadable or unusable file or row
  NotConverged = 4,   ///< the result is still printed
  Unstable = 5,       ///< only with --require-stable; the result is still printed
  Interrupted = 130,  ///< by SIGINT or SIGTERM, as shells report it
};

/// Ends the run with one sentence on standard error.
class Failure : public std::runtime_error {
 public:
  Failure(ExitCode code, const std::string& sentence) : std::runtime_error(sentence), code_(code) {}
  ExitCode Code() const { return code_; }

 private:
  ExitCode code_;
};

}  // namespace Xem::Tool
