#include "stability/ogden_scan.h"

#include <cmath>
#include <cstddef>

#include "kernels/kernels.h"
#include "stability/volumetric_energy.h"

namespace Xem::MaterialUtil {
namespace {

/// Eigenvalues above this part of all that the tangent is summed from are positive for every way to compute them.
constexpr double kClearlyStable = 1e-11;
/// Far above what rounding may make of a product of two of the h_a.
constexpr double kProductRounding = 1e-13;

/// sum mu_k alpha_k lambda^alpha_k and sum mu_k lambda^alpha_k of one principal stretch, and their sums of magnitudes.
struct OgdenSums {
  double slope[kScannedAtOnce]{};
  double stress[kScannedAtOnce]{};
  double slopeSize[kScannedAtOnce]{};
  double stressSize[kScannedAtOnce]{};

  /// The stretch is a power of the mode's.
  OgdenSums(std::span<const double> pairs, double power, std::span<const double> logStretches) {
    double exponentials[kScannedAtOnce];
    for (std::size_t k = 0; k + 1 < pairs.size(); k += 2) {
      const double mu = pairs[k];
      const double alpha = pairs[k + 1];
      for (std::size_t i = 0; i < logStretches.size(); ++i) exponentials[i] = alpha * power * logStretches[i];
      ForThisProcessor().exp(logStretches.size(), exponentials, exponentials);
      for (std::size_t i = 0; i < logStretches.size(); ++i) {
        slope[i] += mu * alpha * exponentials[i];
        stress[i] += mu * exponentials[i];
        slopeSize[i] += std::abs(mu * alpha) * exponentials[i];
        stressSize[i] += std::abs(mu) * exponentials[i];
      }
    }
  }
};

}  // namespace

void MarkClearlyStable(std::span<const double> pairs, std::span<const double> volumetric, const ScannedStates& states,
                       std::span<bool> clear) {
  const OgdenSums axial(pairs, 1.0, states.logStretches);
  const OgdenSums lateral(pairs, states.lateralExponent, states.logStretches);
  const bool middle = states.mode == ScannedMode::PureShear;
  const OgdenSums third = middle                                    ? OgdenSums(pairs, 0.0, states.logStretches)
                          : states.mode == ScannedMode::Equibiaxial ? axial
                                                                    : lateral;
  const double bulk = 3.0 * DifferentiateVolumetricEnergy(volumetric, 1.0).second;
  for (std::size_t i = 0; i < clear.size(); ++i) {
    const double h1 = axial.slope[i];
    const double h2 = lateral.slope[i];
    const double h3 = third.slope[i];
    const double sum = h1 + h2 + h3;
    const double products = h1 * h2 + h2 * h3 + h3 * h1;
    // Stiffness against shear in the plane of two stretches, of equal ones half their h.
    const double shear12 = states.shearFactors[i] * (axial.stress[i] - lateral.stress[i]);
    const double toFirst =
        middle ? states.middleFactors[i] * (axial.stress[i] - third.stress[i]) : 0.5 * third.slope[i];
    const double toSecond =
        middle ? states.middleFactors[i] * (third.stress[i] - lateral.stress[i]) : 0.5 * third.slope[i];
    const double factor = std::abs(states.shearFactors[i]) + std::abs(states.middleFactors[i]);
    const double size = axial.slopeSize[i] + lateral.slopeSize[i] + third.slopeSize[i] + std::abs(bulk) +
                        factor * (axial.stressSize[i] + lateral.stressSize[i] + third.stressSize[i]);
    const double least = kClearlyStable * size;
    // What is not finite is not clear.
    const double rounding = kProductRounding * size * (std::abs(h1) + std::abs(h2) + std::abs(h3));
    clear[i] = sum > 3.0 * least && products > 2.0 * sum * least + rounding && shear12 > least && toFirst > least &&
               toSecond > least && bulk > least;
  }
}

}  // namespace Xem::MaterialUtil
