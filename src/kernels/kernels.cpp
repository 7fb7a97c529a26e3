#include "kernels/kernels.h"

#include "kernels/instruction_sets.h"

#ifdef XEM_HAS_AVX2
#include <sys/platform/x86.h>
#endif

namespace Xem::MaterialUtil {
namespace {

const Kernels& Choose() {
#ifdef XEM_HAS_AVX2
  // What the C library uses: the processor has it, the system saves its registers, and nobody has switched it off
  // (GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2).
  if (CPU_FEATURE_ACTIVE(AVX2) && CPU_FEATURE_ACTIVE(FMA)) return kAvx2Kernels;
#endif
  return kBaselineKernels;
}

}  // namespace

const Kernels& ForThisProcessor() {
  static const Kernels& chosen = Choose();
  return chosen;
}

}  // namespace Xem::MaterialUtil
