#include "verbs.h"

namespace Xem::Tool {

VerbList MakeVerbs() {
  VerbList verbs;
  // hyperelastic and stability
  AddHyperVerbs(verbs);

  // viscoelastic

  // dynamic

  // sheet metal

  // soil

  return verbs;
}

}  // namespace Xem::Tool
