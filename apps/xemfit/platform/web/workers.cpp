#include "batch/workers.h"

#include <exception>
#include <filesystem>

// In a browser there are no processes: the specimens are fitted here, one after the other. One that ends its fit in a
// way that a process would not survive ends the batch; none has a limit of time. Several at once are several runs of
// the tool.
namespace Xem::Tool {

void UseOneThread() {}

bool RunJobs(std::size_t count, const WorkerOptions&, const std::function<std::string(std::size_t)>& work,
             const std::function<void(std::size_t, const JobResult&)>& done, const std::function<void()>& tick) {
  const std::filesystem::path folder = std::filesystem::current_path();
  for (std::size_t job = 0; job < count; ++job) {
    JobResult result;
    try {
      result.answer = work(job);
      result.answered = true;
    } catch (const std::exception&) {  // without an answer
    }
    std::filesystem::current_path(folder);
    done(job, result);
    tick();
  }
  return true;
}

}  // namespace Xem::Tool
