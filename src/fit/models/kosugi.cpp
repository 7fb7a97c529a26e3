#include <cmath>
#include <numbers>

#include "fit/models/models.h"
#include "fit/models/retention.h"

/// Kosugi: pores whose radii are distributed log-normally.
namespace Xem::Fit {
namespace {

using std::erfc;
using std::log;

struct KosugiLaw {
  static constexpr std::size_t kCount = 4;
  static constexpr std::size_t kResidual = 0;
  static constexpr std::size_t kSaturated = 1;
  static constexpr int kPlaces = 12;

  static std::vector<ParameterInfo> Parameters() {
    return {ResidualContent(), SaturatedContent(), SuctionParameter("psi_m", "suction of the median pore"),
            ParameterInfo{"sigma", "", 0.01, 20.0, "standard deviation of the logarithm of the pore radii"}};
  }

  /// ln(psi/psi_m) over the root of 2 sigma^2
  template <class T>
  static T Scaled(const std::array<T, kCount>& p, MaterialUtil::Suction suction) {
    return (T(suction.log) - log(p[2])) / (T(std::numbers::sqrt2) * p[3]);
  }
  /// erfc(ln(psi/psi_m) / (sqrt(2) sigma)) / 2
  template <class T>
  static T Saturation(const std::array<T, kCount>& p, MaterialUtil::Suction suction) {
    return T(0.5) * erfc(Scaled<T>(p, suction));
  }

  static constexpr const char* kConductivity = "sqrt(Se) (erfc(ln(psi/psi_m)/(sqrt(2) sigma) + sigma/sqrt(2))/2)^2";
  static double Reach(const std::array<double, kCount>& p, MaterialUtil::Suction suction) {
    return 0.5 * erfc(Scaled<double>(p, suction) + p[3] / std::numbers::sqrt2);
  }

  static ShapeGroups Shapes(const std::vector<double>& places) {
    ShapeGroups groups;
    for (const double sigma : {0.2, 0.5, 1.0, 1.7, 2.7, 4.5}) {
      groups.emplace_back();
      for (const double median : places) groups.back().push_back({0.0, 0.0, median, sigma});
      // A curve that is cut off before it has come half way down.
      for (const double beyond : {10.0, 100.0}) groups.back().push_back({0.0, 0.0, beyond * places.back(), sigma});
    }
    return groups;
  }
};

const RetentionLaw kKosugiLaw = RetentionLawOf<KosugiLaw>();

}  // namespace

const Model kKosugi = RetentionModelOf<kKosugiLaw>(RetentionInfo(
    "kosugi", "Kosugi", "theta = theta_r + (theta_s - theta_r) erfc(ln(psi/psi_m)/(sqrt(2) sigma))/2", "Kosugi 1996"));

}  // namespace Xem::Fit
