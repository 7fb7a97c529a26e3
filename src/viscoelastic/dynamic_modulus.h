#pragma once

#include <span>

#include "solver/linalg/matrix.h"

/// The Prony series of prony.h under a steady oscillation of angular frequency w (Ferry 1980, ch. 3; Tschoegl 1989,
/// ch. 3), over the instantaneous modulus:
///
///   storage  g'(w)  = 1 - sum_i g_i + sum_i g_i w^2 tau_i^2 / (1 + w^2 tau_i^2) = 1 - sum_i g_i q_i
///   loss     g''(w) = sum_i g_i w tau_i q_i,                        q_i = 1 / (1 + w^2 tau_i^2)
///
///   dg'/dg_i  = -q_i           dg'/dtau_i  = 2 g_i w^2 tau_i q_i^2
///   dg''/dg_i = w tau_i q_i    dg''/dtau_i = g_i w (1 - w^2 tau_i^2) q_i^2
///
/// Parameters are g_1 ... g_n, then tau_1 ... tau_n; frequencies are positive.
namespace Xem::MaterialUtil {

enum class DynamicPart { Storage, Loss };

double DynamicModulus(DynamicPart part, std::span<const double> parameters, double frequency);

/// Moduli at several frequencies and, unless `derivatives` is empty, a row per frequency, a column per parameter.
void DynamicModuli(DynamicPart part, std::span<const double> parameters, std::span<const double> frequencies,
                   std::span<double> moduli, MatrixView derivatives);

/// The response to a unit coefficient, dg'/dg_i or dg''/dg_i, at several frequencies.
void DynamicResponses(DynamicPart part, double relaxationTime, std::span<const double> frequencies,
                      std::span<double> responses);

}  // namespace Xem::MaterialUtil
