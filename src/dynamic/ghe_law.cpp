#include "dynamic/ghe_law.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "solver/linalg/numbers.h"

namespace Xem::MaterialUtil {
namespace {

using std::numbers::pi;

constexpr double kSmallest = 1e-3;
constexpr double kLargest = 1e3;
constexpr double kApart = 1e-6;

/// One of the two functions that pass from `atZero` to `atInfinity`.
struct Transition {
  double value;
  double zeroShare;      // derivative with respect to atZero
  double infinityShare;  // derivative with respect to atInfinity
  double byScale;        // derivative with respect to the scale

  Transition(double atZero, double atInfinity, double scale, double x) {
    const double sum = x + scale;
    const double sine = std::sin(0.5 * pi * x / sum);
    const double cosine = std::sin(0.5 * pi * scale / sum);  // the cosine without its cancellation near a right angle
    zeroShare = cosine * cosine;
    infinityShare = sine * sine;
    value = atZero * zeroShare + atInfinity * infinityShare;
    byScale = (atZero - atInfinity) * sine * cosine * pi * x / (sum * sum);
  }
};

bool Clamp(double& value, double lower, double upper) {
  const double before = value;
  value = std::clamp(value, lower, upper);
  return value != before;
}

bool KeepApart(double& atZero, bool zeroFree, double& atInfinity, bool infinityFree) {
  if (!(std::abs(atZero - atInfinity) < kApart * atZero)) return false;
  const double before = infinityFree ? atInfinity : atZero;
  if (infinityFree) {
    atInfinity = atZero * (1.0 - kApart);
    return atInfinity != before;
  }
  if (zeroFree) atZero = atInfinity / (1.0 - kApart);
  return atZero != before;
}

}  // namespace

double GheRatio(std::span<const double> p, double x) {
  const Transition c1(p[0], p[1], p[4], x);
  const Transition c2(p[2], p[3], p[5], x);
  return 1.0 / (1.0 / c1.value + x / c2.value);
}

double GheRatioAndGradient(std::span<const double> p, double x, std::span<double> gradient) {
  const Transition c1(p[0], p[1], p[4], x);
  const Transition c2(p[2], p[3], p[5], x);
  const double ratio = 1.0 / (1.0 / c1.value + x / c2.value);
  const double u = (ratio / c1.value) * (ratio / c1.value);
  const double v = x * (ratio / c2.value) * (ratio / c2.value);
  gradient[0] = u * c1.zeroShare;
  gradient[1] = u * c1.infinityShare;
  gradient[2] = v * c2.zeroShare;
  gradient[3] = v * c2.infinityShare;
  gradient[4] = u * c1.byScale;
  gradient[5] = v * c2.byScale;
  return ratio;
}

bool ConstrainGhe(std::span<double> parameters, std::span<const std::int32_t> mask) {
  bool changed = false;
  for (std::size_t k = 0; k < kGheParameterCount; ++k) {
    if (mask[k] != 0) continue;
    if (parameters[k] < -kSmallest) {
      parameters[k] = -parameters[k];
      changed = true;
    }
    changed = Clamp(parameters[k], kSmallest, kLargest) || changed;
  }
  for (const std::size_t k : {std::size_t{0}, std::size_t{2}}) {
    changed = KeepApart(parameters[k], mask[k] == 0, parameters[k + 1], mask[k + 1] == 0) || changed;
  }
  return changed;
}

double GheDamping(double largestDamping, double exponent, double loss) {
  return loss < kNegligible ? 0.0 : largestDamping * std::pow(loss, exponent);
}

bool ConstrainGheDamping(std::span<double> parameters, std::span<const std::int32_t> mask) {
  bool changed = mask[0] == 0 && Clamp(parameters[0], 1e-4, 1.0);
  changed = (mask[1] == 0 && Clamp(parameters[1], 0.01, 10.0)) || changed;
  return changed;
}

}  // namespace Xem::MaterialUtil
