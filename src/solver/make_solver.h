#pragma once

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <cstdint>

#include "solver/levenberg_marquardt.h"
#include "solver/starting_vector.h"

namespace Xem::MaterialUtil {

enum class ResidualKind { Relative, Absolute };

/// The code of the interface: 1 is absolute, any other value relative.
inline ResidualKind ResidualFromCode(std::int32_t code) {
  return code == 1 ? ResidualKind::Absolute : ResidualKind::Relative;
}

inline boost::shared_ptr<LevenbergMarquardtMethod> MakeSolver(ResidualKind residual,
                                                              const TestFunctionList& testFunctions,
                                                              std::int32_t termCount, bool applyConstraints = true) {
  if (residual == ResidualKind::Absolute) {
    return boost::make_shared<LevenbergMarquardtMethodAbsolute>(testFunctions, termCount, applyConstraints);
  }
  return boost::make_shared<LevenbergMarquardtMethodRelative>(testFunctions, termCount, applyConstraints);
}

/// With the starting vector of an Ogden series; constraints on.
inline boost::shared_ptr<LevenbergMarquardtMethod> MakeOgdenSolver(ResidualKind residual,
                                                                   const TestFunctionList& testFunctions,
                                                                   std::int32_t terms) {
  if (residual == ResidualKind::Absolute) {
    return boost::make_shared<LMMethodOgdenTmpl<LevenbergMarquardtMethodAbsolute>>(testFunctions, terms, true);
  }
  return boost::make_shared<LMMethodOgdenTmpl<LevenbergMarquardtMethodRelative>>(testFunctions, terms, true);
}

}  // namespace Xem::MaterialUtil
