#include "soil/retention_law.h"

#include <algorithm>
#include <array>

namespace Xem::MaterialUtil {
namespace {

constexpr RetentionParameter kSaturated{"theta_s", "m3/m3", 1e-3, 1.0};
constexpr RetentionParameter kResidual{"theta_r", "m3/m3", 0.0, 1.0};
constexpr RetentionParameter kAlpha{"alpha", "1/kPa", 1e-6, 1e4};

constexpr std::array kVanGenuchten{kSaturated, kResidual, kAlpha, RetentionParameter{"n", "", 1.01, 20.0}};
constexpr std::array kVanGenuchtenFreeM{kSaturated, kResidual, kAlpha, RetentionParameter{"n", "", 0.1, 20.0},
                                        RetentionParameter{"m", "", 0.01, 10.0}};
constexpr std::array kFredlundXing{kSaturated, RetentionParameter{"a", "kPa", 1e-3, 1e6},
                                   RetentionParameter{"n", "", 0.05, 20.0}, RetentionParameter{"m", "", 0.05, 20.0},
                                   RetentionParameter{"psi_r", "kPa", 1.0, 1e6}};
constexpr std::array kBrooksCorey{kSaturated, kResidual, RetentionParameter{"psi_b", "kPa", 1e-3, 1e5},
                                  RetentionParameter{"lambda", "", 0.01, 10.0}};

/// Suction of oven-dry soil in kPa, where Fredlund and Xing's correction reaches zero.
constexpr double kOvenDry = 1e6;

/// ln(e^x + e^y) without overflow.
double LogOfSum(double x, double y) { return std::max(x, y) + std::log1p(std::exp(-std::abs(x - y))); }

/// e^x / (e^x + e^y) without overflow.
double ShareOfSum(double x, double y) { return 1.0 / (1.0 + std::exp(y - x)); }

/// One point of the van Genuchten curve; w = (alpha s)^n.
struct VanGenuchtenPoint {
  double n;
  double m;
  double logScaled;  ///< ln(alpha s)
  double logSum;     ///< ln(1 + w)
  double saturation;

  VanGenuchtenPoint(RetentionModel model, std::span<const double> p, Suction suction)
      : n(p[3]),
        m(model == RetentionModel::VanGenuchten ? 1.0 - 1.0 / n : p[4]),
        logScaled(std::log(p[2]) + suction.log),
        logSum(LogOfSum(0.0, n * logScaled)),
        saturation(std::exp(-m * logSum)) {}
};

/// One point of the Fredlund and Xing curve; v = (s/a)^n.
struct FredlundXingPoint {
  double n;
  double m;
  double logScaled;  ///< ln(s/a)
  double logSum;     ///< ln(e + v)
  double power;      ///< logSum^(-m)
  double suctionTerm;
  double dryTerm;
  double correction;

