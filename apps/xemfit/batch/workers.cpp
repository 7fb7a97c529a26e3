#include "batch/workers.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

#include "failure.h"
#include "input/csv.h"
#include "process.h"
#include "text.h"

namespace Xem::Tool {
namespace {

using Clock = std::chrono::steady_clock;

constexpr double kGrace = 2.0;
constexpr long kTickNanoseconds = 200'000'000;
constexpr int kNoJob = 125;
constexpr const char* kThreadCounts[] = {"OPENBLAS_NUM_THREADS", "OMP_NUM_THREADS"};

[[noreturn]] void Refuse(const char* what) {
  throw Failure(ExitCode::Other, std::string("cannot ") + what + ": " + std::strerror(errno));
}

/// Signals that the loop waits for instead of being interrupted by them.
class WaitedSignals {
 public:
  WaitedSignals() {
    sigemptyset(&set_);
    sigaddset(&set_, SIGCHLD);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
      struct sigaction action {};
      // One that is ignored, such as SIGHUP under nohup, stays ignored.
      if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) sigaddset(&set_, number);
    }
    sigprocmask(SIG_BLOCK, &set_, &before_);
  }
  ~WaitedSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  WaitedSignals(const WaitedSignals&) = delete;
  WaitedSignals& operator=(const WaitedSignals&) = delete;

  /// True for a signal that asks to stop; false after a child's end or a short while.
  bool AskToStop() const {
    const timespec while_{0, kTickNanoseconds};
    const int number = sigtimedwait(&set_, nullptr, &while_);
    return number == SIGINT || number == SIGTERM || number == SIGHUP;
  }
  const sigset_t& Before() const { return before_; }

 private:
  sigset_t set_{};
  sigset_t before_{};
};

/// A running child. It is killed, with all that it started, unless it has been waited for.
class Child {
 public:
  Child(std::size_t index, const std::function<int(std::size_t)>& work, const sigset_t& signals)
      : index_(index), output_(UnnamedFile("")), errors_(UnnamedFile("")), started_(Clock::now()) {
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ < 0) Refuse("start a process");
    if (process_ == 0) BecomeJob(work, parent, signals);
  }
  ~Child() {
    if (process_ <= 0) return;
    Kill();
    waitpid(process_, nullptr, 0);
  }
  Child(Child&& other) noexcept
      : index_(other.index_),
        output_(std::move(other.output_)),
        errors_(std::move(other.errors_)),
        started_(other.started_),
        process_(std::exchange(other.process_, 0)),
        outOfTime_(other.outOfTime_) {}
  Child& operator=(Child&& other) noexcept {
    std::swap(index_, other.index_);
    std::swap(output_, other.output_);
    std::swap(errors_, other.errors_);
    std::swap(started_, other.started_);
    std::swap(process_, other.process_);
    std::swap(outOfTime_, other.outOfTime_);
    return *this;
  }

  std::size_t Index() const { return index_; }

  bool HasEnded(JobResult& result) {
    int status = 0;
    if (waitpid(process_, &status, WNOHANG) != process_) return false;
    process_ = 0;
    if (WIFEXITED(status)) result.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    result.outOfTime = outOfTime_;
    result.output = Contents(output_.get());
    result.errors = Contents(errors_.get());
    return true;
  }

  void KillAfter(double seconds) {
    if (seconds <= 0.0 || Clock::now() - started_ < std::chrono::duration<double>(seconds)) return;
    outOfTime_ = true;
    Kill();
  }

  void Kill() const {
    kill(-process_, SIGKILL);
    kill(process_, SIGKILL);  // before it has a group of its own
  }

 private:
  /// In the child, which never returns to the loop.
  [[noreturn]] void BecomeJob(const std::function<int(std::size_t)>& work, pid_t parent, const sigset_t& signals) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(kNoJob);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (nothing < 0 || dup2(nothing, STDIN_FILENO) < 0 || dup2(fileno(output_.get()), STDOUT_FILENO) < 0 ||
        dup2(fileno(errors_.get()), STDERR_FILENO) < 0) {
      _exit(kNoJob);
    }
    sigprocmask(SIG_SETMASK, &signals, nullptr);
    int exitCode = kNoJob;
    try {
      exitCode = work(index_);
    } catch (const std::exception& error) {
      std::fputs(error.what(), stderr);
    }
    std::fflush(stdout);
    _exit(exitCode);
  }

  std::size_t index_;
  File output_;
  File errors_;
  Clock::time_point started_;
  pid_t process_ = 0;
  bool outOfTime_ = false;
};

/// Hands over what has ended.
void Collect(std::vector<Child>& running, const std::function<void(std::size_t, const JobResult&)>& done) {
  for (std::size_t i = 0; i < running.size();) {
    JobResult result;
    if (!running[i].HasEnded(result)) {
      ++i;
      continue;
    }
    const std::size_t index = running[i].Index();
    std::swap(running[i], running.back());
    running.pop_back();
    done(index, result);
  }
}

}  // namespace

void UseOneThread() {
  bool already = true;
  for (const char* variable : kThreadCounts) {
    const char* value = std::getenv(variable);
    already &= value && std::string_view(value) == "1";
    setenv(variable, "1", 1);
  }
  std::error_code error;
  if (already || !std::filesystem::exists("/proc/self/cmdline", error)) return;
  std::string all = ReadInput("/proc/self/cmdline");
  if (!all.empty()) all.pop_back();
  std::vector<std::string> arguments = Split(all, '\0');
  // Should the system refuse, the batch is slower and nothing else.
  execv("/proc/self/exe", Pointers(arguments).data());
}

bool RunJobs(std::size_t count, const WorkerOptions& options, const std::function<int(std::size_t)>& work,
             const std::function<void(std::size_t, const JobResult&)>& done, const std::function<void()>& tick) {
  const WaitedSignals signals;
  std::vector<Child> running;
  std::size_t next = 0;
  std::size_t finished = 0;
  const auto finish = [&](std::size_t index, const JobResult& result) {
    ++finished;
    done(index, result);
  };
  bool stopping = false;
  Clock::time_point stopped;
  while (!running.empty() || (next < count && !stopping)) {
    while (!stopping && next < count && running.size() < static_cast<std::size_t>(options.processes)) {
      running.emplace_back(next, work, signals.Before());
      ++next;
    }
    if (signals.AskToStop() && !std::exchange(stopping, true)) stopped = Clock::now();
    for (Child& child : running) child.KillAfter(options.secondsPerJob);
    Collect(running, finish);
    if (stopping && Clock::now() - stopped > std::chrono::duration<double>(kGrace)) running.clear();
    tick();
  }
  return finished == count;
}

}  // namespace Xem::Tool
