#include "fit/student.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

namespace Xem::Fit {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

/// Below this probability the middle is solved for, above it the tail: each is then far from 0, where its digits are.
constexpr double kMiddle = 0.75;

/// ln c. Where z is large ln Gamma(z + 1/2) - ln Gamma(z) is ln(z)/2 and an odd series in 1/z, the difference of
/// Stirling's series (Abramowitz and Stegun 1964, 6.1.40), of which four terms are enough; z = n/2 is raised to there
/// by Gamma(z + 1) = z Gamma(z). Values of ln Gamma itself would cancel.
double LogDensityAtZero(double degrees) {
  constexpr double kLarge = 32.0;
  double z = degrees / 2.0;
  double raised = 1.0;
  while (z < kLarge) {
    raised *= z / (z + 0.5);
    z += 1.0;
  }
  const double w = 1.0 / (z * z);
  const double series = -(1.0 / 8.0 - w * (1.0 / 192.0 - w * (1.0 / 640.0 - w * (17.0 / 14336.0)))) / z;
  return std::log(raised) + 0.5 * std::log(2.0 * z / degrees) + series - 0.5 * std::log(2.0 * std::numbers::pi);
}

double LogDensity(double t, double degrees, double logAtZero) {
  return logAtZero - 0.5 * (degrees + 1.0) * std::log1p(t * t / degrees);
}

/// 1 + e_1/(1 + e_2/(1 + ...)) by Lentz's method.
double TailFraction(double t, double degrees) {
  constexpr int kMost = 100000;
  const double a = degrees / 2.0;
  const double scale = degrees / (t * t);
  double value = 1.0;
  double numerator = 1.0;
  double denominator = 0.0;
  for (int k = 1; k < kMost; ++k) {
    const double m = k / 2;
    const double e = k % 2 == 1 ? (m + 0.5) * (a + m) / ((a + 2.0 * m) * (a + 2.0 * m + 1.0)) * scale
                                : m * (a + m - 0.5) / ((a + 2.0 * m - 1.0) * (a + 2.0 * m)) * scale;
    numerator = 1.0 + e / numerator;
    denominator = 1.0 / (1.0 + e * denominator);
    const double change = numerator * denominator;
    value *= change;
    if (std::abs(change - 1.0) < kEpsilon) break;
  }
  return value;
}

/// sum_k (a + 1/2)_k / (3/2)_k y^k
double MiddleSeries(double t, double degrees) {
  const double a = degrees / 2.0;
  const double y = t * t / (degrees + t * t);
  double term = 1.0;
  double sum = 1.0;
  for (int k = 0; term > kEpsilon * sum * 0.1; ++k) {
    term *= (a + 0.5 + k) / (1.5 + k) * y;
    sum += term;
  }
  return sum;
}

/// The logarithm of a probability and its derivative with respect to ln t.
struct LogProbability {
  double value, slope;
};

/// P(|T| < t)
LogProbability Middle(double t, double degrees, double logAtZero) {
  const double sum = MiddleSeries(t, degrees);
  return {std::log(2.0 * t * sum) + LogDensity(t, degrees, logAtZero), 1.0 / sum};
}

/// P(T > t)
LogProbability Tail(double t, double degrees, double logAtZero) {
  if (t < 1.0) {
    const double logDensity = LogDensity(t, degrees, logAtZero);
    const double tail = 0.5 - t * std::exp(logDensity) * MiddleSeries(t, degrees);
    return {std::log(tail), -t * std::exp(logDensity) / tail};
  }
  const double spread = 1.0 + t * t / degrees;
  const double fraction = TailFraction(t, degrees);
  return {std::log(spread / (t * fraction)) + LogDensity(t, degrees, logAtZero), -t * t / spread * fraction};
}

}  // namespace

double StudentQuantile(double probability, int degreesOfFreedom) {
  if (!(probability >= 0.5 && probability < 1.0) || degreesOfFreedom < 1) {
    return std::numeric_limits<double>::quiet_NaN();
  }
  if (probability == 0.5) return 0.0;
  constexpr int kMostSteps = 200;
  const double degrees = degreesOfFreedom;
  const double logAtZero = LogDensityAtZero(degrees);
  const bool middle = probability < kMiddle;
  const double wanted = std::log(middle ? 2.0 * (probability - 0.5) : 1.0 - probability);
  double t = middle ? 0.5 : 1.0;
  for (int step = 0; step < kMostSteps; ++step) {
    const LogProbability log = middle ? Middle(t, degrees, logAtZero) : Tail(t, degrees, logAtZero);
    const double change = (wanted - log.value) / log.slope;
    t *= std::exp(change);
    // Quadratic convergence: the next step would be the square of this one.
    if (std::abs(change) < 1e-9) break;
  }
  return t;
}

}  // namespace Xem::Fit
