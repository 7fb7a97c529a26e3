#include "kernels/kernels.h"

#include "kernels/instruction_sets.h"

#ifdef XEM_HAS_AVX
#define _Bool bool  // the header is C's
#include <sys/platform/x86.h>
#undef _Bool
#endif

namespace Xem::MaterialUtil {
namespace {

/// The instruction sets that the C library uses: the processor has them, the system saves their registers, and nobody
/// has switched them off (GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX2).
struct Usable {
  const Kernels* list[4];

  Usable() : list{} {
    const Kernels** next = list;
#ifdef XEM_HAS_AVX
    if (CPU_FEATURE_ACTIVE(AVX2) && CPU_FEATURE_ACTIVE(FMA)) {
      if (CPU_FEATURE_ACTIVE(AVX512F) && CPU_FEATURE_ACTIVE(AVX512DQ)) *next++ = &kAvx512Kernels;
      *next++ = &kAvx2Kernels;
    }
#endif
    *next = &kBaselineKernels;
  }
};

}  // namespace

const Kernels* const* EveryKernels() {
  static const Usable usable;
  return usable.list;
}

const Kernels& ForThisProcessor() {
  static const Kernels& best = **EveryKernels();
  return best;
}

}  // namespace Xem::MaterialUtil
