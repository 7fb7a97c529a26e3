#include "viscoelastic/prony.h"

#include <algorithm>
#include <cmath>
#include <compare>
#include <cstddef>

#include "kernels/kernels.h"

namespace Xem::MaterialUtil {
double PronyModulus(std::span<const double> parameters, double time) {
  double modulus = 0.0;
  PronyModuli(parameters, {&time, 1}, {&modulus, 1}, {});
  return modulus;
}

void PronyModuli(std::span<const double> parameters, std::span<const double> times, std::span<double> moduli,
                 MatrixView derivatives) {
  ForThisProcessor().prony({parameters.size() / 2, parameters.data(), times.data()},
                           {moduli.size(), moduli.data(), {derivatives.data, derivatives.leadingDimension}});
}

void PronyDecays(double relaxationTime, std::span<const double> times, std::span<double> decays) {
  std::ranges::transform(times, decays.begin(), [&](double time) { return -time / relaxationTime; });
  ForThisProcessor().exp(decays.size(), decays.data(), decays.data());
  for (double& decay : decays) decay -= 1.0;
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
  BasicVector<Term> terms(static_cast<std::int64_t>(count));
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
