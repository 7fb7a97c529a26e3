#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <vector>

#include "support/gradient_cases.h"
#include "support/near.h"

namespace Xem::Testing {

void PrintTo(const GradientCase& gradientCase, std::ostream* out) { *out << gradientCase.name; }

namespace {

using namespace MaterialUtil;

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
