#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>

namespace Xem::Fuzz {

/// Draws numbers from the bytes of one input. Low bytes mean usual values and high ones hostile values, so that an
/// input that has run out of bytes goes on with usual ones and reaches deep code.
class ByteSource {
 public:
  explicit ByteSource(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

  std::uint8_t Byte() { return next_ < bytes_.size() ? bytes_[next_++] : std::uint8_t{0}; }

  /// Any number: plain, of any magnitude, one that code may stumble over, or any bit pattern.
  double Double() {
    const std::uint8_t kind = Byte();
    if (kind < 96) return static_cast<std::int8_t>(Byte()) / 16.0;
    if (kind < 160) return Scaled(kind % 16 - 8);
    if (kind < 244) return kHostileDoubles[kind % std::size(kHostileDoubles)];
    return std::bit_cast<double>(Bits());
  }
  /// Mostly `usual` times 1 to 4.9.
  double Near(double usual) {
    const std::uint8_t kind = Byte();
    return kind < 224 ? usual * (1.0 + (kind % 32) / 8.0) : Double();
  }
  /// Mostly 0 to `mostUsual`, `usual` first; otherwise far beyond what any count may be.
  std::int32_t Count(std::int32_t usual, std::int32_t mostUsual) {
    const std::uint8_t kind = Byte();
    return kind < 240 ? (usual + kind) % (mostUsual + 1) : kHostileCounts[kind % std::size(kHostileCounts)];
  }
  /// A code of the interface, or any other number.
  std::int32_t Code(std::int32_t usual, std::int32_t codes) {
    const std::uint8_t kind = Byte();
    return kind < 240 ? usual + kind % codes : static_cast<std::int32_t>(Bits());
  }
  /// A switch that is mostly on.
  std::int32_t Switch() { return Byte() % 4 == 3 ? 0 : 1; }
  /// A size of an array that should have `usual` elements.
  std::int64_t Size(std::int64_t usual) {
    const std::uint8_t kind = Byte();
    return kind < 224 ? usual : kind < 240 ? usual + kind % 4 : kind % 16;
  }

 private:
  static constexpr double kHostileDoubles[] = {0.0,
                                               -0.0,
                                               1.0,
                                               -1.0,
                                               0.5,
                                               2.0,
                                               1e-7,
                                               -1e-7,
                                               2.2e-16,
                                               1e100,
                                               -1e100,
                                               1e-160,
                                               2147483648.0,
                                               -2147483649.0,
                                               4294967296.0,
                                               9.3e18,
                                               std::numeric_limits<double>::max(),
                                               std::numeric_limits<double>::lowest(),
                                               std::numeric_limits<double>::min(),
                                               std::numeric_limits<double>::denorm_min(),
                                               std::numeric_limits<double>::infinity(),
                                               -std::numeric_limits<double>::infinity(),
                                               std::numeric_limits<double>::quiet_NaN()};
  // None that is allowed and large: such calls end, but late.
  static constexpr std::int32_t kHostileCounts[] = {-1,
                                                    -2,
                                                    -1000,
                                                    4097,
                                                    65536,
                                                    1 << 30,
                                                    std::numeric_limits<std::int32_t>::min(),
                                                    std::numeric_limits<std::int32_t>::max()};

  std::uint64_t Bits() {
    std::uint64_t bits = 0;
    for (int i = 0; i < 8; ++i) bits = bits << 8 | Byte();
    return bits;
  }
  double Scaled(int exponent) {
    double value = static_cast<std::int8_t>(Byte()) + Byte() / 256.0;
    for (; exponent > 0; --exponent) value *= 10.0;
    for (; exponent < 0; ++exponent) value /= 10.0;
    return value;
  }

  std::span<const std::uint8_t> bytes_;
  std::size_t next_ = 0;
};

}  // namespace Xem::Fuzz
