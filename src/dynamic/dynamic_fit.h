#pragma once

#include <array>
#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <span>

#include "dynamic/stiffness_damping_law.h"
#include "solver/linalg/vector.h"
#include "solver/make_solver.h"
#include "testfunctions/test_function_base.h"

namespace Xem::MaterialUtil {

/// What the stiffness, damping and joint fits make of their options, parameters and flags.
struct DynamicFitRequest {
  std::array<std::int32_t, 2> modelOptions;  ///< family, form
  std::array<double, 3> working;             ///< reference strain, exponent, weight 1
  ResidualKind residual;
  Vector start;  ///< the first entries of `working`, as many as there are parameters
  FixedTermMask mask;
  bool everythingFixed;

  DynamicFamily Family() const { return static_cast<DynamicFamily>(modelOptions[0]); }
};

/// Throws CInvalidArgException for fewer than 3 options, no parameter or more than 3, fewer flags than parameters, and
/// a power law with fewer than 2 parameters.
DynamicFitRequest PrepareDynamicFit(std::span<const double> options, std::span<const double> parameters,
                                    std::span<const double> flags);

/// Loaded test functions of a fit, with the weight of their curve.
boost::shared_ptr<XemMaterialTestFunctionBase> LoadStiffness(const DynamicFitRequest& request, double weight,
                                                             std::span<const _T_FUNT_BASE> stiffness);
boost::shared_ptr<XemMaterialTestFunctionBase> LoadDamping(const DynamicFitRequest& request, double weight,
                                                           std::span<const _T_FUNT_BASE> damping,
                                                           std::span<const _T_FUNT_BASE> stiffness);

/// One or two curves of a dynamic fit with their weights. The damping curve reads its stresses from the stiffness
/// curve.
struct DynamicCurves {
  std::span<const _T_FUNT_BASE> stiffness;
  std::span<const _T_FUNT_BASE> damping;
  double stiffnessWeight = 1.0;
  double dampingWeight = 1.0;
};

/// Test functions of both curves, whatever their weights are, and what was fitted to those with a weight above
/// kLeastWeight.
struct JointDynamicFit {
  boost::shared_ptr<XemMaterialTestFunctionBase> stiffness;
  boost::shared_ptr<XemMaterialTestFunctionBase> damping;
  Vector parameters;
  std::int32_t status = 0;
};
JointDynamicFit FitJointly(const DynamicFitRequest& request, const DynamicCurves& curves);

/// Improves `parameters` unless everything is fixed; returns the solver status, 0 without a solve.
std::int32_t SolveDynamicFit(const DynamicFitRequest& request, TestFunctions functions, std::span<double> parameters);

/// Factor on the damping weight of a joint fit: min(1 / last damping ordinate, 1 / largest damping ratio). Throws
/// CInvalidArgException when the damping curve is empty.
double DampingWeightFactor(std::span<const _T_FUNT_BASE> damping, double largestDamping);

/// A test function with a weight of this or less takes no part in a joint fit.
inline constexpr double kLeastWeight = 1e-06;

}  // namespace Xem::MaterialUtil
