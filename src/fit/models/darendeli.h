#pragma once

#include <cmath>
#include <cstddef>
#include <span>

#include "fit/models/cyclic_functions.h"

/// Darendeli (2001): a hyperbola with an exponent, and the damping of its Masing loops.
///
///   R = 1 / (1 + (gamma/gamma_r)^s)
///   h = h_min + b R^0.1 h_masing,  h_masing = c1 d + 100 c2 d^2 + 10^4 c3 d^3
///
/// d is the damping of the hyperbola's Masing loops, s = 1, which the coefficients correct for other exponents.
/// Parameters are gamma_r, s, b, h_min; those of the damping may be missing where only R is asked for.
namespace Xem::Fit {

MaterialUtil::TestFunctionList::value_type MakeDarendeliFunction(CyclicCurve curve,
                                                                 std::span<const _T_FUNT_BASE> points);

double DarendeliOrdinate(CyclicCurve curve, std::span<const double> parameters, double strain);

}  // namespace Xem::Fit
