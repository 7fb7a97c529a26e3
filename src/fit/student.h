#pragma once

namespace Xem::Fit {

/// The quantile of Student's t distribution: t with P(T <= t) = `probability`, for 0.5 <= probability < 1 and
/// `degreesOfFreedom` >= 1; to about 1e-14 of its value. NaN outside of these ranges.
///
/// With n degrees of freedom and the density
///
///   f(t) = c (1 + t^2/n)^(-(n+1)/2),   c = Gamma((n+1)/2) / (sqrt(n pi) Gamma(n/2)),
///
/// the upper tail is an incomplete beta function, 2 Q = I_x(n/2, 1/2) with x = n/(n + t^2). Gauss's continued fraction
/// of its hypergeometric function (Abramowitz and Stegun 1964, 26.5.4 and 15.3.4; Wall 1948, chapter 18) has positive
/// coefficients only, so that nothing cancels however many degrees there are:
///
///   Q(t) = f(t) (1 + t^2/n)/t  1/(1 + e_1/(1 + e_2/(1 + ...))),   a = n/2,
///   e_2m+1 = (m + 1/2)(a + m) / ((a + 2m)(a + 2m + 1)) n/t^2,
///   e_2m   = m (a + m - 1/2) / ((a + 2m - 1)(a + 2m)) n/t^2;
///
/// for many degrees it is Laplace's for the normal distribution. Near the middle the power series of the other side
/// serves, P(|T| < t) = 2 t f(t) sum_k (a + 1/2)_k / (3/2)_k y^k with y = t^2/(n + t^2).
///
/// Newton's method solves for u = ln t. The density of ln |T| is log-concave, and with it both probabilities as
/// functions of u: their logarithms are concave, every step after the first comes nearer from the same side, and no
/// start can fail.
double StudentQuantile(double probability, int degreesOfFreedom);

}  // namespace Xem::Fit
