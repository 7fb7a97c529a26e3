#include <random>

#include "support/curves.h"
#include "support/mode_curves.h"
#include "support/near.h"
#include "xem/hyperelastic.h"

namespace Xem::Testing {
namespace {

struct PolynomialCall : ModeCurves {
  std::int32_t Fit(int order, int method, double conditionLimit = 0.0) {
    return CurveFitting4Polynominal(in[0], in[1], in[2], in[3], use[0], use[1], use[2], use[3], order, method,
                                    conditionLimit, coefficients, out[0], out[1], out[2], out[3], 0.0, 1.0);
  }
  std::int32_t Evaluate(int order, double lower = 0.0, double upper = 1.0) {
    return ComputeStress4Polynominal(in[0], in[1], in[2], in[3], order, coefficients, out[0], out[1], out[2], out[3],
                                     lower, upper);
  }
};

std::vector<_T_FUNT_BASE> UniaxialMooneyRivlin() {
  std::vector<_T_FUNT_BASE> points;
  for (int i = 1; i <= 15; ++i) {
    const double stretch = 1.0 + 0.1 * i;
    points.emplace_back(stretch - 1.0, 2.0 * (1.0 - std::pow(stretch, -3)) * (0.5 * stretch + 0.1));
  }
  return points;
}

TEST(PolynomialExport, PlantedCoefficientsComeBack) {
  for (const int method : {1, 0, 7}) {  // any other method refines from zeros with relative residuals
    PolynomialCall call;
    call.Load(0, UniaxialMooneyRivlin());
    EXPECT_EQ(call.Fit(1, method), 0);
    const double tolerance = method == 7 ? 1e-3 : 1e-10;  // from zeros the stop rule ends at four small changes
    ExpectNear(call.coefficients[0], 0.5, tolerance);
    ExpectNear(call.coefficients[1], 0.1, tolerance);
    for (std::int64_t i = 0; i < call.in[0].GetSize(); ++i) {
      ExpectNear(call.out[0][i].second, call.in[0][i].second, tolerance);
    }
  }
}

TEST(PolynomialExport, EmptyCurvesGetTheDefaultGridFromZero) {
  PolynomialCall call;
  call.Load(0, UniaxialMooneyRivlin());
  Fill(call.coefficients, {0.5, 0.1});
  // The grid starts at zero although the lower bound is 0.5, and the origin keeps its zero stress.
  EXPECT_EQ(call.Evaluate(1, 0.5, 2.5), 0);
  ASSERT_EQ(call.out[1].GetSize(), 50);
  for (std::int64_t i = 0; i < 50; ++i) {
    EXPECT_EQ(call.out[3][i].first, static_cast<double>(i) * 2.0 / 50.0);
    ExpectNear(call.out[3][i].second, 2.0 * call.out[3][i].first * 0.6, Tolerance::Rounding);
  }
}

TEST(PolynomialExport, StressesAreDealtOutByTheSizesOfTheOutputCurves) {
  PolynomialCall call;
  call.Load(0, std::vector<_T_FUNT_BASE>{{0.1, 1.0}, {0.2, 0.0}, {0.3, 1.0}});  // the middle point is dropped
  call.Load(1, std::vector<_T_FUNT_BASE>{{0.1, 1.0}, {0.2, 1.0}});
  Fill(call.coefficients, {0.5, 0.0});
  call.out[0].SetSize(1);
  call.out[1].SetSize(2);
  EXPECT_EQ(call.Evaluate(1), 0);
  // One stress for the first curve; its second one slips into the next curve.
  ExpectNear(call.out[1][0].second, 1.3 - std::pow(1.3, -2), Tolerance::Rounding);
  // More room than stresses (2 + 2 kept, 50 + 50 grid): written while there are any.
  call.out[0].SetSize(3);
  call.out[2].SetSize(0);
  call.out[3].SetSize(0);
  call.in[2].Add({0.1, 1.0});
  call.in[3].Add({0.1, 1.0});
  call.out[1].SetSize(6);
  for (std::int64_t i = 0; i < 6; ++i) call.out[1][i] = {0.25, 77.0};
  EXPECT_EQ(call.Evaluate(1), 0);
  ExpectNear(call.out[0][1].second, 1.3 - std::pow(1.3, -2), Tolerance::Rounding);
  ExpectNear(call.out[1][2].second, 0.1, Tolerance::Rounding);  // the last of six, in simple shear
  for (std::int64_t i = 3; i < 6; ++i) {
    EXPECT_EQ(call.out[1][i].first, 0.25);
    EXPECT_EQ(call.out[1][i].second, 77.0);
  }
}

TEST(PolynomialExport, OutputsAsLongAsTheInputsLeaveTheCoefficientsAlone) {
  PolynomialCall plain, withOrigin;
  auto points = UniaxialMooneyRivlin();
  plain.Load(0, points);
  plain.Fit(1, 1);
  points.insert(points.begin(), {0.0, 0.0});
  withOrigin.Load(0, points);
  for (int m = 1; m < 4; ++m) withOrigin.in[m].Add({0.0, 0.0});  // no stress to give, and no grid
  EXPECT_EQ(withOrigin.Fit(1, 1), 0);
  EXPECT_EQ(Values(withOrigin.coefficients), Values(plain.coefficients));
  EXPECT_EQ(withOrigin.out[0][14].second, plain.out[0][14].second);
  EXPECT_EQ(withOrigin.out[0][15].second, 0.0);
}

TEST(PolynomialExport, TheLinearCandidateIsComparedAfterTheConstraint) {
  // Exact data of C10 = -0.5, C01 = 0.1: the linear solution has R^2 = 1, yet it never comes back, because only its
  // constrained copy (0.5, 0.1) and the constrained refinement are compared.
  PolynomialCall call;
  auto points = UniaxialMooneyRivlin();
  for (auto& point : points) {
    const double stretch = 1.0 + point.first;
    point.second = 2.0 * (1.0 - std::pow(stretch, -3)) * (-0.5 * stretch + 0.1);
  }
  call.Load(0, points);
  EXPECT_EQ(call.Fit(1, 1), 0);
  EXPECT_GE(call.coefficients[0], 0.0);
}

TEST(PolynomialExport, CoincidingColumnsNeedAConditionLimit) {
  PolynomialCall call;
  call.Load(2, TreloarCurves()[2]);
  EXPECT_EQ(call.Fit(1, 1, 1e8), 0);
  ExpectNear(call.coefficients[0], call.coefficients[1], 1e-8);
}

TEST(PolynomialExport, NothingToFitSpeaksThroughTheFactorisation) {
  PolynomialCall call;
  call.use[0] = 1;
  EXPECT_THROW(call.Fit(2, 1), int);
  EXPECT_EQ(Values(call.coefficients), (std::vector<double>(5, 0.0)));
  call.Load(0, UniaxialMooneyRivlin());
  EXPECT_EQ(call.Fit(0, 1), 0);  // order 0: nothing to fit, nothing wrong
  EXPECT_TRUE(call.coefficients.IsEmpty());
  EXPECT_EQ(call.out[0][3].second, 0.0);
}

struct OgdenCall : ModeCurves {
  std::int32_t Fit(int terms, int method) {
    return CurveFitting4Ogden(in[0], in[1], in[2], in[3], use[0], use[1], use[2], use[3], terms, method, coefficients,
                              out[0], out[1], out[2], out[3], 0.0, 1.0);
  }
  std::int32_t Evaluate(int terms, double lower = 0.0, double upper = 1.0) {
    return ComputeStress4Ogden(in[0], in[1], in[2], in[3], terms, coefficients, out[0], out[1], out[2], out[3], lower,
                               upper);
  }
};

TEST(OgdenExport, APlantedTermComesBack) {
  for (const int method : {1, 0}) {
    OgdenCall call;
    call.Load(0, std::vector<_T_FUNT_BASE>{{-0.3, 0}, {0.2, 0}, {0.6, 0}, {1.5, 0}});
    for (std::int64_t i = 0; i < 4; ++i) {
      const double stretch = 1.0 + call.in[0][i].first;
      call.in[0][i].second = 0.6 * (std::pow(stretch, 1.7) - std::pow(stretch, -2.35));
    }
    EXPECT_EQ(call.Fit(1, method), 0);
    ExpectNear(call.coefficients[0], 0.6, 1e-6);
    ExpectNear(call.coefficients[1], 2.7, 1e-6);
    for (std::int64_t i = 0; i < 4; ++i) ExpectNear(call.out[0][i].second, call.in[0][i].second, 1e-6);
  }
}

// Every choice of modes, terms and residuals comes to an end, with a status or the factorisation's complaint.
TEST(OgdenExport, EveryCombinationEnds) {
  for (int modes = 1; modes < 8; ++modes) {
    for (int terms = 1; terms <= 4; ++terms) {
      for (const int method : {1, 0}) {
        OgdenCall call;
        call.LoadTreloar();
        for (int m = 0; m < 3; ++m) call.use[m] = modes >> m & 1;
        try {
          const std::int32_t status = call.Fit(terms, method);
          EXPECT_TRUE(status == 0 || status == -1);
          EXPECT_EQ(call.coefficients.GetSize(), 2 * terms);
          EXPECT_FALSE(modes == 4 && terms > 1) << "pure shear alone, terms " << terms;
        } catch (int info) {
          // Pure shear alone: the start's exponents 2 and -2 have opposite columns.
          EXPECT_EQ(modes, 4) << "terms " << terms;
          EXPECT_EQ(info, 2);
        }
      }
    }
  }
}

/// What a call throws, or 0.
int Thrown(OgdenCall& call, int terms, int method) {
  try {
    call.Fit(terms, method);
    return 0;
  } catch (int info) {
    return info;
  }
}

TEST(OgdenExport, PlanarDataAloneThrowTheNumberOfTheSecondTerm) {
  std::mt19937 random(20);
  const auto draw = [&](double from, double to) { return std::uniform_real_distribution<double>(from, to)(random); };
  for (int trial = 0; trial < 150; ++trial) {
    OgdenCall call;
    for (const int mode : {2, 3}) {
      std::vector<_T_FUNT_BASE> curve;
      const double modulus = std::pow(10.0, draw(-6.0, 6.0)), bend = draw(-0.3, 0.5), step = draw(0.02, 0.4);
      for (int i = 1; i <= 15; ++i) {
        const double strain = step * (i + draw(-0.4, 0.4));
        curve.emplace_back(strain, modulus * strain / (1.0 + 0.5 * strain) * (1.0 + bend * std::sin(strain)));
      }
      call.Load(mode, curve);
    }
    if (trial % 3 < 2) call.use[2 + trial % 3] = 0;
    for (int terms = 2; terms <= 4; ++terms) {
      for (const int method : {1, 0}) EXPECT_EQ(Thrown(call, terms, method), 2) << trial << ' ' << terms;
    }
  }
}

TEST(OgdenExport, SimpleShearOrdinateIsTheStressAlongTheGreatestStretch) {
  OgdenCall call;
  call.Load(3, std::vector<_T_FUNT_BASE>{{0.5, 1.0}, {2.0, 1.0}});
  Fill(call.coefficients, {1.0, 2.0});
  EXPECT_EQ(call.Evaluate(1), 0);
  EXPECT_NEAR(call.out[3][0].second, 0.8048059, 1e-7);
  // The shear stress of this neo-Hooke material is the shear strain; 1 + lambda^-2 leads from one to the other.
  for (std::int64_t i = 0; i < 2; ++i) {
    const double shear = call.in[3][i].first;
    const double stretch = std::sqrt(1.0 + shear * shear / 2.0 + shear * std::sqrt(1.0 + shear * shear / 4.0));
    ExpectNear(call.out[3][i].second / (1.0 + std::pow(stretch, -2)), shear, Tolerance::Rounding);
  }
  // In pure shear the same formula is the nominal stress itself; empty curves take the grid from zero.
  for (std::int64_t i = 0; i < 50; ++i) {
    const double stretch = 1.0 + call.out[2][i].first;
    ExpectNear(call.out[2][i].second, stretch - std::pow(stretch, -3), Tolerance::Rounding);
  }
}

TEST(OgdenExport, NothingOrTooLittleToFitSpeaksThroughTheFactorisation) {
  OgdenCall call;
  call.use[0] = 1;
  EXPECT_EQ(Thrown(call, 1, 1), 1);  // a curve without points
  call.Load(0, std::vector<_T_FUNT_BASE>{{0.5, 1.0}, {1.0, 0.0}});
  EXPECT_EQ(Thrown(call, 2, 1), 2);  // one kept point, two moduli
  call.Load(0, std::vector<_T_FUNT_BASE>{{0.5, 1.0}, {1.0, 1.4}, {1.5, 1.7}});
  EXPECT_EQ(Thrown(call, 4, 0), 4);
}

struct BlatzKoCall {
  Point3Array in[4];
  PointArray out[4];
  int use[4] = {0, 0, 0, 0};
  DoubleArray coefficient;

