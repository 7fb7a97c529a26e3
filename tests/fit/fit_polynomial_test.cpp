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
  data.uniaxial = MooneyRivlinCurve();
  Fit::Options plain;
  plain.engine = Fit::Engine::Export;
  plain.held["C10"] = 1.0;
  EXPECT_THROW(Fit::FitPolynomial(data, 1, plain), Fit::Error);
  data.uniaxial.y.pop_back();
  EXPECT_THROW(Fit::FitPolynomial(data, 1), Fit::Error);
}

}  // namespace
}  // namespace Xem::Testing
