#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "testdata/strain_energy.h"

namespace Xem::MaterialUtil {

/// Polynomial terms of a few points side by side, so that one instruction serves several of them.
class TermBatch {
 public:
  static constexpr std::size_t kPoints = 32;
  using Values = std::array<double, kPoints>;

  TermBatch(const ModeKinematics& mode, std::int32_t order) : mode_(mode), order_(order) {}

  /// Calls visit(term, values) for every term in term order with its stresses at up to kPoints stretches.
  template <class Visit>
  void ForEachTermStress(std::span<const double> stretches, Visit&& visit) {
    if (order_ == 0) return;
    Raise(stretches);
    std::int32_t term = 0;
    ForEachTerm(order_, [&](std::int32_t i, std::int32_t j) {
      Values values;
      for (std::size_t p = 0; p < kPoints; ++p) {
        values[p] = TermStress(
            i, j, StressFactors{w1_[p], w2_[p]}, [&](std::int32_t exponent) { return powersOf1_[exponent][p]; },
            [&](std::int32_t exponent) { return powersOf2_[exponent][p]; });
      }
      visit(term++, std::span<const double>(values).first(stretches.size()));
    });
  }

 private:
  void Raise(std::span<const double> stretches) {
    Values x1{};
    Values x2{};
    for (std::size_t p = 0; p < stretches.size(); ++p) {
      const InvariantExcess excess = mode_.invariants(stretches[p]);
      const StressFactors factors = mode_.factors(stretches[p]);
      x1[p] = excess.i1;
      x2[p] = excess.i2;
      w1_[p] = factors.w1;
      w2_[p] = factors.w2;
    }
    powersOf1_[0].fill(1.0);
    powersOf2_[0].fill(1.0);
    for (std::int32_t k = 1; k < order_; ++k) {
      for (std::size_t p = 0; p < kPoints; ++p) {
        powersOf1_[k][p] = powersOf1_[k - 1][p] * x1[p];
        powersOf2_[k][p] = powersOf2_[k - 1][p] * x2[p];
      }
    }
  }

  const ModeKinematics& mode_;
  std::int32_t order_;
  Values w1_{};
  Values w2_{};
  std::array<Values, kMaximumOrder> powersOf1_;  // filled up to one below the order only
  std::array<Values, kMaximumOrder> powersOf2_;
};

/// Calls visit(first, stretches) for as many points at a time as a batch takes.
template <class Visit>
void ForEachBatch(std::span<const double> stretches, Visit&& visit) {
  for (std::size_t first = 0; first < stretches.size(); first += TermBatch::kPoints) {
    visit(first, stretches.subspan(first, std::min(TermBatch::kPoints, stretches.size() - first)));
  }
}

}  // namespace Xem::MaterialUtil
