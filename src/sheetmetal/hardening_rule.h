#pragma once

#include <boost/shared_ptr.hpp>
#include <span>

#include "sheetmetal/params.h"

/// Isotropic hardening: flow stress sigma(eps) g(rate) of the equivalent plastic strain eps and the strain rate.
namespace Xem::MaterialUtil::SheetMetalForming {

/// Power law with both offsets (Ghosh 1977): sigma = K (e0 + eps)^n - p. With p = 0 it is Swift's law (1952), with
/// e0 = 0 as well Hollomon's (1945). Slope: n K (e0 + eps)^(n-1).
double GhoshStress(double K, double e0, double n, double p, double strain);
double GhoshSlope(double K, double e0, double n, double strain);
/// dsigma/d(K, e0, n, p). At e0 + eps = 0 the unbounded derivatives count as 0.
void GhoshGradient(double K, double e0, double n, double strain, std::span<double> gradient);

/// Saturating law (Hockett and Sherby 1975): sigma = ss - (ss - si) exp(-N eps^p).
/// Slope: exp(-N eps^p) eps^(p-1) N p (ss - si).
double HockettSherbyStress(double si, double ss, double N, double p, double strain);
double HockettSherbySlope(double si, double ss, double N, double p, double strain);
/// dsigma/d(si, ss, N, p).
void HockettSherbyGradient(double si, double ss, double N, double p, double strain, std::span<double> gradient);

/// Voce (1948): sigma = s0 + q (1 - exp(-b eps)). Slope: q b exp(-b eps).
double VoceStress(double s0, double q, double b, double strain);
double VoceSlope(double q, double b, double strain);
/// dsigma/d(s0, q, b).
void VoceGradient(double q, double b, double strain, std::span<double> gradient);

/// What a step of a path asks of a rule.
struct Flow {
  double stress = 0.0;
  double slope = 0.0;
  double largestPart = 0.0;  ///< the stress is a difference of terms up to this magnitude, and so is its rounding
};

class XemSMHardeningRule {
 public:
  virtual double FlowStress(double strain, double rate) const;
  virtual double FlowStress(double strain) const = 0;
  virtual double RateFactor(double rate) const;
  /// dsigma/deps.
  virtual double HardeningSlope(double strain) const = 0;
  // Deliberate: 1.0 for every rule without a rate table, although a true derivative would be 0.
  virtual double RateDerivative(double strain, double rate) const;

  /// True when it is certain that from `strain` on the flow stress does not fall and its slope does not rise.
  virtual bool IsConcaveFrom(double strain) const = 0;

  /// FlowStress and HardeningSlope to the last bit, each power of them taken once.
  virtual Flow At(double strain) const = 0;

 protected:
  explicit XemSMHardeningRule(boost::shared_ptr<HardeningParams> params) : params_(params) {}
  ~XemSMHardeningRule() = default;

  boost::shared_ptr<HardeningParams> params_;
};

class XemSMHRGhosh final : public XemSMHardeningRule {
 public:
  explicit XemSMHRGhosh(boost::shared_ptr<HRGhoshParams> params) : XemSMHardeningRule(params) {}
  using XemSMHardeningRule::FlowStress;
  double FlowStress(double strain) const override;
  double HardeningSlope(double strain) const override;
  bool IsConcaveFrom(double strain) const override;
  Flow At(double strain) const override;

 private:
  const HRGhoshParams& Params() const { return static_cast<const HRGhoshParams&>(*params_); }
};

class XemSMHRHockettSherby final : public XemSMHardeningRule {
 public:
  explicit XemSMHRHockettSherby(boost::shared_ptr<HRHockettSherbyParams> params) : XemSMHardeningRule(params) {}
  using XemSMHardeningRule::FlowStress;
  double FlowStress(double strain) const override;
  double HardeningSlope(double strain) const override;
  bool IsConcaveFrom(double strain) const override;
  Flow At(double strain) const override;

 private:
  const HRHockettSherbyParams& Params() const { return static_cast<const HRHockettSherbyParams&>(*params_); }
};

/// w times Swift's law and 1 - w times Voce's; no export asks for it.
class XemSMHRSwiftVoce final : public XemSMHardeningRule {
 public:
  explicit XemSMHRSwiftVoce(boost::shared_ptr<HRSwiftVoceParams> params) : XemSMHardeningRule(params) {}
  using XemSMHardeningRule::FlowStress;
  double FlowStress(double strain) const override;
  double HardeningSlope(double strain) const override;
  bool IsConcaveFrom(double strain) const override;
  Flow At(double strain) const override;

 private:
  const HRSwiftVoceParams& Params() const { return static_cast<const HRSwiftVoceParams&>(*params_); }
};

class XemSMHRCustomCurve : public XemSMHardeningRule {
 public:
  explicit XemSMHRCustomCurve(boost::shared_ptr<HRCustomCurve> params) : XemSMHardeningRule(params) {}
  using XemSMHardeningRule::FlowStress;
  double FlowStress(double strain) const override;
  double HardeningSlope(double strain) const override;
  bool IsConcaveFrom(double strain) const override;
  Flow At(double strain) const override;

 protected:
  const HRCustomCurve& Params() const { return static_cast<const HRCustomCurve&>(*params_); }
};

class XemSMHRCustomCurveStrnRate : public XemSMHRCustomCurve {
 public:
  explicit XemSMHRCustomCurveStrnRate(boost::shared_ptr<HRCustomCurve> params) : XemSMHRCustomCurve(params) {}
  double RateFactor(double rate) const override;
  double RateDerivative(double strain, double rate) const override;
};

/// The rule of a record; empty for an empty pointer.
boost::shared_ptr<XemSMHardeningRule> MakeHardeningRule(const boost::shared_ptr<HardeningParams>& params);

}  // namespace Xem::MaterialUtil::SheetMetalForming
