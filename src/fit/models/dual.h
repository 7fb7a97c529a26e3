#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace Xem::Fit {

/// A number that carries its derivatives with respect to N variables through every operation (Wengert 1964), so that a
/// law is written once and differentiated exactly.
template <std::size_t N>
struct Dual {
  double value = 0.0;
  std::array<double, N> slopes{};

  constexpr Dual(double constant = 0.0) : value(constant) {}  // NOLINT: constants mix with duals in formulas
  /// The variable of that index.
  static constexpr Dual Variable(double value, std::size_t index) {
    Dual variable(value);
    variable.slopes[index] = 1.0;
    return variable;
  }

  friend Dual operator+(const Dual& a, const Dual& b) { return Combine(a.value + b.value, a, 1.0, b, 1.0); }
  friend Dual operator-(const Dual& a, const Dual& b) { return Combine(a.value - b.value, a, 1.0, b, -1.0); }
  friend Dual operator*(const Dual& a, const Dual& b) { return Combine(a.value * b.value, a, b.value, b, a.value); }
  friend Dual operator/(const Dual& a, const Dual& b) {
    const double quotient = a.value / b.value;
    return Combine(quotient, a, 1.0 / b.value, b, -quotient / b.value);
  }
  friend Dual operator-(const Dual& a) { return Dual() - a; }
  friend Dual exp(const Dual& a) { return a.Through(std::exp(a.value), std::exp(a.value)); }
  friend Dual log(const Dual& a) { return a.Through(std::log(a.value), 1.0 / a.value); }
  friend Dual erfc(const Dual& a) {
    constexpr double kTwoOverRootOfPi = 2.0 * std::numbers::inv_sqrtpi;
    return a.Through(std::erfc(a.value), -kTwoOverRootOfPi * std::exp(-a.value * a.value));
  }
  friend Dual sqrt(const Dual& a) { return a.Through(std::sqrt(a.value), 0.5 / std::sqrt(a.value)); }

 private:
  /// A function of one argument: its value, and its derivative there.
  Dual Through(double result, double slope) const { return Combine(result, *this, slope, *this, 0.0); }
  static Dual Combine(double value, const Dual& a, double byA, const Dual& b, double byB) {
    Dual result(value);
    for (std::size_t k = 0; k < N; ++k) result.slopes[k] = byA * a.slopes[k] + byB * b.slopes[k];
    return result;
  }
};

inline double ValueOf(double number) { return number; }
template <std::size_t N>
double ValueOf(const Dual<N>& number) {
  return number.value;
}

}  // namespace Xem::Fit