  FredlundXingPoint(std::span<const double> p, Suction suction)
      : n(p[2]),
        m(p[3]),
        logScaled(suction.log - std::log(p[1])),
        logSum(LogOfSum(1.0, n * logScaled)),
        power(std::pow(logSum, -m)),
        suctionTerm(std::log1p(suction.value / p[4])),
        dryTerm(std::log1p(kOvenDry / p[4])),
        correction(1.0 - suctionTerm / dryTerm) {}
};

double BrooksCoreySaturation(std::span<const double> p, Suction suction) {
  return std::exp(p[3] * (std::log(p[2]) - suction.log));
}

bool IsSaturated(RetentionModel model, std::span<const double> parameters, Suction suction) {
  return suction.value <= 0.0 || (model == RetentionModel::BrooksCorey && suction.value <= parameters[2]);
}

double VanGenuchtenGradient(RetentionModel model, std::span<const double> p, Suction suction,
                            std::span<double> gradient) {
  const VanGenuchtenPoint at(model, p, suction);
  const double range = p[0] - p[1];
  const double slope = range * at.m * at.saturation * ShareOfSum(at.n * at.logScaled, 0.0);
  const double byM = -range * at.saturation * at.logSum;
  gradient[0] = at.saturation;
  gradient[1] = 1.0 - at.saturation;
  gradient[2] = -slope * at.n / p[2];
  gradient[3] = -slope * at.logScaled;
  if (model == RetentionModel::VanGenuchten) {
    gradient[3] += byM / (at.n * at.n);
  } else {
    gradient[4] = byM;
  }
  return p[1] + range * at.saturation;
}

double FredlundXingGradient(std::span<const double> p, Suction suction, std::span<double> gradient) {
  const FredlundXingPoint at(p, suction);
  const double residualSuction = p[4];
  const double content = at.correction * p[0] * at.power;
  const double slope = content * at.m * ShareOfSum(at.n * at.logScaled, 1.0) / at.logSum;
  const double suctionTermByPsi = -suction.value / (residualSuction * (residualSuction + suction.value));
  const double dryTermByPsi = -kOvenDry / (residualSuction * (residualSuction + kOvenDry));
  gradient[0] = at.correction * at.power;
  gradient[1] = slope * at.n / p[1];
  gradient[2] = -slope * at.logScaled;
  gradient[3] = -content * std::log(at.logSum);
  gradient[4] =
      -p[0] * at.power * (suctionTermByPsi * at.dryTerm - at.suctionTerm * dryTermByPsi) / (at.dryTerm * at.dryTerm);
  return content;
}

double BrooksCoreyGradient(std::span<const double> p, Suction suction, std::span<double> gradient) {
  const double saturation = BrooksCoreySaturation(p, suction);
  const double range = p[0] - p[1];
  gradient[0] = saturation;
  gradient[1] = 1.0 - saturation;
  gradient[2] = range * p[3] * saturation / p[2];
  gradient[3] = range * saturation * (std::log(p[2]) - suction.log);
  return p[1] + range * saturation;
}

}  // namespace

std::optional<RetentionModel> RetentionModelFromCode(std::int32_t code) {
  if (code < 0 || code > static_cast<std::int32_t>(RetentionModel::BrooksCorey)) return std::nullopt;
  return static_cast<RetentionModel>(code);
}

std::span<const RetentionParameter> RetentionParameters(RetentionModel model) {
  switch (model) {
    case RetentionModel::VanGenuchten:
      return kVanGenuchten;
    case RetentionModel::VanGenuchtenFreeM:
      return kVanGenuchtenFreeM;
    case RetentionModel::FredlundXing:
      return kFredlundXing;
    case RetentionModel::BrooksCorey:
      return kBrooksCorey;
  }
  return {};
}

double RetentionShape(RetentionModel model, std::span<const double> parameters, Suction suction) {
  if (IsSaturated(model, parameters, suction)) return 1.0;
  switch (model) {
    case RetentionModel::VanGenuchten:
    case RetentionModel::VanGenuchtenFreeM:
      return VanGenuchtenPoint(model, parameters, suction).saturation;
    case RetentionModel::FredlundXing: {
      const FredlundXingPoint at(parameters, suction);
      return at.correction * at.power;
    }
    case RetentionModel::BrooksCorey:
      return BrooksCoreySaturation(parameters, suction);
  }
  return 0.0;
}

double WaterContent(RetentionModel model, std::span<const double> parameters, Suction suction) {
  if (IsSaturated(model, parameters, suction)) return parameters[kSaturatedContent];
  const double residual = HasResidualContent(model) ? parameters[kResidualContent] : 0.0;
  return residual + (parameters[kSaturatedContent] - residual) * RetentionShape(model, parameters, suction);
}

double WaterContentGradient(RetentionModel model, std::span<const double> parameters, Suction suction,
                            std::span<double> gradient) {
  if (IsSaturated(model, parameters, suction)) {
    std::fill(gradient.begin(), gradient.end(), 0.0);
    gradient[kSaturatedContent] = 1.0;
    return parameters[kSaturatedContent];
  }
  switch (model) {
    case RetentionModel::VanGenuchten:
    case RetentionModel::VanGenuchtenFreeM:
      return VanGenuchtenGradient(model, parameters, suction, gradient);
    case RetentionModel::FredlundXing:
      return FredlundXingGradient(parameters, suction, gradient);
    case RetentionModel::BrooksCorey:
      return BrooksCoreyGradient(parameters, suction, gradient);
  }
  return 0.0;
}

void WaterContents(RetentionModel model, const RetentionArguments& law, const KernelBlock& block) {
  const Kernels& kernels = ForThisProcessor();
  switch (model) {
    case RetentionModel::VanGenuchten:
      return kernels.vanGenuchten(law, block);
    case RetentionModel::VanGenuchtenFreeM:
      return kernels.freeVanGenuchten(law, block);
    case RetentionModel::FredlundXing:
      return kernels.fredlundXing(law, block);
    case RetentionModel::BrooksCorey:
      return kernels.brooksCorey(law, block);
  }
}

bool ConstrainRetention(RetentionModel model, const FixedTermMask& mask, std::span<double> parameters) {
  bool changed = false;
  const auto limit = [&](std::size_t k, double lower, double upper) {
    const double limited = std::clamp(parameters[k], lower, upper);
    changed = changed || limited != parameters[k];
    parameters[k] = limited;
  };
  const auto ranges = RetentionParameters(model);
  for (std::size_t k = 0; k < ranges.size(); ++k) {
    if (mask[k] == 0) limit(k, ranges[k].lower, ranges[k].upper);
  }
  if (HasResidualContent(model) && mask[kResidualContent] == 0) {
    const double highest = kLargestResidualShare * parameters[kSaturatedContent];
    if (parameters[kResidualContent] > highest) {
      parameters[kResidualContent] = highest;
      changed = true;
    }
  }
  return changed;
}

}  // namespace Xem::MaterialUtil
