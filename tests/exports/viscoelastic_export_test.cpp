#include <limits>
#include <random>

#include "support/curves.h"
#include "support/near.h"
#include "xem/material_util.h"

namespace Xem::Testing {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// Status of a relaxation fit.
int Relax(const std::vector<_T_FUNT_BASE>& points, int terms, int variant, DoubleArray& result) {
  PointArray curve;
  Fill(curve, points);
  return CurveFitting4Relaxation(curve, terms, variant, result);
}

TEST(Relaxation, FindsPlantedTermsInTheOrderOfTheirTimes) {
  std::vector<_T_FUNT_BASE> points;
  for (int i = 0; i < 30; ++i) {
    const double time = std::pow(10.0, -2.0 + 0.15 * i);
    points.emplace_back(time, 1.0 - 0.3 * (1.0 - std::exp(-time)));
  }
  DoubleArray result;
  for (const int variant : {0, 1}) {
    EXPECT_EQ(Relax(points, 1, variant, result), 0);
    ExpectAllDigits(Values(result), std::vector<double>{0.3, 1.0}, 1e-5);
  }
  EXPECT_EQ(Relax(BundledCurve("polymer_relaxation.csv", "time_s", "g"), 3, 1, result), 0);
  EXPECT_TRUE(result[3] <= result[4] && result[4] <= result[5]);
}

/// The curve before its tertiary stage.
std::vector<_T_FUNT_BASE> MetalCreep() {
  return BundledCurve("metal_creep_500MPa.csv", "time_h", "creep_strain", "primary_secondary", "1");
}

struct CreepCall {
  PointArray curve;
  DoubleArray constants;
  std::int32_t type = 0;
  double stress = 500.0;
  double primary = 2.0;
  double secondary = 3.0;
  double determination = -9.0;

