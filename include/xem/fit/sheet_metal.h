#ifndef XEM_FIT_SHEET_METAL_H
#define XEM_FIT_SHEET_METAL_H

#include <cstddef>
#include <string>
#include <vector>

#include "xem/fit/result.h"

/// @file
/// Hardening laws from tensile tests, and forming-limit curves from hardening.
namespace Xem::Fit {

enum class StrainMeasure {
  Plastic,      ///< true plastic strain
  True,         ///< true (logarithmic) total strain
  Engineering,  ///< elongation over initial length
};

enum class StressMeasure {
  True,
  Engineering,  ///< force over initial cross-section
};

/// A tensile test up to, at most, the maximum force: strain against stress.
struct TensileData {
  Curve curve;
  StrainMeasure strain = StrainMeasure::Plastic;
  StressMeasure stress = StressMeasure::True;
  double youngsModulus = 0.0;  ///< in the unit of stress; removes the elastic part of a total strain. 0: the slope of
                               ///< the straight line with which the curve begins, if it does
  double proofStrain = -1.0;   ///< points below this plastic strain are left out; < 0: 0.002 when an elastic part is
                               ///< removed, else 0
  std::string stressUnit;
};

/// Flow curve of a tensile test: true plastic strain against true stress, ready for a fit or as a table.
struct FlowCurve {
  Curve curve;
  std::vector<DroppedPoint> dropped;
  std::vector<std::string> notes;
};

/// Turns engineering into true values, removes the elastic part and leaves out what is no plastic flow: points below
/// the proof strain and, in engineering stress, those beyond the maximum. Throws Error: BadData when fewer than
/// `fewest` points are left, BadInput for a combination that cannot be converted (engineering stress with plastic
/// strain) and a Young's modulus so small that all of the strain would be elastic.
XEM_FIT_EXPORT FlowCurve MakeFlowCurve(const TensileData& data, int fewest = 2);

/// Fits a hardening law to a tensile test from several starting points.
///
///   "ghosh"           K (e0 + eps)^n - p: parameters K, e0 >= 0, n >= 0, p
///   "swift"           the same with p held at 0
///   "hockett-sherby"  ss - (ss - si) exp(-N eps^p): parameters si, ss, N > 0, p > 0
///   "voce"            s0 + q (1 - exp(-b eps)): parameters s0, q >= 0, b > 0
///   "swift-voce"      w K (e0 + eps)^n + (1 - w) (s0 + q (1 - exp(-b eps))), 0 <= w <= 1: the two laws are fitted by
///                     themselves first and w alone after that, because all seven together are not to be told apart
///
/// The result's one curve has the name of the tensile curve. Throws Error: BadInput for an unknown law or parameter
/// name, BadData for too few usable points, NotConverged when no start leads to a minimum.
XEM_FIT_EXPORT Result FitHardening(const std::string& law, const TensileData& data, const Options& options = {});

/// A hardening law with its constants, or a table.
struct Hardening {
  std::string law = "ghosh";      ///< "ghosh", "swift", "hockett-sherby", "voce", "swift-voce" or "table"
  std::vector<double> constants;  ///< K, e0, n, p (swift: p may be missing), or si, ss, N, p, or as HardeningConstants
  Curve table;                    ///< plastic strain, true stress
};

/// Names of the constants of a law, in order; empty for a table. Throws Error (BadInput) for an unknown law.
XEM_FIT_EXPORT std::vector<std::string> HardeningConstants(const std::string& law);

/// True stress at a true plastic strain. Throws Error as ComputeFormingLimit does.
XEM_FIT_EXPORT double FlowStress(const Hardening& hardening, double strain);

struct YieldCriterion {
  std::string name = "vonmises";  ///< or "hill1979"
  double r = 1.0;                 ///< Hill: normal anisotropy coefficient
  double m = 2.0;                 ///< Hill: exponent, > 1
};

/// Normal anisotropy of a sheet from tests along, at 45 degrees and across the rolling direction.
XEM_FIT_EXPORT double MeanAnisotropy(double r0, double r45, double r90);

struct FormingLimitSettings {
  int paths = 0;            ///< 0: 41, or as many as the left side needs
  double increment = 1e-4;  ///< of the major strain, per step
  double tolerance = 0.0;   ///< on the strain ratio; 0: the square root of the increment
};

/// Limit strains in order of the minor strain side: left of plane strain, plane strain, right of it.
struct FormingLimit {
  std::vector<double> minorStrain;
  std::vector<double> majorStrain;
  std::size_t planeStrain = 0;    ///< index of the plane-strain point
  double largestStrain = 0.0;     ///< equivalent plastic strain up to which the flow curve was used
  FormingLimitSettings settings;  ///< as used
  std::vector<std::string> notes;

  double PlaneStrainLimit() const { return majorStrain[planeStrain]; }
};

/// Major strain at which a sheet in plane strain necks, from the criterion's closed condition (Considere 1885), with
/// the major stress s1 = phi s: the first strain at which s1 = ds1/de1. 0 where it holds before any strain, NaN where
/// it never does. Throws Error (BadInput, BadData) as ComputeFormingLimit does.
XEM_FIT_EXPORT double PlaneStrainLimit(const Hardening& hardening, const YieldCriterion& yield);

/// True for a flow curve that starts flat and hardens later (a yield plateau): near plane strain the criterion takes
/// the plateau for a neck, and limits there have no meaning.
XEM_FIT_EXPORT bool LimitsCollapse(const Hardening& hardening, const YieldCriterion& yield);

/// Forming-limit curve by the modified maximum force criterion. Its plane-strain point is PlaneStrainLimit, where the
/// exported functions extrapolate one from the paths beside it. Notes tell of paths without a limit, of a tolerance
/// that makes the march jump (below 0.5 sqrt(increment)) and of a flow curve used far beyond its table. Throws Error:
/// BadInput for settings and constants that make no sense, BadData for a table that is none, NotConverged when too few
/// paths end.
XEM_FIT_EXPORT FormingLimit ComputeFormingLimit(const Hardening& hardening, const YieldCriterion& yield,
                                                const FormingLimitSettings& settings = {});

/// Major limit strain at a minor strain, straight between the points; NaN outside the curve.
XEM_FIT_EXPORT double LimitAt(const FormingLimit& limit, double minorStrain);

}  // namespace Xem::Fit

#endif
