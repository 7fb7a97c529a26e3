#pragma once

#include "kernels/vector.h"

/// Elementary functions within 1.5 units in the last place, tests/core/kernels_test.cpp says by how much; zeros,
/// infinities, NaN and denormal numbers give what the functions of <cmath> give.
namespace Xem::MaterialUtil {
namespace {

inline constexpr double kLog2E = 1.4426950408889634;
// ln 2 in two parts: products of the first with whole numbers up to 2^21 are exact.
inline constexpr double kLn2High = 0.6931471803691238;
inline constexpr double kLn2Low = 1.9082149292705877e-10;
/// Adding this number rounds to a whole one, which then stands in the lowest bits.
inline constexpr double kRounder = 0x1.8p52;

template <std::size_t kCount>
XEM_INLINE V Polynomial(V x, const double (&coefficients)[kCount]) {
  // Even and odd powers side by side (Estrin 1960): half the length of one chain.
  const V square = x * x;
  V even = Set(coefficients[(kCount - 1) & ~std::size_t{1}]);
  V odd = Set(coefficients[((kCount - 2) & ~std::size_t{1}) + 1]);
  for (std::size_t k = (kCount - 1) & ~std::size_t{1}; k >= 2; k -= 2)
    even = Fma(even, square, Set(coefficients[k - 2]));
  for (std::size_t k = ((kCount - 2) & ~std::size_t{1}) + 1; k >= 3; k -= 2) {
    odd = Fma(odd, square, Set(coefficients[k - 2]));
  }
  return Fma(odd, x, even);
}

/// 2^n for whole n, in the lowest bits of `rounded`, where it is a normal number.
XEM_INLINE V PowerOfTwo(Bits rounded) { return (V)((rounded + 1023) << 52); }

__attribute__((noinline)) V ExpAtTheEnds(V mantissa, Bits n, V x) {
  const Bits half = n >> 1;
  const V scaled = mantissa * PowerOfTwo(half) * PowerOfTwo(n - half);
  return Where(x != x, x, scaled);
}

/// exp(x) is a normal number up to here and down to the opposite.
inline constexpr double kAlwaysNormal = 708.0;

/// exp(x) = 2^n mantissa; the lowest bits of `rounded` are n, and those that a shift by 52 keeps are all zero but for
/// n.
struct ScaledExp {
  V mantissa;
  Bits rounded;
};

/// mantissa = exp(r), n the whole number next to x / ln 2; (exp(r) - 1 - r) / r^2 by a polynomial whose error is 4e-18
/// of exp(r).
XEM_INLINE ScaledExp Reduce(V x) {
  static constexpr double kSeries[] = {0.5000000000000011,    0.1666666666666641,    0.04166666666652979,
                                       0.008333333333494964,  0.0013888888943742125, 0.000198412695057343,
                                       2.480149296915225e-05, 2.755758689503598e-06, 2.7630299117547675e-07,
                                       2.4999974478994333e-08};
  const V rounded = Fma(x, Set(kLog2E), Set(kRounder));
  const V whole = rounded - kRounder;
  const V r = Fma(whole, Set(-kLn2Low), Fma(whole, Set(-kLn2High), x));
  return {Fma(Polynomial(r, kSeries), r * r, r) + 1.0, (Bits)rounded};
}

/// exp(x) where no x is beyond kAlwaysNormal.
XEM_INLINE V ExpInside(V x) {
  const ScaledExp e = Reduce(x);
  return (V)((Bits)e.mantissa + (e.rounded << 52));
}

XEM_INLINE V Exp(V x) {
  V inside = x;
  const bool anyEnd = AnyBeyond(x, kAlwaysNormal);
  if (__builtin_expect(anyEnd, false)) {
    inside = Where(x > 710.0, Set(710.0), Where(x < -746.0, Set(-746.0), x));  // infinite and zero from there on
    inside = Where(x != x, Set(0.0), inside);
  }
  const ScaledExp e = Reduce(inside);
  if (__builtin_expect(anyEnd, false)) return ExpAtTheEnds(e.mantissa, e.rounded - (Bits)Set(kRounder), x);
  return (V)((Bits)e.mantissa + (e.rounded << 52));
}

/// ln x = e ln 2 + ln(1 + f) with 1 + f within sqrt(1/2) ... sqrt(2) and s = f / (2 + f):
///   ln(1 + f) = f - f^2/2 + s (f^2/2 + R(s^2)),  R(z) = 2/3 z + 2/5 z^2 + 2/7 z^3 + ...
XEM_INLINE V Log(V x) {
  static constexpr double kSeries[] = {0.6666666666666735,  0.399999999994109,   0.2857142874329754,
                                       0.22222198472965965, 0.18183569875822028, 0.15313900174831369,
                                       0.14797535223129396};
  constexpr double kSmallestNormal = 0x1p-1022;
  constexpr double kInfinity = __builtin_inf();
  const bool anyEnd = Any(~((x >= kSmallestNormal) & (x < kInfinity)));
  V inside = x;
  V exponentOfScale = Set(0.0);
  if (__builtin_expect(anyEnd, false)) {
    const Bits denormal = x < kSmallestNormal;
    inside = Where(x > 0.0, Where(denormal, x * 0x1p54, x), Set(1.0));
    exponentOfScale = Where(denormal, Set(-54.0), exponentOfScale);
  }
  // The exponent of x / sqrt(1/2), whose mantissa then lies within sqrt(1/2) ... sqrt(2).
  constexpr std::int64_t kRootHalf = 0x3fe6a09e667f3bcd;
  constexpr std::int64_t kMantissa = 0x000fffffffffffff;
  const Bits shifted = (Bits)inside - kRootHalf;
  const V whole = (V)((shifted >> 52) + (Bits)Set(kRounder)) - kRounder + exponentOfScale;
  const V f = (V)((shifted & kMantissa) + kRootHalf) - 1.0;
  const V s = f / (f + 2.0);
  const V z = s * s;
  const V half = 0.5 * f * f;
  const V rest = Fma(s, Fma(Polynomial(z, kSeries), z, half), whole * kLn2Low);
  const V result = Fma(whole, Set(kLn2High), f - (half - rest));
  if (__builtin_expect(anyEnd, false)) {
    const V ends = Where(x == 0.0, Set(-kInfinity), Where(x == kInfinity, x, Set(__builtin_nan(""))));
    return Where((x > 0.0) & (x < kInfinity), result, Where(x != x, x, ends));
  }
  return result;
}

/// ln(1 + x) for finite x, of the rounded sum and its reciprocal: what rounding took from it is added to first order.
XEM_INLINE V LogOfSum(V x, V sum, V inverse) { return Fma(x - (sum - 1.0), inverse, Log(sum)); }

XEM_INLINE V LogOfOneAnd(V x) { return LogOfSum(x, 1.0 + x, 1.0 / (1.0 + x)); }

/// ln(1 + e^x) and its slope e^x / (1 + e^x), which neither overflow nor cancel.
struct Softplus {
  V value;
  V slope;

  XEM_INLINE explicit Softplus(V x) {
    const V small = Exp(-Magnitude(x));
    const V sum = 1.0 + small;
    const V inverse = 1.0 / sum;
    value = Where(x > 0.0, x, Set(0.0)) + LogOfSum(small, sum, inverse);
    slope = Where(x > 0.0, inverse, small * inverse);
  }
};

void ExpOf(std::size_t count, const double* x, double* result) {
  ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA { at.Store(Exp(at.Load(x)), result); });
}

void LogOf(std::size_t count, const double* x, double* result) {
  ForEachVector(count, [&](auto at) XEM_INLINE_LAMBDA { at.Store(Log(at.Load(x)), result); });
}

}  // namespace
}  // namespace Xem::MaterialUtil
