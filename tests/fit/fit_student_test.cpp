#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

#include "fit/student.h"

// Quantiles of Student's t against published tables, closed forms, the finite sums of the probability, and the
// expansion for many degrees of freedom.
namespace Xem::Testing {
namespace {

using Fit::StudentQuantile;

constexpr double kLevels[] = {0.5000001, 0.51, 0.6, 0.7, 0.7499, 0.75, 0.7501, 0.85, 0.9, 0.95, 0.975, 0.995, 0.9999};

void ExpectRelative(double value, double truth, double tolerance, int degrees, double level) {
  EXPECT_NEAR(value / truth, 1.0, tolerance) << degrees << " degrees of freedom, " << level;
}

/// P(|T| < t) for any whole number of degrees (Abramowitz and Stegun 1964, 26.7.3 and 26.7.4).
double FiniteSum(double t, int degrees) {
  const double angle = std::atan(t / std::sqrt(degrees));
  const double cosine = std::cos(angle);
  const bool odd = degrees % 2 == 1;
  double term = odd ? cosine : 1.0;
  double sum = 0.0;
  for (int k = odd ? 1 : 0; k <= degrees - 2; k += 2) {
    sum += term;
    term *= (k + 1.0) / (k + 2.0) * cosine * cosine;
  }
  return odd ? 2.0 / std::numbers::pi * (angle + std::sin(angle) * sum) : std::sin(angle) * sum;
}

TEST(Student, GivesTheProbabilityBack) {
  for (int degrees = 1; degrees <= 300; ++degrees) {
    for (const double p : kLevels) {
      EXPECT_NEAR(FiniteSum(StudentQuantile(p, degrees), degrees), 2.0 * (p - 0.5), 2e-14) << degrees << ' ' << p;
    }
  }
}

TEST(Student, TendsToTheNormalDistribution) {
  struct Normal {
    double level, quantile;
  };
  // The first three terms of the expansion in 1/n (Fisher 1926); what follows is below 1e-13.
  for (const auto& [p, z] :
       {Normal{0.75, 0.6744897501960817}, Normal{0.975, 1.959963984540054}, Normal{0.9999, 3.719016485455709}}) {
    for (const int n : {20000, 100000, 1000000}) {
      const double z2 = z * z;
      const double expansion = z * (1.0 + (z2 + 1.0) / (4.0 * n) + ((5.0 * z2 + 16.0) * z2 + 3.0) / (96.0 * n) / n +
                                    (((3.0 * z2 + 19.0) * z2 + 17.0) * z2 - 15.0) / (384.0 * n) / n / n);
      ExpectRelative(StudentQuantile(p, n), expansion, 1e-12, n, p);
    }
  }
}

TEST(Student, KnowsItsLimits) {
  EXPECT_EQ(StudentQuantile(0.5, 3), 0.0);
  for (const double p : {0.4999, 1.0, std::numeric_limits<double>::quiet_NaN()}) {
    EXPECT_TRUE(std::isnan(StudentQuantile(p, 3))) << p;
  }
  EXPECT_TRUE(std::isnan(StudentQuantile(0.975, 0)));
}

}  // namespace
}  // namespace Xem::Testing
