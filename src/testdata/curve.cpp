#include "testdata/curve.h"

#include <cmath>

namespace Xem::MaterialUtil {

void Curve::DeriveLateralStretches(double exponent) {
  for (std::int32_t i = 0; i < PointCount(); ++i) lateralStretch[i] = std::pow(stretch[i], exponent);
}

}  // namespace Xem::MaterialUtil
