#include "process.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "failure.h"

namespace Xem::Tool {
namespace {

[[noreturn]] void Refuse(const char* what) {
  throw Failure(ExitCode::Other, std::string("cannot ") + what + ": " + std::strerror(errno));
}

}  // namespace

File UnnamedFile(const std::string& contents) {
  File file(std::tmpfile());
  if (!file) Refuse("make a temporary file");
  if (std::fwrite(contents.data(), 1, contents.size(), file.get()) != contents.size() || std::fflush(file.get()) != 0) {
    Refuse("write a temporary file");
  }
  std::rewind(file.get());
  return file;
}

std::string Contents(std::FILE* file) {
  std::rewind(file);
  std::string text;
  std::array<char, 65536> block;
  while (const std::size_t count = std::fread(block.data(), 1, block.size(), file)) text.append(block.data(), count);
  return text;
}

std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

namespace {

/// What the started program sees as its standard streams.
class StandardStreams {
 public:
  StandardStreams(std::FILE* input, std::FILE* output, std::FILE* errors) {
    posix_spawn_file_actions_init(&actions_);
    posix_spawn_file_actions_adddup2(&actions_, fileno(input), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, fileno(output), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions_, fileno(errors), STDERR_FILENO);
  }
  ~StandardStreams() { posix_spawn_file_actions_destroy(&actions_); }
  StandardStreams(const StandardStreams&) = delete;
  StandardStreams& operator=(const StandardStreams&) = delete;
  const posix_spawn_file_actions_t* Actions() const { return &actions_; }

 private:
  posix_spawn_file_actions_t actions_;
};

}  // namespace

ProcessResult RunProcess(const std::vector<std::string>& arguments, const std::string& input,
                         const std::vector<std::string>& environment) {
  const File in = UnnamedFile(input);
  const File out = UnnamedFile("");
  const File err = UnnamedFile("");
  const StandardStreams streams(in.get(), out.get(), err.get());

  std::vector<std::string> argumentTexts = arguments;
  std::vector<std::string> environmentTexts = environment;
  for (const char* kept : {"PATH", "HOME"}) {
    if (const char* value = std::getenv(kept)) environmentTexts.push_back(std::string(kept) + '=' + value);
  }
  ProcessResult result;
  pid_t child = 0;
  const int error = posix_spawnp(&child, arguments.front().c_str(), streams.Actions(), nullptr,
                                 Pointers(argumentTexts).data(), Pointers(environmentTexts).data());
  if (error != 0) return result;
  result.started = true;
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) Refuse("wait for a started program");
  }
  result.exitCode = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  result.output = Contents(out.get());
  result.errors = Contents(err.get());
  return result;
}

bool KeepAlgebraOnOneThread() {
  // Looked up at run time, so that any BLAS serves.
  using Setter = void (*)(int);
  const auto setter = reinterpret_cast<Setter>(dlsym(RTLD_DEFAULT, "openblas_set_num_threads"));
  if (setter != nullptr) setter(1);
  return setter != nullptr;
}

}  // namespace Xem::Tool
