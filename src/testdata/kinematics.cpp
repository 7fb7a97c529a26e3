#include "testdata/kinematics.h"

#include <cmath>

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

}  // namespace

double ShearStrain(double stretch) { return std::abs(SquareLessOne(stretch)) / stretch; }

double StretchFromShearStrain(double shearStrain) {
  const double square = shearStrain * shearStrain;
  return std::sqrt(1.0 + square / 2.0 + shearStrain * std::sqrt(1.0 + square / 4.0));
}

// I1 - 3 = lambda^2 + 2/lambda - 3, I2 - 3 = 2 lambda + lambda^-2 - 3, factor 2 (1 - lambda^-3) (lambda, 1).
constexpr ModeKinematics kUniaxial{
    .name = "uniaxial",
    .lateralExponent = -0.5,
    .stretchFromStrain = OnePlus,
    .invariants =
        [](double stretch) {
          const double square = Square(stretch - 1.0);
          return InvariantExcess{square * (stretch + 2.0) / stretch, square * (2.0 * stretch + 1.0) / Square(stretch)};
        },
    .factors =
        [](double stretch) {
          const double factor =
              2.0 * (stretch - 1.0) * (Square(stretch) + stretch + 1.0) / (stretch * stretch * stretch);
          return StressFactors{factor * stretch, factor};
        },
    .blatzKo = [](double stretch, double lateral) { return lateral * lateral - InverseCube(stretch); },
};

// With s = lambda^2: I1 - 3 = 2 s + s^-2 - 3, I2 - 3 = s^2 + 2/s - 3, factor 2 (lambda - lambda^-5) (1, s).
constexpr ModeKinematics kEquibiaxial{
    .name = "equibiaxial",
    .lateralExponent = -2.0,
    .stretchFromStrain = OnePlus,
    .invariants =
        [](double stretch) {
          const double s = stretch * stretch;
          const double square = Square(SquareLessOne(stretch));
          return InvariantExcess{square * (2.0 * s + 1.0) / (s * s), square * (s + 2.0) / s};
        },
    .factors =
        [](double stretch) {
          const double s = stretch * stretch;
          const double factor = 2.0 * SquareLessOne(stretch) * (s * s + s + 1.0) / (s * s * stretch);
          return StressFactors{factor, factor * s};
        },
    .blatzKo = [](double stretch, double lateral) { return stretch * lateral - InverseCube(stretch); },
};

// I1 = I2; factor 2 (lambda - lambda^-3).
constexpr ModeKinematics kPureShear{
    .name = "pure_shear",
    .lateralExponent = -1.0,
    .stretchFromStrain = OnePlus,
    .invariants = ShearInvariants,
    .factors =
        [](double stretch) {
          const double factor =
              2.0 * SquareLessOne(stretch) * (stretch * stretch + 1.0) / (stretch * stretch * stretch);
          return StressFactors{factor, factor};
        },
    .blatzKo = [](double stretch, double lateral) { return lateral - InverseCube(stretch); },
};

// I1 = I2; the stress is dW/dg, factor 2 g.
constexpr ModeKinematics kSimpleShear{
    .name = "simple_shear",
    .lateralExponent = -1.0,
    .stretchFromStrain = StretchFromShearStrain,
    .invariants = ShearInvariants,
    .factors =
        [](double stretch) {
          const double factor = 2.0 * ShearStrain(stretch);
          return StressFactors{factor, factor};
        },
    .blatzKo = [](double stretch, double) { return ShearStrain(stretch); },
};

}  // namespace Xem::MaterialUtil
