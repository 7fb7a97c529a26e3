#include "testdata/kinematics.h"

#include <cmath>
#include <cstddef>

namespace Xem::MaterialUtil {
namespace {

double OnePlus(double strain) { return strain + 1.0; }

double Square(double x) { return x * x; }

/// lambda^2 - 1 without cancellation near 1.
double SquareLessOne(double stretch) { return (stretch - 1.0) * (stretch + 1.0); }

InvariantExcess ShearInvariants(double stretch) {
  const double excess = Square(SquareLessOne(stretch) / stretch);  // lambda^2 + lambda^-2 - 2
  return {excess, excess};
}

double InverseCube(double stretch) { return 1.0 / (stretch * stretch * stretch); }

// Uniaxial: I1 - 3 = lambda^2 + 2/lambda - 3, I2 - 3 = 2 lambda + lambda^-2 - 3, factor 2 (1 - lambda^-3) (lambda, 1).
InvariantExcess UniaxialInvariants(double stretch) {
  const double square = Square(stretch - 1.0);
  return {square * (stretch + 2.0) / stretch, square * (2.0 * stretch + 1.0) / Square(stretch)};
}

StressFactors UniaxialFactors(double stretch) {
  const double factor = 2.0 * (stretch - 1.0) * (Square(stretch) + stretch + 1.0) / (stretch * stretch * stretch);
  return {factor * stretch, factor};
}

// Equibiaxial, with s = lambda^2: I1 - 3 = 2 s + s^-2 - 3, I2 - 3 = s^2 + 2/s - 3, factor 2 (lambda - lambda^-5) (1,
// s).
InvariantExcess EquibiaxialInvariants(double stretch) {
  const double s = stretch * stretch;
  const double square = Square(SquareLessOne(stretch));
  return {square * (2.0 * s + 1.0) / (s * s), square * (s + 2.0) / s};
}

StressFactors EquibiaxialFactors(double stretch) {
  const double s = stretch * stretch;
  const double factor = 2.0 * SquareLessOne(stretch) * (s * s + s + 1.0) / (s * s * stretch);
  return {factor, factor * s};
}

// Pure shear: I1 = I2; factor 2 (lambda - lambda^-3).
StressFactors PureShearFactors(double stretch) {
  const double factor = 2.0 * SquareLessOne(stretch) * (stretch * stretch + 1.0) / (stretch * stretch * stretch);
  return {factor, factor};
}

// Simple shear: I1 = I2; the stress is dW/dg, factor 2 g.
StressFactors SimpleShearFactors(double stretch) {
  const double factor = 2.0 * ShearStrain(stretch);
  return {factor, factor};
}

template <InvariantExcess (*kInvariants)(double), StressFactors (*kFactors)(double)>
void OfPoints(std::span<const double> stretches, const KinematicColumns& columns) {
  for (std::size_t i = 0; i < stretches.size(); ++i) {
    const InvariantExcess excess = kInvariants(stretches[i]);
    const StressFactors factors = kFactors(stretches[i]);
    columns.i1[i] = excess.i1;
    columns.i2[i] = excess.i2;
    columns.w1[i] = factors.w1;
    columns.w2[i] = factors.w2;
  }
}

}  // namespace

double ShearStrain(double stretch) { return std::abs(SquareLessOne(stretch)) / stretch; }

double StretchFromShearStrain(double shearStrain) {
  const double square = shearStrain * shearStrain;
  return std::sqrt(1.0 + square / 2.0 + shearStrain * std::sqrt(1.0 + square / 4.0));
}

constexpr ModeKinematics kUniaxial{
    .name = "uniaxial",
    .lateralExponent = -0.5,
    .stretchFromStrain = OnePlus,
    .invariants = UniaxialInvariants,
    .factors = UniaxialFactors,
    .ofPoints = OfPoints<UniaxialInvariants, UniaxialFactors>,
    .blatzKo = [](double stretch, double lateral) { return lateral * lateral - InverseCube(stretch); },
};

constexpr ModeKinematics kEquibiaxial{
    .name = "equibiaxial",
    .lateralExponent = -2.0,
    .stretchFromStrain = OnePlus,
    .invariants = EquibiaxialInvariants,
    .factors = EquibiaxialFactors,
    .ofPoints = OfPoints<EquibiaxialInvariants, EquibiaxialFactors>,
    .blatzKo = [](double stretch, double lateral) { return stretch * lateral - InverseCube(stretch); },
};

constexpr ModeKinematics kPureShear{
    .name = "pure_shear",
    .lateralExponent = -1.0,
    .stretchFromStrain = OnePlus,
    .invariants = ShearInvariants,
    .factors = PureShearFactors,
    .ofPoints = OfPoints<ShearInvariants, PureShearFactors>,
    .blatzKo = [](double stretch, double lateral) { return lateral - InverseCube(stretch); },
};

constexpr ModeKinematics kSimpleShear{
    .name = "simple_shear",
    .lateralExponent = -1.0,
    .stretchFromStrain = StretchFromShearStrain,
    .invariants = ShearInvariants,
    .factors = SimpleShearFactors,
    .ofPoints = OfPoints<ShearInvariants, SimpleShearFactors>,
    .blatzKo = [](double stretch, double) { return ShearStrain(stretch); },
};

}  // namespace Xem::MaterialUtil
