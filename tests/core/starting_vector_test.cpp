#include "solver/starting_vector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "solver/make_solver.h"
#include "support/curves.h"
#include "support/near.h"
#include "testdata/strain_energy.h"
#include "testfunctions/hyperelastic_test_function.h"
#include "xem/array.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;
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
  const auto solver = MakeOgdenSolver(ResidualKind::Relative, functions, 2);
  std::vector<double> parameters(4);
  solver->InitialGuess(FixedTermMask(4), parameters);
  solver->SetMask(FixedTermMask(4));
  const double start = solver->SumOfSquares(parameters);
  int info = 0;
  try {
    solver->Solve(parameters, 1e-4);
  } catch (int thrown) {
    info = thrown;
  }
  EXPECT_GT(info, 0);
  EXPECT_EQ(parameters[0] * parameters[1], 0.0);
  EXPECT_EQ(parameters[2] * parameters[3], 0.0);
  EXPECT_EQ(solver->SumOfSquares(parameters), static_cast<double>(function->PointCount()));
  EXPECT_GT(start, solver->SumOfSquares(parameters));
}

}  // namespace
}  // namespace Xem::Testing
