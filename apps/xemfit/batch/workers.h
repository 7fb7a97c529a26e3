#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace Xem::Tool {

/// What a worker made of a job, or how the worker ended before it could answer.
struct JobResult {
  bool answered = false;
  std::string answer{};
  bool outOfTime = false;
  int signal = 0;  ///< that ended the worker
};

struct WorkerOptions {
  int processes = 1;
  double secondsPerJob = 0.0;  ///< 0: no limit
};

/// Sees to it that this process may be forked: that no numerical library runs in several threads. Processes share the
/// cores already. OpenBLAS ends its threads in time; for a library that cannot be told, the program begins anew with
/// the same arguments and with what such libraries look at when they are loaded.
void UseOneThread();

/// Hands the jobs 0 to count - 1 to worker processes and `done` every result as it comes. Workers are forked from this
/// process as it is; each does many jobs, one after the other, in a process group of its own, with nothing to read and
/// nowhere to write but its answers. A job whose worker ends before it answers is given to a new worker, alone; when
/// that ends as well, or time is up, the job has no answer. `tick` is called a few times a second. Workers end with
/// this process. Returns false when SIGINT, SIGTERM or SIGHUP came before the last result: then no more jobs are given,
/// those that run have two seconds to end, and what is left is killed. Throws Failure (Other) when the system refuses
/// processes or pipes.
bool RunJobs(std::size_t count, const WorkerOptions& options, const std::function<std::string(std::size_t)>& work,
             const std::function<void(std::size_t, const JobResult&)>& done, const std::function<void()>& tick);

}  // namespace Xem::Tool
