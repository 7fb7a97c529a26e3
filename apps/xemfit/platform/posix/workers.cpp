#include "batch/workers.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <exception>
#include <filesystem>
#include <limits>
#include <list>
#include <optional>
#include <set>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "failure.h"
#include "process.h"
#include "text.h"
#include "xem/fit/reading.h"

namespace Xem::Tool {
namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr double kGrace = 2.0;
constexpr int kTickMilliseconds = 200;
constexpr int kNoJob = 125;
constexpr const char* kThreadCounts[] = {"OPENBLAS_NUM_THREADS", "OMP_NUM_THREADS"};

/// For so many seconds a worker has jobs before it, if they are short, so that it need not wait for the next.
constexpr double kAhead = 0.01;
constexpr double kMostAhead = 1000.0;  // fewer than a pipe holds
/// While all have, this process looks at answers in handfuls: to be woken for each would take a share of a small fit.
constexpr std::chrono::milliseconds kRest(2);

[[noreturn]] void Refuse(const char* what) {
  throw Failure(ExitCode::Other, std::string("cannot ") + what + ": " + std::strerror(errno));
}

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Number() const { return number_; }
  void Take(int number) {
    Close();
    number_ = number;
  }
  void Close() {
    if (number_ >= 0) close(number_);
    number_ = -1;
  }

 private:
  int number_;
};

/// Signals that ask to stop, to be read instead of being interrupted by them.
class StopSignals {
 public:
  StopSignals() {
    sigemptyset(&set_);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
      struct sigaction action {};
      // One that is ignored, such as SIGHUP under nohup, stays ignored.
      if (sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) sigaddset(&set_, number);
    }
    sigprocmask(SIG_BLOCK, &set_, &before_);
    descriptor_.Take(signalfd(-1, &set_, SFD_CLOEXEC | SFD_NONBLOCK));
    if (descriptor_.Number() < 0) Refuse("wait for signals");
  }
  ~StopSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  bool Came() const {
    signalfd_siginfo signal;
    return read(descriptor_.Number(), &signal, sizeof signal) == static_cast<ssize_t>(sizeof signal);
  }
  int Number() const { return descriptor_.Number(); }
  const sigset_t& Before() const { return before_; }

 private:
  sigset_t set_{};
  sigset_t before_{};
  Descriptor descriptor_;
};

/// False when the other end is gone.
bool WriteBytes(int descriptor, const void* bytes, std::size_t size) {
  const char* next = static_cast<const char*>(bytes);
  while (size > 0) {
    const ssize_t count = write(descriptor, next, size);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    next += count;
    size -= static_cast<std::size_t>(count);
  }
  return true;
}

/// A worker and the jobs that it was given, the one that it is at first. It is killed, with all that it started, unless
/// it has ended.
class Worker {
 public:
  /// What comes before each answer.
  struct Head {
    std::size_t job;
    std::size_t size;
  };

