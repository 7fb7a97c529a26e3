#pragma once

#include <span>

#include "kernels/kernels.h"

/// Creep at constant stress s: primary (time hardening) and secondary (steady) strain, both by Norton's power law
/// (Norton 1929, Bailey 1935),
///
///   eps(t) = C1 s^C2 t^C4 + C5 s^C6 t
///
/// Constants are C1 ... C7; C3 and C7 take no part. At one stress only three numbers show,
///
///   eps(t) = a t^m + b t,   a = C1 s^C2,  m = C4,  b = C5 s^C6.
namespace Xem::MaterialUtil {

inline constexpr int kCreepConstants = 7;

/// Where the constants stand.
enum CreepConstant : int { kC1 = 0, kC2 = 1, kC3 = 2, kC4 = 3, kC5 = 4, kC6 = 5, kC7 = 6 };

/// The law at one stress, whose powers are formed once.
///
///   d/dC1 = s^C2 t^C4,  d/dC2 = C1 s^C2 t^C4 ln s,  d/dC4 = C1 s^C2 t^C4 ln t,
///   d/dC5 = s^C6 t,     d/dC6 = C5 s^C6 t ln s,     d/dC3 = d/dC7 = 0.
// Deliberate: products are formed from left to right, C1 s^C2 before t^C4, in the strain and in its derivatives: the
// iterative fit of all constants is singular but for rounding, so that the last bit decides where it ends.
class CreepAtStress {
 public:
  CreepAtStress(std::span<const double> constants, double stress);

  double Strain(double time) const;
  /// Fills the first seven entries of `gradient` and returns the strain. `logTime` is ln t.
  double Gradient(double time, double logTime, std::span<double> gradient) const;
  /// Strains at many times, and their derivatives in seven columns, the same but for rounding.
  void Strains(const double* times, const double* logTimes, const KernelBlock& block) const;

 private:
  double timeExponent_;
  double logStress_;
  double stressToC2_;
  double stressToC6_;
  double primary_;    ///< C1 s^C2
  double secondary_;  ///< C5 s^C6
};

double CreepStrain(std::span<const double> constants, double stress, double time);

/// Admissible region: C1, C5 >= 0; C2 within 1.0001 ... 7.999; C4 within 0.20001 ... 2. True when anything changed.
/// The bounds 1.0001 ... 7.999 of C6 end up in C4.
bool ConstrainCreep(std::span<double> constants);

/// The three numbers of one stress.
struct CreepLine {
  double amplitude = 0.0;  ///< a
  double exponent = 0.0;   ///< m
  double rate = 0.0;       ///< b
};
double CreepStrain(const CreepLine& line, double time);

/// Fits log10 value = log10 a + m log10 t by ordinary least squares; `rate` stays as it was.
void FitPrimary(std::span<const double> times, std::span<const double> values, CreepLine& line);

/// Slope of the ordinary least-squares line through (time, value); the intercept has no part in the law.
double FitRate(std::span<const double> times, std::span<const double> values);

/// (SStot - SSres) / SStot about the mean strain.
double CreepDetermination(const CreepLine& line, std::span<const double> times, std::span<const double> strains);

}  // namespace Xem::MaterialUtil
