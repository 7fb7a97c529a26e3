#pragma once

#include <cstdint>
#include <span>

namespace Xem::MaterialUtil {

/// What a test function can do for several consecutive points at once, in one pass over contiguous arrays. It stands
/// beside the slots of the test functions, as a second base after theirs. Blocks and per-point operations must agree.
class BlockOperations {
 public:
  /// Measured and model values of points first ... first + measured.size() - 1. False, with nothing written, where the
  /// per-point operation is as good.
  virtual bool ValuesOfBlock(std::int32_t, std::span<const double>, std::int32_t, std::span<double>,
                             std::span<double>) const {
    return false;
  }
  /// The same with gradients: row by row, parameters.size() entries each, not cleared by the caller.
  virtual void GradientsOfBlock(std::int32_t termCount, std::span<const double> parameters, std::int32_t first,
                                std::span<double> measured, std::span<double> model,
                                std::span<double> gradients) const = 0;

 protected:
  ~BlockOperations() = default;
};

}  // namespace Xem::MaterialUtil
