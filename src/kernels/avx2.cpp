// Compiled for AVX2 with fused multiply and add. No header of the standard library but for types: an inline function
// of it, compiled here, could serve callers that run on any processor.
#define XEM_LANES 4
#include "kernels/instruction_sets.h"
#include "kernels/table.h"

namespace Xem::MaterialUtil {

const Kernels kAvx2Kernels = kTable;

}  // namespace Xem::MaterialUtil
