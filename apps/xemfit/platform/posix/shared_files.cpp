#include "shared_files.h"

#include <sys/auxv.h>

#include <system_error>

#include "failure.h"
#include "text.h"

namespace Xem::Tool {

std::filesystem::path ProgramPath() {
  std::error_code error;
  const auto program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) return program;
  // Without /proc, as in a bare chroot: what the shell started.
  const auto* started = reinterpret_cast<const char*>(getauxval(AT_EXECFN));
  return started ? std::filesystem::canonical(started, error) : std::filesystem::path();
}

std::filesystem::path SharedFolder() {
  std::error_code error;
  const auto folder = (ProgramPath().parent_path() / XEM_SHARED_FROM_PROGRAM).lexically_normal();
  if (std::filesystem::is_directory(folder, error)) return folder;
  throw Failure(ExitCode::Other, Printable(folder.string()) +
                                     ": the files that belong to xemfit are not there; "
                                     "install it as a whole");
}

}  // namespace Xem::Tool
