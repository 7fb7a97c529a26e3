#pragma once

#include "command/command.h"

/// One function per family adds its verbs; a new family declares one here and names it in commands.cpp.
namespace Xem::Tool {

// hyperelastic and stability
void AddHyperVerbs(CommandList& commands);
void AddVolumeVerbs(CommandList& commands);

// viscoelastic
void AddPronyVerbs(CommandList& commands);
void AddShiftVerbs(CommandList& commands);
void AddCreepVerbs(CommandList& commands);

// dynamic
void AddCyclicVerbs(CommandList& commands);

// sheet metal
void AddFormingVerbs(CommandList& commands);

// soil
void AddRetentionVerbs(CommandList& commands);

}  // namespace Xem::Tool
