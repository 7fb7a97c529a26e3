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
/// coefficient stands for itself. Coordinates are u_1 ... u_n, then ln tau_1 ... ln tau_n. Of coefficients with bounds
/// l_i <= g_i <= h_i the lower ones are set aside first, and u_i is the share in what the term may take of the rest,
///
///   g_i = l_i + u_i min(h_i - l_i, G - sum of all l - (g_1 - l_1) - ... - (g_(i-1) - l_(i-1))).
class PronyShares {
 public:
  struct Coefficient {
    bool held = false;
    double lower = 0.0;
    double upper = 1.0;
  };
  /// One entry per term.
  explicit PronyShares(std::vector<Coefficient> coefficients);

  std::size_t Terms() const { return terms_.size(); }
  /// g_1 ... g_n, tau_1 ... tau_n.
  void ToSeries(std::span<const double> coordinates, std::span<double> series) const;
  /// Coordinates of a series; coefficients outside the region are brought to its border.
  std::vector<double> FromSeries(std::span<const double> series) const;
  /// The chain rule in place: from columns of coefficients and times, of that `series`, to those of coordinates.
  void MoveToShares(std::span<const double> coordinates, std::span<const double> series,
                    MaterialUtil::MatrixView derivatives) const;

 private:
  /// What is left for the free coefficients above their lower bounds.
  double Whole(std::span<const double> coefficients) const;
  /// How far above its lower bound a coefficient may go.
  double Span(std::size_t term, double rest) const;

  std::vector<Coefficient> terms_;
  // Work space of one fit, which runs on one thread.
  mutable std::vector<double> spans_;
  mutable std::vector<double> shareOfRest_;
  mutable std::vector<double> byRest_;
};

/// A relaxation curve against the series in those coordinates, times an instantaneous modulus where one more coordinate
/// follows; `termCount` is not used.
class PronyInShares final : public MaterialUtil::BlockTestFunction {
 public:
  PronyInShares(PronyShares shares, std::span<const _T_FUNT_BASE> points);

  void Evaluate(std::int32_t termCount, std::span<const double> coordinates, std::int32_t first,
                std::span<double> model, MaterialUtil::MatrixView derivatives) const override;

 private:
  PronyShares shares_;
  mutable std::vector<double> series_;  // work space
};

/// Raw moduli against g_1 ... g_n, tau_1 ... tau_n and the instantaneous modulus E0 of E(t) = E0 g(t).
class PronyWithModulus final : public MaterialUtil::BlockTestFunction {
 public:
  explicit PronyWithModulus(std::span<const _T_FUNT_BASE> points);

  void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MaterialUtil::MatrixView derivatives) const override;
};

}  // namespace Xem::Fit
