#include "output/stable_strains.h"

#include <cmath>
#include <limits>

namespace Xem::Tool {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

double Or(double value, double otherwise) { return std::isnan(value) ? otherwise : value; }

StableStrains Between(double compression, double tension) {
  return {Or(compression, -kInfinity), Or(tension, kInfinity)};
}

/// Simple shear has the principal stretches of pure shear, the same for either sign of the shear strain.
StableStrains SimpleShear(double pureShearTension) {
  const double stretch = 1.0 + pureShearTension;
  const double limit = Or(stretch - 1.0 / stretch, kInfinity);
  return {-limit, limit};
}

}  // namespace

StableStrains StableStrainsOf(const Fit::Result& result, const std::string& curve) {
  if (!result.stability) return {-kInfinity, kInfinity};
  const Fit::Stability& limits = *result.stability;
  if (curve == "uniaxial") return Between(limits.uniaxialCompression, limits.uniaxialTension);
  if (curve == "equibiaxial") return Between(limits.equibiaxialCompression, limits.equibiaxialTension);
  if (curve == "pure_shear") return Between(limits.pureShearCompression, limits.pureShearTension);
  if (curve == "simple_shear") return SimpleShear(limits.pureShearTension);
  return {-kInfinity, kInfinity};
}

}  // namespace Xem::Tool
