#include <limits>

#include "dynamic/ghe_fit.h"
#include "dynamic/stiffness_damping_law.h"
#include "solver/linalg/numbers.h"
#include "support/gradients.h"
#include "support/near.h"
#include "xem/array.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(IntegerOption, TruncatesTowardsZeroAndStaysDefined) {
  const std::pair<double, std::int32_t> cases[] = {{1.9, 1},
                                                   {-1.9, -1},
                                                   {0.9, 0},
                                                   {-0.9, 0},
                                                   {2147483647.5, INT32_MAX},
                                                   {1e300, INT32_MAX},
                                                   {kInfinity, INT32_MAX},
                                                   {-kInfinity, INT32_MIN},
                                                   {kNan, INT32_MIN},
                                                   {-2147483648.5, INT32_MIN}};
  for (const auto& [given, expected] : cases) EXPECT_EQ(TruncateToInt(given), expected) << given;
}

/// Strain over reference strain, damping, and its derivative times the reference strain; computed with 60 digits.
struct DampingReference {
  double strain;
  double damping;
  double slope;
};

TEST(HyperbolicDamping, KeepsItsDigitsAtSmallAndLargeStrains) {
  for (const DampingReference& c : {DampingReference{1e-8, 2.1220658972816085e-09, -2.1220658866712788e-09},
                                    {0.01, 0.0021115188189254949, -0.0021010345521144239},
                                    {1.9, 0.21773414197214089, -0.12428083234726035},
                                    {2.1, 0.230295673720669, -0.12667395474747672},
                                    {1e6, 0.63660345513388927, -1.5044011737786141e-05}}) {
    const ComparedPoint point = HyperbolicDamping({.referenceStrain = 3e-4}, c.strain * 3e-4, 0.0);
    ExpectDigits(point.predicted, c.damping, Tolerance::Rounding);
    ExpectDigits(point.byReferenceStrain * 3e-4, c.slope, Tolerance::Rounding);
  }
}

TEST(PowerLaw, RatioInvertsTheStrainOfARatio) {
  for (const double exponent : {0.05, 0.7, 1.3, 4.0, 60.0}) {
    for (const double ratio : {1e-6, 0.02, 0.3, 0.5, 0.77, 0.999}) {
      const CyclicParameters parameters{.referenceStrain = 4e-4, .exponent = exponent};
      const double strain = 2e-4 / ratio * std::pow(1.0 / ratio - 1.0, 1.0 / exponent);
      ExpectDigits(StiffnessRatioAt(DynamicFamily::PowerLaw, parameters, strain), ratio, Tolerance::Rounding);
      ExpectNear(DampingRatioAt(DynamicFamily::PowerLaw, parameters, strain), LargestDamping(exponent) * (1.0 - ratio),
                 Tolerance::Rounding);
    }
  }
}

TEST(PowerLaw, DrawnCurvesFallBackWhereNoRatioIsFound) {
  const CyclicParameters parameters{.referenceStrain = kNan, .exponent = 1.2};
  EXPECT_EQ(StiffnessRatioAt(DynamicFamily::PowerLaw, parameters, 1e-3), 0.5);
  EXPECT_TRUE(std::isnan(DampingRatioAt(DynamicFamily::PowerLaw, parameters, 1e-3)));
  // R (1 + (k R)^a) = 1 with a = -3, k = 0.5 has no solution: the damping of R = 0.1 is drawn.
  const CyclicParameters unsolvable{.referenceStrain = 2.0, .exponent = -3.0};
  EXPECT_EQ(StiffnessRatioAt(DynamicFamily::PowerLaw, unsolvable, 0.5), 0.5);
  ExpectDigits(DampingRatioAt(DynamicFamily::PowerLaw, unsolvable, 0.5),
               LargestDamping(-3.0) * (1.0 - 1.0 / (1.0 + std::pow(0.05, -3.0))), Tolerance::Rounding);
}

TEST(StressForm, ReadsTheRatioFromTheStiffnessCurve) {
  const std::vector<_T_FUNT_BASE> curve{{1e-4, 0.9}, {3e-4, 0.5}, {1e-3, 0.2}};
  ExpectDigits(NormalisedStressAt(curve, 2e-4), 0.7 * 2e-4, Tolerance::Rounding);
  ExpectDigits(NormalisedStressAt(curve, 3e-4), 0.5 * 3e-4, Tolerance::Rounding);
  ExpectDigits(NormalisedStressAt(curve, 1e-5), 0.9 * 1e-4, Tolerance::Rounding);  // the first point's own stress
  ExpectDigits(NormalisedStressAt(curve, 5e-3), 0.2 * 1e-3, Tolerance::Rounding);  // the last point's
  // A later pair encloses a strain below the first one: the pair wins.
  const std::vector<_T_FUNT_BASE> unsorted{{3e-4, 0.5}, {1e-3, 0.2}, {1e-4, 0.9}};
  ExpectDigits(NormalisedStressAt(unsorted, 2e-4), (0.2 + 0.7 / -9e-4 * (2e-4 - 1e-3)) * 2e-4, Tolerance::Rounding);
  EXPECT_THROW(NormalisedStressAt({}, 1e-4), CInvalidArgException);
}

