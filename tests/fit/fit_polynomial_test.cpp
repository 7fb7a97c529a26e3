#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/curves.h"
#include "support/fit_curves.h"
#include "support/near.h"
#include "xem/fit/hyperelastic.h"

namespace Xem::Testing {
namespace {

using Fit::Result;

/// The uniaxial neo-Hooke curve of C10 = 0.5, C01 = 0.1 at a few strains.
Fit::Curve MooneyRivlinCurve() {
  Fit::Curve curve;
  for (int i = 1; i <= 12; ++i) {
    const double stretch = 1.0 + 0.15 * i;
    curve.x.push_back(stretch - 1.0);
    curve.y.push_back(2.0 * (1.0 - std::pow(stretch, -3)) * (0.5 * stretch + 0.1));
  }
  return curve;
}

struct UncertaintyReference {
  int order;
  Fit::Residual residual;
  std::vector<double> values;
  std::vector<double> errors;
  double aicc;
};

class PolynomialUncertainty : public testing::TestWithParam<UncertaintyReference> {};

// References: general linear least squares and SSE / (m - p) (A^T A)^-1 in double precision by another program.
INSTANTIATE_TEST_SUITE_P(
    Treloar, PolynomialUncertainty,
    testing::Values(
        UncertaintyReference{
            1, Fit::Residual::Absolute, {0.26757752, -0.0018077}, {0.01192657, 0.00223619}, -42.827750224622335},
        UncertaintyReference{2,
                             Fit::Residual::Relative,
                             {1.45138057e-01, 3.24387802e-02, 1.68671509e-03, -1.86230335e-03, 9.61315565e-05},
                             {8.16023018e-03, 6.63443666e-03, 2.30342962e-04, 3.79673457e-04, 2.04916733e-05},
                             -189.79022731633387},
        UncertaintyReference{3,
                             Fit::Residual::Absolute,
                             {1.74304897e-01, 9.87115973e-03, -1.93856095e-03},
                             {7.87826894e-03, 6.90646014e-03, 2.82128630e-04},
                             -253.95294116284515}));

TEST_P(PolynomialUncertainty, AgreesWithAGeneralSolver) {
  Fit::Options options;
  options.residual = GetParam().residual;
  const Result result = Fit::FitPolynomial(TreloarData(), GetParam().order, options);
  for (std::size_t k = 0; k < GetParam().values.size(); ++k) {
    ExpectDigits(result.parameters[k].value, GetParam().values[k], 1e-4);
    ExpectDigits(result.parameters[k].standardError, GetParam().errors[k], 1e-4);
  }
  EXPECT_NEAR(result.measures.aicc, GetParam().aicc, 1e-6);
  EXPECT_EQ(result.measures.points, 53);
}

TEST(FitPolynomial, HeldCoefficientsStayAndTheOthersMinimiseWithThem) {
  Fit::Options options;
  options.held["C01"] = 0.1;
  Fit::HyperelasticData data;
  data.uniaxial = MooneyRivlinCurve();
  const Result held = Fit::FitPolynomial(data, 1, options);
  EXPECT_EQ(held.Value("C01"), 0.1);
  EXPECT_TRUE(held.parameters[1].held);
  EXPECT_TRUE(std::isnan(held.parameters[1].standardError));
  ExpectNear(held.Value("C10"), 0.5, Tolerance::Rounding);

  options.held = {{"C21", 1.0}};
  EXPECT_THROW(Fit::FitPolynomial(data, 1, options), Fit::Error);
}

TEST(FitPolynomial, WeightsDecideBetweenContradictingCurves) {
  Fit::HyperelasticData data;
  data.uniaxial = MooneyRivlinCurve();
  data.equibiaxial.x = {0.2, 0.4, 0.6, 0.8};
  data.equibiaxial.y = {3.0, 5.0, 7.0, 9.0};
  data.uniaxial.weight = 1e6;
  const Result result = Fit::FitPolynomial(data, 1);
  EXPECT_GT(result.curves[0].measures.r2, 0.999999);
  EXPECT_NEAR(result.Value("C10"), 0.5, 1e-3);
  data.uniaxial.weight = 0.0;
  EXPECT_THROW(Fit::FitPolynomial(data, 1), Fit::Error);
}

TEST(FitPolynomial, PureShearAloneSaysWhatItCannotTell) {
  Fit::HyperelasticData data;
  data.pureShear = FitCurve(TreloarCurves()[2]);
  const Result result = Fit::FitPolynomial(data, 1);
  EXPECT_FALSE(result.parameters[0].identifiable);
  EXPECT_TRUE(std::isnan(result.parameters[0].standardError));
  ExpectNear(result.Value("C10"), result.Value("C01"), 1e-6);  // the smallest of all solutions
  EXPECT_FALSE(result.notes.empty());
}

TEST(FitPolynomial, DroppedPointsAreNamedByRowAndReason) {
  Fit::HyperelasticData data;
  data.uniaxial = MooneyRivlinCurve();
  data.uniaxial.y[0] = 0.0;
  data.uniaxial.y[3] = NAN;
  data.uniaxial.x[5] = -1.5;
  for (std::size_t i = 0; i < data.uniaxial.x.size(); ++i) data.uniaxial.rows.push_back(static_cast<int>(i) + 4);
  const Result result = Fit::FitPolynomial(data, 1);
  ASSERT_EQ(result.dropped.size(), 3u);
  EXPECT_EQ(result.dropped[0].row, 4);
  EXPECT_EQ(result.dropped[0].reason, "zero stress");
  EXPECT_EQ(result.dropped[1].row, 7);
  EXPECT_EQ(result.dropped[2].row, 9);
  EXPECT_EQ(result.measures.points, 9);
  ExpectNear(result.Value("C10"), 0.5, 1e-9);
}

TEST(FitPolynomial, RefusesWhatItCannotServe) {
  Fit::HyperelasticData data;
  EXPECT_THROW(Fit::FitPolynomial(data, 1), Fit::Error);
  data.uniaxial = MooneyRivlinCurve();
  EXPECT_THROW(Fit::FitPolynomial(data, 0), Fit::Error);
  EXPECT_THROW(Fit::FitPolynomial(data, -1), Fit::Error);
  Fit::Options plain;
  plain.engine = Fit::Engine::Export;
  plain.held["C10"] = 1.0;
  EXPECT_THROW(Fit::FitPolynomial(data, 1, plain), Fit::Error);
  data.uniaxial.y.pop_back();
  EXPECT_THROW(Fit::FitPolynomial(data, 1), Fit::Error);
  EXPECT_THROW(Fit::PolynomialStress("torsion", 1, {0.5, 0.1}, 0.2), Fit::Error);
  EXPECT_THROW(Fit::PolynomialStress("uniaxial", 2, {0.5, 0.1}, 0.2), Fit::Error);
}

}  // namespace
}  // namespace Xem::Testing
