#pragma once

#include "verbs/verb.h"

/// One function per family adds its verbs; a new family declares one here and names it in verbs.cpp.
namespace Xem::Tool {

// hyperelastic and stability
void AddHyperVerbs(VerbList& verbs);
void AddVolumeVerbs(VerbList& verbs);

// viscoelastic
void AddPronyVerbs(VerbList& verbs);
void AddCreepVerbs(VerbList& verbs);

// dynamic
void AddCyclicVerbs(VerbList& verbs);

// sheet metal
void AddFormingVerbs(VerbList& verbs);

// soil
void AddRetentionVerbs(VerbList& verbs);

}  // namespace Xem::Tool