  void Load(int mode, const std::vector<_T_FUNT_BASE3>& points) {
    for (const _T_FUNT_BASE3& point : points) in[mode].Add(point);
    out[mode].SetSize(in[mode].GetSize());
    use[mode] = 1;
  }
  std::int32_t Fit(double lateralValue, int method, double conditionLimit = 0.0) {
    return CurveFitting4BlatzKo(in[0], in[1], in[2], in[3], use[0], use[1], use[2], use[3], lateralValue, method,
                                conditionLimit, coefficient, out[0], out[1], out[2], out[3], 0.0, 1.0);
  }
  std::int32_t Evaluate(double lateralValue, double lower = 0.0, double upper = 1.0) {
    return ComputeStress4BlatzKo(in[0], in[1], in[2], in[3], lateralValue, coefficient, out[0], out[1], out[2], out[3],
                                 lower, upper);
  }
};

/// Stress of unit modulus; lateral stretch lambda^exponent.
struct Mode {
  double lateralExponent;  // of a lateral face free of stress
  double (*stress)(double stretch, double lateral);
};
const Mode kModes[] = {
    {-0.25, [](double stretch, double lateral) { return lateral * lateral - std::pow(stretch, -3); }},
    {-2.0 / 3.0, [](double stretch, double lateral) { return stretch * lateral - std::pow(stretch, -3); }},
    {-1.0 / 3.0, [](double stretch, double lateral) { return lateral - std::pow(stretch, -3); }},
};

/// All four modes of a foam with the given modulus, with its own lateral strains.
void LoadFoam(BlatzKoCall& call, double modulus) {
  for (int m = 0; m < 3; ++m) {
    std::vector<_T_FUNT_BASE3> points;
    for (const double stretch : {0.8, 1.2, 1.5, 2.0}) {
      const double lateral = std::pow(stretch, kModes[m].lateralExponent);
      points.emplace_back(stretch - 1.0, lateral - 1.0, modulus * kModes[m].stress(stretch, lateral));
    }
    call.Load(m, points);
  }
  call.Load(3, {{0.5, 0.0, 0.5 * modulus}, {1.0, 0.0, modulus}});
}

TEST(BlatzKoExport, MeasuredLateralStrainsGiveThePlantedModulus) {
  for (const int method : {1, 0, 7}) {  // any other method starts the refinement at zero
    BlatzKoCall call;
    LoadFoam(call, 0.22);
    EXPECT_EQ(call.Fit(0.0, method), 0);
    ASSERT_EQ(call.coefficient.GetSize(), 1);
    ExpectNear(call.coefficient[0], 0.22, method == 7 ? 1e-4 : Tolerance::Rounding);
    for (int m = 0; m < 4; ++m) {
      for (std::int64_t i = 0; i < call.in[m].GetSize(); ++i) {
        ExpectNear(call.out[m][i].second, call.in[m][i].third, method == 7 ? 1e-4 : Tolerance::Rounding);
      }
    }
  }
}

TEST(BlatzKoExport, LateralValueReplacesTheMeasuredStrainsByTheModesExponent) {
  BlatzKoCall call;
  LoadFoam(call, 0.22);
  Fill(call.coefficient, {2.0});
  // Any non-zero value does; how large it is does not matter. Below the negligible it counts as zero.
  for (const double lateralValue : {0.3, -7.0, 1e-17}) {
    EXPECT_EQ(call.Evaluate(lateralValue), 0);
    for (int m = 0; m < 3; ++m) {
      for (std::int64_t i = 0; i < call.in[m].GetSize(); ++i) {
        const double stretch = 1.0 + call.in[m][i].first;
        const double expected =
            lateralValue == 1e-17 ? call.in[m][i].third / 0.22 : 1.0 / stretch - std::pow(stretch, -3);
        ExpectNear(call.out[m][i].second, 2.0 * expected, Tolerance::Rounding);
      }
    }
    ExpectNear(call.out[3][0].second, 1.0, Tolerance::Rounding);
  }
}

TEST(BlatzKoExport, DefaultGridAlwaysTakesTheModesExponent) {
  BlatzKoCall call;
  Fill(call.coefficient, {2.0});
  EXPECT_EQ(call.Evaluate(0.0, 0.5, 2.5), 0);  // measured lateral strains asked for, but a grid has none
  for (int m = 0; m < 3; ++m) {
    ASSERT_EQ(call.out[m].GetSize(), 50);
    for (std::int64_t i = 0; i < 50; ++i) {
      const double stretch = 1.0 + static_cast<double>(i) * 2.0 / 50.0;
      EXPECT_EQ(call.out[m][i].first, static_cast<double>(i) * 2.0 / 50.0);
      ExpectNear(call.out[m][i].second, 2.0 * (1.0 / stretch - std::pow(stretch, -3)), Tolerance::Rounding);
    }
  }
}

struct VolumeCall {
  PointArray in;
  PointArray out;
  DoubleArray coefficients;

