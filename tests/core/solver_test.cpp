#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <functional>
#include <limits>

#include "solver/linalg/lapack.h"
#include "solver/linalg/least_squares.h"
#include "solver/linalg/non_negative.h"
#include "solver/make_solver.h"
#include "solver/starting_vector.h"
#include "support/curves.h"
#include "support/near.h"
#include "testdata/strain_energy.h"
#include "testfunctions/hyperelastic_test_function.h"
#include "xem/array.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;

using Model = std::function<double(std::span<const double> b, double x)>;
using GradientFunction = std::function<void(std::span<const double> b, double x, std::span<double> gradient)>;

/// A model given by two functions.
class FunctionUnderTest final : public BlockTestFunction {
 public:
  FunctionUnderTest(Model model, GradientFunction gradient, std::span<const _T_FUNT_BASE> points)
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
  GradientFunction gradient_;
};

TestFunctionList One(Model model, GradientFunction gradient, const std::vector<_T_FUNT_BASE>& points) {
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
    GradientFunction gradient;
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

// Linear algebra.

Matrix Filled(std::int32_t rows, std::int32_t columns, const std::vector<double>& byRow) {
  Matrix m(rows, columns);
  for (std::int32_t i = 0; i < rows; ++i) {
    for (std::int32_t j = 0; j < columns; ++j) m(i, j) = byRow[static_cast<std::size_t>(i * columns + j)];
  }
  return m;
}

TEST(TruncatedLeastSquares, SolvesTallAndWideSystems) {
  const std::vector<double> b{1.0, 2.0, 2.5};
  const Vector tall = SolveTruncated(Filled(3, 2, {1, 0, 1, 1, 1, 2}), b, 0.0);
  ExpectNear(tall[0], 13.0 / 12.0, Tolerance::Rounding);
  ExpectNear(tall[1], 0.75, Tolerance::Rounding);
  // One equation, two unknowns: the shortest solution of x + 2 y = 5.
  const Vector wide = SolveTruncated(Filled(1, 2, {1, 2}), std::vector<double>{5.0}, 0.0);
  ExpectNear(wide[0], 1.0, Tolerance::Rounding);
  ExpectNear(wide[1], 2.0, Tolerance::Rounding);
}

TEST(TruncatedLeastSquares, DropsDirectionsBeyondTheLimit) {
  const std::vector<double> b{2.0, 3.0};
  const auto solve = [&](double limit) { return SolveTruncated(Filled(2, 2, {1, 0, 0, 1e-3}), b, limit); };
  EXPECT_NEAR(solve(0.0)[1], 3000.0, 1e-9);
  EXPECT_NEAR(solve(1e4)[1], 3000.0, 1e-9);
  EXPECT_EQ(solve(1e2)[1], 0.0);
  EXPECT_EQ(solve(1.0)[0], 0.0);  // s_max / s is never below 1
}

// Decays of so many rates over three decades, the denser the more alike, and targets that need none, some or all of
// them. The conditions of Kuhn and Tucker tell a minimum from anything else.
TEST(NonNegative, NothingFallsFromTheSolution) {
  constexpr std::int32_t kRows = 60;
  for (const std::int32_t columns : {1, 3, 8, 9, 41}) {
    for (const double wave : {0.0, 0.05, -1.0}) {
      Matrix a(kRows, columns);
      std::vector<double> b(kRows);
      for (std::int32_t i = 0; i < kRows; ++i) {
        const double time = std::pow(10.0, -1.0 + 0.05 * i);
        for (std::int32_t k = 0; k < columns; ++k) a(i, k) = std::exp(-time * std::pow(10.0, -3.0 * k / columns));
        b[static_cast<std::size_t>(i)] = wave * std::sin(7.0 * i) + (wave < 0.0 ? -1.0 : 1.0 + a(i, columns / 2));
      }
      const auto [x, misfit] = SolveNonNegative(a, b);
      std::vector<double> rest = b;
      for (std::int32_t k = 0; k < columns; ++k) {
        for (std::int32_t i = 0; i < kRows; ++i)
          rest[static_cast<std::size_t>(i)] -= a(i, k) * x[static_cast<std::size_t>(k)];
      }
      ExpectNear(misfit, Dot(rest, rest), Tolerance::Rounding);
      for (std::int32_t k = 0; k < columns; ++k) {
        const double slope = Dot(a.Column(k), rest) / std::sqrt(Dot(a.Column(k), a.Column(k)));
        const double value = x[static_cast<std::size_t>(k)];
        EXPECT_GE(value, 0.0);
        EXPECT_LT(value > 0.0 ? std::abs(slope) : slope, 1e-9) << columns << ' ' << wave << ' ' << k;
      }
    }
  }
}

// Columns over fifteen decades, the third a sum of two others: what is kept and what is dropped must not depend on how
// the equations come.
TEST(TruncatedLeastSquares, OfManyEquationsInBlocksIsThatOfAllAtOnce) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  for (const std::int32_t rows : {3, 40, 1500, 3000}) {
    for (const double limit : {0.0, 1e4, 1e8, 1e11}) {
      for (const double last : {1.0, kNaN}) {
        Matrix a(rows, 4);
        std::vector<double> b(static_cast<std::size_t>(rows));
        LeastSquares system(rows, 4);
        for (std::int32_t i = 0; i < rows;) {
          const MatrixView block = system.Append(std::min({rows - i, 37 + i / 3, LeastSquares::kBlockRows}));
          for (std::int32_t r = 0; r < block.rows; ++r, ++i) {
            const double x = 1.0 + static_cast<double>(i) / rows;
            a(i, 0) = x;
            a(i, 1) = 1e-6 * x * x;
            a(i, 2) = limit > 0.0 ? a(i, 0) + a(i, 1) : std::sin(5.0 * x);
            a(i, 3) = 1e-9 * std::cos(9.0 * x);
            b[static_cast<std::size_t>(i)] = std::exp(x) * (i + 1 == rows ? last : 1.0);
            for (std::int32_t k = 0; k < 4; ++k) block(r, k) = a(i, k);
            block(r, 4) = b[static_cast<std::size_t>(i)];
          }
        }
        const Vector inBlocks = system.Solve(limit);
        const Vector atOnce = SolveTruncated(a, b, limit);
        for (std::int32_t k = 0; k < 4; ++k) {
          // Rounding of size 1e-16 of the greatest singular value, as seen through the smallest one kept.
          EXPECT_TRUE(std::isnan(last) ? std::isnan(inBlocks[k])
                                       : std::abs(inBlocks[k] - atOnce[k]) < 1e-4 * (1.0 + std::abs(atOnce[k])))
              << rows << ' ' << limit << ' ' << k << ": " << inBlocks[k] << " instead of " << atOnce[k];
        }
      }
    }
  }
}

