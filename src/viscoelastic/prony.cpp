#include "viscoelastic/prony.h"

#include <algorithm>
#include <cmath>
#include <compare>
#include <cstddef>
#include <vector>

namespace Xem::MaterialUtil {
namespace {

/// exp(-x) is zero from here on, and slow to say so.
constexpr double kGone = 746.0;

}  // namespace

double PronyRemainder(double relaxationTime, double time) {
  const double ratio = time / relaxationTime;
  return ratio > kGone ? 0.0 : std::exp(-ratio);
}

double PronyModulus(std::span<const double> parameters, double time) {
  double modulus = 0.0;
  PronyModuli(parameters, {&time, 1}, {&modulus, 1}, {});
  return modulus;
}

void PronyModuli(std::span<const double> parameters, std::span<const double> times, std::span<double> moduli,
                 MatrixView derivatives) {
  const std::size_t terms = parameters.size() / 2;
  std::ranges::fill(moduli, 1.0);
  for (std::size_t k = 0; k < terms; ++k) {
    const double g = parameters[k];
    const double tau = parameters[terms + k];
    for (std::size_t i = 0; i < times.size(); ++i) {
      const double remainder = PronyRemainder(tau, times[i]);
      moduli[i] -= (1.0 - remainder) * g;
      if (derivatives.Empty()) continue;
      derivatives(i, k) = remainder - 1.0;
      // Nothing remains of a term long gone, also where the quotient would be 0/0.
      derivatives(i, terms + k) = remainder == 0.0 ? 0.0 : g * times[i] * remainder / (tau * tau);
    }
  }
}

bool ConstrainProny(std::span<double> parameters) {
  bool changed = false;
  for (double& time : parameters.subspan(parameters.size() / 2)) {
    if (!(time <= 0.0)) continue;
    time = std::abs(time);
    changed = true;
  }
  return changed;
}

void SortByTime(std::span<double> parameters) {
  struct Term {
    double g;
    double tau;
  };
  const std::size_t count = parameters.size() / 2;
  std::vector<Term> terms(count);
  for (std::size_t i = 0; i < count; ++i) terms[i] = {parameters[i], parameters[count + i]};
  // A total order, so that values that are not numbers cannot upset the sort.
  std::sort(terms.begin(), terms.end(), [](const Term& a, const Term& b) {
    const auto byTime = std::strong_order(a.tau, b.tau);
    return byTime < 0 || (byTime == 0 && std::strong_order(a.g, b.g) < 0);
  });
  for (std::size_t i = 0; i < count; ++i) {
    parameters[i] = terms[i].g;
    parameters[count + i] = terms[i].tau;
  }
}

}  // namespace Xem::MaterialUtil
