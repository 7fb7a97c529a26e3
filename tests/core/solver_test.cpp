#include <gtest/gtest.h>

#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <functional>
#include <vector>

#include "solver/make_solver.h"
#include "support/near.h"
#include "xem/array.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;

using Model = std::function<double(std::span<const double> b, double x)>;
using Gradient = std::function<void(std::span<const double> b, double x, std::span<double> gradient)>;

/// A model given by two functions.
class FunctionUnderTest final : public BlockTestFunction {
 public:
  FunctionUnderTest(Model model, Gradient gradient, std::span<const _T_FUNT_BASE> points)
      : model_(std::move(model)), gradient_(std::move(gradient)) {
    SetTestData(points);
  }
  void Evaluate(std::int32_t, std::span<const double> b, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    const auto value = [&](std::int32_t point) { return model_(b, Stretch()[point]); };
    EvaluateByPoint<3>(first, model, derivatives, value, [&](std::int32_t point, std::span<double> gradient) {
      gradient_(b, Stretch()[point], gradient);
      return value(point);
    });
  }

 private:
  Model model_;
  Gradient gradient_;
};

TestFunctionList One(Model model, Gradient gradient, const std::vector<_T_FUNT_BASE>& points) {
  return {boost::make_shared<FunctionUnderTest>(std::move(model), std::move(gradient), points)};
}

/// y = b0 + b1 x.
TestFunctionList Line(const std::vector<_T_FUNT_BASE>& points) {
  return One([](std::span<const double> b, double x) { return b[0] + b[1] * x; },
             [](std::span<const double>, double x, std::span<double> g) {
               g[0] = 1.0;
               g[1] = x;
             },
             points);
}

// Statistical Reference Datasets of NIST, nonlinear regression; start 2 of each.
TEST(Solver, ReachesCertifiedRegressions) {
  struct Certified {
    Model model;
    Gradient gradient;
    std::vector<_T_FUNT_BASE> points;
    std::vector<double> start;
    std::vector<double> certified;
    double sumOfSquares;
  };
  const Certified problems[] = {
      {[](std::span<const double> b, double x) { return b[0] * std::pow(x, b[1]); },  // DanWood
       [](std::span<const double> b, double x, std::span<double> g) {
         g[0] = std::pow(x, b[1]);
         g[1] = b[0] * std::pow(x, b[1]) * std::log(x);
       },
       {{1.309, 2.138}, {1.471, 3.421}, {1.490, 3.597}, {1.565, 4.340}, {1.611, 4.882}, {1.680, 5.660}},
       {0.7, 4.0},
       {7.6886226176e-1, 3.8604055871},
       4.3173084083e-3},
      {[](std::span<const double> b, double x) { return b[0] / (1.0 + std::exp(b[1] - b[2] * x)); },  // Rat42
       [](std::span<const double> b, double x, std::span<double> g) {
         const double e = std::exp(b[1] - b[2] * x);
         g[0] = 1.0 / (1.0 + e);
         g[1] = -b[0] * e / ((1.0 + e) * (1.0 + e));
         g[2] = -x * g[1];
       },
       {{9, 8.93},
        {14, 10.80},
        {21, 18.59},
        {28, 22.33},
        {42, 39.35},
        {57, 56.11},
        {63, 61.73},
        {70, 64.62},
        {79, 67.08}},
       {75.0, 2.5, 0.07},
       {7.2462237576e1, 2.6180768402, 6.7359200066e-2},
       8.0565229338},
  };
  for (const Certified& problem : problems) {
    const TestFunctionList functions = One(problem.model, problem.gradient, problem.points);
    LevenbergMarquardtMethodAbsolute solver(functions, static_cast<std::int32_t>(problem.start.size()));
    std::vector<double> b = problem.start;
    EXPECT_EQ(solver.Solve(b, 1e-12), 0);
    // The stop rule ends after four small changes, so the last digits of the certificate are not guaranteed.
    ExpectAllDigits(b, problem.certified, 1e-5);
    ExpectDigits(solver.SumOfSquares(b), problem.sumOfSquares, 1e-9);
  }
}

TEST(Solver, SmallChangesAccumulateOverTheRun) {
  // A tolerance so large that every change is small: four steps end the run, accepted ones included.
  const TestFunctionList functions = Line({{1, 3}, {2, 5.5}, {3, 7}});
  LevenbergMarquardtMethodAbsolute solver(functions, 2);
  std::vector<double> b{0.0, 0.0};
  EXPECT_EQ(solver.Solve(b, 1e6), 0);
  EXPECT_EQ(solver.Iterations(), 4);
}

TEST(Solver, SingularSystemsThrowTheFactorisationsStatus) {
  const TestFunctionList allTheSame = Line({{2, 1}, {2, 1}, {2, 1.5}});
  std::vector<double> b{0.0, 0.0};
  LevenbergMarquardtMethodAbsolute held(allTheSame, 2);
  held.SetMask(FixedTermMask{1, 1});
  EXPECT_THROW(held.Solve(b, 1e-4), int);
  const TestFunctionList empty = Line({});
  EXPECT_THROW(LevenbergMarquardtMethodAbsolute(empty, 2).Solve(b, 1e-4), int);
}

TEST(Solver, DeterminationTakesTheLastMeasuredValueOfEachFunctionForItsMean) {
  const auto zero = [](std::span<const double>, double) { return 0.0; };
  const auto nothing = [](std::span<const double>, double, std::span<double>) {};
  TestFunctionList functions = One(zero, nothing, {{1, 1}, {2, 2}, {3, 4}});
  const std::vector<double> none;
  // mean = 4/3: SStot = 1/9 + 4/9 + 64/9, SSres = 21.
  ExpectNear(LevenbergMarquardtMethodAbsolute(functions, 0).CoefficientOfDetermination(none),
             std::abs(69.0 / 9.0 - 21.0) / (69.0 / 9.0), Tolerance::Rounding);
  // An empty function adds the last value seen: mean = 8/3.
  functions.push_back(One(zero, nothing, {}).front());
  const double total = 25.0 / 9.0 + 4.0 / 9.0 + 16.0 / 9.0;
  ExpectNear(LevenbergMarquardtMethodRelative(functions, 0).CoefficientOfDetermination(none),
             std::abs(total - 21.0) / total, Tolerance::Rounding);
}

}  // namespace
}  // namespace Xem::Testing
