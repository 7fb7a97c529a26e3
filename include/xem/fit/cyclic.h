#ifndef XEM_FIT_CYCLIC_H
#define XEM_FIT_CYCLIC_H

#include <string>
#include <vector>

#include "xem/fit/result.h"

/// @file
/// Cyclic soil behaviour from test curves: stiffness ratio R = G/G0 and damping ratio h against shear strain. Strains
/// and damping are fractions, not percent.
namespace Xem::Fit {

/// Families, their names and their parameters.
enum class CyclicFamily {
  Power,       ///< "power": R = 1 / (1 + (2 R gamma / gamma_r)^a), h = hmax (1 - R); gamma_r, hmax = 2 a / ((a + 2) pi)
  Hyperbolic,  ///< "hyperbolic": R = gamma_r / (gamma_r + gamma), h of its Masing loops; gamma_r
  Ghe,         ///< "ghe": generalised hyperbolic equation, C1_0, C1_inf, C2_0, C2_inf, alpha, beta at a held gamma_r;
               ///< with a damping curve h = hmax (1 - R)^kappa, hmax, kappa
  Darendeli,   ///< "darendeli": R = 1 / (1 + (gamma / gamma_r)^s), h = h_min + b R^0.1 h_masing; gamma_r, s; with a
               ///< damping curve b, h_min
};

/// What is compared with the data. Ordinate gives the curves that are the best through the data; the others are what
/// plain exports use, and exist here for the power law.
enum class CyclicForm {
  Ordinate,   ///< R(gamma) and h(gamma)
  Strain,     ///< gamma at the measured ratio or damping
  LogStrain,  ///< ln gamma at the measured ratio or damping
  Stress,     ///< R and h at the stress R gamma; damping needs the stiffness curve for it
};

/// Test curves of one soil, named "stiffness" and "damping". Empty curves take no part.
struct CyclicData {
  Curve stiffness;
  Curve damping;
  /// Two curves with absolute residuals: weight each by the inverse variance of its ordinates, besides its own weight.
  bool balance = true;
  CyclicForm form = CyclicForm::Ordinate;  ///< what is compared
};

/// Fits one family to the stiffness curve, the damping curve or both.
///
/// A damping at small strain, "h_min", is added to h in every family. Darendeli's has it as a free parameter; in the
/// others it is 0 and no part of the result, unless it is held, started or bounded by name (not with the forms Strain
/// and LogStrain, nor with Engine::Export; free only with a damping curve).
///
/// Derived quantity of the power law: "exponent", a. The curve of the result evaluates "stiffness" and "damping"
/// whichever was measured, as far as the family says: a generalised hyperbolic fit without damping data has no damping.
/// Points that cannot be used are dropped and named: not finite, zero, negative, without a positive strain; and for the
/// forms Strain and LogStrain ratios that are not below 1, and damping that is not below a held hmax (a free hmax stays
/// above the largest damping); for the form Stress damping outside the stiffness curve.
///
/// Engine Export returns what the plain exports return from the same start: the form Ordinate then stands for the
/// family's usual one (power: stress, hyperbolic: strain), weights are the export's own, and the damping of the
/// generalised equation takes R from the measured stiffness curve.
///
/// Throws Error: BadInput for unknown parameter names, held values outside the range of a parameter, a form that the
/// family does not have; BadData for curves with too few usable points and for numbers that look like percent (strain
/// above 1, ratios above 1.5, damping above 0.5), for a damping curve alone with Ghe unless its stiffness is held.
XEM_FIT_EXPORT Result FitCyclic(const CyclicData& data, CyclicFamily family, const Options& options = {},
                                CyclicForm form = CyclicForm::Ordinate);

/// Names of the families in the order of the enumeration, and back. Throws Error (BadInput) for an unknown name.
XEM_FIT_EXPORT const std::vector<std::string>& CyclicFamilyNames();
XEM_FIT_EXPORT CyclicFamily CyclicFamilyCalled(const std::string& name);

/// The strains at which such curves are tabulated: 1e-6, 3e-6, 1e-5, ... 1e-1.
XEM_FIT_EXPORT const std::vector<double>& CyclicTableStrains();

}  // namespace Xem::Fit

#endif
