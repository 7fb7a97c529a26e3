#include "commands.h"

namespace Xem::Tool {

CommandList MakeCommands() {
  CommandList commands;
  commands.push_back(MakeBatchCommand());
  commands.push_back(MakeDataCommand());
  commands.push_back(MakeInternalCommand());
  return commands;
}

}  // namespace Xem::Tool
