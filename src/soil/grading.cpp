#include "soil/grading.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <utility>

namespace Xem::MaterialUtil {
namespace {

constexpr double kSurfaceTension = 0.0728;  // N/m, water at 20 degrees C
constexpr double kSmallestClass = 1e-10;    // mass share
constexpr double kCentimetrePerMillimetre = 0.1;
constexpr double kKilopascalPerPascal = 1e-3;
constexpr double kMetrePerCentimetre = 1e-2;

/// Class bounds in mm.
constexpr std::array kClassBounds{0.001, 0.002, 0.003, 0.005, 0.01, 0.02, 0.03, 0.04, 0.05, 0.07,
                                  0.1,   0.15,  0.2,   0.3,   0.4,  0.6,  0.8,  1.0,  1.5,  2.0};

double Diameter(const _T_FUNT_BASE& point) { return point.first; }
double& Passing(_T_FUNT_BASE& point) { return point.second; }
double Passing(const _T_FUNT_BASE& point) { return point.second; }

bool IsUsable(const _T_FUNT_BASE& point) {
  return std::isfinite(Diameter(point)) && std::isfinite(Passing(point)) && Diameter(point) > 0.0 &&
         Passing(point) >= 0.0;
}

/// Usable points by ascending diameter with passings from 0 to 1 that never fall; empty when nothing passes anywhere.
std::vector<_T_FUNT_BASE> Normalised(std::span<const _T_FUNT_BASE> grading) {
  std::vector<_T_FUNT_BASE> points;
  std::copy_if(grading.begin(), grading.end(), std::back_inserter(points), IsUsable);
  std::sort(points.begin(), points.end(), [](const _T_FUNT_BASE& a, const _T_FUNT_BASE& b) {
    return std::pair(Diameter(a), Passing(a)) < std::pair(Diameter(b), Passing(b));
  });
  double largest = 0.0;
  for (_T_FUNT_BASE& point : points) Passing(point) = largest = std::max(largest, Passing(point));
  if (!(largest > 0.0)) return {};
  for (_T_FUNT_BASE& point : points) Passing(point) /= largest;
  return points;
}

/// Passing at a diameter within the grading, linear in the logarithm of the diameter.
double PassingAt(std::span<const _T_FUNT_BASE> grading, double diameter) {
  const auto above = std::upper_bound(grading.begin(), grading.end(), diameter,
                                      [](double d, const _T_FUNT_BASE& point) { return d < Diameter(point); });
  const _T_FUNT_BASE& lower = *std::prev(above);
  if (above == grading.end() || Diameter(lower) == diameter) return Passing(lower);
  const double share = std::log(diameter / Diameter(lower)) / std::log(Diameter(*above) / Diameter(lower));
  return Passing(lower) + share * (Passing(*above) - Passing(lower));
}

/// Diameters in mm that bound the classes, from the smallest one measured to the smallest one that all passes.
std::vector<double> ClassBounds(std::span<const _T_FUNT_BASE> grading) {
  const double bottom = Diameter(grading.front());
  const double top = Diameter(
      *std::find_if(grading.begin(), grading.end(), [](const _T_FUNT_BASE& point) { return Passing(point) >= 1.0; }));
  std::vector<double> bounds{bottom};
  std::copy_if(kClassBounds.begin(), kClassBounds.end(), std::back_inserter(bounds),
               [&](double bound) { return bottom < bound && bound < top; });
  if (top > bottom) bounds.push_back(top);
  return bounds;
}

/// Suction in kPa of a class with bounds in mm and mass share `share`.
double ClassSuction(double lower, double upper, double share, const GradingConversion& conversion) {
  const double voidRatio = conversion.porosity / (1.0 - conversion.porosity);
  const double radius = 0.5 * std::sqrt(lower * kCentimetrePerMillimetre * (upper * kCentimetrePerMillimetre));
  const double count = 3.0 * share / (4.0 * std::numbers::pi * conversion.particleDensity * radius * radius * radius);
  const double poreRadius =
      radius * std::sqrt(2.0 / 3.0 * voidRatio * std::pow(count, 1.0 - conversion.exponent)) * kMetrePerCentimetre;
  return 2.0 * kSurfaceTension / poreRadius * kKilopascalPerPascal;
}

}  // namespace

std::vector<_T_FUNT_BASE> RetentionFromGrading(std::span<const _T_FUNT_BASE> grading,
                                               const GradingConversion& conversion) {
  const std::vector<_T_FUNT_BASE> points = Normalised(grading);
  if (points.empty()) return {};
  const std::vector<double> bounds = ClassBounds(points);
  std::vector<_T_FUNT_BASE> derived;
  for (std::size_t i = 0; i + 1 < bounds.size(); ++i) {
    const double below = PassingAt(points, bounds[i]);
    const double share = PassingAt(points, bounds[i + 1]) - below;
    if (share < kSmallestClass) continue;
    const double suction = ClassSuction(bounds[i], bounds[i + 1], share, conversion);
    if (!std::isfinite(suction)) continue;
    derived.emplace_back(suction, conversion.porosity * (below + share / 2.0));
  }
  std::sort(derived.begin(), derived.end(), [](const _T_FUNT_BASE& a, const _T_FUNT_BASE& b) {
    return std::pair(a.first, a.second) < std::pair(b.first, b.second);
  });
  return derived;
}

}  // namespace Xem::MaterialUtil
