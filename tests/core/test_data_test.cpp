#include <cstring>
#include <limits>
#include <random>

#include "hyperelastic/linear_fit.h"
#include "hyperelastic/models.h"
#include "support/near.h"
#include "testdata/deformation_mode.h"
#include "testdata/strain_energy.h"
#include "testdata/volumetric_test_data.h"
#include "testfunctions/hyperelastic_test_function.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;
using Points2 = std::span<const _T_FUNT_BASE>;

TEST(Loading, KeepsMeasuredPointsInOrderAndTurnsStrainIntoStretch) {
  const std::vector<_T_FUNT_BASE> points{{0.2, 0.9},   {0.0, 0.0}, {0.1, 2.2e-16},
                                         {0.3, 1e-17}, {0.4, NAN}, {-0.1, -0.5}};
  const auto data = MakeTestData(DeformationMode::Uniaxial);
  data->SetTestData(Points2(points));
  ASSERT_EQ(data->PointCount(), 3);
  EXPECT_EQ(data->Stretch()[0], 1.2);
  EXPECT_EQ(data->Stretch()[1], 1.1);
  EXPECT_EQ(data->Stress()[2], -0.5);
  data->SetTestData(Points2());
  EXPECT_EQ(data->PointCount(), 0);
}

TEST(Loading, SimpleShearStoresThePrincipalStretch) {
  const std::vector<_T_FUNT_BASE3> points{{0.5, 0.1, 1.0}, {-0.5, 0.1, 1.0}};
  const auto data = MakeTestData(DeformationMode::SimpleShear);
  data->SetTestData3(std::span<const _T_FUNT_BASE3>(points));
  ExpectNear(data->Stretch()[0], std::sqrt(1.125 + 0.5 * std::sqrt(1.0625)), Tolerance::Rounding);
  EXPECT_EQ(data->LateralStretch()[0], 1.1);
  // The sign of the shear strain is lost: the stretches are inverse to each other, the shear strains equal.
  ExpectNear(data->Stretch()[1], 1.0 / data->Stretch()[0], Tolerance::Rounding);
  ExpectNear(ShearStrain(data->Stretch()[0]), 0.5, Tolerance::Rounding);
  ExpectNear(ShearStrain(data->Stretch()[1]), 0.5, Tolerance::Rounding);
}

/// Principal stretches of a mode at a strain, lateral faces free of stress.
struct Stretches {
  double first, second, third;
};

class ModeTable : public testing::TestWithParam<DeformationMode> {};
INSTANTIATE_TEST_SUITE_P(AllModes, ModeTable, testing::ValuesIn(kAllModes));

Stretches PrincipalStretches(DeformationMode mode, double stretch) {
  switch (mode) {
    case DeformationMode::Uniaxial:
      return {stretch, 1.0 / std::sqrt(stretch), 1.0 / std::sqrt(stretch)};
    case DeformationMode::Equibiaxial:
      return {stretch, stretch, 1.0 / (stretch * stretch)};
    case DeformationMode::PureShear:
    case DeformationMode::SimpleShear:
      return {stretch, 1.0, 1.0 / stretch};
  }
  return {};
}

TEST_P(ModeTable, InvariantsAreThoseOfThePrincipalStretches) {
  for (const double stretch : {0.5, 0.9, 1.1, 3.0}) {
    const auto [a, b, c] = PrincipalStretches(GetParam(), stretch);
    const InvariantExcess excess = Kinematics(GetParam()).invariants(stretch);
    ExpectNear(excess.i1, a * a + b * b + c * c - 3.0, Tolerance::Rounding);
    ExpectNear(excess.i2, 1.0 / (a * a) + 1.0 / (b * b) + 1.0 / (c * c) - 3.0, Tolerance::Rounding);
  }
}

