#include <boost/make_shared.hpp>
#include <cstdint>
#include <ostream>
#include <type_traits>

#include "dynamic/dynamic_test_functions.h"
#include "dynamic/ghe_test_functions.h"
#include "soil/retention_test_function.h"
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

std::vector<GradientCase> HyperelasticGradients() {
  std::vector<GradientCase> cases;
  for (const DeformationMode mode : kAllModes) {
    const char* name = Kinematics(mode).name;
    cases.push_back({name, Hyperelastic(mode, ModelType::Polynomial), 2, {0.4, 0.1, -0.02, 0.003, 0.01}});
    cases.push_back({name, Hyperelastic(mode, ModelType::Ogden), 3, {0.6, 1.3, 0.01, 4.5, -0.02, -2.1}});
    cases.push_back({name, Hyperelastic(mode, ModelType::BlatzKo), 1, {0.7}});
  }
  return cases;
}

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

boost::shared_ptr<XemMaterialTestFunctionBase> Retention(RetentionModel model) {
  const auto function = boost::make_shared<XemUnsaturatedSoilTestFunction>();
  const auto code = static_cast<std::int32_t>(model);
  function->SetParameters({}, std::span(&code, 1));
  std::vector<_T_FUNT_BASE> points{{0.0, 0.45}};
  for (int i = 0; i < 100; ++i) points.emplace_back(0.03 * std::pow(1.17, i), 0.4 - 0.003 * i);
  function->SetTestData(std::span<const _T_FUNT_BASE>(points));
  return function;
}

std::vector<GradientCase> SoilGradients() {
  std::vector<GradientCase> cases;
  cases.push_back({"van Genuchten", Retention(RetentionModel::VanGenuchten), 4, {0.43, 0.05, 0.1, 1.6}});
  cases.push_back({"free m", Retention(RetentionModel::VanGenuchtenFreeM), 5, {0.43, 0.05, 0.1, 1.6, 0.5}});
  cases.push_back({"Fredlund and Xing", Retention(RetentionModel::FredlundXing), 5, {0.45, 20, 1.5, 1.2, 1500}});
  cases.push_back({"Brooks and Corey", Retention(RetentionModel::BrooksCorey), 4, {0.43, 0.05, 8, 0.4}});
  return cases;
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

std::vector<GradientCase> ViscoelasticGradients() {
  std::vector<GradientCase> cases;
  cases.push_back({"relaxation", Relaxation(), 3, {0.2, -0.1, 0.4, 0.01, 3.0, 2e3}});
  cases.push_back({"creep", Creep(), 8, {0.02, 2.5, 0.0, 0.35, 1e-4, 3.1, 0.0, 0.0}});
  return cases;
}

/// A new family adds its list here.
std::vector<GradientCase> EveryTestFunction() {
  std::vector<GradientCase> cases;
  for (const auto& family : {HyperelasticGradients, DynamicGradients, SoilGradients, ViscoelasticGradients}) {
    for (const GradientCase& gradientCase : family()) cases.push_back(gradientCase);
  }
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

TEST_P(Gradient, IsTheSameInEveryBlock) {
  const GradientCase& c = GetParam();
  const std::int32_t first = c.function->PointCount() / 3;
  const std::int32_t count = c.function->PointCount() - first;
  const auto width = static_cast<std::int32_t>(c.parameters.size());
  constexpr double kUntouched = -7.0;  // every entry of the block is written, and none outside of it
  Vector values(count), model(count);
  Matrix around(count + 2, width);
  around.Fill(kUntouched);
  c.function->EvaluateBlock(c.termCount, c.parameters, first, values);
  c.function->EvaluateBlock(c.termCount, c.parameters, first, model, around.View().Rows(1, count));
  for (std::int32_t i = 0; i < count; ++i) {
    double measured = 0.0;
    double value = 0.0;
    std::vector<double> gradient(c.parameters.size(), kUntouched);
    c.function->EvaluatePoint(c.termCount, c.parameters, first + i, measured, value);
    c.function->ParameterGradient(c.termCount, c.parameters, first + i, gradient);
    EXPECT_EQ(measured, c.function->Compared()[first + i]);
    ExpectNear(values[i], value, Tolerance::Rounding, c.name);
    ExpectNear(model[i], value, Tolerance::Rounding, c.name);
    for (std::int32_t k = 0; k < width; ++k) {
      ExpectNear(around(i + 1, k), gradient[static_cast<std::size_t>(k)], Tolerance::Rounding, c.name);
    }
  }
  for (std::int32_t k = 0; k < width; ++k) {
    EXPECT_EQ(around(0, k), kUntouched);
    EXPECT_EQ(around(count + 1, k), kUntouched);
  }
}

}  // namespace
}  // namespace Xem::Testing