TEST(StrainGrid, HasTwoSignificantDigits) {
  std::vector<_T_FUNT_BASE> grid(15, {7.0, 7.0});
  FillStrainGrid(grid);
  const double decades[] = {1e-7, 1e-6, 1e-5, 1e-4, 1e-3, 1e-2, 1e-1, 1.0};
  for (std::size_t i = 0; i < 15; ++i) {
    ExpectDigits(grid[i].first, decades[i / 2] * (i % 2 == 0 ? 1.0 : 3.2), Tolerance::Rounding);
    EXPECT_EQ(grid[i].second, 0.0);
  }
  std::vector<_T_FUNT_BASE> single(1);
  FillStrainGrid(single);
  ExpectDigits(single[0].first, 1e-7, Tolerance::Rounding);
}

TEST(Ghe, ConstraintsMoveFreeEntriesOnly) {
  const double apart = 1.0 - 1e-6;
  struct Case {
    const char* name;
    GheParameters given;
    std::vector<std::int32_t> mask;
    GheParameters expected;
  };
  const std::vector<std::int32_t> free(6, 0);
  const std::vector<Case> cases{
      {"inside", kGheDefaults, free, kGheDefaults},
      {"signs and bounds", {-2.0, -1e-4, 0.5, 2e3, 0.0, -7.0}, free, {2.0, 1e-3, 0.5, 1e3, 1e-3, 7.0}},
      {"held", {-2.0, 0.1, 0.5, 2.0, 2e9, -7.0}, {1, 0, 0, 0, 1, 1}, {-2.0, 0.1, 0.5, 2.0, 2e9, -7.0}},
      {"constant C1 and C2", {0.5, 0.5, 2.0, 2.0, 1.0, 1.0}, free, {0.5, 0.5 * apart, 2.0, 2.0 * apart, 1.0, 1.0}},
      {"far end held", {0.5, 0.5, 2.0, 2.0, 1.0, 1.0}, {0, 1, 0, 1, 0, 0}, {0.5 / apart, 0.5, 2.0 / apart, 2.0, 1, 1}},
      {"both held", {0.5, 0.5, 2.0, 2.0, 1.0, 1.0}, {1, 1, 1, 1, 0, 0}, {0.5, 0.5, 2.0, 2.0, 1.0, 1.0}}};
  for (const Case& c : cases) {
    GheParameters moved = c.given;
    EXPECT_EQ(ConstrainGhe(moved, c.mask), c.given != c.expected) << c.name;
    EXPECT_EQ(moved, c.expected) << c.name;
  }
}

TEST(Ghe, DampingConstraintsMoveFreeEntriesOnly) {
  std::vector<double> parameters{3.0, -1.0};
  EXPECT_TRUE(ConstrainGheDamping(parameters, std::vector<std::int32_t>{0, 0}));
  EXPECT_EQ(parameters, (std::vector<double>{1.0, 0.01}));
  parameters = {3.0, 20.0};
  EXPECT_TRUE(ConstrainGheDamping(parameters, std::vector<std::int32_t>{1, 0}));
  EXPECT_EQ(parameters, (std::vector<double>{3.0, 10.0}));
  EXPECT_FALSE(ConstrainGheDamping(parameters, std::vector<std::int32_t>{1, 0}));
}

TEST(Ghe, StiffnessOutsideTheCurveIsThatOfTheNearerEnd) {
  const StiffnessSource source(std::vector<_T_FUNT_BASE>{{1e-4, 0.9}, {3e-4, 0.0}, {1e-3, 0.4}});
  ExpectDigits(source.At(5.5e-4), 0.65, Tolerance::Rounding);  // the zero ordinate does not count
  EXPECT_EQ(source.At(1e-6), 0.9);
  EXPECT_EQ(source.At(1.0), 0.4);
  EXPECT_EQ(StiffnessSource(std::vector<_T_FUNT_BASE>{}).At(1e-3), 1.0);
}

}  // namespace
}  // namespace Xem::Testing
