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

struct TableRow {
  int degrees;
  double quantiles[5];  // at 0.75, 0.95, 0.975, 0.995, 0.9995
};

// As printed in tables such as Abramowitz and Stegun 1964, 26.10, whose head counts both tails.
constexpr TableRow kTable[] = {
    {1, {1.000, 6.314, 12.706, 63.657, 636.619}}, {2, {0.816, 2.920, 4.303, 9.925, 31.598}},
    {3, {0.765, 2.353, 3.182, 5.841, 12.924}},    {4, {0.741, 2.132, 2.776, 4.604, 8.610}},
    {5, {0.727, 2.015, 2.571, 4.032, 6.869}},     {10, {0.700, 1.812, 2.228, 3.169, 4.587}},
    {20, {0.687, 1.725, 2.086, 2.845, 3.850}},    {30, {0.683, 1.697, 2.042, 2.750, 3.646}},
    {60, {0.679, 1.671, 2.000, 2.660, 3.460}},    {120, {0.677, 1.658, 1.980, 2.617, 3.373}},
};

TEST(Student, AgreesWithThePublishedTable) {
  constexpr double kTableLevels[] = {0.75, 0.95, 0.975, 0.995, 0.9995};
  for (const TableRow& row : kTable) {
    // 31.598 is as printed; 31.599 is nearer.
    for (int i = 0; i < 5; ++i) {
      EXPECT_NEAR(StudentQuantile(kTableLevels[i], row.degrees), row.quantiles[i], 1.2e-3) << row.degrees;
    }
  }
}

TEST(Student, AgreesWithClosedFormsForFewDegreesOfFreedom) {
  for (const double p : kLevels) {
    const double middle = p - 0.5;
    ExpectRelative(StudentQuantile(p, 1), std::tan(std::numbers::pi * middle), 1e-12, 1, p);
    ExpectRelative(StudentQuantile(p, 2), middle * std::sqrt(2.0 / (p * (1.0 - p))), 1e-13, 2, p);
  }
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
