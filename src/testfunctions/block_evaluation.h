#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "solver/linalg/matrix.h"

namespace Xem::MaterialUtil {

/// The one operation of a test function: its model at several consecutive points. It stands beside the published slots,
/// as a second base after theirs; those of a single point are this with a block of one.
class BlockEvaluation {
 public:
  /// Model values of points first ... first + model.size() - 1 and, unless `derivatives` is empty, their derivatives:
  /// a row per point, a contiguous column per parameter. Every column is written in full, whatever it held before.
  virtual void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first,
                        std::span<double> model, MatrixView derivatives) const = 0;
  /// Whether the derivatives are the same for all parameters.
  virtual bool IsLinear() const { return false; }

 protected:
  ~BlockEvaluation() = default;
};

/// Evaluate for a law of one point with at most `kMost` derivatives: value(point) returns the model value;
/// gradient(point, row) does so too and fills `row`, which holds zeros or the row of another point. Parameters beyond
/// kMost have no effect.
template <std::size_t kMost, class Value, class Gradient>
void EvaluateByPoint(std::int32_t first, std::span<double> model, MatrixView derivatives, Value&& value,
                     Gradient&& gradient) {
  std::array<double, kMost> row{};
  for (std::size_t i = 0; i < model.size(); ++i) {
    const std::int32_t point = first + static_cast<std::int32_t>(i);
    if (derivatives.Empty()) {
      model[i] = value(point);
      continue;
    }
    model[i] = gradient(point, std::span<double>(row));
    for (std::int32_t k = 0; k < derivatives.columns; ++k) {
      derivatives(i, k) = static_cast<std::size_t>(k) < kMost ? row[k] : 0.0;
    }
  }
}

}  // namespace Xem::MaterialUtil
