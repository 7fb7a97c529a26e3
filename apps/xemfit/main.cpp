#include <csignal>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "command/command_line.h"
#include "process.h"

int main(int argumentCount, char** arguments) {
  // A closed pipe is seen as an error of the write, not as the end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  Xem::Tool::KeepAlgebraOnOneThread();
  try {
    const std::vector<std::string> all(arguments, arguments + argumentCount);
    const std::vector<std::string> words(all.begin() + (all.empty() ? 0 : 1), all.end());
    return Xem::Tool::CommandLine(words).Run(all);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "xemfit: %s\n", error.what());
    return 1;
  }
}
