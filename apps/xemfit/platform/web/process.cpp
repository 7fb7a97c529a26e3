#include "process.h"

#include "failure.h"

namespace Xem::Tool {

ProcessResult RunProcess(const std::vector<std::string>& arguments, const std::string&,
                         const std::vector<std::string>&) {
  throw Failure(ExitCode::Other,
                "a browser cannot run " + arguments.front() +
                    "; the page draws and saves the picture itself, and --report writes it into a page");
}

bool KeepAlgebraOnOneThread() { return true; }  // there is no other

}  // namespace Xem::Tool
