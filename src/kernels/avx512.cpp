// Compiled for AVX-512. No header of the standard library but for types: an inline function
// of it, compiled here, could serve callers that run on any processor.
#define XEM_LANES 8
#include "kernels/instruction_sets.h"
#include "kernels/table.h"

namespace Xem::MaterialUtil {

const Kernels kAvx512Kernels = kTable;

}  // namespace Xem::MaterialUtil
