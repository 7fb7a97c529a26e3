#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "kernels/kernels.h"
#include "solver/linalg/matrix.h"
#include "solver/linalg/vector.h"
#include "testdata/kinematics.h"

/// Strain energies as rows and stresses of one point, for any mode.
namespace Xem::MaterialUtil {

/// Highest order of the polynomial model.
inline constexpr std::int32_t kMaximumOrder = kLargestPolynomialOrder;

/// N (N + 3) / 2; throws CInvalidArgException for an order outside 0 ... kMaximumOrder.
std::int32_t PolynomialTermCount(std::int32_t order);

/// The one place that knows the term order of W = sum C_ij (I1 - 3)^i (I2 - 3)^j: calls visit(i, j) by total degree
/// 1 ... order and, within a degree, by falling i: C10, C01, C20, C11, C02, C30, ...
template <class Visit>
constexpr void ForEachTerm(std::int32_t order, Visit&& visit) {
  for (std::int32_t degree = 1; degree <= order; ++degree) {
    for (std::int32_t j = 0; j <= degree; ++j) visit(degree - j, j);
  }
}

/// x^0 ... x^order; the square is a product, higher powers come from the power function.
class PowerTable {
 public:
  PowerTable(double x, std::int32_t order) {
    powers_[0] = 1.0;
    if (order >= 1) powers_[1] = x;
    if (order >= 2) powers_[2] = x * x;
    for (std::int32_t k = 3; k <= order; ++k) powers_[k] = std::pow(x, k);
  }
  double operator[](std::int32_t exponent) const { return powers_[exponent]; }

 private:
  std::array<double, kMaximumOrder + 1> powers_;  // filled up to the order only
};

/// What term (i, j) contributes to the nominal stress for a unit coefficient, w1 i (I1-3)^(i-1) (I2-3)^j + w2 j
/// (I1-3)^i (I2-3)^(j-1); powerOf1(k), powerOf2(k) are the powers of the invariants.
template <class PowerOf1, class PowerOf2>
double TermStress(std::int32_t i, std::int32_t j, const StressFactors& factors, PowerOf1&& powerOf1,
                  PowerOf2&& powerOf2) {
  const double w1 = i == 0 ? 0.0 : i * powerOf1(i - 1) * powerOf2(j);
  const double w2 = j == 0 ? 0.0 : j * powerOf1(i) * powerOf2(j - 1);
  return factors.w1 * w1 + factors.w2 * w2;
}

/// Calls visit(value) for every polynomial term in term order, value being the nominal stress at `stretch` for a unit
/// coefficient.
template <class Visit>
void ForEachTermStress(const ModeKinematics& mode, std::int32_t order, double stretch, Visit&& visit) {
  const InvariantExcess excess = mode.invariants(stretch);
  const StressFactors factors = mode.factors(stretch);
  const PowerTable a(excess.i1, order - 1);  // differentiation takes one power away
  const PowerTable b(excess.i2, order - 1);
  const auto powerOf1 = [&](std::int32_t exponent) { return a[exponent]; };
  const auto powerOf2 = [&](std::int32_t exponent) { return b[exponent]; };
  ForEachTerm(order, [&](std::int32_t i, std::int32_t j) { visit(TermStress(i, j, factors, powerOf1, powerOf2)); });
}

/// Nominal stress of the polynomial model; `coefficients` holds at least PolynomialTermCount(order) values.
double PolynomialStress(const ModeKinematics& mode, std::int32_t order, std::span<const double> coefficients,
                        double stretch);

/// Points of a curve, with what polynomial terms need of their stretches.
class PolynomialPoints {
 public:
  PolynomialPoints() = default;
  PolynomialPoints(const ModeKinematics& mode, std::span<const double> stretches);

  /// PolynomialStress at points first ... first + stress.size() - 1 and, unless `derivatives` is empty, the stresses of
  /// each term for a unit coefficient, in term order.
  void Stresses(std::int32_t order, std::span<const double> coefficients, std::size_t first, std::span<double> stress,
                MatrixView derivatives = {}) const;
  /// The latter at the first points, of the terms whose mask is 0.
  void Terms(std::int32_t order, const FixedTermMask& mask, MatrixView rows) const;

 private:
  PolynomialArguments Arguments(std::int32_t order, std::size_t first) const;

  std::size_t count_ = 0;
  std::unique_ptr<double[]> columns_;  // I1 - 3, I2 - 3, w1, w2
};

/// Initial shear modulus 2 (C10 + C01); missing coefficients count as 0.
double PolynomialShearModulus(std::span<const double> coefficients);

/// One Ogden term (Ogden 1972) for unit modulus, lambda^(alpha - 1) - lambda^(alpha e - 1), e being the lateral
/// exponent of the mode, and its derivative with respect to alpha. One exponential serves both. In planar modes, e =
/// -1, alpha and -alpha give exactly opposite values and the same derivative.
struct OgdenTerm {
  double value = 0.0;
  double exponentDerivative = 0.0;
};
/// `logStretch` is the natural logarithm of `stretch`.
OgdenTerm EvaluateOgdenTerm(double lateralExponent, double alpha, double stretch, double logStretch);

/// Points of a curve, with what Ogden terms need of their stretches.
class OgdenPoints {
 public:
  OgdenPoints() = default;
  /// The stretches must outlive this.
  explicit OgdenPoints(std::span<const double> stretches);

  /// Nominal stresses of `pairs` at points first ... first + stress.size() - 1 and, unless `derivatives` is empty,
  /// their derivatives by mu_1, alpha_1, mu_2, ...
  void Stresses(double lateralExponent, std::span<const double> pairs, std::size_t first, std::span<double> stress,
                MatrixView derivatives = {}) const;

 private:
  std::span<const double> stretches_;
  Vector logarithms_;
  Vector inverses_;
  double greatestLogarithm_ = 0.0;  // in magnitude; NaN when there is one
};

/// Nominal stress of `pairs.size() / 2` Ogden terms (mu_k, alpha_k).
double OgdenStress(double lateralExponent, std::span<const double> pairs, double stretch, double logStretch);

/// Initial shear modulus, half the sum of mu_k alpha_k.
double OgdenShearModulus(std::span<const double> pairs);

}  // namespace Xem::MaterialUtil
