#pragma once

#include <boost/shared_ptr.hpp>

#include "sheetmetal/params.h"

/// Plane-stress yield criteria in principal ratios: alpha = sigma2 / sigma1 of the stresses and beta = d eps2 / d eps1
/// of the plastic strain increments, which the criterion ties to each other by the associated flow rule.
///
/// Deliberate: every expression is computed as it stands here, from left to right, powers by the power function and
/// none shared. Close to plane strain a path turns another last bit into another limit.
namespace Xem::MaterialUtil::SheetMetalForming {

/// Isotropic criterion (von Mises 1913): with t = beta(alpha),
///
///   beta(alpha) = (2 alpha - 1) / (2 - alpha),  alpha(beta) = (2 beta + 1) / (beta + 2)
///   phi(alpha)  = sigma1 / equivalent stress = (t + 2) / sqrt(3 (t^2 + t + 1))
///   dphi/dbeta  = Q^(-1/2) - Q^(-3/2) (3 t + 1.5) (t + 2),  Q = 3 t^2 + 3 t + 3
///
/// The slope is -4.5 t / Q^(3/2): at plane strain, t = 0, the two terms cancel but for their rounding.
double VonMisesStrainRatio(double alpha);
double VonMisesStressRatio(double beta);
double VonMisesStressFactor(double alpha);
double VonMisesStressFactorSlope(double alpha);

/// Normal anisotropy without planar anisotropy (Hill 1979, fourth form): r is the ratio of width to thickness strain in
/// uniaxial tension, m > 1 the exponent; r = 1 and m = 2 is von Mises.
///
///   A = (1 + alpha)^(m-1), B = (2r + 1) (1 - alpha)^(m-1):          beta  = (A - B) / (A + B)
///   E = ((1 + beta) (2r + 1))^(1/(m-1)), D = (1 - beta)^(1/(m-1)):  alpha = (E - D) / (E + D)
///   phi(alpha)  = (((2r + 1) (1 - alpha)^m + (1 + alpha)^m) / (2r + 2))^(-1/m)
///   dphi/dalpha = phi^(m+1) (A - B) / (-2 (r + 1))
///   dalpha/dbeta = (B + A)^2 / (4 (1 - alpha^2)^(m-2) (2 m r + m - 2 r - 1))
///
/// At equibiaxial stress the slope dphi/dbeta is infinite for m > 2 and zero for m < 2.
double Hill1979StrainRatio(double r, double m, double alpha);
double Hill1979StressRatio(double r, double m, double beta);
double Hill1979StressFactor(double r, double m, double alpha);
double Hill1979StressFactorSlope(double r, double m, double alpha);
/// The same where phi, the stress factor at alpha, is known already.
double Hill1979StressFactorSlope(double r, double m, double alpha, double phi);

class XemSMYieldCriterion {
 public:
  virtual double StrainRatio(double alpha) const = 0;
  virtual double StressRatio(double beta) const = 0;
  virtual double StressFactor(double alpha) const = 0;
  /// dphi/dbeta at alpha.
  virtual double StressFactorSlope(double alpha) const = 0;
  /// The same for a caller that knows phi, the stress factor at alpha.
  virtual double StressFactorSlope(double alpha, double phi) const = 0;

 protected:
  explicit XemSMYieldCriterion(boost::shared_ptr<YieldParams> params) : params_(params) {}
  ~XemSMYieldCriterion() = default;

  boost::shared_ptr<YieldParams> params_;
};

class XemSMYCVonMises final : public XemSMYieldCriterion {
 public:
  explicit XemSMYCVonMises(boost::shared_ptr<YCVonMisesParams> params) : XemSMYieldCriterion(params) {}
  double StrainRatio(double alpha) const override { return VonMisesStrainRatio(alpha); }
  double StressRatio(double beta) const override { return VonMisesStressRatio(beta); }
  double StressFactor(double alpha) const override { return VonMisesStressFactor(alpha); }
  double StressFactorSlope(double alpha) const override { return VonMisesStressFactorSlope(alpha); }
  double StressFactorSlope(double alpha, double) const override { return VonMisesStressFactorSlope(alpha); }
};

class XemSMYCHill1979 final : public XemSMYieldCriterion {
 public:
  explicit XemSMYCHill1979(boost::shared_ptr<YCHill1979Params> params) : XemSMYieldCriterion(params) {}
  double StrainRatio(double alpha) const override { return Hill1979StrainRatio(Params().r, Params().m, alpha); }
  double StressRatio(double beta) const override { return Hill1979StressRatio(Params().r, Params().m, beta); }
  double StressFactor(double alpha) const override { return Hill1979StressFactor(Params().r, Params().m, alpha); }
  double StressFactorSlope(double alpha) const override {
    return Hill1979StressFactorSlope(Params().r, Params().m, alpha);
  }
  double StressFactorSlope(double alpha, double phi) const override {
    return Hill1979StressFactorSlope(Params().r, Params().m, alpha, phi);
  }

 private:
  const YCHill1979Params& Params() const { return static_cast<const YCHill1979Params&>(*params_); }
};

/// The criterion of a record; empty for an empty pointer.
boost::shared_ptr<XemSMYieldCriterion> MakeYieldCriterion(const boost::shared_ptr<YieldParams>& params);

}  // namespace Xem::MaterialUtil::SheetMetalForming
