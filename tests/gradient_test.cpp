#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <cmath>
#include <cstdint>
#include <ostream>
#include <vector>

#include "support/gradients.h"
#include "support/near.h"
#include "testfunctions/hyperelastic_test_function.h"
#include "viscoelastic/creep.h"
#include "viscoelastic/relaxation.h"

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

/// Times over eight decades.
std::vector<_T_FUNT_BASE> OverTime() {
  std::vector<_T_FUNT_BASE> points;
  for (int i = 0; i < 100; ++i) points.emplace_back(1e-3 * std::pow(10.0, 0.08 * i), 0.9 - 0.005 * i);
  return points;
}

boost::shared_ptr<XemMaterialTestFunctionBase> Relaxation() {
  const auto function = boost::make_shared<XemHyperViscoElasticRelaxation>();
  function->SetTestData(std::span<const _T_FUNT_BASE>(OverTime()));
  return function;
}

boost::shared_ptr<XemMaterialTestFunctionBase> Creep() {
  const auto function = boost::make_shared<XemMaterialCreepType300>();
  const double stress = 0.3;
  const std::int32_t option = 0;
  function->SetParameters({&stress, 1}, {&option, 1});
  function->SetTestData(std::span<const _T_FUNT_BASE>(OverTime()));
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
  cases.push_back({"relaxation", Relaxation(), 3, {0.2, -0.1, 0.4, 0.01, 3.0, 2e3}});
  cases.push_back({"creep", Creep(), 8, {0.02, 2.5, 0.0, 0.35, 1e-4, 3.1, 0.0, 0.0}});
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
