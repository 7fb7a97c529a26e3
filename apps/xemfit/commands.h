#pragma once

#include "command/command.h"

/// One function per command that stands by itself; a new one declares its function here and names it in commands.cpp.
namespace Xem::Tool {

std::unique_ptr<Command> MakeBatchCommand();
std::unique_ptr<Command> MakeDataCommand();
std::unique_ptr<Command> MakeInternalCommand();

}  // namespace Xem::Tool
