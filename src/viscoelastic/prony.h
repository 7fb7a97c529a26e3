#pragma once

#include <span>

#include "solver/linalg/matrix.h"

/// Normalised Prony series (generalised Maxwell model; Ferry 1980, ch. 3): a relaxation modulus that starts at 1,
///
///   g(t) = 1 - sum_i g_i (1 - exp(-t / tau_i)),  i = 1 ... n
///
///   dg/dg_i   = exp(-t / tau_i) - 1
///   dg/dtau_i = g_i t exp(-t / tau_i) / tau_i^2
///
/// Parameters are g_1 ... g_n, then tau_1 ... tau_n; times are positive.
namespace Xem::MaterialUtil {

// 1 - exp(-x) loses its digits at small x, and stays as it is written above: results of the exports belong to it.

double PronyModulus(std::span<const double> parameters, double time);

/// Moduli at several times and, unless `derivatives` is empty, a row per time, a column per parameter.
void PronyModuli(std::span<const double> parameters, std::span<const double> times, std::span<double> moduli,
                 MatrixView derivatives);

/// exp(-t / tau) - 1 at several times: the response to a unit coefficient.
void PronyDecays(double relaxationTime, std::span<const double> times, std::span<double> decays);

/// Admissible region: every tau_i <= 0 becomes |tau_i|, so 0 stays 0. True when there was one. The g_i are free.
bool ConstrainProny(std::span<double> parameters);

/// Puts the terms in the order of their times, of their g_i where these are equal.
void SortByTime(std::span<double> parameters);

}  // namespace Xem::MaterialUtil
