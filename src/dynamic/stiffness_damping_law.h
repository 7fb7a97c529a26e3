#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "xem/records.h"

/// Strain dependence of the secant shear modulus ratio R = G/G0 and of the damping ratio h of a cyclically loaded
/// material. Strains are plain ratios.
///
/// Power-law family (Ramberg & Osgood 1943 in the form of Ohsaki, Hara & Kiyota 1978), reference strain gr at which
/// R = 0.5, exponent a:
///
///   gamma = gr / (2 R) (1 / R - 1)^(1 / a),  i.e.  R = 1 / (1 + (2 R gamma / gr)^a)
///   h     = hmax (1 - R),                    hmax = 2 a / ((a + 2) pi)
///
/// Hyperbolic family (Hardin & Drnevich 1972, with the damping of Masing loops), reference strain gr alone:
///
///   R = gr / (gr + gamma)
///   h = 2/pi (1 + 2 gr/gamma - 2 gr/gamma (1 + gr/gamma) ln(1 + gamma/gr))
namespace Xem::MaterialUtil {

/// Families by the codes of the interface. An unknown code computes nothing: observed and predicted values are 0.
enum class DynamicFamily : std::int32_t { PowerLaw = 0, Hyperbolic = 1 };

/// Residual forms by the codes of the interface: what is compared, and at which stored abscissa x.
enum class ResidualForm : std::int32_t {
  Strain = 0,     ///< x = gamma
  LogStrain = 1,  ///< x = s ln gamma
  Stress = 2,     ///< x = R gamma, the stress over G0
};

struct CyclicParameters {
  double referenceStrain = 0.0;
  double exponent = 0.0;  ///< power-law family
  double logScale = 1.0;  ///< s of the log-strain form
};

/// A point as a residual form sees it, with the derivatives of the predicted value.
struct ComparedPoint {
  double observed = 0.0;
  double predicted = 0.0;
  double byReferenceStrain = 0.0;
  double byExponent = 0.0;
};

/// Compares a point with stored abscissa x and ordinate y with the model.
using Comparison = ComparedPoint (*)(const CyclicParameters& parameters, double x, double y);
Comparison StiffnessComparison(DynamicFamily family, ResidualForm form);
Comparison DampingComparison(DynamicFamily family, ResidualForm form);

/// Between the exponent and what users know, the largest damping ratio: hmax = 2 a / ((a + 2) pi), below 2 / pi.
double LargestDamping(double exponent);
double LargestDampingSlope(double exponent);
double ExponentOfLargestDamping(double largestDamping);

/// R of the power law at a strain, from the implicit relation; nothing when 1000 iterations do not find it.
std::optional<double> SolvePowerLawRatio(const CyclicParameters& parameters, double strain);

/// R and h of the families against strain itself, with derivatives; the residual is in the ordinate.
ComparedPoint PowerLawStiffness(const CyclicParameters& parameters, double strain, double ratio);
ComparedPoint PowerLawDamping(const CyclicParameters& parameters, double strain, double damping);
ComparedPoint HyperbolicStiffness(const CyclicParameters& parameters, double strain, double ratio);
ComparedPoint HyperbolicDamping(const CyclicParameters& parameters, double strain, double damping);

/// Values for curves that are drawn: the power law falls back on R = 0.5 (stiffness) or R = 0.1 (damping) where the
/// implicit relation is not solved. 0 for an unknown family.
double StiffnessRatioAt(DynamicFamily family, const CyclicParameters& parameters, double strain);
double DampingRatioAt(DynamicFamily family, const CyclicParameters& parameters, double strain);

/// Index j of the first pair j, j + 1 whose abscissae enclose `strain`; nothing when there is none.
std::optional<std::size_t> FindStrain(std::span<const _T_FUNT_BASE> curve, double strain);
/// Index i of the first pair i, i + 1 whose ordinates enclose 0.5; nothing when there is none.
std::optional<std::size_t> FindHalf(std::span<const _T_FUNT_BASE> curve);
/// The ordinate at `strain` on the line through points j and j + 1; that of point j when both strains are the same.
double InterpolateOrdinate(std::span<const _T_FUNT_BASE> curve, std::size_t j, double strain);

/// Stress over G0 at a strain, read from a stiffness curve. Throws CInvalidArgException when the curve is empty.
double NormalisedStressAt(std::span<const _T_FUNT_BASE> stiffness, double strain);

/// Strain at R = 0.5 as the residual form wants it; 0.0005 when the curve does not pass 0.5.
double InitialReferenceStrain(ResidualForm form, std::span<const _T_FUNT_BASE> stiffness);
inline constexpr double kDefaultReferenceStrain = 0.0005;

/// Sets the curve to n = curve.size() strains evenly spaced in log10 from 1e-7 to 1, rounded to two significant digits,
/// with ordinates 0; a single point gets 1e-7.
void FillStrainGrid(std::span<_T_FUNT_BASE> curve);

}  // namespace Xem::MaterialUtil
