// Two numbers at once: what every processor of the architecture has, and every other compiles to pairs of scalars.
#define XEM_LANES 2
#include "kernels/instruction_sets.h"
#include "kernels/table.h"

namespace Xem::MaterialUtil {

const Kernels kBaselineKernels = kTable;

}  // namespace Xem::MaterialUtil
