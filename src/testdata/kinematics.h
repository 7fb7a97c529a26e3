#pragma once

#include <span>

namespace Xem::MaterialUtil {

/// Strain invariants of an incompressible homogeneous deformation, less their undeformed value 3. Kept as
/// differences, in factored form, so that small strains keep their digits.
struct InvariantExcess {
  double i1 = 0.0;  ///< I1 - 3
  double i2 = 0.0;  ///< I2 - 3
};

/// Nominal stress = w1 dW/dI1 + w2 dW/dI2.
struct StressFactors {
  double w1 = 0.0;
  double w2 = 0.0;
};

/// Both of several points, a column each of as many numbers as there are points.
struct KinematicColumns {
  double* i1;
  double* i2;
  double* w1;
  double* w2;
};

/// All that distinguishes one deformation mode from another.
struct ModeKinematics {
  const char* name;
  /// Exponent e of the lateral stretch, lateral stretch = stretch^e.
  double lateralExponent;
  /// Principal stretch of a strain as the caller gives it.
  double (*stretchFromStrain)(double strain);
  InvariantExcess (*invariants)(double stretch);
  StressFactors (*factors)(double stretch);
  /// The last two at several points.
  void (*ofPoints)(std::span<const double> stretches, const KinematicColumns& columns);
  /// Blatz-Ko stress for unit modulus, W = (I2 / I3 + 2 sqrt(I3) - 5) / 2 (Blatz and Ko 1962).
  double (*blatzKo)(double stretch, double lateralStretch);
};

extern const ModeKinematics kUniaxial;
extern const ModeKinematics kEquibiaxial;
extern const ModeKinematics kPureShear;
extern const ModeKinematics kSimpleShear;

/// Shear strain of simple shear at a principal stretch, |lambda^2 - 1| / lambda: never negative.
double ShearStrain(double stretch);

/// Principal stretch of simple shear, sqrt(1 + g^2/2 + g sqrt(1 + g^2/4)).
double StretchFromShearStrain(double shearStrain);

}  // namespace Xem::MaterialUtil
