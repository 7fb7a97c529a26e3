#pragma once

#include <cstdint>

#include "solver/levenberg_marquardt.h"
#include "solver/starting_vector.h"

namespace Xem::MaterialUtil {

enum class ResidualKind { Relative, Absolute };

/// The code of the interface: 1 is absolute, any other value relative.
inline ResidualKind ResidualFromCode(std::int32_t code) {
  return code == 1 ? ResidualKind::Absolute : ResidualKind::Relative;
}

/// The variant of a residual kind that is known at run time.
class LevenbergMarquardtMethodOfKind : public LevenbergMarquardtMethod {
 public:
  LevenbergMarquardtMethodOfKind(ResidualKind residual, TestFunctions testFunctions, std::int32_t termCount,
                                 bool applyConstraints = true)
      : LevenbergMarquardtMethod(residual == ResidualKind::Absolute ? Form::Absolute : Form::Relative, testFunctions,
                                 termCount, applyConstraints) {}
};

/// The same with the starting vector of an Ogden series.
using OgdenMethodOfKind = LMMethodOgdenTmpl<LevenbergMarquardtMethodOfKind>;

}  // namespace Xem::MaterialUtil