// The work of the nominal stress is the strain energy: P = dW/dlambda, half of it per direction in equibiaxial tension,
// and dW/dg in simple shear.
TEST_P(ModeTable, StressIsTheDerivativeOfTheEnergy) {
  const std::vector<double> c{0.4, 0.1, -0.02, 0.003, 0.01, 1e-3, -2e-3, 3e-3, 4e-4};
  const ModeKinematics& mode = Kinematics(GetParam());
  const auto energy = [&](double strain) {
    const InvariantExcess excess = mode.invariants(mode.stretchFromStrain(strain));
    double w = 0.0;
    std::size_t k = 0;
    ForEachTerm(3, [&](int i, int j) { w += c[k++] * std::pow(excess.i1, i) * std::pow(excess.i2, j); });
    return w;
  };
  const double directions = GetParam() == DeformationMode::Equibiaxial ? 2.0 : 1.0;
  for (const double strain : {-0.3, 0.2, 0.5, 1.5}) {
    if (GetParam() == DeformationMode::SimpleShear && strain < 0.0) continue;  // the sign is lost there
    const double step = 1e-6;
    const double slope = (energy(strain + step) - energy(strain - step)) / (2.0 * step);
    ExpectNear(directions * PolynomialStress(mode, 3, c, mode.stretchFromStrain(strain)), slope, Tolerance::Derivative);
  }
}

TEST_P(ModeTable, SmallStrainsKeepTheirDigits) {
  // For C10 alone the stress is 6 C10 strain (uniaxial), 12 (equibiaxial), 8 (pure shear) and 2 (simple shear) at first
  // order, with a relative error of the order of the strain.
  const double strain = 1e-9;
  const double modulus[] = {6.0, 12.0, 8.0, 2.0};
  const ModeKinematics& mode = Kinematics(GetParam());
  const std::vector<double> c{1.0, 0.0};
  // The stretch 1 + strain itself is rounded, which leaves seven digits of the strain.
  EXPECT_NEAR(PolynomialStress(mode, 1, c, mode.stretchFromStrain(strain)) / strain,
              modulus[static_cast<std::size_t>(GetParam())], 1e-5);
  EXPECT_GT(mode.invariants(1.0 + 1e-9).i1, 0.0);
}

/// Number of a virtual operation in its class's table, from 1 on. Under the Itanium C++ ABI a pointer to it holds its
/// offset there, which some processors mark by adding 1.
template <class Operation>
std::size_t SlotOf(Operation operation) {
  std::size_t words[2];
  static_assert(sizeof words == sizeof operation);
  std::memcpy(words, &operation, sizeof words);
  return words[0] / sizeof(void*) + 1;
}

TEST(Slots, OfTestFunctionsAreThePublishedOnes) {
  using Base = XemMaterialTestFunctionBase;
  using Hyper = XemHyperElasticTestFunction;
  const std::size_t slots[] = {
      SlotOf(&Base::SetParameters),
      SlotOf(&Base::EnforceParameterConstraints),
      SlotOf<void (Base::*)(const Point3Array&)>(&Base::SetTestData3),
      SlotOf<void (Base::*)(const PointArray&)>(&Base::SetTestData),
      SlotOf<void (Base::*)(Points2, Points2)>(&Base::SetTestData),
      SlotOf<void (Base::*)(std::span<const _T_FUNT_BASE3>)>(&Base::SetTestData3),
      SlotOf<void (Base::*)(Points2)>(&Base::SetTestData),
      SlotOf(&Base::ParameterGradient),
      SlotOf(&Hyper::EvaluatePoint),
      SlotOf(&Base::LinearDesignRows),
      SlotOf(&Base::Output),
      SlotOf(&Hyper::PolynomialRowAt),
      SlotOf(&Hyper::PolynomialStressAt),
      SlotOf(&Hyper::BlatzKoRowAt),
      SlotOf(&Hyper::BlatzKoStressAt),
      SlotOf(&Hyper::LateralStretchExponent),
      SlotOf(&Hyper::ComputeLateralStretches),
  };
  for (std::size_t i = 0; i < std::size(slots); ++i) EXPECT_EQ(slots[i], i + 1);

  // A call through the table of an object, which starts with it.
  const auto function = MakeTestFunction(DeformationMode::Equibiaxial, ModelType::Ogden);
  using Exponent = double (*)(const Hyper*);
  Exponent* table = nullptr;
  std::memcpy(&table, static_cast<const void*>(function.get()), sizeof table);
  EXPECT_EQ(table[15](function.get()), -2.0);
}

