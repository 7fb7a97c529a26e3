#include "testdata/curve.h"

#include <cmath>

namespace Xem::MaterialUtil {

void LoadedCurve::DeriveCompanion(double exponent) {
  for (std::int32_t i = 0; i < PointCount(); ++i) companion[i] = std::pow(abscissa[i], exponent);
}

}  // namespace Xem::MaterialUtil
