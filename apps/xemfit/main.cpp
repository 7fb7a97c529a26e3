#include <csignal>
#include <cstdio>
#include <exception>

#include "command/command_line.h"

int main(int argumentCount, char** arguments) {
  // A closed pipe is seen as an error of the write, not as the end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  try {
    return Xem::Tool::CommandLine().Run({arguments, arguments + argumentCount});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "xemfit: %s\n", error.what());
    return 1;
  }
}
