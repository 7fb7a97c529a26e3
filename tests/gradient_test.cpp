#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <vector>

#include "support/gradient_cases.h"
#include "support/near.h"

namespace Xem::Testing {

void PrintTo(const GradientCase& gradientCase, std::ostream* out) { *out << gradientCase.name; }

namespace {

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
