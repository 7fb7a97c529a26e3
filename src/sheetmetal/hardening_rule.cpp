#include "sheetmetal/hardening_rule.h"

#include <boost/make_shared.hpp>
#include <cmath>

#include "sheetmetal/table.h"

namespace Xem::MaterialUtil::SheetMetalForming {

double GhoshStress(double K, double e0, double n, double p, double strain) { return K * std::pow(e0 + strain, n) - p; }

double GhoshSlope(double K, double e0, double n, double strain) { return n * K * std::pow(e0 + strain, n - 1.0); }

void GhoshGradient(double K, double e0, double n, double strain, std::span<double> gradient) {
  const double offset = e0 + strain;
  const double power = std::pow(offset, n);
  const bool atZero = offset == 0.0;
  gradient[0] = power;
  gradient[1] = atZero ? 0.0 : n * K * power / offset;
  gradient[2] = atZero ? 0.0 : K * power * std::log(offset);
  gradient[3] = -1.0;
}

namespace {

double Decay(double N, double p, double strain) { return std::exp(-N * std::pow(strain, p)); }

double StressAfter(double decay, double si, double ss) { return ss - (ss - si) * decay; }

double SlopeAfter(double decay, double si, double ss, double N, double p, double strain) {
  return decay * std::pow(strain, p - 1.0) * N * p * (ss - si);
}

}  // namespace

double HockettSherbyStress(double si, double ss, double N, double p, double strain) {
  return StressAfter(Decay(N, p, strain), si, ss);
}

double HockettSherbySlope(double si, double ss, double N, double p, double strain) {
  return SlopeAfter(Decay(N, p, strain), si, ss, N, p, strain);
}

void HockettSherbyGradient(double si, double ss, double N, double p, double strain, std::span<double> gradient) {
  const double power = std::pow(strain, p);
  const double decay = std::exp(-N * power);
  gradient[0] = decay;
  gradient[1] = 1.0 - decay;
  gradient[2] = (ss - si) * decay * power;
  gradient[3] = strain == 0.0 ? 0.0 : (ss - si) * decay * N * power * std::log(strain);
}

double VoceStress(double s0, double q, double b, double strain) { return s0 - q * std::expm1(-b * strain); }

double VoceSlope(double q, double b, double strain) { return q * b * std::exp(-b * strain); }

void VoceGradient(double q, double b, double strain, std::span<double> gradient) {
  gradient[0] = 1.0;
  gradient[1] = -std::expm1(-b * strain);
  gradient[2] = q * strain * std::exp(-b * strain);
}

double XemSMHardeningRule::FlowStress(double strain, double rate) const {
  return FlowStress(strain) * RateFactor(rate);
}

double XemSMHardeningRule::RateFactor(double) const { return 1.0; }

double XemSMHardeningRule::RateDerivative(double, double) const { return 1.0; }

double XemSMHRGhosh::FlowStress(double strain) const {
  return GhoshStress(Params().K, Params().e0, Params().n, Params().p, strain);
}

double XemSMHRGhosh::HardeningSlope(double strain) const {
  return GhoshSlope(Params().K, Params().e0, Params().n, strain);
}

bool XemSMHRGhosh::IsConcaveFrom(double strain) const {
  return Params().K >= 0.0 && Params().n >= 0.0 && Params().n <= 1.0 && Params().e0 + strain > 0.0;
}

Flow XemSMHRGhosh::At(double strain) const {
  const double stress = FlowStress(strain);
  return {stress, HardeningSlope(strain), std::abs(stress) + std::abs(Params().p)};
}

double XemSMHRHockettSherby::FlowStress(double strain) const {
  return HockettSherbyStress(Params().si, Params().ss, Params().N, Params().p, strain);
}

double XemSMHRHockettSherby::HardeningSlope(double strain) const {
  return HockettSherbySlope(Params().si, Params().ss, Params().N, Params().p, strain);
}

bool XemSMHRHockettSherby::IsConcaveFrom(double strain) const {
  // The curve turns from convex to concave, if at all, where N p eps^p = p - 1.
  return Params().ss >= Params().si && Params().N >= 0.0 && Params().p >= 0.0 && strain > 0.0 &&
         Params().N * Params().p * std::pow(strain, Params().p) >= Params().p - 1.0;
}

Flow XemSMHRHockettSherby::At(double strain) const {
  const HRHockettSherbyParams& law = Params();
  const double decay = Decay(law.N, law.p, strain);
  return {StressAfter(decay, law.si, law.ss), SlopeAfter(decay, law.si, law.ss, law.N, law.p, strain),
          std::abs(law.ss) + std::abs(law.ss - law.si)};
}

double XemSMHRSwiftVoce::FlowStress(double strain) const {
  const HRSwiftVoceParams& law = Params();
  const double voce = VoceStress(law.s0, law.q, law.b, strain);
  return law.w == 0.0 ? voce : law.w * GhoshStress(law.K, law.e0, law.n, 0.0, strain) + (1.0 - law.w) * voce;
}

double XemSMHRSwiftVoce::HardeningSlope(double strain) const {
  const HRSwiftVoceParams& law = Params();
  const double voce = VoceSlope(law.q, law.b, strain);
  return law.w == 0.0 ? voce : law.w * GhoshSlope(law.K, law.e0, law.n, strain) + (1.0 - law.w) * voce;
}

bool XemSMHRSwiftVoce::IsConcaveFrom(double strain) const {
  const HRSwiftVoceParams& law = Params();
  const bool voce = law.q >= 0.0 && law.b >= 0.0 && law.w <= 1.0;
  return voce &&
         (law.w == 0.0 || (law.w > 0.0 && law.K >= 0.0 && law.n >= 0.0 && law.n <= 1.0 && law.e0 + strain > 0.0));
}

Flow XemSMHRSwiftVoce::At(double strain) const {
  const double stress = FlowStress(strain);
  return {stress, HardeningSlope(strain), std::abs(stress) + std::abs(Params().s0)};
}

double XemSMHRCustomCurve::FlowStress(double strain) const { return TableValue(Params().points, strain); }

double XemSMHRCustomCurve::HardeningSlope(double strain) const { return TableSlope(Params().points, strain); }

bool XemSMHRCustomCurve::IsConcaveFrom(double strain) const {
  return strain > Params().points.back().first && HardeningSlope(strain) >= 0.0;
}

Flow XemSMHRCustomCurve::At(double strain) const {
  const TablePoint point = TableAt(Params().points, strain);
  return {point.value, point.slope, std::abs(point.value)};
}

double XemSMHRCustomCurveStrnRate::RateFactor(double rate) const { return TableValue(Params().rateFactors, rate); }

double XemSMHRCustomCurveStrnRate::RateDerivative(double strain, double rate) const {
  return FlowStress(strain) * TableSlope(Params().rateFactors, rate);
}

boost::shared_ptr<XemSMHardeningRule> MakeHardeningRule(const boost::shared_ptr<HardeningParams>& params) {
  if (!params) return {};
  switch (params->type) {
    case HardeningType::Ghosh:
      return boost::make_shared<XemSMHRGhosh>(boost::static_pointer_cast<HRGhoshParams>(params));
    case HardeningType::HockettSherby:
      return boost::make_shared<XemSMHRHockettSherby>(boost::static_pointer_cast<HRHockettSherbyParams>(params));
    case HardeningType::CustomCurve:
      return boost::make_shared<XemSMHRCustomCurve>(boost::static_pointer_cast<HRCustomCurve>(params));
    case HardeningType::SwiftVoce:
      return boost::make_shared<XemSMHRSwiftVoce>(boost::static_pointer_cast<HRSwiftVoceParams>(params));
    case HardeningType::CustomCurveStrnRate:
      return boost::make_shared<XemSMHRCustomCurveStrnRate>(boost::static_pointer_cast<HRCustomCurve>(params));
  }
  return {};
}

}  // namespace Xem::MaterialUtil::SheetMetalForming
