#pragma once

#include <boost/shared_ptr.hpp>
#include <cstddef>
#include <span>

#include "dynamic/stiffness_damping_law.h"
#include "testfunctions/test_function_base.h"
#include "xem/fit/cyclic.h"

/// Test functions of the cyclic families in the parameters that people know, over screened points.
namespace Xem::Fit {

enum class CyclicCurve { Stiffness, Damping };

/// Positions in the parameter vectors.
namespace CyclicIndex {
inline constexpr std::size_t kReferenceStrain = 0;  // all families
inline constexpr std::size_t kLargestDamping = 1;   // power law
inline constexpr std::size_t kGheFirst = 1;         // six parameters of the generalised equation
inline constexpr std::size_t kGheLargestDamping = 7;
inline constexpr std::size_t kGheExponent = 8;
inline constexpr std::size_t kDarendeliExponent = 1;
inline constexpr std::size_t kDarendeliScale = 2;  // b

/// h_min, the last of all; only in vectors of fits that ask for it.
constexpr std::size_t SmallStrainDamping(CyclicFamily family) {
  switch (family) {
    case CyclicFamily::Power:
      return 2;
    case CyclicFamily::Hyperbolic:
      return 1;
    case CyclicFamily::Ghe:
      return 9;
    case CyclicFamily::Darendeli:
      return 3;
  }
  return 0;
}
}  // namespace CyclicIndex

/// Power law (gamma_r, hmax) and hyperbola (gamma_r). `stiffness` serves the damping curve in the form Stress.
MaterialUtil::TestFunctionList::value_type MakeCyclicFunction(CyclicFamily family, CyclicCurve curve, CyclicForm form,
                                                              std::span<const _T_FUNT_BASE> points,
                                                              std::span<const _T_FUNT_BASE> stiffness);

/// Generalised hyperbolic equation; gamma_r counts as held.
MaterialUtil::TestFunctionList::value_type MakeGheFunction(CyclicCurve curve, std::span<const _T_FUNT_BASE> points);

/// A function of a family with one parameter more, h_min, which adds to damping.
MaterialUtil::TestFunctionList::value_type WithSmallStrainDamping(MaterialUtil::TestFunctionList::value_type function,
                                                                  CyclicCurve curve);

/// Ordinate of a family at a strain, with h_min where the parameters have it.
double CyclicOrdinate(CyclicFamily family, CyclicCurve curve, std::span<const double> parameters, double strain);

}  // namespace Xem::Fit
