#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "solver/levenberg_marquardt.h"

/// Starting vectors for sums of exponential-type terms, which converge from a sensible start only: the nonlinear
/// quantities (exponents, times) are seeded and the coefficients follow by linear least squares.
namespace Xem::MaterialUtil {

/// Coefficients c of the terms at given nonlinear quantities, one per term, that minimise the absolute residuals
///
///   sum over all points of (measured - baseline - LinearDesignRows(nonlinear) c)^2
///
/// by normal equations. Throws an int when the terms are not independent: the number of points plus 1 when there are
/// fewer of them than terms; else the number of the first term whose response is zero at every point, or equal or
/// opposite to that of an earlier term at every point; else LAPACK's `info` when it finds the matrix singular.
Vector LinearCoefficients(TestFunctions testFunctions, std::span<const double> nonlinear, double baseline);

/// Seeds of the pairs (mu, alpha): one term (0, 2); more terms (0, 2), (0, -2), (0, 6), (0, 10), ... Entries beyond the
/// pairs hold the last listed value, 2 for one term and -2 for more.
void WriteOgdenSeeds(std::int32_t terms, std::span<double> parameters);

/// The whole starting vector of an Ogden series: seeds, then moduli by LinearCoefficients, each with the sign of its
/// exponent. Throws CInvalidArgException when mask or parameters are shorter than the pairs.
void StartOgden(TestFunctions testFunctions, std::int32_t terms, const FixedTermMask& mask,
                std::span<double> parameters);

/// Either variant of the solver, with the starting vector of an Ogden series (mu_1, alpha_1, mu_2, alpha_2, ...).
template <class Variant>
class LMMethodOgdenTmpl final : public Variant {
 public:
  using Variant::Variant;
  void InitialGuess(const FixedTermMask& mask, std::span<double> parameters) override {
    StartOgden(this->testFunctions_, this->termCount_, mask, parameters);
  }
};

/// Seeds of relaxation times: a single one at the mean of the limits; n of them in n equal steps, the first a step
/// above `minTime`.
void WriteRelaxationSeeds(double maxTime, double minTime, std::span<double> times);

/// The whole starting vector of a relaxation series g_1 ... g_n, tau_1 ... tau_n: seeds, then coefficients by
/// LinearCoefficients of (measured - 1). Held entries keep what the caller placed there. Throws CInvalidArgException
/// when mask or parameters are shorter than the series.
void StartRelaxation(TestFunctions testFunctions, std::int32_t terms, double maxTime, double minTime,
                     const FixedTermMask& mask, std::span<double> parameters);

/// Either variant of the solver, with the starting vector of a relaxation series over the times given.
template <class Variant>
class LMMethodRelaxationTmpl final : public Variant {
 public:
  LMMethodRelaxationTmpl(TestFunctions testFunctions, std::int32_t terms, double maxTime, double minTime)
      : Variant(testFunctions, terms), maxTime_(maxTime), minTime_(minTime) {}
  void InitialGuess(const FixedTermMask& mask, std::span<double> parameters) override {
    StartRelaxation(this->testFunctions_, this->termCount_, maxTime_, minTime_, mask, parameters);
  }

 private:
  double maxTime_;
  double minTime_;
};

}  // namespace Xem::MaterialUtil
