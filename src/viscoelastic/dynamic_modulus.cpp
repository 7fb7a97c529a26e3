#include "viscoelastic/dynamic_modulus.h"

#include <algorithm>
#include <cstddef>

namespace Xem::MaterialUtil {

double DynamicModulus(DynamicPart part, std::span<const double> parameters, double frequency) {
  double modulus = 0.0;
  DynamicModuli(part, parameters, {&frequency, 1}, {&modulus, 1}, {});
  return modulus;
}

// Loops over frequencies within one term: nothing in them depends on the frequency before, so compilers take several
// at once.
void DynamicModuli(DynamicPart part, std::span<const double> parameters, std::span<const double> frequencies,
                   std::span<double> moduli, MatrixView derivatives) {
  const std::size_t terms = parameters.size() / 2;
  const bool storage = part == DynamicPart::Storage;
  const std::size_t count = moduli.size();
  std::ranges::fill(moduli, storage ? 1.0 : 0.0);
  for (std::size_t k = 0; k < terms; ++k) {
    const double g = parameters[k];
    const double tau = parameters[terms + k];
    for (std::size_t i = 0; i < count; ++i) {
      const double x = frequencies[i] * tau;
      const double q = 1.0 / (1.0 + x * x);
      moduli[i] += storage ? -g * q : g * x * q;
    }
    if (derivatives.Empty()) continue;
    const std::span<double> byCoefficient = derivatives.Column(k);
    const std::span<double> byTime = derivatives.Column(terms + k);
    for (std::size_t i = 0; i < count; ++i) {
      const double x = frequencies[i] * tau;
      const double q = 1.0 / (1.0 + x * x);
      byCoefficient[i] = storage ? -q : x * q;
      byTime[i] = g * frequencies[i] * q * (storage ? 2.0 * (x * q) : (1.0 - x) * ((1.0 + x) * q));
    }
  }
}

void DynamicResponses(DynamicPart part, double relaxationTime, std::span<const double> frequencies,
                      std::span<double> responses) {
  std::ranges::transform(frequencies, responses.begin(), [&](double frequency) {
    const double x = frequency * relaxationTime;
    const double q = 1.0 / (1.0 + x * x);
    return part == DynamicPart::Storage ? -q : x * q;
  });
}

}  // namespace Xem::MaterialUtil
