#ifndef XEM_FIT_SUPERPOSITION_H
#define XEM_FIT_SUPERPOSITION_H

#include <cstddef>
#include <limits>
#include <string>
#include <vector>

#include "xem/fit/viscoelastic.h"

/// @file
/// Time-temperature superposition: curves at several temperatures as one master curve at a reference temperature,
///
///   E(t, T) = b_T E_ref(t / a_T),   E(f, T) = b_T E_ref(f a_T),
///
/// with a_T > 1 below the reference and b_T = 1 unless asked for.
namespace Xem::Fit {

enum class TemperatureUnit { Celsius, Kelvin, Fahrenheit };

XEM_FIT_EXPORT double InKelvin(double temperature, TemperatureUnit unit);

/// Shift factors for the laws of the catalogue, "wlf" with the parameters C1 and C2, and "arrhenius" with E_a:
///
///   log10 a_T = -C1 (T - T_ref) / (C2 + T - T_ref)        (Williams, Landel and Ferry 1955)
///   log10 a_T = E_a / (R ln 10) (1 / T - 1 / T_ref), T in kelvin, E_a in kJ/mol
struct ShiftFactorData {
  Curve curve;  ///< temperature, log10 a_T; no name: "shift_factors"
  /// Of the factors, by which they count; empty where they are equally sure.
  std::vector<double> standardErrors;
  double reference = 0.0;
  TemperatureUnit unit = TemperatureUnit::Celsius;
};

enum class ShiftLaw { Wlf, Arrhenius, None };

/// "wlf", "arrhenius", "none".
XEM_FIT_EXPORT const char* NameOf(ShiftLaw law);

/// What was measured at one temperature: a relaxation curve, or a storage modulus and, besides, a loss modulus.
struct Isotherm {
  double temperature = 0.0;
  std::vector<ModulusCurve> curves;
};

struct SuperpositionData {
  std::vector<Isotherm> isotherms;
  double reference = 0.0;  ///< temperature of the master curve
  TemperatureUnit unit = TemperatureUnit::Celsius;
  ShiftLaw law = ShiftLaw::Wlf;
  bool vertical = false;  ///< factors b_T, too
  std::string modulusUnit;
};

struct ShiftFactor {
  double temperature = 0.0;
  double log10aT = 0.0;
  double standardError = std::numeric_limits<double>::quiet_NaN();  ///< NaN where the curves do not tell the factor
  double log10bT = 0.0;
  double verticalError = std::numeric_limits<double>::quiet_NaN();
  /// From the overlap with the neighbour towards the reference alone.
  double overlap = std::numeric_limits<double>::quiet_NaN();
};

/// The points of all temperatures as one curve, by rising reduced time or frequency.
struct MasterCurve {
  ModulusCurve reduced;                ///< abscissae in the unit of the curves
  std::vector<double> smooth;          ///< the common curve at each point
  std::vector<std::size_t> isotherms;  ///< that each point comes from, in the order of the factors
  double misfit = 0.0;                 ///< root mean square of the relative distances from the common curve
};

struct Superposition {
  std::vector<ShiftFactor> factors;  ///< by rising temperature
  std::vector<MasterCurve> master;   ///< relaxation, or storage and loss
  /// The law fitted to the factors, or for ShiftLaw::None the factors alone; `notes` are those on everything.
  Result result;
};

/// Finds the factors: first from the overlap of neighbouring temperatures, then from all together as those with which
/// one relaxation spectrum tells every curve best. Storage modulus or relaxation decide; the loss modulus is moved
/// along, and a note says how well it follows. Standard errors come from that common fit, those of the law from the
/// factors and their standard errors. Where one law does not serve all temperatures, a note says from where on; WLF is
/// then fitted above the glass transition only.
///
/// Throws Error: BadInput for options that make no sense, BadData for fewer than two temperatures, for two of the same,
/// and for neighbours whose curves have nothing in common.
XEM_FIT_EXPORT Superposition Superpose(const SuperpositionData& data, const Options& options = {});

}  // namespace Xem::Fit

#endif
