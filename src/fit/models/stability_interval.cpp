#include "fit/models/stability_interval.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <string>

#include "fit/assemble.h"
#include "fit/screening.h"

namespace Xem::Fit {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// The scan takes steps of this: a limit lies within the last one before the strain that it reports.
constexpr double kScanStep = 0.01;

/// Pivots of a correlation matrix below this are rounding.
constexpr double kSmallestPivot = 1e-10;

struct Limit {
  const char* name;
  const char* mode;
  double Stability::*value;
  double sign;  // away from no strain
};
constexpr Limit kLimits[] = {{"uniaxial_tension", "uniaxial", &Stability::uniaxialTension, 1.0},
                             {"uniaxial_compression", "uniaxial", &Stability::uniaxialCompression, -1.0},
                             {"equibiaxial_tension", "equibiaxial", &Stability::equibiaxialTension, 1.0},
                             {"equibiaxial_compression", "equibiaxial", &Stability::equibiaxialCompression, -1.0},
                             {"pure_shear_tension", "pure_shear", &Stability::pureShearTension, 1.0},
                             {"pure_shear_compression", "pure_shear", &Stability::pureShearCompression, -1.0}};

/// Half the interval of a parameter over its standard error, the same for all.
double StudentFactorOf(const Result& result) {
  for (const Parameter& parameter : result.parameters) {
    if (parameter.standardError > 0.0) return (parameter.upper - parameter.value) / parameter.standardError;
  }
  return std::numeric_limits<double>::quiet_NaN();
}

/// Columns of a root of the covariance; parameters without one stand still.
std::vector<std::vector<double>> Directions(const Result& result) {
  const std::size_t count = result.parameters.size();
  std::vector<std::vector<double>> root(count, std::vector<double>(count, 0.0));
  const auto known = [&](std::size_t k) { return result.covariance[k][k] > 0.0; };
  for (std::size_t j = 0; j < count; ++j) {
    if (!known(j)) continue;
    for (std::size_t i = j; i < count; ++i) {
      if (!known(i)) continue;
      double rest = result.covariance[i][j];
      for (std::size_t k = 0; k < j; ++k) rest -= root[k][i] * root[k][j];
      if (i == j) {
        if (!(rest > kSmallestPivot * result.covariance[j][j])) break;
        root[j][j] = std::sqrt(rest);
      } else {
        root[j][i] = rest / root[j][j];
      }
    }
  }
  return root;
}

/// Squares of how far a limit moves up and down, counted from no strain.
struct Reach {
  double beyond = 0.0;
  double before = 0.0;
};

void Extend(double from, double to, Reach& reach) {
  if (from == to) return;
  const double way = to - from;
  (way > 0.0 ? reach.beyond : reach.before) += way * way;
}

/// The mode in which a model fails first, and what speaks against believing it.
void NoteUnmeasured(Result& result) {
  const Limit* first = nullptr;
  double least = kInfinity;
  for (const Limit& limit : kLimits) {
    const double strain = std::abs((*result.stability).*limit.value);
    if (!(strain < least)) continue;
    least = strain;
    first = &limit;
  }
  if (first == nullptr) return;
  for (const CurveResult& curve : result.curves) {
    const std::string mode = WithoutNumber(curve.name);
    const bool sheared = mode == "simple_shear" && first->mode == std::string("pure_shear");
    if (sheared || mode == first->mode) return;
  }
  std::string name = first->name;
  std::replace(name.begin(), name.end(), '_', ' ');
  result.notes.push_back(
      "the first stability limit, " + name + " at " + Text(std::round(100.0 * first->sign * least) / 100.0) +
      ", lies in a mode that was not measured: the model extrapolates to it, and a test in that mode "
      "would tell");
}

}  // namespace

void AddStabilityIntervals(const std::function<Stability(const std::vector<double>&)>& limitsAt, Result& result) {
  NoteUnmeasured(result);
  const double factor = StudentFactorOf(result);
  const auto open = [](const Parameter& parameter) { return !parameter.identifiable; };
  if (!std::isfinite(factor) || std::any_of(result.parameters.begin(), result.parameters.end(), open)) return;
  // No limit counts as one without end.
  const auto strainOf = [](const Stability& limits, const Limit& limit) {
    const double strain = limit.sign * (limits.*limit.value);
    return std::isnan(strain) ? kInfinity : strain;
  };
  std::vector<Reach> reaches(std::size(kLimits));
  std::vector<double> nearest(std::size(kLimits), kInfinity);
  for (const std::vector<double>& direction : Directions(result)) {
    if (std::all_of(direction.begin(), direction.end(), [](double entry) { return entry == 0.0; })) continue;
    for (const double sign : {factor, -factor}) {
      std::vector<double> moved;
      for (std::size_t k = 0; k < direction.size(); ++k) {
        moved.push_back(result.parameters[k].value + sign * direction[k]);
      }
      Stability limits;
      try {
        limits = limitsAt(moved);
      } catch (const Error&) {
        continue;  // parameters without a finite stiffness tell nothing of strains
      }
      for (std::size_t i = 0; i < std::size(kLimits); ++i) {
        const double strain = strainOf(limits, kLimits[i]);
        nearest[i] = std::min(nearest[i], strain);
        Extend(strainOf(*result.stability, kLimits[i]), strain, reaches[i]);
      }
    }
  }
  for (std::size_t i = 0; i < std::size(kLimits); ++i) {
    const double strain = strainOf(*result.stability, kLimits[i]);
    double lower = nearest[i];
    double upper = kInfinity;
    if (std::isfinite(strain)) {
      lower = std::max(0.0, strain - std::sqrt(reaches[i].before + kScanStep * kScanStep));
      upper = strain + std::sqrt(reaches[i].beyond);
    }
    if (!std::isfinite(lower)) continue;  // nowhere a limit
    const bool tension = kLimits[i].sign > 0.0;
    result.stability->intervals[kLimits[i].name] = {tension ? lower : -upper, tension ? upper : -lower};
  }
}

}  // namespace Xem::Fit
