#include "commands.h"

#include <map>

#include "batch/batch.h"
#include "command/command.h"
#include "verbs/verbs.h"

namespace Xem::Tool {

CommandList MakeCommands() {
  CommandList commands;
  // hyperelastic and stability
  AddHyperVerbs(commands);
  AddVolumeVerbs(commands);

  // viscoelastic
  AddPronyVerbs(commands);
  AddShiftVerbs(commands);
  AddCreepVerbs(commands);

  // dynamic
  AddCyclicVerbs(commands);

  // sheet metal
  AddFormingVerbs(commands);

  // soil
  AddRetentionVerbs(commands);

  // what stands by itself
  commands.push_back(MakeLookCommand());
  commands.push_back(MakePrepareCommand());
  commands.push_back(MakeEvalCommand());
  commands.push_back(MakeCardCommand());
  commands.push_back(MakeModelsCommand());
  commands.push_back(MakeListCommand());
  commands.push_back(MakeBatchCommand());
  commands.push_back(MakeDataCommand());
  commands.push_back(MakeInternalCommand());
  return commands;
}

std::string AboutGroup(const std::string& group) {
  static const std::map<std::string, std::string> about{
      {"hyper", "Rubber-like elasticity: fit, evaluate and check strain-energy models"},
      {"volume", "Volumetric behaviour of rubber"},
      {"prony", "Relaxation: fit and convert Prony series, superpose temperatures"},
      {"creep", "Creep laws of metals"},
      {"cyclic", "Stiffness and damping of soil under cyclic shear"},
      {"forming", "Forming limits of sheet metal"},
      {"retention", "Water retention of unsaturated soil"},
  };
  return about.at(group);
}

}  // namespace Xem::Tool
