#include "dynamic/dynamic_fit.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstddef>

#include "dynamic/dynamic_test_functions.h"
#include "solver/linalg/numbers.h"
#include "solver/tolerances.h"
#include "xem/array.h"

namespace Xem::MaterialUtil {
namespace {

std::array<double, 3> WithWeight(std::array<double, 3> working, double weight) {
  working[2] = weight;
  return working;
}

}  // namespace

DynamicFitRequest PrepareDynamicFit(std::span<const double> options, std::span<const double> parameters,
                                    std::span<const double> flags) {
  if (options.size() < 3) throw CInvalidArgException("too few options of a dynamic fit");
  const std::size_t count = parameters.size();
  DynamicFitRequest request{};
  request.modelOptions = {TruncateToInt(options[0]), TruncateToInt(options[1])};
  request.residual = ResidualFromCode(TruncateToInt(options[2]));
  const std::size_t fewest = request.Family() == DynamicFamily::PowerLaw ? 2 : 1;
  if (count < fewest || count > request.working.size()) {
    throw CInvalidArgException("the number of parameters does not suit the dynamic model");
  }
  if (flags.size() < count) throw CInvalidArgException("there are fewer flags than parameters");

  request.working = {parameters[0], count == 2 ? ExponentOfLargestDamping(parameters[1]) : 0.0, 1.0};
  request.start = Vector(std::span<const double>(request.working).first(count));
  request.mask = FixedTermMask(count);
  std::int64_t sum = 0;
  for (std::size_t k = 0; k < count; ++k) {
    const std::int32_t flag = TruncateToInt(flags[k]);
    request.mask[k] = flag;
    sum += flag;
  }
  // Deliberate: the sum of the flags decides, so flags 2 and 0 fix everything and flags 2 and 2 do not.
  request.everythingFixed = sum == static_cast<std::int64_t>(count);
  return request;
}

boost::shared_ptr<XemMaterialTestFunctionBase> LoadStiffness(const DynamicFitRequest& request, double weight,
                                                             std::span<const _T_FUNT_BASE> stiffness) {
  auto function = boost::make_shared<XemDynamicMatShearStiffTestFunction>();
  function->SetParameters(WithWeight(request.working, weight), request.modelOptions);
  function->SetTestData(stiffness);
  return function;
}

boost::shared_ptr<XemMaterialTestFunctionBase> LoadDamping(const DynamicFitRequest& request, double weight,
                                                           std::span<const _T_FUNT_BASE> damping,
                                                           std::span<const _T_FUNT_BASE> stiffness) {
  auto function = boost::make_shared<XemDynamicMatDampingTestFunction>();
  function->SetParameters(WithWeight(request.working, weight), request.modelOptions);
  function->SetTestData(damping, stiffness);
  return function;
}

JointDynamicFit FitJointly(const DynamicFitRequest& request, const DynamicCurves& curves) {
  JointDynamicFit fit;
  fit.stiffness = LoadStiffness(request, curves.stiffnessWeight, curves.stiffness);
  fit.damping = LoadDamping(request, curves.dampingWeight, curves.damping, curves.stiffness);
  TestFunctionList functions;
  if (curves.stiffnessWeight > kLeastWeight) functions.push_back(fit.stiffness);
  if (curves.dampingWeight > kLeastWeight) functions.push_back(fit.damping);
  fit.parameters = request.start;
  fit.status = SolveDynamicFit(request, functions, fit.parameters);
  return fit;
}

std::int32_t SolveDynamicFit(const DynamicFitRequest& request, TestFunctions functions, std::span<double> parameters) {
  if (request.everythingFixed) return 0;
  LevenbergMarquardtMethodOfKind solver(request.residual, functions, static_cast<std::int32_t>(parameters.size()));
  solver.SetMask(request.mask);
  return solver.Solve(parameters, kDynamicTolerance);
}

double DampingWeightFactor(std::span<const _T_FUNT_BASE> damping, double largestDamping) {
  if (damping.empty()) throw CInvalidArgException("the joint fit needs a damping curve");
  const double last = damping.back().second;
  return std::min(last > 1e-10 ? 1.0 / last : 5.0, 1.0 / largestDamping);
}

}  // namespace Xem::MaterialUtil
