#pragma once

#include <map>
#include <span>
#include <vector>

#include "fit/problem.h"

namespace Xem::Fit {

/// Best moduli for many sets of exponents over the same points. The column that a term adds to the model for a modulus
/// of 1 depends on its exponent alone, so each is computed once.
class OgdenTrials {
 public:
  /// `oneTerm` is the problem of a single term; it must live as long.
  explicit OgdenTrials(const Problem& oneTerm);

  /// Fills in the best moduli of pairs mu_1, alpha_1, ...; returns the sum of squares that they leave, and NaN where
  /// terms are too much alike for this short way, or columns too long to be kept.
  double FitModuli(std::span<double> pairs);

 private:
  const std::vector<double>& ColumnOf(double exponent);

  const Problem& problem_;
  std::vector<double> measured_;
  std::map<double, std::vector<double>> columns_;  // by exponent, of length 1
  std::map<double, double> lengths_;
  std::vector<const double*> used_;
  std::vector<double> sums_, products_, normal_, moduli_, step_, left_;
};

}  // namespace Xem::Fit
