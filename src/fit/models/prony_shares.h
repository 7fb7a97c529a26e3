#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "testfunctions/test_function_base.h"

namespace Xem::Fit {

/// A Prony series in coordinates whose admissible region is a box: free coefficients as shares u_i in 0 ... 1 of what
/// the terms before them leave of the whole,
///
///   g_i = u_i (G - g_1 - ... - g_(i-1)),   G = 1 - held coefficients,
///
/// which is every set of g_i >= 0 with sum <= 1 and nothing else, and times by their natural logarithm. A held
/// coefficient stands for itself. Coordinates are u_1 ... u_n, then ln tau_1 ... ln tau_n.
class PronyShares {
 public:
  /// `heldCoefficients`: one entry per term.
  explicit PronyShares(std::vector<bool> heldCoefficients);

  std::size_t Terms() const { return held_.size(); }
  /// g_1 ... g_n, tau_1 ... tau_n.
  void ToSeries(std::span<const double> coordinates, std::span<double> series) const;
  /// Coordinates of a series; coefficients outside the region are brought to its border.
  std::vector<double> FromSeries(std::span<const double> series) const;
  /// `derivatives` (n x n, row i): d g_i / d u_j; zero for j > i.
  void Derivatives(std::span<const double> coordinates, std::span<double> derivatives) const;

 private:
  double Whole(std::span<const double> coefficients) const;

  std::vector<bool> held_;
};

/// A relaxation curve against the series in those coordinates; `termCount` is not used.
class PronyInShares final : public MaterialUtil::BlockTestFunction {
 public:
  PronyInShares(PronyShares shares, std::span<const _T_FUNT_BASE> points);

  void Evaluate(std::int32_t termCount, std::span<const double> coordinates, std::int32_t first,
                std::span<double> model, MaterialUtil::MatrixView derivatives) const override;

 private:
  PronyShares shares_;
  // Work space of one fit, which runs on one thread.
  mutable std::vector<double> series_;
  mutable std::vector<double> byShares_;
};

}  // namespace Xem::Fit