  CreepCall(const std::vector<_T_FUNT_BASE>& points, std::int32_t creepType) : type(creepType) { Fill(curve, points); }
  int Fit() { return CurveFitting4Creep(curve, &type, &stress, &primary, &secondary, constants, &determination); }
};

// Regressions by another program at stress 500: an accelerating curve has log-log slope 2.42, so its amplitude becomes
// the rate; a levelling one has a negative rate. The third type is none.
TEST(Creep, TermsThatTheCurveDoesNotHaveAreLeftOut) {
  std::vector<_T_FUNT_BASE> accelerating;
  for (int i = 1; i <= 5; ++i) accelerating.emplace_back(i, std::exp(i) * 1e-3);
  struct Case {
    std::vector<_T_FUNT_BASE> points;
    int type;
    std::vector<double> constants;
    double determination;
  };
  for (const Case& c : {Case{accelerating, 2, {0, 2, 0, 0, 0.00197654178587 / 1.25e8, 3, 0}, -0.478731885265},
                        Case{{{1, 1e-3}, {2, 1.6e-3}, {4, 1.9e-3}, {8, 2e-3}},
                             2,
                             {0.00112025619446 / 2.5e5, 2, 0, 0.324792751344, 0, 3, 0},
                             0.812337893206},
                        Case{accelerating, 3, std::vector<double>(7), -9.0}}) {
    CreepCall call(c.points, c.type);
    EXPECT_EQ(call.Fit(), 0);
    ASSERT_EQ(call.constants.GetSize(), 7);
    ExpectAllDigits(Values(call.constants), c.constants, Tolerance::SixDigits);
    ExpectDigits(call.determination, c.determination, 1e-4);
  }
}

TEST(Creep, RecoversEachTermAlone) {
  std::vector<_T_FUNT_BASE> primary, secondary;
  for (int i = 1; i <= 20; ++i) {
    primary.emplace_back(i, 1e-3 * std::pow(i, 0.4));
    secondary.emplace_back(i, 2e-4 * i);
  }
  CreepCall first(primary, 0);
  first.Fit();
  ExpectDigits(first.constants[0] * 2.5e5, 1e-3, 1e-9);
  ExpectNear(first.constants[3], 0.4, Tolerance::Rounding);
  ExpectNear(first.determination, 1.0, Tolerance::Rounding);
  CreepCall second(secondary, 1);
  second.Fit();
  ExpectDigits(second.constants[4] * 1.25e8, 2e-4, 1e-9);
}

TEST(Creep, AStraightLineAlwaysLosesItsPrimaryTerm) {
  std::mt19937 random(5);
  const auto draw = [&](double from, double to) { return std::uniform_real_distribution<double>(from, to)(random); };
  for (int trial = 0; trial < 1000; ++trial) {
    const double slope = std::pow(10.0, draw(-15.0, 3.0)), longest = std::pow(10.0, draw(-6.0, 8.0));
    const int points = static_cast<int>(draw(2.0, 201.0));
    std::vector<_T_FUNT_BASE> line;
    for (int i = 1; i <= points; ++i) {
      const double part[] = {static_cast<double>(i) / points, (i + draw(-0.4, 0.4)) / points,
                             std::pow(10.0, 6.0 * (i - points) / points)};
      const double time = longest * part[trial % 3];
      line.emplace_back(time, slope * time);
    }
    CreepCall call(line, 2);
    call.Fit();
    EXPECT_EQ(call.constants[0], 0.0) << trial;
    EXPECT_EQ(call.constants[3], 0.0) << trial;
    ExpectDigits(call.constants[4] * 1.25e8, slope, 1e-9);
  }
  // A rate that is small but there: 1e-9 of the strain, and negative, ends the loop with the primary term.
  std::vector<_T_FUNT_BASE> bent;
  for (int i = 1; i <= 50; ++i) bent.emplace_back(i, 1e-3 * i * (1.0 - 2e-9 * i));
  CreepCall call(bent, 2);
  call.Fit();
  EXPECT_GT(call.constants[0], 0.0);
  EXPECT_EQ(call.constants[4], 0.0);
}

TEST(Creep, SeventhConstantKeepsWhatTheArrayHeld) {
  CreepCall call(MetalCreep(), 0);
  Fill(call.constants, {9, 9, 9, 9, 9, 9, 9, 9});
  call.Fit();
  ASSERT_EQ(call.constants.GetSize(), 7);
  EXPECT_EQ(call.constants[6], 9.0);
  EXPECT_EQ(call.constants[2], 0.0);
  Fill(call.constants, {9, 9});
  call.Fit();
  EXPECT_EQ(call.constants[6], 0.0);
}

TEST(Creep, NumbersThatAreNotFiniteAreResults) {
  auto origin = MetalCreep();
  origin[0] = {0.0, 1e-5};
  for (const auto& points :
       {std::vector<_T_FUNT_BASE>(), std::vector<_T_FUNT_BASE>{{2, 0.1}, {2, 0.2}, {2, 0.4}}, origin}) {
    CreepCall call(points, 0);
    EXPECT_EQ(call.Fit(), 0);
    EXPECT_FALSE(std::isfinite(call.constants[3]));
    CreepCall both(points, 2);
    EXPECT_EQ(both.Fit(), 0);
    EXPECT_FALSE(std::isfinite(both.constants[3]));
  }
}

TEST(CreepLevenbergMarquardt, FitsInALargeStressUnit) {
  PointArray curve;
  Fill(curve, std::span<const _T_FUNT_BASE>(MetalCreep()).subspan(1));  // the first strain is negative
  DoubleArray constants;
  Fill(constants, {5, kNaN, 5, -5, 5, 5, 5, 5, 5});  // not read; two entries beyond the law
  double determination = 0.0;
  EXPECT_EQ(CurveFitting4CreepLMMethod(curve, 77, 0.3, constants, &determination), 0);
  ASSERT_EQ(constants.GetSize(), 9);
  ExpectDigits(constants[3], 0.331216, Tolerance::SixDigits);
  EXPECT_NEAR(determination, 0.999559, 1e-6);
  EXPECT_EQ(constants[2], 0.0);
  for (const std::int64_t k : {6, 7, 8}) EXPECT_EQ(constants[k], 0.0);
  // What one curve determines: a = C1 s^C2 and b = C5 s^C6, whatever the exponents are.
  ExpectDigits(constants[0] * std::pow(0.3, constants[1]), 9.458e-4, 1e-3);
  ExpectDigits(constants[4] * std::pow(0.3, constants[5]), 2.677e-5, 1e-3);
}

enum class Converted { Polynomial, Ogden, BlatzKo, BlatzKoFixedExponents };

struct Conversion {
  Converted material;
  std::vector<double> coefficients;
  std::vector<int> modes;
  double strain;
  double stress;
};

int Convert(const Conversion& c, const std::vector<int>& m, const PointArray& curve, double reference,
            PointArray& result) {
  DoubleArray coefficients;
  Fill(coefficients, c.coefficients);
  const auto count = static_cast<int>(c.coefficients.size());
  if (c.material == Converted::Polynomial) {
    return CurveFitting4PolyConvertRelaxation(curve, reference, m[0], m[1], m[2], m[3], count == 2 ? 1 : 2,
                                              coefficients, result);
  }
  if (c.material == Converted::Ogden) {
    return CurveFitting4OgdenConvertRelaxation(curve, reference, m[0], m[1], m[2], m[3], count / 2, coefficients,
                                               result);
  }
  return CurveFitting4BlatzKoConvertRelaxation(curve, c.material == Converted::BlatzKo ? 0.0 : 0.5, reference, m[0],
                                               m[1], m[2], m[3], coefficients, result);
}

// Stresses by hand. C10 = 0.5: lambda - lambda^-2 and its kin; Ogden mu = 1, alpha = 2 is the same material, except in
// simple shear, where its stress is that along the greatest stretch; Blatz-Ko with modulus 1.
const double kShearStretch = std::sqrt(1.125 + 0.5 * std::sqrt(1.0625));
const std::vector<Conversion> kConversions{
    {Converted::Polynomial, {0.5, 0.0}, {1, 0, 0, 0}, 0.2, 1.2 - std::pow(1.2, -2)},
    {Converted::Polynomial, {0.5, 0.0, 0.0, 0.0, 0.0}, {0, -1, 0, 0}, 0.2, 1.2 - std::pow(1.2, -5)},
    {Converted::Polynomial, {0.5, 0.0}, {0, 0, 3, 0}, 0.2, 1.2 - std::pow(1.2, -3)},
    {Converted::Polynomial, {0.5, 0.0}, {0, 0, 0, 1}, 0.5, 0.5},
    {Converted::Ogden, {1.0, 2.0}, {1, 0, 0, 0}, 0.2, 1.2 - std::pow(1.2, -2)},
    {Converted::Ogden, {0.4, 2.0, 0.6, 2.0}, {0, 1, 0, 0}, -0.2, 0.8 - std::pow(0.8, -5)},
    {Converted::Ogden, {1.0, 2.0}, {0, 0, 0, 1}, 0.5, kShearStretch - std::pow(kShearStretch, -3)},
    {Converted::BlatzKo, {1.0}, {1, 0, 0, 0}, 0.2, 1.0 - std::pow(1.2, -3)},
    {Converted::BlatzKo, {1.0}, {0, 1, 0, 0}, 0.2, 1.2 - std::pow(1.2, -3)},
    {Converted::BlatzKoFixedExponents, {1.0}, {1, 0, 0, 0}, 0.2, 1.0 / 1.2 - std::pow(1.2, -3)},
    {Converted::BlatzKoFixedExponents, {1.0}, {0, 0, 0, 1}, 0.5, 0.5},
};

TEST(ConvertRelaxation, DividesTheReferenceByTheModelStress) {
  for (std::size_t row = 0; row < kConversions.size(); ++row) {
    const Conversion& c = kConversions[row];
    PointArray curve, result;
    Fill(curve, std::vector<_T_FUNT_BASE>{{5.0, c.strain}, {1.0, 0.0}, {7.0, kNaN}, {2.0, c.strain}});
    result.SetSize(row % 2 == 0 ? 1 : 9);
    EXPECT_EQ(Convert(c, c.modes, curve, 3.0, result), 0);
    ASSERT_EQ(result.GetSize(), 4);
    ExpectDigits(result[0].second, 3.0 / c.stress, Tolerance::Rounding, std::to_string(row).c_str());
    EXPECT_EQ(result[0].first, 5.0);
    EXPECT_EQ(result[1].first, 1.0);
    EXPECT_EQ(result[1].second, 0.0);  // no strain, no stress
    EXPECT_EQ(result[2].second, 0.0);
    EXPECT_EQ(result[3].second, result[0].second);

    std::vector<int> more = c.modes;  // the first enabled mode decides alone
    std::fill(std::find_if(more.begin(), more.end(), [](int mode) { return mode != 0; }) + 1, more.end(), 1);
    PointArray again;
    Convert(c, more, curve, 3.0, again);
    EXPECT_EQ(again[0].second, result[0].second);
    Convert(c, c.modes, curve, 3.0, curve);  // in place
    EXPECT_EQ(curve[0].second, result[0].second);
  }
}

}  // namespace
}  // namespace Xem::Testing
