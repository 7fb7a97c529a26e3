#pragma once

#include <cstddef>
#include <cstdint>

#include "kernels/kernels.h"

/// Several numbers at once, by the vector types of GCC and Clang: XEM_LANES of them, 2, 4 (AVX2 and FMA) or 8
/// (AVX-512), which the file that includes this sets. Everything here has internal linkage: two files with different
/// instruction sets share no function.
namespace Xem::MaterialUtil {
namespace {

#define XEM_INLINE inline __attribute__((always_inline))
#define XEM_INLINE_LAMBDA __attribute__((always_inline))
/// Before a loop that stays one: unrolled, its constants would not fit into the registers.
#define XEM_LOOP _Pragma("GCC unroll 1")
/// Before a loop of a few rounds, as many as are known beforehand.
#define XEM_UNROLL _Pragma("GCC unroll 8")

inline constexpr std::size_t kLanes = XEM_LANES;
typedef double V __attribute__((vector_size(sizeof(double) * kLanes)));
typedef std::int64_t Bits __attribute__((vector_size(sizeof(double) * kLanes)));  // of a V, and truth: 0 or -1
#if XEM_LANES > 2
typedef long long LongLong __attribute__((vector_size(sizeof(double) * kLanes)));  // in compilers' own functions
#endif
typedef double Unaligned __attribute__((vector_size(sizeof(double) * kLanes), aligned(alignof(double)), may_alias));

XEM_INLINE V Set(double x) { return x - V{}; }

/// a b + c, rounded once where the instruction set can.
XEM_INLINE V Fma(V a, V b, V c) {
#if XEM_LANES == 8
  return __builtin_ia32_vfmaddpd512_mask(a, b, c, 0xff, 4);
#elif XEM_LANES == 4
  return __builtin_ia32_vfmaddpd256(a, b, c);
#else
  return a * b + c;
#endif
}

XEM_INLINE double Fma(double a, double b, double c) {
#if XEM_LANES > 2
  return __builtin_fma(a, b, c);
#else
  return a * b + c;
#endif
}

XEM_INLINE V Where(Bits condition, V a, V b) { return condition ? a : b; }
XEM_INLINE V Magnitude(V x) { return (V)((Bits)x & std::int64_t{0x7fffffffffffffff}); }

XEM_INLINE bool Any(Bits condition) {
#if XEM_LANES == 8
  return __builtin_ia32_cvtq2mask512((LongLong)condition) != 0;
#elif XEM_LANES == 4
  return __builtin_ia32_movmskpd256((V)condition) != 0;
#else
  return (condition[0] | condition[1]) != 0;
#endif
}

/// Whether any magnitude is above a number, or not a number.
XEM_INLINE bool AnyBeyond(V x, double most) {
#if XEM_LANES == 8
  constexpr int kNotLessOrEqual = 6;
  return __builtin_ia32_cmppd512_mask(Magnitude(x), Set(most), kNotLessOrEqual, 0xff, 4) != 0;
#else
  return Any(~(Magnitude(x) <= most));
#endif
}

/// The sum of all lanes, by halves.
XEM_INLINE double Total(V x) {
#if XEM_LANES == 8
  const auto four = __builtin_shufflevector(x, x, 0, 1, 2, 3) + __builtin_shufflevector(x, x, 4, 5, 6, 7);
#else
  const V four = x;
#endif
#if XEM_LANES > 2
  const auto two = __builtin_shufflevector(four, four, 0, 1) + __builtin_shufflevector(four, four, 2, 3);
#else
  const V two = four;
#endif
  return two[0] + two[1];
}

/// Total(x[0]), Total(x[1]), ..., added in the same order: halves of all side by side, then halves of these.
XEM_INLINE V TotalOfEach(const V (&x)[kLanes]) {
#if XEM_LANES == 8
  const auto halves = [](V a, V b) XEM_INLINE_LAMBDA {
    return __builtin_shufflevector(a, b, 0, 1, 2, 3, 8, 9, 10, 11) +
           __builtin_shufflevector(a, b, 4, 5, 6, 7, 12, 13, 14, 15);
  };
  const auto quarters = [](V a, V b) XEM_INLINE_LAMBDA {
    return __builtin_shufflevector(a, b, 0, 1, 4, 5, 8, 9, 12, 13) +
           __builtin_shufflevector(a, b, 2, 3, 6, 7, 10, 11, 14, 15);
  };
  const V even = quarters(halves(x[0], x[2]), halves(x[4], x[6]));
  const V odd = quarters(halves(x[1], x[3]), halves(x[5], x[7]));
  return __builtin_shufflevector(even, odd, 0, 8, 2, 10, 4, 12, 6, 14) +
         __builtin_shufflevector(even, odd, 1, 9, 3, 11, 5, 13, 7, 15);
#elif XEM_LANES == 4
  const auto halves = [](V a, V b) XEM_INLINE_LAMBDA {
    return __builtin_shufflevector(a, b, 0, 1, 4, 5) + __builtin_shufflevector(a, b, 2, 3, 6, 7);
  };
  const V even = halves(x[0], x[2]);
  const V odd = halves(x[1], x[3]);
  return __builtin_shufflevector(even, odd, 0, 4, 2, 6) + __builtin_shufflevector(even, odd, 1, 5, 3, 7);
#else
  return V{x[0][0], x[1][0]} + V{x[0][1], x[1][1]};
#endif
}

/// 0, 1, 2, ...
XEM_INLINE Bits LaneNumbers() {
  Bits lane{};
  for (std::size_t i = 0; i < kLanes; ++i) lane[i] = static_cast<std::int64_t>(i);
  return lane;
}

/// As many consecutive points as there are lanes.
struct FullVector {
  std::size_t first;
  XEM_INLINE V Load(const double* points) const { return *reinterpret_cast<const Unaligned*>(points + first); }
  XEM_INLINE V LoadOrZero(const double* points) const { return Load(points); }
  XEM_INLINE void Store(V values, double* points) const { *reinterpret_cast<Unaligned*>(points + first) = values; }
};

/// The points that are left, usually fewer than there are lanes; nothing is read or written beyond them.
struct PartialVector {
  std::size_t first;
#if XEM_LANES == 8
  unsigned char present;  // a bit per lane: made of numbers, so that it waits for no vector
  XEM_INLINE PartialVector(std::size_t begin, std::size_t count)
      : first(begin), present(static_cast<unsigned char>(count < kLanes ? (1u << count) - 1 : 0xff)) {}
#else
  Bits present;
  XEM_INLINE PartialVector(std::size_t begin, std::size_t count) : first(begin) {
    present = (Bits)(LaneNumbers() < static_cast<std::int64_t>(count));
  }
#endif
  XEM_INLINE V LoadOrZero(const double* points) const { return Load(points, 0.0); }
  /// Lanes without a point hold `rest`.
  XEM_INLINE V Load(const double* points, double rest = 1.0) const {
#if XEM_LANES == 8
    return __builtin_ia32_loadupd512_mask(points + first, Set(rest), present);
#elif XEM_LANES == 4
    return Where(present, __builtin_ia32_maskloadpd256(reinterpret_cast<const V*>(points + first), (LongLong)present),
                 Set(rest));
#else
    return V{present[0] ? points[first] : rest, present[1] ? points[first + 1] : rest};
#endif
  }
  XEM_INLINE void Store(V values, double* points) const {
#if XEM_LANES == 8
    __builtin_ia32_storeupd512_mask(points + first, values, present);
#elif XEM_LANES == 4
    __builtin_ia32_maskstorepd256(reinterpret_cast<V*>(points + first), (LongLong)present, values);
#else
    if (present[0]) points[first] = values[0];
    if (present[1]) points[first + 1] = values[1];
#endif
  }
};

/// body(at) for all points from `first` on, a vector of them at a time; at.Load(points) and at.Store(values, points)
/// reach them.
template <class Body>
XEM_INLINE void ForEachVector(std::size_t count, std::size_t first, Body body) {
  for (; first + kLanes <= count; first += kLanes) body(FullVector{first});
  if (first < count) body(PartialVector(first, count - first));
}

template <class Body>
XEM_INLINE void ForEachVector(std::size_t count, Body body) {
  ForEachVector(count, 0, body);
}

/// The same for laws of long chains of operations: as long as there are as many points, `at` is an array of two
/// vectors, so that one is at work while the other waits for its own results; then of one.
template <class Body>
XEM_INLINE void ForEachPairOfVectors(std::size_t count, Body body) {
  std::size_t first = 0;
  for (; first + 2 * kLanes <= count; first += 2 * kLanes) {
    const FullVector both[]{{first}, {first + kLanes}};
    body(both);
  }
  ForEachVector(count, first, [&](auto at) XEM_INLINE_LAMBDA {
    const decltype(at) one[]{at};
    body(one);
  });
}

XEM_INLINE void Fill(const KernelBlock& block, double value) {
  for (std::size_t i = 0; i < block.count; ++i) block.model[i] = value;
}

/// The column of a block's derivatives by parameter k.
XEM_INLINE double* Column(const KernelBlock& block, std::size_t k) {
  return block.derivatives.first + static_cast<std::ptrdiff_t>(k) * block.derivatives.stride;
}

}  // namespace
}  // namespace Xem::MaterialUtil