  Worker(const std::function<std::string(std::size_t)>& work, const sigset_t& signals, const std::list<Worker>& others,
         bool alone)
      : alone_(alone) {
    int jobs[2];
    int answers[2];
    if (pipe2(jobs, O_CLOEXEC) != 0) Refuse("make a pipe");
    jobs_.Take(jobs[1]);
    Descriptor jobsEnd(jobs[0]);
    if (pipe2(answers, O_CLOEXEC) != 0) Refuse("make a pipe");
    answers_.Take(answers[0]);
    Descriptor answersEnd(answers[1]);
    const pid_t parent = getpid();
    process_ = fork();
    if (process_ < 0) Refuse("start a process");
    if (process_ > 0) return;
    for (const Worker& other : others) {
      close(other.jobs_.Number());
      close(other.answers_.Number());
    }
    jobs_.Close();
    answers_.Close();
    DoJobs(work, parent, signals, jobsEnd.Number(), answersEnd.Number());
  }
  ~Worker() {
    if (process_ <= 0) return;
    Kill();
    waitpid(process_, nullptr, 0);
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  int Answers() const { return answers_.Number(); }
  const std::deque<std::size_t>& Given() const { return given_; }
  /// True for one that was started for a job that had ended another.
  bool Alone() const { return alone_; }

  void Give(std::size_t job) {
    if (given_.empty()) began_ = Clock::now();
    given_.push_back(job);
    WriteBytes(jobs_.Number(), &job, sizeof job);  // should it be gone, its answers end, and that is seen
  }

  /// Hands over the answers that have come. False when there will be no more.
  bool Collect(const std::function<void(std::size_t, std::string, double)>& take) {
    char block[65536];
    ssize_t count = read(answers_.Number(), block, sizeof block);
    while (count < 0 && errno == EINTR) count = read(answers_.Number(), block, sizeof block);
    if (count <= 0) return false;
    received_.append(block, static_cast<std::size_t>(count));
    std::size_t at = 0;
    for (Head head; received_.size() - at >= sizeof head;) {
      std::memcpy(&head, received_.data() + at, sizeof head);
      if (received_.size() - at - sizeof head < head.size) break;
      given_.pop_front();
      alone_ = false;
      const auto now = Clock::now();
      take(head.job, received_.substr(at + sizeof head, head.size), Seconds(now - began_).count());
      began_ = now;
      at += sizeof head + head.size;
    }
    received_.erase(0, at);
    return true;
  }

  /// After its last answer.
  JobResult End() {
    int status = 0;
    Kill();  // what it started, or itself when it only closed its answers
    waitpid(std::exchange(process_, 0), &status, 0);
    JobResult result;
    result.outOfTime = outOfTime_;
    if (WIFSIGNALED(status)) result.signal = WTERMSIG(status);
    return result;
  }

  void KillAfter(double seconds) {
    if (seconds <= 0.0 || given_.empty() || Clock::now() - began_ < Seconds(seconds)) return;
    outOfTime_ = true;
    Kill();
  }

 private:
  void Kill() const {
    kill(-process_, SIGKILL);
    kill(process_, SIGKILL);  // before it has a group of its own
  }

  /// In the child, which never returns to the loop.
  [[noreturn]] static void DoJobs(const std::function<std::string(std::size_t)>& work, pid_t parent,
                                  const sigset_t& signals, int jobs, int answers) {
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) _exit(kNoJob);
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int standard : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      if (nothing < 0 || dup2(nothing, standard) < 0) _exit(kNoJob);
    }
    sigprocmask(SIG_SETMASK, &signals, nullptr);
    try {
      for (std::size_t job; read(jobs, &job, sizeof job) == static_cast<ssize_t>(sizeof job);) {
        const std::string answer = work(job);
        const Head head{job, answer.size()};
        std::string message(reinterpret_cast<const char*>(&head), sizeof head);
        message += answer;
        if (!WriteBytes(answers, message.data(), message.size())) _exit(kNoJob);
      }
    } catch (...) {
      _exit(kNoJob);  // without an answer; what this process has grown into may be to blame
    }
    _exit(0);
  }

  Descriptor jobs_;
  Descriptor answers_;
  std::deque<std::size_t> given_;
  std::string received_;
  Clock::time_point began_;
  pid_t process_ = 0;
  bool alone_;
  bool outOfTime_ = false;
};

/// All workers, and who does what.
class Workshop {
 public:
  Workshop(std::size_t count, const WorkerOptions& options, const std::function<std::string(std::size_t)>& work,
           const std::function<void(std::size_t, const JobResult&)>& done)
      : count_(count), options_(options), work_(work), done_(done) {}

  bool Finished() const { return finished_ == count_; }
  bool Idle() const {
    return std::all_of(workers_.begin(), workers_.end(), [](const Worker& worker) { return worker.Given().empty(); });
  }

  void GiveJobs() {
    while (!suspects_.empty() && workers_.size() < Wanted()) {
      Start(true).Give(suspects_.front());
      suspects_.pop_front();
    }
    for (Worker& worker : workers_) {
      if (worker.Given().empty() && JobsLeft() > 0) worker.Give(NextJob());
    }
    while (JobsLeft() > 0 && workers_.size() < Wanted()) Start(false).Give(NextJob());
    for (Worker& worker : workers_) {
      while (!worker.Alone() && !worker.Given().empty() && worker.Given().size() < JobsAhead()) worker.Give(NextJob());
    }
  }

