#include "dynamic/stiffness_damping_law.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "xem/array.h"

namespace Xem::MaterialUtil {
namespace {

using std::numbers::pi;

constexpr double kTwoOverPi = 0.6366197723675814;
constexpr int kMaximumIterations = 1000;
constexpr double kRounding = 4e-16;

/// R = 1 / (1 + T), T = (2 x / gr)^a, at a normalised stress x.
struct PowerOfStress {
  double logArgument;  // ln(2 x / gr)
  double ratio;        // R
  double loss;         // 1 - R, exact for small T
  double slope;        // R (1 - R), and 0 where the curve is flat

  PowerOfStress(const CyclicParameters& p, double x) {
    const double argument = 2.0 * x / p.referenceStrain;
    const double power = std::pow(argument, p.exponent);
    logArgument = std::log(argument);
    ratio = 1.0 / (1.0 + power);
    loss = 1.0 / (1.0 + 1.0 / power);
    slope = ratio * loss;
  }
  double LogTimesSlope() const { return slope == 0.0 ? 0.0 : logArgument * slope; }
};

/// Strain at which the power law has the ratio y, and its logarithmic derivative with respect to y.
struct PowerLawStrain {
  double logOdds;  // ln(1 / y - 1)
  double strain;
  double logSlope;

  PowerLawStrain(const CyclicParameters& p, double y) {
    logOdds = std::log(1.0 / y - 1.0);
    strain = p.referenceStrain / 2.0 * (1.0 / y) * std::pow(1.0 / y - 1.0, 1.0 / p.exponent);
    logSlope = -1.0 / y - 1.0 / (p.exponent * y * (1.0 - y));
  }
};

double LogStrainOfRatio(const CyclicParameters& p, double y) {
  return p.logScale * (std::log(0.5 * p.referenceStrain / y) + std::log(1.0 / y - 1.0) / p.exponent);
}

ComparedPoint StiffnessByStrain(const CyclicParameters& p, double x, double y) {
  const PowerLawStrain at(p, y);
  return {x, at.strain, 0.5 * (1.0 / y) * std::pow(1.0 / y - 1.0, 1.0 / p.exponent),
          -at.logOdds * at.strain / (p.exponent * p.exponent)};
}

ComparedPoint StiffnessByLogStrain(const CyclicParameters& p, double x, double y) {
  return {x, LogStrainOfRatio(p, y), p.logScale / p.referenceStrain,
          -p.logScale * std::log(1.0 / y - 1.0) / (p.exponent * p.exponent)};
}

ComparedPoint StiffnessByStress(const CyclicParameters& p, double x, double y) {
  const PowerOfStress at(p, x);
  return {y, at.ratio, p.exponent * at.slope / p.referenceStrain, -at.LogTimesSlope()};
}

/// Damping as a stiffness ratio, 1 - h / hmax, and its derivative with respect to the exponent.
double RatioOfDamping(const CyclicParameters& p, double y) { return 1.0 - (2.0 / p.exponent + 1.0) * y * pi / 2.0; }
double RatioOfDampingSlope(const CyclicParameters& p, double y) { return y * pi / (p.exponent * p.exponent); }

ComparedPoint DampingByStrain(const CyclicParameters& p, double x, double y) {
  const double ratio = RatioOfDamping(p, y);
  ComparedPoint point = StiffnessByStrain(p, x, ratio);
  point.byExponent += point.predicted * PowerLawStrain(p, ratio).logSlope * RatioOfDampingSlope(p, y);
  return point;
}

ComparedPoint DampingByLogStrain(const CyclicParameters& p, double x, double y) {
  const double ratio = RatioOfDamping(p, y);
  ComparedPoint point = StiffnessByLogStrain(p, x, ratio);
  point.byExponent += p.logScale * PowerLawStrain(p, ratio).logSlope * RatioOfDampingSlope(p, y);
  return point;
}

ComparedPoint DampingByStress(const CyclicParameters& p, double x, double y) {
  const PowerOfStress at(p, x);
  const double largest = LargestDamping(p.exponent);
  return {y, largest * at.loss, -largest * p.exponent * at.slope / p.referenceStrain,
          LargestDampingSlope(p.exponent) * at.loss + largest * at.LogTimesSlope()};
}

ComparedPoint HyperbolicByLogStrain(const CyclicParameters& p, double x, double y) {
  const double strain = std::exp(x);
  const double sum = strain + p.referenceStrain;
  return {y, p.referenceStrain / sum, strain * p.logScale / (sum * sum), 0.0};
}

ComparedPoint Nothing(const CyclicParameters&, double, double) { return {}; }

/// (atanh(z) / z - 1) / z^2 = 1/3 + z^2/5 + z^4/7 + ...; `atanh` is only looked at where it does not cancel.
double AtanhRemainder(double z, double atanh) {
  constexpr int kTerms = 28;  // 0.25^28 < 2e-17
  const double square = z * z;
  if (!(square < 0.25)) return (atanh / z - 1.0) / square;
  double sum = 0.0;
  for (int k = kTerms; k >= 1; --k) sum = sum * square + 1.0 / (2 * k + 1);
  return sum;
}

}  // namespace

double LargestDamping(double exponent) { return 2.0 * exponent / ((exponent + 2.0) * pi); }

double LargestDampingSlope(double exponent) { return kTwoOverPi * 2.0 / ((exponent + 2.0) * (exponent + 2.0)); }

double ExponentOfLargestDamping(double largestDamping) {
  return 2.0 * pi * largestDamping / (2.0 - pi * largestDamping);
}

Comparison StiffnessComparison(DynamicFamily family, ResidualForm form) {
  switch (family) {
    case DynamicFamily::PowerLaw:
      switch (form) {
        case ResidualForm::Strain:
          return StiffnessByStrain;
        case ResidualForm::LogStrain:
          return StiffnessByLogStrain;
        case ResidualForm::Stress:
          return StiffnessByStress;
      }
      return Nothing;
    case DynamicFamily::Hyperbolic:
      switch (form) {
        case ResidualForm::Strain:
          return HyperbolicStiffness;
        case ResidualForm::LogStrain:
          return HyperbolicByLogStrain;
        case ResidualForm::Stress:  // Deliberate: the family has no stress form and compares 0 with 0.
          return Nothing;
      }
      return Nothing;
  }
  return Nothing;
}

Comparison DampingComparison(DynamicFamily family, ResidualForm form) {
  switch (family) {
    case DynamicFamily::PowerLaw:
      switch (form) {
        case ResidualForm::Strain:
          return DampingByStrain;
        case ResidualForm::LogStrain:
          return DampingByLogStrain;
        case ResidualForm::Stress:
          return DampingByStress;
      }
      return Nothing;
    case DynamicFamily::Hyperbolic:
      // Deliberate: the closed form takes the stored abscissa for the strain, whatever the form has stored.
      return HyperbolicDamping;
  }
  return Nothing;
}

std::optional<double> SolvePowerLawRatio(const CyclicParameters& parameters, double strain) {
  // R + k^a R^(a + 1) = 1 with k = 2 gamma / gr. The left side is convex and increasing for a > 0, and its second term
  // alone bounds R from above: Newton's iteration falls onto the root from there. Bisection takes over elsewhere.
  const double a = parameters.exponent;
  if (!(a > -1.0)) return std::nullopt;  // the left side has a minimum: no root or two
  const double k = 2.0 * strain / parameters.referenceStrain;
  double low = 0.0;
  double high = 1.0;
  double ratio = std::min(1.0, std::pow(k, -a / (a + 1.0)));
  for (int iteration = 0; iteration < kMaximumIterations; ++iteration) {
    const double power = std::pow(k * ratio, a);
    const double excess = ratio * (1.0 + power) - 1.0;
    if (std::isnan(excess)) return std::nullopt;
    if (excess == 0.0) return ratio;
    (excess > 0.0 ? high : low) = ratio;
    const double newton = ratio - excess / (1.0 + (a + 1.0) * power);
    const double next =
        std::abs(newton - ratio) <= kRounding * ratio || (newton > low && newton < high) ? newton : 0.5 * (low + high);
    const double change = std::abs(next - ratio);
    ratio = next;
    if (change <= kRounding * ratio) return ratio;
  }
  return std::nullopt;
}

ComparedPoint PowerLawStiffness(const CyclicParameters& parameters, double strain, double ratio) {
  const auto solved = SolvePowerLawRatio(parameters, strain);
  if (!solved) return {ratio, std::nan(""), std::nan(""), std::nan("")};
  // Differentiating R = 1 / (1 + T(R gamma)): the explicit derivatives over 1 + a (1 - R).
  const PowerOfStress at(parameters, *solved * strain);
  const double implicit = 1.0 + parameters.exponent * at.loss;
  return {ratio, *solved, parameters.exponent * at.slope / parameters.referenceStrain / implicit,
          -at.LogTimesSlope() / implicit};
}

ComparedPoint PowerLawDamping(const CyclicParameters& parameters, double strain, double damping) {
  const ComparedPoint stiffness = PowerLawStiffness(parameters, strain, 0.0);
  const double largest = LargestDamping(parameters.exponent);
  const double loss = PowerOfStress(parameters, stiffness.predicted * strain).loss;
  return {damping, largest * loss, -largest * stiffness.byReferenceStrain,
          LargestDampingSlope(parameters.exponent) * loss - largest * stiffness.byExponent};
}

ComparedPoint HyperbolicStiffness(const CyclicParameters& parameters, double strain, double ratio) {
  const double sum = strain + parameters.referenceStrain;
  return {ratio, parameters.referenceStrain / sum, strain / (sum * sum), 0.0};
}

ComparedPoint HyperbolicDamping(const CyclicParameters& parameters, double strain, double damping) {
  // With z = gamma / (gamma + 2 gr) the logarithm is 2 atanh(z), and with r(z) = (atanh(z) / z - 1) / z^2
  //   h = 2/pi z (1 - (1 - z^2) r),  dh/dz = 4/pi r:
  // the same values without the cancellation of terms of size gr / gamma.
  const double reference = parameters.referenceStrain;
  const double sum = strain + 2.0 * reference;
  const double z = strain / sum;
  const double complement = 4.0 * reference * (strain + reference) / (sum * sum);
  const double remainder = AtanhRemainder(z, 0.5 * std::log1p(strain / reference));
  return {damping, kTwoOverPi * z * (1.0 - complement * remainder), -2.0 * kTwoOverPi * remainder * 2.0 * z / sum, 0.0};
}

double StiffnessRatioAt(DynamicFamily family, const CyclicParameters& parameters, double strain) {
  switch (family) {
    case DynamicFamily::PowerLaw:
      return SolvePowerLawRatio(parameters, strain).value_or(0.5);
    case DynamicFamily::Hyperbolic:
      return parameters.referenceStrain / (parameters.referenceStrain + strain);
  }
  return 0.0;
}

double DampingRatioAt(DynamicFamily family, const CyclicParameters& parameters, double strain) {
  switch (family) {
    case DynamicFamily::PowerLaw: {
      const double ratio = SolvePowerLawRatio(parameters, strain).value_or(0.1);
      return LargestDamping(parameters.exponent) * PowerOfStress(parameters, strain * ratio).loss;
    }
    case DynamicFamily::Hyperbolic:
      return HyperbolicDamping(parameters, strain, 0.0).predicted;
  }
  return 0.0;
}

std::optional<std::size_t> FindStrain(std::span<const _T_FUNT_BASE> curve, double strain) {
  for (std::size_t j = 0; j + 1 < curve.size(); ++j) {
    if ((strain - curve[j + 1].first) * (strain - curve[j].first) <= 0.0) return j;
  }
  return std::nullopt;
}

std::optional<std::size_t> FindHalf(std::span<const _T_FUNT_BASE> curve) {
  for (std::size_t i = 0; i + 1 < curve.size(); ++i) {
    if ((curve[i + 1].second - 0.5) * (curve[i].second - 0.5) <= 0.0) return i;
  }
  return std::nullopt;
}

double InterpolateOrdinate(std::span<const _T_FUNT_BASE> curve, std::size_t j, double strain) {
  const _T_FUNT_BASE& from = curve[j];
  const _T_FUNT_BASE& to = curve[j + 1];
  if (to.first == from.first) return from.second;
  return from.second + (to.second - from.second) / (to.first - from.first) * (strain - from.first);
}

double NormalisedStressAt(std::span<const _T_FUNT_BASE> stiffness, double strain) {
  if (stiffness.empty()) throw CInvalidArgException("the stress form needs a stiffness curve");
  if (const auto j = FindStrain(stiffness, strain)) return InterpolateOrdinate(stiffness, *j, strain) * strain;
  // Deliberate: below the curve the first point's own stress is taken, not R * gamma.
  const _T_FUNT_BASE& end = strain < stiffness.front().first ? stiffness.front() : stiffness.back();
  return end.second * end.first;
}

double InitialReferenceStrain(ResidualForm form, std::span<const _T_FUNT_BASE> stiffness) {
  const auto i = FindHalf(stiffness);
  if (!i) return kDefaultReferenceStrain;
  const _T_FUNT_BASE& from = stiffness[*i];
  const _T_FUNT_BASE& to = stiffness[*i + 1];
  const auto atHalf = [&](double x0, double x1) {
    return to.second == from.second ? x0 : x0 + (x1 - x0) / (to.second - from.second) * (0.5 - from.second);
  };
  switch (form) {
    case ResidualForm::Strain:
      return atHalf(from.first, to.first);
    case ResidualForm::LogStrain:
      return std::pow(std::numbers::e, atHalf(std::log(from.first), std::log(to.first)));
    case ResidualForm::Stress:
      return atHalf(from.first, to.first) / 2.0;
  }
  return kDefaultReferenceStrain;
}

void FillStrainGrid(std::span<_T_FUNT_BASE> curve) {
  const double first = std::log10(1e-7);
  const double last = std::log10(1.0);
  const auto intervals = static_cast<double>(curve.size()) - 1.0;
  for (std::size_t i = 0; i < curve.size(); ++i) {
    const double exponent = i == 0 ? first : first + static_cast<double>(i) * (last - first) / intervals;
    const double strain = std::pow(10.0, exponent);
    const double decade = std::pow(10.0, std::floor(std::log10(strain)));
    curve[i].first = std::round(10.0 * strain / decade) / 10.0 * decade;
    curve[i].second = 0.0;
  }
}

}  // namespace Xem::MaterialUtil
