#include <boost/make_shared.hpp>
#include <type_traits>

#include "dynamic/dynamic_test_functions.h"
#include "dynamic/ghe_test_functions.h"
#include "support/gradient_cases.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;

/// Strains of the order of the reference strain 0.8, so that differences have digits; a weight that is not 1.
template <class Function>
boost::shared_ptr<XemMaterialTestFunctionBase> Cyclic(DynamicFamily family, ResidualForm form, double largest) {
  const auto function = boost::make_shared<Function>();
  const double working[] = {0.0, 0.0, 1.7};
  const std::int32_t options[] = {static_cast<std::int32_t>(family), static_cast<std::int32_t>(form)};
  function->SetParameters(working, options);
  std::vector<_T_FUNT_BASE> stiffness;
  std::vector<_T_FUNT_BASE> points;
  for (int i = 0; i < 100; ++i) {
    const double strain = 0.02 * (i + 1);
    stiffness.emplace_back(strain, 0.97 / (1.0 + strain));
    points.emplace_back(strain, largest * (1.0 - stiffness.back().second));
  }
  if constexpr (std::is_same_v<Function, XemDynamicMatDampingTestFunction>) {
    function->SetTestData(std::span<const _T_FUNT_BASE>(points), std::span<const _T_FUNT_BASE>(stiffness));
  } else {
    function->SetTestData(std::span<const _T_FUNT_BASE>(stiffness));
  }
  return function;
}

boost::shared_ptr<XemMaterialTestFunctionBase> Ghe(GheForm form) {
  const auto function = boost::make_shared<XemGHEModelTestFunction>();
  const std::int32_t options[] = {static_cast<std::int32_t>(form), 0, 0, 0, 0, 0, 0};
  const double referenceStrain = 0.7;
  function->SetParameters({&referenceStrain, 1}, options);
  std::vector<_T_FUNT_BASE> points;
  for (int i = 0; i < 100; ++i) points.emplace_back(0.1 * (i + 1), 1.0 / (1.0 + 0.1 * i));
  function->SetTestData(std::span<const _T_FUNT_BASE>(points));
  return function;
}

boost::shared_ptr<XemMaterialTestFunctionBase> GheDampingFunction() {
  const auto function = boost::make_shared<XemGHEModelDampingTestFunction>();
  const std::int32_t options[] = {0, 0};
  function->SetParameters({}, options);
  std::vector<_T_FUNT_BASE> points;
  for (int i = 0; i < 100; ++i) points.emplace_back(0.01 * (i + 1), 0.002 * (i + 1));
  // Nothing is lost at the first strains: model and gradient are 0 there.
  const std::vector<_T_FUNT_BASE> stiffness{{0.05, 1.0}, {0.5, 0.4}, {2.0, 0.1}};
  function->SetTestData(std::span<const _T_FUNT_BASE>(points), std::span<const _T_FUNT_BASE>(stiffness));
  return function;
}

}  // namespace

std::vector<GradientCase> DynamicGradients() {
  std::vector<GradientCase> cases;
  for (const ResidualForm form : {ResidualForm::Strain, ResidualForm::LogStrain, ResidualForm::Stress}) {
    using Stiffness = XemDynamicMatShearStiffTestFunction;
    using Damping = XemDynamicMatDampingTestFunction;
    cases.push_back({"power stiffness", Cyclic<Stiffness>(DynamicFamily::PowerLaw, form, 0.0), 2, {0.8, 1.3}});
    cases.push_back({"power damping", Cyclic<Damping>(DynamicFamily::PowerLaw, form, 0.2), 2, {0.8, 1.3}});
    cases.push_back({"hyperbolic stiffness", Cyclic<Stiffness>(DynamicFamily::Hyperbolic, form, 0.0), 1, {0.8}});
  }
  cases.push_back({"hyperbolic damping",
                   Cyclic<XemDynamicMatDampingTestFunction>(DynamicFamily::Hyperbolic, ResidualForm::Strain, 0.2),
                   1,
                   {0.8}});
  for (const GheForm form : {GheForm::Stiffness, GheForm::Stress}) {
    cases.push_back({"ghe stiffness", Ghe(form), 6, {0.9, 0.2, 0.7, 2.1, 1.4, 2.6}});
  }
  cases.push_back({"ghe damping", GheDampingFunction(), 2, {0.25, 1.3}});
  return cases;
}

}  // namespace Xem::Testing
