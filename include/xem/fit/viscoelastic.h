#ifndef XEM_FIT_VISCOELASTIC_H
#define XEM_FIT_VISCOELASTIC_H

#include <functional>
#include <string>
#include <vector>

#include "xem/fit/result.h"

/// @file
/// Curves over time: relaxation, creep, and strain histories as relaxation curves.
namespace Xem::Fit {

/// The instantaneous modulus E0 of a relaxation curve, E(t) = E0 g(t).
enum class Normalise {
  Nothing,  ///< the ordinates are ratios g already
  First,    ///< held at the value at the earliest time, whose scatter then is in all results
  Value,    ///< held at a given modulus
  Free,     ///< a parameter like the others
};

struct RelaxationData {
  Curve curve;  ///< time, relaxation modulus; no name: "relaxation"
  Normalise normalise = Normalise::Nothing;
  double modulus = 1.0;  ///< for Normalise::Value
  std::string timeUnit;
  std::string modulusUnit = {};  ///< of raw moduli
};

inline constexpr int kAutomaticTerms = 0;
inline constexpr int kMostPronyTerms = 40;

/// Fits the Prony series g(t) = 1 - sum g_i (1 - exp(-t / tau_i)), g_i >= 0, sum g_i <= 1, to a relaxation curve.
///
/// Starts come from a non-negative spectrum over the measured decades and, besides, from times spread evenly over them;
/// all times then move, from a tenth of the shortest to ten times the longest measured time. Terms that the curve does
/// not support (equal times, no contribution, no better by the corrected Akaike criterion) are taken away, and a note
/// says so; not where parameters are held or started. With kAutomaticTerms the number of terms is chosen by that
/// criterion, at most three for every two measured decades, and three more.
///
/// Parameters are g1 ..., tau1 ..., by rising time, in the unit of time; for raw moduli E0 follows, and the curve's
/// values are moduli. `derived` has "g_infinity" and for raw moduli "instantaneous_modulus" and "long_term_modulus".
/// Engine::Export fits ratios: moduli divided by the first or a given one.
///
/// Throws Error: BadInput for an impossible number of terms or option, BadData for a curve with fewer usable points
/// than parameters or with values that are not ratios.
XEM_FIT_EXPORT Result FitProny(const RelaxationData& data, int terms, const Options& options = {});

enum class ModulusKind { Relaxation, Storage, Loss };

/// "relaxation", "storage", "loss": what the name of such a curve begins with.
XEM_FIT_EXPORT const char* NameOf(ModulusKind quantity);

/// A relaxation curve (time, modulus) or one part of a sweep (frequency, storage or loss modulus).
struct ModulusCurve {
  ModulusKind quantity = ModulusKind::Storage;
  Curve curve;  ///< a name that begins as NameOf says; none: that, with a number where several have it
  /// Units of time, or radians per unit of time, of one unit of the abscissa: 2 pi where it counts cycles.
  double perUnit = 1.0;
  bool ratio = false;  ///< the ordinates are over the instantaneous modulus
};

/// Relaxation and sweeps of one material, all told by one series.
struct DynamicData {
  std::vector<ModulusCurve> curves;
  Normalise normalise = Normalise::Free;  ///< Free, or held by Value; curves of ratios alone have none
  double modulus = 1.0;                   ///< for Normalise::Value
  std::string timeUnit;
  std::string modulusUnit;
};

/// Fits the Prony series to curves over time and over angular frequency w together,
///
///   E'(w) = E0 (1 - sum g_i) + E0 sum g_i w^2 tau_i^2 / (1 + w^2 tau_i^2),
///   E''(w) = E0 sum g_i w tau_i / (1 + w^2 tau_i^2),
///
/// within the ranges of FitProny, where a frequency stands for the time 1/w. The loss modulus alone leaves E0 open: it
/// then is the smallest that it can be, the sum of the moduli of the terms, and not identifiable.
///
/// Of a number of terms that is asked for only those are taken away that are empty or lie on each other; with
/// kAutomaticTerms it grows until a further term no longer pays. Parameters and derived quantities are
/// those of FitProny, the curves keep their abscissae; `conditions` of each have "per_unit" of its ModulusCurve.
///
/// Throws Error as FitProny does; BadInput for Engine::Export, which knows no frequencies, and Normalise::First.
XEM_FIT_EXPORT Result FitDynamicProny(const DynamicData& data, int terms, const Options& options = {});

/// A series of parameters g1 ... gn, tau1 ... taun at a time. Throws Error (BadInput) for an odd number of parameters.
XEM_FIT_EXPORT double PronyModulus(const std::vector<double>& parameters, double time);

enum class CreepTerms { Primary, Secondary, Both };

enum class Tertiary {
  Drop,  ///< points of an accelerating last stage are left out, and named
  Keep,  ///< they are fitted like the others
};

/// A creep test at one stress.
struct CreepTest {
  Curve curve;  ///< time, creep strain (without the instantaneous strain)
  double stress = 0.0;
};

struct CreepData {
  std::vector<CreepTest> tests;  ///< names must differ
  Tertiary tertiary = Tertiary::Drop;
  std::string timeUnit;
  std::string stressUnit;
};

/// Fits the creep law eps = C1 s^C2 t^C4 + C5 s^C6 t to one or more tests.
///
/// C1, C5 >= 0, C2 and C6 within 0 ... 25, C4 within 0.01 ... 0.999 (2 without the secondary term). Tests at two or
/// more stresses identify C2 and C6; with one stress these keep the held values or 1, are marked as not identifiable,
/// and C1 and C5 refer to them. The fit works in units of its own, so results do not depend on those of stress and
/// time.
///
/// Parameters are C1, C2, C4, C5, C6 as far as they belong to the terms; `derived` has "m" and, per test, "a" and "b"
/// of eps = a t^m + b t, with the test's name after an underscore when there are several.
///
/// Engine::Export takes one test; with absolute residuals it is the linearised export with the held C2 and C6, with
/// relative residuals the iterative one, which fits both terms.
///
/// Throws Error: BadInput for names and options that make no sense, BadData for tests without usable points or a
/// stress that is not positive, NotConverged when an export fails.
XEM_FIT_EXPORT Result FitCreep(const CreepData& data, CreepTerms terms, const Options& options = {});

/// (time, reference / stress) for a record (time, strain); `stress` is the stress of a fitted model at a strain. Points
/// without a stress are dropped, and named. The result has one curve with `x` and `fitted` and nothing else. Throws
/// Error: BadInput for a reference that is not a number other than zero, BadData when no point is left.
XEM_FIT_EXPORT Result ConvertToRelaxation(const Curve& record, double reference,
                                          const std::function<double(double strain)>& stress);

}  // namespace Xem::Fit

#endif
