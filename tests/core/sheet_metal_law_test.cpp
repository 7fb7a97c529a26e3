#include <boost/make_shared.hpp>
#include <functional>
#include <limits>

#include "sheetmetal/forming_limit.h"
#include "sheetmetal/hardening_rule.h"
#include "sheetmetal/params.h"
#include "sheetmetal/table.h"
#include "sheetmetal/yield_criterion.h"
#include "support/gradients.h"
#include "support/near.h"

namespace Xem::Testing {
namespace {

using namespace MaterialUtil::SheetMetalForming;
using Points = std::vector<_T_FUNT_BASE>;

constexpr double kNotANumber = std::numeric_limits<double>::quiet_NaN();

double Difference(const std::function<double(double)>& function, double at, double step) {
  return (function(at + step) - function(at - step)) / (2.0 * step);
}

// --- Yield criteria -------------------------------------------------------------------------------------------------

struct YieldCase {
  const char* name;
  boost::shared_ptr<XemSMYieldCriterion> criterion;
  /// Equivalent stress of two principal stresses, written down independently of the class.
  std::function<double(double, double)> equivalent;
};

YieldCase Hill(double r, double m) {
  const std::vector<double> values{r, m};
  return {"Hill 1979", MakeYieldCriterion(MakeYieldParams(101, values)), [r, m](double s1, double s2) {
            const double sum = (2.0 * r + 1.0) * std::pow(std::abs(s1 - s2), m) + std::pow(std::abs(s1 + s2), m);
            return std::pow(sum / (2.0 * (r + 1.0)), 1.0 / m);
          }};
}

YieldCase VonMises() {
  return {"von Mises", MakeYieldCriterion(MakeYieldParams(100, {})),
          [](double s1, double s2) { return std::sqrt(s1 * s1 - s1 * s2 + s2 * s2); }};
}

TEST(YieldCriteria, RatiosFollowTheNormalOfTheYieldLocus) {
  for (const auto& [name, criterion, equivalent] :
       {VonMises(), Hill(1.0, 2.0), Hill(2.275, 2.5), Hill(0.57, 1.8), Hill(1.4, 4.0)}) {
    // Towards equibiaxial stress the slope of the sharper criteria grows beyond what differences can show.
    for (double alpha = 0.05; alpha < 0.91; alpha += 0.05) {
      const double d1 = Difference([&, &of = equivalent](double s) { return of(s, alpha); }, 1.0, 1e-6);
      const double d2 = Difference([&, &of = equivalent](double s) { return of(1.0, s); }, alpha, 1e-6);
      ExpectNear(criterion->StrainRatio(alpha), d2 / d1, Tolerance::Derivative, name);
      ExpectNear(criterion->StressRatio(criterion->StrainRatio(alpha)), alpha, Tolerance::Rounding, name);
      ExpectNear(criterion->StressFactor(alpha), 1.0 / equivalent(1.0, alpha), Tolerance::Rounding, name);
      const double factorByAlpha = Difference([&on = *criterion](double a) { return on.StressFactor(a); }, alpha, 1e-6);
      const double betaByAlpha = Difference([&on = *criterion](double a) { return on.StrainRatio(a); }, alpha, 1e-6);
      ExpectNear(criterion->StressFactorSlope(alpha), factorByAlpha / betaByAlpha, Tolerance::Derivative, name);
    }
  }
}

// --- Hardening rules ------------------------------------------------------------------------------------------------

TEST(HardeningRules, RulesWithoutRateTableIgnoreTheRate) {
  const std::vector<double> constants{500.0, 0.0, 0.2, 0.0};
  const Points table{{0.0, 200.0}, {1.0, 400.0}};
  for (const auto& params :
       {MakeHardeningParams(200, constants), MakeHardeningParams(201, constants), MakeHardeningParams(298, table)}) {
    const auto rule = MakeHardeningRule(params);
    EXPECT_EQ(rule->FlowStress(0.1, 100.0), rule->FlowStress(0.1));
    EXPECT_EQ(rule->RateDerivative(0.1, 100.0), 1.0);
  }
  EXPECT_EQ(MakeHardeningRule(MakeHardeningParams(200, constants))->FlowStress(0.1), 500.0 * std::pow(0.1, 0.2));
}

TEST(HardeningRules, ConcavityIsClaimedOnlyWhereTheCurveFlattens) {
  const auto concaveFrom = [](std::int32_t code, std::vector<double> constants, double strain) {
    return MakeHardeningRule(MakeHardeningParams(code, constants))->IsConcaveFrom(strain);
  };
  EXPECT_TRUE(concaveFrom(200, {500.0, 0.01, 0.2, 30.0}, 0.1));
  EXPECT_FALSE(concaveFrom(200, {500.0, 0.01, 1.2, 0.0}, 0.1));
  EXPECT_FALSE(concaveFrom(200, {500.0, -0.2, 0.2, 0.0}, 0.1));
  EXPECT_TRUE(concaveFrom(201, {120.0, 555.5, 1.1, 0.5}, 0.01));
  EXPECT_FALSE(concaveFrom(201, {500.0, 400.0, 1.1, 0.5}, 0.01));
  // S-shaped: the slope of this one rises until (0.875 / (56.2 * 1.875))^(1 / 1.875) = 0.0777.
  EXPECT_FALSE(concaveFrom(201, {343.2, 499.2, 56.2, 1.875}, 0.077));
  EXPECT_TRUE(concaveFrom(201, {343.2, 499.2, 56.2, 1.875}, 0.079));
  const Points table{{0.0, 100.0}, {0.5, 120.0}, {1.0, 200.0}};
  const auto rule = MakeHardeningRule(MakeHardeningParams(298, table));
  EXPECT_FALSE(rule->IsConcaveFrom(0.7));
  EXPECT_TRUE(rule->IsConcaveFrom(1.01));
}

// --- Tables ---------------------------------------------------------------------------------------------------------

TEST(Table, DisorderNeverReadsOutside) {
  // Exactly sized storage, so that the sanitizers see a step over either end.
  const std::vector<Points> disorders{{{1.0, 1.0}, {0.0, 2.0}},
                                      {{0.0, 1.0}, {0.0, 2.0}, {0.0, 3.0}},
                                      {{3.0, 1.0}, {2.0, 2.0}, {1.0, 3.0}, {0.0, 4.0}},
                                      {{0.0, 1.0}, {kNotANumber, 2.0}, {1.0, 3.0}},
                                      {{kNotANumber, 1.0}, {1.0, 2.0}, {kNotANumber, 3.0}}};
  for (Points table : disorders) {
    table.shrink_to_fit();
    for (const double q : {-1.0, 0.0, 0.5, 1.0, 2.5, 9.0, kNotANumber, HUGE_VAL, -HUGE_VAL}) {
      TableValue(table, q);
      TableSlope(table, q);
    }
  }
}

// --- Paths ----------------------------------------------------------------------------------------------------------

XemFLCMMFC March(double delta, double tol, const boost::shared_ptr<YieldParams>& yield,
                 const boost::shared_ptr<HardeningParams>& hardening, std::int32_t count = 11) {
  return {boost::make_shared<FLCMMFCParams>(count, delta, tol), hardening, yield};
}

const std::vector<double> kSteel{518.968, 0.0007648, 0.28985, 0.0};

TEST(Paths, ThoseThatCannotEndAreGivenUp) {
  const std::vector<double> hillSharp{2.0, 2.5}, hillBlunt{2.0, 1.8}, notANumber{kNotANumber, 0.1, 0.2, 0.0};
  const auto steel = MakeHardeningParams(200, kSteel);
  const auto aluminium = MakeHardeningParams(201, std::vector<double>{120.0, 555.5, 1.106, 0.5232});
  const Points twoPoints{{0.0, 100.0}, {0.5, 300.0}};
  const auto vonMises = MakeYieldParams(100, {});
  struct Case {
    const char* name;
    XemFLCMMFC curve;
    double alpha;
  };
  const Case cases[] = {
      {"infinite slope", March(1e-4, 0.01, MakeYieldParams(101, hillSharp), steel), 1.0},
      {"slope zero", March(1e-4, 0.01, MakeYieldParams(101, hillBlunt), steel), 1.0},
      {"no increment", March(0.0, 0.01, vonMises, steel), 0.2},
      {"backwards", March(-1e-4, 0.01, vonMises, steel), 0.2},
      {"increment not a number", March(kNotANumber, 0.01, vonMises, steel), 0.2},
      {"stress not a number", March(1e-4, 0.01, vonMises, MakeHardeningParams(200, notANumber)), 0.2},
      {"jumped to negative stress, power law", March(1.0, 1e-3, vonMises, steel), 0.2},
      {"jumped to negative stress, saturating law", March(0.1, 1e-3, vonMises, aluminium), 0.2},
      {"jumped to negative stress, table", March(0.5, 1e-3, vonMises, MakeHardeningParams(298, twoPoints)), 0.2},
  };
  for (const Case& c : cases) EXPECT_EQ(c.curve.March(c.alpha).end, PathEnd::Never) << c.name;
}

TEST(Paths, EndWhateverTheNumberOfTheirStepsBeforeAMajorStrainOf20) {
  const auto vonMises = MakeYieldParams(100, {});
  const Points straight{{0.0, 100.0}, {1.0, 220.0}};
  const auto line = [&](double delta) {  // ends soon after its first turn, beta starting at -1/3
    return March(delta, 0.333, vonMises, MakeHardeningParams(298, straight)).March(0.2);
  };
  const StrainPath fine = line(6e-9), coarse = line(1e-5);
  EXPECT_EQ(fine.end, PathEnd::Reached);
  EXPECT_GT(fine.major / 6e-9, 2.1e7);
  EXPECT_NEAR(fine.major, coarse.major, 1e-3);

  // Limits grow with the exponent of a power law, up to 20.
  const auto power = [&](double exponent) {
    const std::vector<double> constants{1.0, 0.0, exponent, 0.0};
    return March(1e-3, 0.03, vonMises, MakeHardeningParams(200, constants)).March(0.2);
  };
  double most = 0.0;
  for (double exponent = 1.0; exponent < 20.0; exponent += 0.25) {
    const StrainPath path = power(exponent);
    if (path.end == PathEnd::Reached) most = path.major;
  }
  EXPECT_NEAR(most, 20.0, 0.5);
  EXPECT_EQ(power(20.0).end, PathEnd::Never);
  EXPECT_NEAR(power(20.0).major, 20.0, 1e-3);
}

TEST(Paths, InPlaneStrainAreSkippedAndThoseWithoutStressAtFirstGoOn) {
  const auto curve = March(1e-9, 0.01, MakeYieldParams(100, {}), MakeHardeningParams(200, kSteel));
  EXPECT_EQ(curve.March(0.5).end, PathEnd::PlaneStrainFromTheStart);
  // Negative stress strains until the offset is overcome: not a number at first, but not for ever.
  const std::vector<double> late{500.0, -0.05, 0.2, 0.0};
  const auto patient = March(1e-4, 0.01, MakeYieldParams(100, {}), MakeHardeningParams(200, late));
  EXPECT_EQ(patient.March(0.2).end, PathEnd::Reached);
  const Points gap{{0.0, kNotANumber}, {0.02, kNotANumber}, {0.04, 300.0},
                   {0.3, 420.0},       {25.0, 500.0},       {30.0, kNotANumber}};
  EXPECT_EQ(March(1e-4, 0.01, MakeYieldParams(100, {}), MakeHardeningParams(298, gap)).March(0.2).end,
            PathEnd::Reached);
}

}  // namespace
}  // namespace Xem::Testing
