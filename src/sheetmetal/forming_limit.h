#pragma once

#include <boost/shared_ptr.hpp>
#include <cstdint>
#include <span>
#include <vector>

#include "sheetmetal/hardening_rule.h"
#include "sheetmetal/params.h"
#include "sheetmetal/yield_criterion.h"
#include "xem/records.h"

/// Forming-limit curves: the major and minor strain at which a sheet under a given stress ratio begins to neck.
namespace Xem::MaterialUtil::SheetMetalForming {

/// Where a stress path led.
enum class PathEnd {
  PlaneStrainFromTheStart,  ///< no limit point
  Reached,                  ///< plane strain; a limit point
  Never,                    ///< goes on without end, or to a major strain of 20; no limit point
};

struct StrainPath {
  double alpha = 0.0;
  bool right = false;  ///< the strain ratio was positive at the start
  PathEnd end = PathEnd::Never;
  double major = 0.0;
  double minor = 0.0;
  double strain = 0.0;  ///< equivalent
};

class XemFLC {
 public:
  virtual double StressFactor(double alpha) const;
  virtual double FlowStress(double strain, double rate) const;
  /// Resizes `curve` to the limit points, x = major strain, y = minor strain. Throws CInvalidArgException, and leaves
  /// the curve as it was, when fewer than two paths on the left of plane strain end.
  virtual void ComputeCurve(PointArray& curve) const = 0;

 protected:
  XemFLC(const boost::shared_ptr<HardeningParams>& hardening, const boost::shared_ptr<YieldParams>& yield);
  ~XemFLC() = default;

  boost::shared_ptr<XemSMHardeningRule> hardening_;
  boost::shared_ptr<XemSMYieldCriterion> yield_;
};

/// Modified maximum force criterion (Hora, Tong and Reissner 1996): when the major force has passed its maximum, the
/// strain path turns so that the force is kept, until it is plane strain and a neck forms.
///
/// A path of stress ratio alpha advances the major strain by delta per step. With sigma1 = phi sigma and
/// S = phi^2 (1 + alpha beta) dsigma/deps, a step with sigma1 >= S changes the strain ratio by
/// (sigma1 - S) / (dphi/dbeta sigma) delta. The path ends when |beta| < tol, and is given up at a major strain of 20
/// and as soon as it is certain that it does not end before.
class XemFLCMMFC : public XemFLC {
 public:
  XemFLCMMFC(const boost::shared_ptr<FLCMMFCParams>& params, const boost::shared_ptr<HardeningParams>& hardening,
             const boost::shared_ptr<YieldParams>& yield);
  void ComputeCurve(PointArray& curve) const override;

  /// Follows one path, for 20 / delta steps at most.
  StrainPath March(double alpha) const;
  /// Follows the N paths of stress ratios i / (N - 1), i = 0 ... N - 1.
  std::vector<StrainPath> MarchAll() const;

 private:
  boost::shared_ptr<FLCMMFCParams> params_;
};

/// Limit points of paths that reached plane strain: those left of it, then its own by PlaneStrainLimit, then those
/// right of it. Throws CInvalidArgException when there are fewer than two on the left.
std::vector<_T_FUNT_BASE> LimitPoints(std::span<const StrainPath> paths);

/// Major strain at which the straight line through two points, in this order, meets minor strain 0.
double PlaneStrainLimit(const _T_FUNT_BASE& before, const _T_FUNT_BASE& last);

/// The limit curve of three records; empty when one of them is.
boost::shared_ptr<XemFLC> MakeFormingLimitCurve(const boost::shared_ptr<LimitCurveParams>& params,
                                                const boost::shared_ptr<YieldParams>& yield,
                                                const boost::shared_ptr<HardeningParams>& hardening);

}  // namespace Xem::MaterialUtil::SheetMetalForming