TEST(TruncatedLeastSquares, MatricesThatAreNotFiniteEnd) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  // The routine alone goes round for ever with each of them.
  for (const std::vector<double>& entries : {std::vector<double>{1, 1, 1, kInfinity, 0, 0, 0, 0, 0},
                                             {0, kInfinity, 1, kInfinity, 1, 0, 0, 0, 0},
                                             {kNaN, kInfinity, 0, 1, 0, 0, 0, 0, 0}}) {
    try {
      EXPECT_TRUE(std::isnan(DecomposeSingular(Filled(3, 3, entries)).s[0]));
    } catch (int info) {
      EXPECT_GT(info, 0);
    }
  }
}

// Starting vectors.

using Absolute = LMMethodOgdenTmpl<LevenbergMarquardtMethodAbsolute>;

/// Curves of two modes with the stress of `pairs`.
TestFunctionList OgdenCurves(const std::vector<double>& pairs, int points = 12) {
  TestFunctionList list;
  for (const DeformationMode mode : {DeformationMode::Uniaxial, DeformationMode::Equibiaxial}) {
    std::vector<_T_FUNT_BASE> curve;
    for (int i = 1; i <= points; ++i) {
      const double stretch = 1.0 + 0.15 * i;
      curve.emplace_back(stretch - 1.0,
                         OgdenStress(Kinematics(mode).lateralExponent, pairs, stretch, std::log(stretch)));
    }
    const auto function = MakeTestFunction(mode, ModelType::Ogden);
    function->SetTestData(std::span<const _T_FUNT_BASE>(curve));
    list.push_back(function);
  }
  return list;
}

