#include <utility>

#include "fit/models/models.h"
#include "fit/models/retention.h"

/// Durner: two systems of pores, each with van Genuchten's curve.
namespace Xem::Fit {
namespace {

using MaterialUtil::RetentionModel;
using MaterialUtil::Suction;

constexpr std::size_t kShare = 2;
constexpr std::size_t kFirst = 3;   // alpha, n of the coarse pores
constexpr std::size_t kSecond = 5;  // of the fine ones

/// Se of one system of pores, by the core's law of contents 1 and 0.
double SystemSaturation(double alpha, double n, Suction suction) {
  return MaterialUtil::RetentionShape(RetentionModel::VanGenuchten, std::array{1.0, 0.0, alpha, n}, suction);
}
template <std::size_t N>
Dual<N> SystemSaturation(const Dual<N>& alpha, const Dual<N>& n, Suction suction) {
  std::array<double, 4> gradient{};
  Dual<N> share(MaterialUtil::WaterContentGradient(RetentionModel::VanGenuchten,
                                                   std::array{1.0, 0.0, alpha.value, n.value}, suction, gradient));
  for (std::size_t k = 0; k < N; ++k) share.slopes[k] = gradient[2] * alpha.slopes[k] + gradient[3] * n.slopes[k];
  return share;
}

struct DualLaw {
  static constexpr std::size_t kCount = 7;
  static constexpr std::size_t kResidual = 0;
  static constexpr std::size_t kSaturated = 1;
  static constexpr int kPlaces = 8;

  static std::vector<ParameterInfo> Parameters() {
    std::vector<ParameterInfo> parameters{ResidualContent(), SaturatedContent(),
                                          ParameterInfo{"w", "", 0.0, 1.0, "share of the coarse pores"}};
    for (const bool first : {true, false}) {
      const std::string digit = first ? "1" : "2";
      const std::string pores = first ? "coarse pores" : "fine pores";
      parameters.push_back(
          {"alpha" + digit, "1/kPa", 1e-6, 1e4, "about the inverse of the air-entry suction of the " + pores});
      parameters.push_back({"n" + digit, "", 1.01, 20.0, "shape of the curve of the " + pores});
    }
    return parameters;
  }

  /// w S1 + (1 - w) S2
  template <class T>
  static T Saturation(const std::array<T, kCount>& p, Suction suction) {
    return p[kShare] * SystemSaturation(p[kFirst], p[kFirst + 1], suction) +
           (T(1.0) - p[kShare]) * SystemSaturation(p[kSecond], p[kSecond + 1], suction);
  }

  /// A group for every two air entries: which points either system explains is what tells the valleys apart.
  static ShapeGroups Shapes(const std::vector<double>& places) {
    ShapeGroups groups;
    for (std::size_t i = 0; i < places.size(); ++i) {
      for (std::size_t j = i + 1; j < places.size(); ++j) {
        groups.emplace_back();
        for (const double first : {1.3, 2.0, 4.5}) {
          for (const double second : {1.2, 1.7, 3.5}) {
            for (const double share : {0.25, 0.5, 0.75}) {
              groups.back().push_back({0.0, 0.0, share, 1.0 / places[i], first, 1.0 / places[j], second});
            }
          }
        }
      }
    }
    return groups;
  }
};

/// The coarse pores, those of the larger alpha, come first.
void CoarseFirst(Minimum& minimum) {
  std::vector<double>& p = minimum.parameters;
  if (p[kFirst] >= p[kSecond]) return;
  p[kShare] = 1.0 - p[kShare];
  for (const std::size_t part : {std::size_t{0}, std::size_t{1}}) {
    std::swap(p[kFirst + part], p[kSecond + part]);
    const bool atBound = minimum.atBound[kFirst + part];
    minimum.atBound[kFirst + part] = minimum.atBound[kSecond + part];
    minimum.atBound[kSecond + part] = atBound;
  }
}

RetentionLaw MakeLaw() {
  RetentionLaw law = RetentionLawOf<DualLaw>();
  law.order = CoarseFirst;
  law.ordered = {"w", "alpha1", "n1", "alpha2", "n2"};
  return law;
}

const RetentionLaw kDualLaw = MakeLaw();

}  // namespace

const Model kVanGenuchtenDual = RetentionModelOf<kDualLaw>(RetentionInfo(
    "van-genuchten-dual", "van Genuchten, two systems of pores",
    "theta = theta_r + (theta_s - theta_r) (w S1 + (1 - w) S2), Si = (1 + (alphai psi)^ni)^(1/ni - 1)", "Durner 1994"));

}  // namespace Xem::Fit