  /// Waits a short while for answers or a signal.
  void Wait() {
    const bool allAreBusy = std::all_of(workers_.begin(), workers_.end(), [&](const Worker& worker) {
      return static_cast<double>(worker.Given().size()) * SecondsPerJob() > 2.0 * Seconds(kRest).count();
    });
    if (allAreBusy && finished_ > 0) std::this_thread::sleep_for(kRest);
    std::vector<pollfd> awaited{{signals_.Number(), POLLIN, 0}};
    for (const Worker& worker : workers_) awaited.push_back({worker.Answers(), POLLIN, 0});
    poll(awaited.data(), awaited.size(), kTickMilliseconds);
    askedToStop_ |= awaited.front().revents != 0 && signals_.Came();
    std::size_t next = 1;
    for (auto worker = workers_.begin(); worker != workers_.end(); ++next) {
      const auto current = worker++;
      if (awaited[next].revents != 0 && !current->Collect([&](auto... answer) { Take(std::move(answer)...); })) {
        TakeEnd(*current);
        workers_.erase(current);
      }
    }
    for (Worker& worker : workers_) worker.KillAfter(options_.secondsPerJob);
  }

  bool AskedToStop() const { return askedToStop_; }

 private:
  std::size_t Wanted() const { return static_cast<std::size_t>(options_.processes); }
  std::size_t JobsLeft() const { return returned_.size() + count_ - next_; }

  /// Endless before the first is finished.
  double SecondsPerJob() const {
    return finished_ > 0 ? seconds_ / static_cast<double>(finished_) : std::numeric_limits<double>::infinity();
  }

  /// Of one worker; fewer towards the end, where they would be kept from a worker that has none.
  std::size_t JobsAhead() const {
    const double inTime = std::min(kAhead / SecondsPerJob(), kMostAhead);
    return std::min(static_cast<std::size_t>(inTime) + 1, JobsLeft() / (2 * Wanted()));
  }

  std::size_t NextJob() {
    if (returned_.empty()) return next_++;
    const std::size_t job = returned_.front();
    returned_.pop_front();
    return job;
  }

  Worker& Start(bool alone) { return workers_.emplace_back(work_, signals_.Before(), workers_, alone); }

  void Take(std::size_t job, std::string answer, double seconds) {
    ++finished_;
    seconds_ += seconds;
    done_(job, {true, std::move(answer)});
  }

  /// The first of its jobs ended it, or what it had become did; the others were not begun.
  void TakeEnd(Worker& worker) {
    const JobResult result = worker.End();
    std::deque<std::size_t> given = worker.Given();
    if (given.empty()) return;
    const std::size_t first = given.front();
    returned_.insert(returned_.begin(), given.begin() + 1, given.end());
    if (!result.outOfTime && triedAgain_.insert(first).second) {
      suspects_.push_back(first);
      return;
    }
    ++finished_;
    done_(first, result);
  }

  std::size_t count_;
  WorkerOptions options_;
  const std::function<std::string(std::size_t)>& work_;
  const std::function<void(std::size_t, const JobResult&)>& done_;
  const StopSignals signals_;
  bool askedToStop_ = false;
  std::list<Worker> workers_;
  std::size_t next_ = 0;
  std::deque<std::size_t> returned_;  // given to a worker that ended before it came to them
  std::deque<std::size_t> suspects_;  // to be tried alone
  std::set<std::size_t> triedAgain_;
  std::size_t finished_ = 0;
  double seconds_ = 0.0;  // that they took
};

}  // namespace

void UseOneThread() {
  if (KeepAlgebraOnOneThread()) return;
  bool already = true;
  for (const char* variable : kThreadCounts) {
    const char* value = std::getenv(variable);
    already &= value && std::string_view(value) == "1";
    setenv(variable, "1", 1);
  }
  std::error_code error;
  if (already || !std::filesystem::exists("/proc/self/cmdline", error)) return;
  std::string all = Fit::ReadInput("/proc/self/cmdline");
  if (!all.empty()) all.pop_back();
  std::vector<std::string> arguments = Split(all, '\0');
  // Should the system refuse, the batch is slower and nothing else.
  execv("/proc/self/exe", Pointers(arguments).data());
}

bool RunJobs(std::size_t count, const WorkerOptions& options, const std::function<std::string(std::size_t)>& work,
             const std::function<void(std::size_t, const JobResult&)>& done, const std::function<void()>& tick) {
  Workshop workshop(count, options, work, done);
  std::optional<Clock::time_point> stopped;
  while (!workshop.Finished()) {
    if (!stopped) workshop.GiveJobs();
    if (stopped && (workshop.Idle() || Clock::now() - *stopped > Seconds(kGrace))) break;
    workshop.Wait();
    if (workshop.AskedToStop() && !stopped) stopped = Clock::now();
    tick();
  }
  return workshop.Finished();
}

}  // namespace Xem::Tool
