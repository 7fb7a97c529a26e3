#include "sheetmetal/yield_criterion.h"

#include <boost/make_shared.hpp>
#include <cmath>

#include "sheetmetal/power.h"

namespace Xem::MaterialUtil::SheetMetalForming {

double VonMisesStrainRatio(double alpha) { return (2.0 * alpha - 1.0) / (2.0 - alpha); }

double VonMisesStressRatio(double beta) { return (2.0 * beta + 1.0) / (beta + 2.0); }

double VonMisesStressFactor(double alpha) {
  const double t = VonMisesStrainRatio(alpha);
  return (t + 2.0) / std::sqrt(3.0 * (Square(t) + t + 1.0));
}

double VonMisesStressFactorSlope(double alpha) {
  const double t = VonMisesStrainRatio(alpha);
  const double q = 3.0 * Square(t) + 3.0 * t + 3.0;
  return std::pow(q, -0.5) - std::pow(q, -1.5) * (3.0 * t + 1.5) * (t + 2.0);
}

double Hill1979StrainRatio(double r, double m, double alpha) {
  const double a = std::pow(1.0 + alpha, m - 1.0);
  const double b = (2.0 * r + 1.0) * std::pow(1.0 - alpha, m - 1.0);
  return (a - b) / (a + b);
}

double Hill1979StressRatio(double r, double m, double beta) {
  const double e = std::pow((beta + 1.0) * (2.0 * r + 1.0), 1.0 / (m - 1.0));
  const double d = std::pow(1.0 - beta, 1.0 / (m - 1.0));
  return (e - d) / (d + e);
}

double Hill1979StressFactor(double r, double m, double alpha) {
  const double sum = std::pow(1.0 - alpha, m) * (2.0 * r + 1.0) + std::pow(1.0 + alpha, m);
  return std::pow(sum / (2.0 * r + 2.0), -1.0 / m);
}

double Hill1979StressFactorSlope(double r, double m, double alpha) {
  return Hill1979StressFactorSlope(r, m, alpha, Hill1979StressFactor(r, m, alpha));
}

double Hill1979StressFactorSlope(double r, double m, double alpha, double phi) {
  const double a = std::pow(1.0 + alpha, m - 1.0);
  const double b = std::pow(1.0 - alpha, m - 1.0) * (2.0 * r + 1.0);
  const double phiByAlpha = std::pow(phi, m + 1.0) * (a - b) / (-2.0 * (r + 1.0));
  const double alphaByBeta =
      Square(b + a) / (4.0 * std::pow(1.0 - Square(alpha), m - 2.0) * (2.0 * m * r + m - 2.0 * r - 1.0));
  return phiByAlpha * alphaByBeta;
}

boost::shared_ptr<XemSMYieldCriterion> MakeYieldCriterion(const boost::shared_ptr<YieldParams>& params) {
  if (!params) return {};
  switch (params->type) {
    case YieldType::VonMises:
      return boost::make_shared<XemSMYCVonMises>(boost::static_pointer_cast<YCVonMisesParams>(params));
    case YieldType::Hill1979:
      return boost::make_shared<XemSMYCHill1979>(boost::static_pointer_cast<YCHill1979Params>(params));
  }
  return {};
}

}  // namespace Xem::MaterialUtil::SheetMetalForming
