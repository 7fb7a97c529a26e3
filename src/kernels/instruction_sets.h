#pragma once

#include "kernels/kernels.h"

namespace Xem::MaterialUtil {

extern const Kernels kBaselineKernels;
#ifdef XEM_HAS_AVX
extern const Kernels kAvx2Kernels;
extern const Kernels kAvx512Kernels;
#endif

}  // namespace Xem::MaterialUtil
