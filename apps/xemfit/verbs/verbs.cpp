#include "verbs/verbs.h"

#include <map>
#include <string>

namespace Xem::Tool {

VerbList MakeVerbs() {
  VerbList verbs;
  // hyperelastic and stability
  AddHyperVerbs(verbs);
  AddVolumeVerbs(verbs);

  // viscoelastic
  AddPronyVerbs(verbs);
  AddCreepVerbs(verbs);

  // dynamic
  AddCyclicVerbs(verbs);

  // sheet metal
  AddFormingVerbs(verbs);

  // soil
  AddRetentionVerbs(verbs);

  return verbs;
}

std::string AboutGroup(const std::string& group) {
  static const std::map<std::string, std::string> about{
      {"hyper", "Rubber-like elasticity: fit, evaluate and check strain-energy models"},
      {"volume", "Volumetric behaviour of rubber"},
      {"prony", "Relaxation: fit and convert Prony series"},
      {"creep", "Creep laws of metals"},
      {"cyclic", "Stiffness and damping of soil under cyclic shear"},
      {"forming", "Forming limits of sheet metal"},
      {"retention", "Water retention of unsaturated soil"},
  };
  return about.at(group);
}

}  // namespace Xem::Tool
