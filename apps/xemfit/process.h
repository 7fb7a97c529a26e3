#pragma once

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace Xem::Tool {

struct ProcessResult {
  bool started = false;  ///< false: there is no such program
  int exitCode = -1;
  std::string output;
  std::string errors;
};

/// Runs a program found on PATH with `input` as its standard input. `environment` replaces our own but for PATH and
/// HOME. Throws Failure (Other) when the system refuses pipes or files.
ProcessResult RunProcess(const std::vector<std::string>& arguments, const std::string& input,
                         const std::vector<std::string>& environment);

/// A file without a name: unlike a pipe it never makes two processes wait for each other. Throws Failure (Other).
struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;
File UnnamedFile(const std::string& contents);
/// All of it, whatever was read before.
std::string Contents(std::FILE* file);

/// Matrices of fits are small: threads of the BLAS library would wait for each other longer than they compute, minutes
/// on a busy machine. False where the library does not listen.
bool KeepAlgebraOnOneThread();

/// As `exec` wants them: valid as long as the texts.
std::vector<char*> Pointers(std::vector<std::string>& texts);

}  // namespace Xem::Tool