  explicit VolumeCall(std::span<const _T_FUNT_BASE> points = {}) {
    Fill(in, points);
    out.SetSize(in.GetSize());
  }
  std::int32_t Fit(int terms, int method, double conditionLimit = 0.0) {
    return CurveFitting4Volume(in, terms, method, conditionLimit, coefficients, out, 0.0, 1.0);
  }
  std::int32_t Evaluate(int terms, double lower, double upper) {
    return ComputeStress4Volume(in, terms, coefficients, out, lower, upper);
  }
};

TEST(VolumeExport, PlantedCoefficientsComeBack) {
  std::vector<_T_FUNT_BASE> points;
  for (int i = 1; i <= 10; ++i) {
    const double stretch = 1.0 - 0.01 * i;
    const double change = std::pow(stretch, 3) - 1.0;
    points.emplace_back(stretch, -2.0 * 700.0 * change - 4.0 * 9000.0 * std::pow(change, 3));
  }
  for (const int method : {0, 1}) {
    VolumeCall call(points);
    EXPECT_EQ(call.Fit(2, method), 0);
    ExpectDigits(call.coefficients[0], 700.0, 1e-9);
    ExpectDigits(call.coefficients[1], 9000.0, 1e-9);
  }
  VolumeCall unsolved(points);
  EXPECT_EQ(unsolved.Fit(2, 7), 0);  // an unknown method solves nothing
  EXPECT_EQ(Values(unsolved.coefficients), (std::vector<double>{0.0, 0.0}));
}

TEST(VolumeExport, DefaultGridSwapsReciprocalBoundsAndStartsAtZero) {
  VolumeCall call;
  Fill(call.coefficients, {10.0});
  EXPECT_EQ(call.Evaluate(1, 0.0, 1.0), 0);
  ASSERT_EQ(call.out.GetSize(), 50);
  for (std::int64_t i = 0; i < 50; ++i) {
    const double stretch = 0.01 * static_cast<double>(i);  // (1/(0 + 1) - 1/(1 + 1)) / 50
    ExpectNear(call.out[i].first, stretch, 1e-15);
    ExpectNear(call.out[i].second, -20.0 * (std::pow(stretch, 3) - 1.0), Tolerance::Rounding);
  }
}

TEST(VolumeExport, NothingToFitGivesZeros) {
  VolumeCall empty;
  EXPECT_EQ(empty.Fit(2, 1), 0);
  EXPECT_EQ(Values(empty.coefficients), (std::vector<double>{0.0, 0.0}));
  EXPECT_EQ(empty.out.GetSize(), 50);
  EXPECT_EQ(empty.out[7].second, 0.0);
  VolumeCall undeformed(std::vector<_T_FUNT_BASE>{{1.0, 3.0}});
  EXPECT_EQ(undeformed.Fit(1, 1, 1e8), 0);  // a zero row; the limit drops the zero singular value
  EXPECT_EQ(undeformed.coefficients[0], 0.0);
  VolumeCall none(std::vector<_T_FUNT_BASE>{{0.9, 3.0}});
  EXPECT_EQ(none.Fit(0, 1), 0);
  EXPECT_TRUE(none.coefficients.IsEmpty());
}

}  // namespace
}  // namespace Xem::Testing
