#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace Xem::Tool {

struct JobResult {
  int exitCode = -1;  ///< -1: it was ended by a signal or by the time limit
  bool outOfTime = false;
  int signal = 0;  ///< that ended it
  std::string output;
  std::string errors;
};

struct WorkerOptions {
  int processes = 1;
  double secondsPerJob = 0.0;  ///< 0: no limit
};

/// Begins the program anew with the same arguments unless its numerical libraries run in one thread each, which they
/// decide when they are loaded. Processes share the cores already, and a process without threads may be forked.
void UseOneThread();

/// Runs `work(0)` to `work(count - 1)`, each in a child process and a process group of its own with nothing to read and
/// its two outputs caught, several at a time, and hands over every result as it comes. A child is forked from this
/// process as it is: starting the program anew takes ten times as long as a small fit. `tick` is called a few times a
/// second. Children end with this process. Returns false when SIGINT, SIGTERM or SIGHUP came before the last result:
/// then no more are started, those that run have two seconds to end, and what is left is killed. Throws Failure (Other)
/// when the system refuses processes or files.
bool RunJobs(std::size_t count, const WorkerOptions& options, const std::function<int(std::size_t)>& work,
             const std::function<void(std::size_t, const JobResult&)>& done, const std::function<void()>& tick);

}  // namespace Xem::Tool