std::vector<double> Guess(const TestFunctionList& curves, int terms, const FixedTermMask& mask) {
  std::vector<double> parameters(static_cast<std::size_t>(mask.Size()), 123.0);
  Absolute(curves, terms, true).InitialGuess(mask, parameters);
  return parameters;
}

// Data of the seeded exponents themselves: the linear step finds the moduli over all points of both curves.
TEST(OgdenStart, ModuliAreTheLeastSquaresOnes) {
  const std::vector<double> planted{0.6, 2.0, -0.1, -2.0, 0.003, 6.0};
  const std::vector<double> start = Guess(OgdenCurves(planted), 3, FixedTermMask(6));
  for (std::size_t k = 0; k < 6; ++k) ExpectNear(start[k], planted[k], 1e-9);
}

TEST(OgdenStart, ModuliTakeTheSignOfTheirExponent) {
  const std::vector<double> start = Guess(OgdenCurves({-0.6, 2.0, 0.1, -2.0}), 2, FixedTermMask(4));
  ExpectNear(start[0], 0.6, 1e-9);
  ExpectNear(start[2], -0.1, 1e-9);
}

TEST(OgdenStart, HeldEntriesEndWithTheirSeeds) {
  std::vector<double> four(10, 123.0), one(4, 123.0);  // two entries longer than the pairs
  WriteOgdenSeeds(4, four);
  WriteOgdenSeeds(1, one);
  EXPECT_EQ(four, (std::vector<double>{0, 2, 0, -2, 0, 6, 0, 10, -2, -2}));
  EXPECT_EQ(one, (std::vector<double>{0, 2, 2, 2}));
  const std::vector<double> start = Guess(OgdenCurves({0.6, 2.0, -0.1, -2.0}), 2, FixedTermMask{1, 1, 0, 0});
  EXPECT_EQ(start[0], 0.0);  // neither the caller's 123 nor the fitted modulus
  EXPECT_EQ(start[1], 2.0);
  ExpectNear(start[2], -0.1, 1e-9);
}

// A start that is worse than no stress at all: the constraint shrinks the first trials to zero, which is better, and
// leaves a system without information.
TEST(OgdenStart, AZeroedTrialMayBeAcceptedAndThenTheSystemIsSingular) {
  auto rubber = TreloarCurves()[0];
  rubber.erase(rubber.begin());
  const auto function = MakeTestFunction(DeformationMode::Uniaxial, ModelType::Ogden);
  function->SetTestData(std::span<const _T_FUNT_BASE>(rubber));
  const TestFunctionList functions{function};
  OgdenMethodOfKind solver(ResidualKind::Relative, functions, 2);
  std::vector<double> parameters(4);
  solver.InitialGuess(FixedTermMask(4), parameters);
  solver.SetMask(FixedTermMask(4));
  const double start = solver.SumOfSquares(parameters);
  int info = 0;
  try {
    solver.Solve(parameters, 1e-4);
  } catch (int thrown) {
    info = thrown;
  }
  EXPECT_GT(info, 0);
  EXPECT_EQ(parameters[0] * parameters[1], 0.0);
  EXPECT_EQ(parameters[2] * parameters[3], 0.0);
  EXPECT_EQ(solver.SumOfSquares(parameters), static_cast<double>(function->PointCount()));
  EXPECT_GT(start, solver.SumOfSquares(parameters));
}

}  // namespace
}  // namespace Xem::Testing