TEST(OgdenTerm, OfOppositeExponentsIsOppositeInPlanarModesAndFiniteWhereItsPowersAre) {
  std::mt19937 random(7);
  const auto draw = [&](double from, double to) { return std::uniform_real_distribution<double>(from, to)(random); };
  for (int trial = 0; trial < 20'000; ++trial) {
    const double stretch = std::exp(draw(-3.0, 3.0) * (trial % 10 == 0 ? 200.0 : 1.0));
    const double alpha = draw(-1.0, 1.0) * (trial % 3 == 0 ? 1000.0 : 10.0);
    const double logStretch = std::log(stretch);
    const OgdenTerm plus = EvaluateOgdenTerm(-1.0, alpha, stretch, logStretch);
    const OgdenTerm minus = EvaluateOgdenTerm(-1.0, -alpha, stretch, logStretch);
    EXPECT_EQ(plus.value, -minus.value) << alpha << ' ' << stretch;
    EXPECT_EQ(plus.exponentDerivative, minus.exponentDerivative) << alpha << ' ' << stretch;
    for (const double e : {-0.5, -1.0, -2.0}) {
      const double axial = std::pow(stretch, alpha - 1.0), lateral = std::pow(stretch, alpha * e - 1.0);
      const OgdenTerm term = EvaluateOgdenTerm(e, alpha, stretch, logStretch);
      const double written = logStretch * (axial - e * lateral);
      EXPECT_EQ(std::isfinite(term.value), std::isfinite(axial - lateral)) << alpha << ' ' << stretch << ' ' << e;
      EXPECT_EQ(std::isfinite(term.exponentDerivative), std::isfinite(written)) << alpha << ' ' << stretch << ' ' << e;
      if (!std::isfinite(written) || !std::isfinite(axial - lateral)) continue;
      EXPECT_NEAR(term.value, axial - lateral, 1e-12 * (axial + lateral));
      EXPECT_NEAR(term.exponentDerivative, written, 1e-12 * std::abs(written));
    }
  }
  EXPECT_EQ(EvaluateOgdenTerm(-0.5, 3.0, 0.0, std::log(0.0)).value, -HUGE_VAL);  // 0^2 - 0^-2.5
}

struct ConstraintCase {
  bool (*constrain)(std::int32_t terms, std::span<double> parameters);
  std::int32_t terms;
  std::vector<double> before;
  std::vector<double> after;
};

// Order 1 looks at C10 alone first, although C01 follows it. Ogden's pairs end with a positive sum or without negative
// products; 0.75 times the smallest number is that number again.
TEST(Constraints, EndInTheAdmissibleRegion) {
  const double tiny = std::numeric_limits<double>::denorm_min();
  const auto polynomial = [](std::int32_t order, std::span<double> p) { return ConstrainPolynomial(order, p); };
  const auto ogden = [](std::int32_t terms, std::span<double> p) { return ConstrainOgden(terms, p); };
  for (const ConstraintCase& c : {ConstraintCase{polynomial, 2, {-1, 3}, {-1, 3}},
                                  {polynomial, 2, {-3, 1}, {-0.75, 1}},
                                  {polynomial, 2, {1, -3}, {1, -0.75}},
                                  {polynomial, 2, {-1, -2}, {1, 2}},
                                  {polynomial, 2, {-2, 0}, {0, 0}},
                                  {polynomial, 1, {-1, 3}, {1, 3}},
                                  {polynomial, 1, {1, -2}, {1, -0.75}},
                                  {ogden, 2, {1, 2, -1, 3}, {1, 2, -0.5, 3}},
                                  {ogden, 1, {1, -2}, {1, 0}},
                                  {ogden, 1, {0, 2}, {0, 2}},
                                  {ogden, 2, {1, 2, 1, -1}, {1, 2, 1, -1}},
                                  {ogden, 2, {tiny, 1, -1, 1}, {tiny, 1, -tiny, 1}}}) {
    std::vector<double> p = c.before;
    EXPECT_EQ(c.constrain(c.terms, p), c.before != c.after);
    EXPECT_EQ(p, c.after);
  }
  std::vector<double> notANumber{NAN, 2.0};
  EXPECT_FALSE(ConstrainOgden(1, notANumber));
}

TEST(Constraints, BlatzKoModulusIsPositive) {
  std::vector<double> modulus{-2.0};
  EXPECT_TRUE(ConstrainBlatzKo(modulus));
  EXPECT_EQ(modulus[0], 2.0);
  EXPECT_FALSE(ConstrainBlatzKo(modulus));
}

}  // namespace
}  // namespace Xem::Testing
