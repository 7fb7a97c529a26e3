#pragma once

#include <memory>

#include "command/command.h"

namespace Xem::Tool {

/// xemfit batch: many specimens by one recipe.
std::unique_ptr<Command> MakeBatchCommand();

}  // namespace Xem::Tool
