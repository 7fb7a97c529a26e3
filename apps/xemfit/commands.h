#pragma once

#include <memory>

#include "command/command.h"

/// Commands that belong to no room. commands.cpp names every command of the tool.
namespace Xem::Tool {

std::unique_ptr<Command> MakeCardCommand();
std::unique_ptr<Command> MakeDataCommand();
std::unique_ptr<Command> MakeEvalCommand();
std::unique_ptr<Command> MakeListCommand();
std::unique_ptr<Command> MakeLookCommand();
std::unique_ptr<Command> MakeModelsCommand();
std::unique_ptr<Command> MakePrepareCommand();
std::unique_ptr<Command> MakeInternalCommand();

}  // namespace Xem::Tool
