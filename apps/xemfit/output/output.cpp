#include "output/output.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "output/curves.h"
#include "output/json.h"
#include "output/page.h"
#include "output/plot.h"
#include "output/shell.h"
#include "output/table.h"
#include "text.h"

namespace Xem::Tool {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void RefuseToWrite(const std::string& path, const std::string& why) {
  throw Failure(ExitCode::Other, Printable(path) + ": cannot be written: " + why);
}

void WriteAll(int descriptor, const std::string& bytes, const std::string& name) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = write(descriptor, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) RefuseToWrite(name, std::strerror(errno));
    done += static_cast<std::size_t>(count);
  }
}

/// Devices and pipes are written to; everything else is replaced as a whole.
bool IsReplaceable(const fs::path& path) {
  std::error_code error;
  const auto status = fs::status(path, error);
  return !fs::exists(status) || fs::is_regular_file(status);
}

/// The file that a path leads to, through symbolic links, even where it does not exist yet.
fs::path Target(const std::string& path) {
  constexpr int kMostLinks = 32;
  std::error_code error;
  fs::path target = fs::absolute(path);
  for (int links = 0; links < kMostLinks && fs::is_symlink(target, error); ++links) {
    target = target.parent_path() / fs::read_symlink(target, error);
  }
  return target;
}

mode_t NewFileMode() {
  const mode_t mask = umask(0);
  umask(mask);
  return 0666 & ~mask;
}

/// A file beside its final place. It disappears unless it is committed.
class PendingFile {
 public:
  PendingFile(const std::string& path, const std::string& bytes) : path_(path), target_(Target(path)) {
    if (!IsReplaceable(target_)) {
      const int descriptor = open(path.c_str(), O_WRONLY | O_CLOEXEC);
      if (descriptor < 0) RefuseToWrite(path, std::strerror(errno));
      Fill(descriptor, bytes);
      return;
    }
    temporary_ = target_.string() + ".XXXXXX";
    const int descriptor = mkostemp(temporary_.data(), O_CLOEXEC);
    if (descriptor < 0) {
      temporary_.clear();
      RefuseToWrite(path, std::strerror(errno));
    }
    try {
      struct stat old {};
      fchmod(descriptor, stat(target_.c_str(), &old) == 0 ? old.st_mode & 07777 : NewFileMode());
      Fill(descriptor, bytes);
    } catch (...) {
      unlink(temporary_.c_str());
      throw;
    }
  }
  PendingFile(PendingFile&& other) noexcept
      : path_(std::move(other.path_)),
        target_(std::move(other.target_)),
        temporary_(std::exchange(other.temporary_, {})) {}
  PendingFile& operator=(PendingFile&&) = delete;
  ~PendingFile() {
    if (!temporary_.empty()) unlink(temporary_.c_str());
  }

  void Commit() {
    if (temporary_.empty()) return;
    if (std::rename(temporary_.c_str(), target_.c_str()) != 0) RefuseToWrite(path_, std::strerror(errno));
    temporary_.clear();
  }

 private:
  void Fill(int descriptor, const std::string& bytes) {
    try {
      WriteAll(descriptor, bytes, path_);
    } catch (...) {
      close(descriptor);
      throw;
    }
    if (close(descriptor) != 0) RefuseToWrite(path_, std::strerror(errno));
  }

  std::string path_;
  fs::path target_;
  std::string temporary_;
};

struct NamedOutput {
  const char* option;
  std::string path;
};

std::vector<NamedOutput> Requested(const OutputOptions& options) {
  std::vector<NamedOutput> outputs;
  for (const NamedOutput& output : {NamedOutput{"--json", options.json}, NamedOutput{"--curves", options.curves},
                                    NamedOutput{"--plot", options.plot}, NamedOutput{"--report", options.report}}) {
    if (!output.path.empty()) outputs.push_back(output);
  }
  return outputs;
}

void CheckPlace(const NamedOutput& output) {
  if (output.path == "-") return;
  const fs::path target = Target(output.path);
  std::error_code error;
  if (fs::is_directory(target, error)) RefuseToWrite(output.path, "it is a directory");
  if (fs::exists(target, error)) {
    if (access(target.c_str(), W_OK) != 0) RefuseToWrite(output.path, std::strerror(errno));
    if (!IsReplaceable(target)) return;
  }
  const fs::path folder = target.parent_path();
  if (!fs::is_directory(folder, error)) RefuseToWrite(output.path, "there is no such folder");
  if (access(folder.c_str(), W_OK | X_OK) != 0) RefuseToWrite(output.path, std::strerror(errno));
}

}  // namespace

void CheckOutputs(const OutputOptions& options, const std::vector<std::string>& inputs) {
  const auto outputs = Requested(options);
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      if (outputs[i].path == outputs[j].path && outputs[i].path != "/dev/null") {
        throw Failure(ExitCode::Usage, fmt::format("{} and {} both write to {}", outputs[j].option, outputs[i].option,
                                                   Printable(outputs[i].path)));
      }
    }
    for (const std::string& input : inputs) {
      std::error_code error;
      if (outputs[i].path != "-" && input != "-" && fs::is_regular_file(input, error) &&
          fs::equivalent(outputs[i].path, input, error)) {
        throw Failure(ExitCode::Usage,
                      fmt::format("{} {} would overwrite an input", outputs[i].option, Printable(outputs[i].path)));
      }
    }
  }
  if (!options.plot.empty()) RequirePlotFormat(options.plot);
  if (!options.report.empty()) RequirePageFormat(options.report);
  for (const NamedOutput& output : outputs) CheckPlace(output);
}

void WriteOutputs(const Invocation& invocation, const Report& report, const OutputOptions& options) {
  std::string standardOutput;
  std::vector<PendingFile> files;
  const auto send = [&](const std::string& path, const std::string& bytes) {
    if (path.empty()) return;
    if (path == "-") {
      standardOutput = bytes;
    } else {
      files.emplace_back(path, bytes);
    }
  };
  const std::string plot = options.plot.empty() ? "" : DrawPlot(report, options.plot);
  const std::string page =
      options.report.empty() ? "" : ReportPage(invocation.command, ShellCommand(invocation.arguments), report);
  if (!options.json.empty()) send(options.json, JsonDocument(invocation.command, report));
  if (!options.curves.empty()) send(options.curves, CurvesCsv(invocation.command, report));
  send(options.plot, plot);
  send(options.report, page);
  if (standardOutput.empty() && !options.quiet) standardOutput = TableText(report);
  WriteStandardOutput(standardOutput);
  for (PendingFile& file : files) file.Commit();
}

void WriteStandardOutput(const std::string& bytes) {
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = write(STDOUT_FILENO, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EPIPE) return;
    if (count < 0) RefuseToWrite("standard output", std::strerror(errno));
    done += static_cast<std::size_t>(count);
  }
}

void CheckOutputFile(const std::string& path) { CheckPlace({"", path}); }

void ReplaceFile(const std::string& path, const std::string& bytes) { PendingFile(path, bytes).Commit(); }

}  // namespace Xem::Tool
