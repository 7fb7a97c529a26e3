#pragma once

#include "kernels/kernels.h"

namespace Xem::MaterialUtil {

extern const Kernels kBaselineKernels;
#ifdef XEM_HAS_AVX2
extern const Kernels kAvx2Kernels;
#endif

}  // namespace Xem::MaterialUtil
