#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <cstdint>
#include <ostream>
#include <type_traits>
#include <vector>

#include "dynamic/dynamic_test_functions.h"
#include "dynamic/ghe_test_functions.h"
#include "support/gradients.h"
#include "support/near.h"
#include "testfunctions/hyperelastic_test_function.h"

namespace Xem::Testing {

void PrintTo(const GradientCase& gradientCase, std::ostream* out) { *out << gradientCase.name; }

namespace {

using namespace MaterialUtil;

boost::shared_ptr<XemMaterialTestFunctionBase> Hyperelastic(DeformationMode mode, ModelType model) {
  const auto function = MakeTestFunction(mode, model);
  // Compression and tension, with lateral strains for Blatz-Ko; more points than a block of the solver.
  std::vector<_T_FUNT_BASE3> points;
  for (int i = 0; i < 100; ++i) points.emplace_back(-0.4 + 0.021 * i, 0.1 - 0.004 * i, 1.0 + 0.1 * i);
  function->SetTestData3(std::span<const _T_FUNT_BASE3>(points));
  return function;
}

/// Strains of the order of the reference strain 0.8, so that differences have digits; a weight that is not 1.
template <class Function>
boost::shared_ptr<XemMaterialTestFunctionBase> Cyclic(CyclicFamily family, ResidualForm form, double largest) {
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

/// One row per test function: a new one adds its rows here.
std::vector<GradientCase> EveryTestFunction() {
  std::vector<GradientCase> cases;
  for (const DeformationMode mode : kAllModes) {
    const char* name = Kinematics(mode).name;
    cases.push_back({name, Hyperelastic(mode, ModelType::Polynomial), 2, {0.4, 0.1, -0.02, 0.003, 0.01}});
    cases.push_back({name, Hyperelastic(mode, ModelType::Ogden), 3, {0.6, 1.3, 0.01, 4.5, -0.02, -2.1}});
    cases.push_back({name, Hyperelastic(mode, ModelType::BlatzKo), 1, {0.7}});
  }
  for (const ResidualForm form : {ResidualForm::Strain, ResidualForm::LogStrain, ResidualForm::Stress}) {
    using Stiffness = XemDynamicMatShearStiffTestFunction;
    using Damping = XemDynamicMatDampingTestFunction;
    cases.push_back({"power stiffness", Cyclic<Stiffness>(CyclicFamily::PowerLaw, form, 0.0), 2, {0.8, 1.3}});
    cases.push_back({"power damping", Cyclic<Damping>(CyclicFamily::PowerLaw, form, 0.2), 2, {0.8, 1.3}});
    cases.push_back({"hyperbolic stiffness", Cyclic<Stiffness>(CyclicFamily::Hyperbolic, form, 0.0), 1, {0.8}});
  }
  cases.push_back({"hyperbolic damping",
                   Cyclic<XemDynamicMatDampingTestFunction>(CyclicFamily::Hyperbolic, ResidualForm::Strain, 0.2),
                   1,
                   {0.8}});
  for (const GheForm form : {GheForm::Stiffness, GheForm::Stress}) {
    cases.push_back({"ghe stiffness", Ghe(form), 6, {0.9, 0.2, 0.7, 2.1, 1.4, 2.6}});
  }
  cases.push_back({"ghe damping", GheDampingFunction(), 2, {0.25, 1.3}});
  return cases;
}

class Gradient : public testing::TestWithParam<GradientCase> {};

INSTANTIATE_TEST_SUITE_P(AllLaws, Gradient, testing::ValuesIn(EveryTestFunction()));

TEST_P(Gradient, MatchesCentralDifferences) {
  const GradientCase& c = GetParam();
  for (std::int32_t point = 0; point < c.function->PointCount(); ++point) {
    std::vector<double> analytic(c.parameters.size(), 0.0);
    c.function->ParameterGradient(c.termCount, c.parameters, point, analytic);
    const auto differences = CentralDifferences(
        [&](std::span<const double> parameters) {
          double measured = 0.0;
          double model = 0.0;
          c.function->EvaluatePoint(c.termCount, parameters, point, measured, model);
          return model;
        },
        c.parameters);
    for (std::size_t k = 0; k < analytic.size(); ++k) {
      ExpectNear(analytic[k], differences[k], Tolerance::Derivative, c.name);
    }
  }
}

TEST_P(Gradient, BlocksAgreeWithPoints) {
  const GradientCase& c = GetParam();
  const std::int32_t first = c.function->PointCount() / 3;
  const auto count = static_cast<std::size_t>(c.function->PointCount() - first);
  const std::size_t width = c.parameters.size();
  std::vector<double> measured(count), model(count), valueMeasured(count), valueModel(count);
  std::vector<double> gradients(count * width, -7.0);  // the block operation clears what it needs cleared
  c.function->GradientBlock(c.termCount, c.parameters, first, measured, model, gradients);
  c.function->EvaluateBlock(c.termCount, c.parameters, first, valueMeasured, valueModel);
  for (std::size_t i = 0; i < count; ++i) {
    const std::int32_t point = first + static_cast<std::int32_t>(i);
    double pointMeasured = 0.0;
    double pointModel = 0.0;
    c.function->EvaluatePoint(c.termCount, c.parameters, point, pointMeasured, pointModel);
    EXPECT_EQ(measured[i], pointMeasured);
    EXPECT_EQ(valueMeasured[i], pointMeasured);
    ExpectNear(model[i], pointModel, Tolerance::Rounding, c.name);
    ExpectNear(valueModel[i], pointModel, Tolerance::Rounding, c.name);
    std::vector<double> gradient(width, 0.0);
    c.function->ParameterGradient(c.termCount, c.parameters, point, gradient);
    for (std::size_t k = 0; k < width; ++k) {
      ExpectNear(gradients[i * width + k], gradient[k], Tolerance::Rounding, c.name);
    }
  }
}

}  // namespace
}  // namespace Xem::Testing
