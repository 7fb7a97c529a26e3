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

PronyTerm EvaluatePronyTerm(double relaxationTime, double time) {
  const double ratio = time / relaxationTime;
  // For short times exp(-x) - 1 would lose its digits, for long times 1 + (exp(-x) - 1) would.
  PronyTerm term;
  double remaining = 0.0;
  if (ratio > kGone) {
    term.value = -1.0;
  } else if (ratio < 0.5) {
    term.value = std::expm1(-ratio);
    remaining = term.value + 1.0;
  } else {
    remaining = std::exp(-ratio);
    term.value = remaining - 1.0;
  }
  // Nothing remains of a term long gone, however large the ratio is (infinite for a time constant of 0).
  if (remaining != 0.0) term.timeDerivative = ratio * remaining / relaxationTime;
  return term;
}

double PronyModulus(std::span<const double> parameters, double time) {
  const std::size_t terms = parameters.size() / 2;
  double modulus = 1.0;
  for (std::size_t i = 0; i < terms; ++i) {
    modulus += EvaluatePronyTerm(parameters[terms + i], time).value * parameters[i];
  }
  return modulus;
}

double PronyGradient(std::span<const double> parameters, double time, std::span<double> gradient) {
  const std::size_t terms = parameters.size() / 2;
  double modulus = 1.0;
  for (std::size_t i = 0; i < terms; ++i) {
    const PronyTerm term = EvaluatePronyTerm(parameters[terms + i], time);
    modulus += term.value * parameters[i];
    gradient[i] = term.value;
    gradient[terms + i] = parameters[i] * term.timeDerivative;
  }
  return modulus;
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
