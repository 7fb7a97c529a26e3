#include "process.h"

#include <dlfcn.h>

#include "failure.h"

namespace Xem::Tool {

ProcessResult RunProcess(const std::vector<std::string>& arguments, const std::string&,
                         const std::vector<std::string>&) {
  throw Failure(ExitCode::Other, "a browser cannot run " + arguments.front() +
                                     "; the page draws and saves the picture itself, and --report writes it into a page");
}

}  // namespace Xem::Tool

/// Everything is linked already: there are no libraries in which a function could be looked up.
extern "C" void* dlsym(void*, const char*) { return nullptr; }
