#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "fit/models/models.h"
#include "fit/models/retention.h"
#include "fit/search.h"

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
           (1.0 - p[kShare]) * SystemSaturation(p[kSecond], p[kSecond + 1], suction);
  }

  /// The parts of both in F are w alpha1 and (1 - w) alpha2 (Priesack and Durner 2006).
  static constexpr const char* kConductivity =
      "sqrt(Se) (sum wi alphai (1 - (1 - Si^(1/mi))^mi) / sum wi alphai)^2, mi = 1 - 1/ni, w1 = w, w2 = 1 - w";
  static double Reach(const std::array<double, kCount>& p, Suction suction) {
    const double first = p[kShare] * p[kFirst];
    const double second = (1.0 - p[kShare]) * p[kSecond];
    return (first * VanGenuchtenReach(p[kFirst], p[kFirst + 1], suction) +
            second * VanGenuchtenReach(p[kSecond], p[kSecond + 1], suction)) /
           (first + second);
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

/// Points and the law, many points at a time.
class DualFunction final : public MaterialUtil::BlockTestFunction {
 public:
  explicit DualFunction(std::span<const _T_FUNT_BASE> points) {
    SetTestData(points);
    for (double& content : compared_) content *= kPercent;
    for (const double suction : Stretch()) logSuctions_.push_back(Suction(suction).log);
  }

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MaterialUtil::MatrixView derivatives) const override {
    for (std::size_t done = 0; done < model.size(); done += kBlock) {
      const std::size_t count = std::min(kBlock, model.size() - done);
      const auto row = static_cast<std::int32_t>(done);
      EvaluatePart(parameters.data(), first + row, model.subspan(done, count),
                   derivatives.Rows(row, static_cast<std::int32_t>(count)));
    }
  }

 private:
  static constexpr double kPercent = MaterialUtil::XemUnsaturatedSoilTestFunction::kPercent;
  static constexpr std::size_t kBlock = 64;

  /// Se of one system in percent, and its derivatives by two contents, alpha and n.
  struct System {
    std::array<double, kBlock> saturation;
    std::array<std::array<double, kBlock>, 4> derivatives;
  };

  void EvaluatePart(const double* p, std::int32_t first, std::span<double> model,
                    MaterialUtil::MatrixView derivatives) const {
    std::array<System, 2> systems;
    for (std::size_t i = 0; i < systems.size(); ++i) {
      System& system = systems[i];
      const std::array own{1.0, 0.0, p[kFirst + 2 * i], p[kFirst + 2 * i + 1]};
      double* const columns = derivatives.Empty() ? nullptr : system.derivatives.front().data();
      MaterialUtil::WaterContents(RetentionModel::VanGenuchten,
                                  {own.data(), kPercent, Stretch().begin() + first, logSuctions_.data() + first},
                                  {model.size(), system.saturation.data(), {columns, kBlock}});
    }
    const auto& [coarse, fine] = systems;
    const double share = p[kShare];
    const double range = p[DualLaw::kSaturated] - p[DualLaw::kResidual];
    for (std::size_t i = 0; i < model.size(); ++i) {
      const double saturation = share * coarse.saturation[i] + (1.0 - share) * fine.saturation[i];
      model[i] = kPercent * p[DualLaw::kResidual] + range * saturation;
      if (derivatives.Empty()) continue;
      derivatives(i, DualLaw::kResidual) = kPercent - saturation;
      derivatives(i, DualLaw::kSaturated) = saturation;
      derivatives(i, kShare) = range * (coarse.saturation[i] - fine.saturation[i]);
      for (const std::size_t part : {std::size_t{0}, std::size_t{1}}) {
        derivatives(i, kFirst + part) = range * share * coarse.derivatives[2 + part][i];
        derivatives(i, kSecond + part) = range * (1.0 - share) * fine.derivatives[2 + part][i];
      }
    }
  }

  std::vector<double> logSuctions_;
};

/// The same soil with the names of both systems changed.
void Swap(Minimum& minimum) {
  std::vector<double>& p = minimum.parameters;
  p[kShare] = 1.0 - p[kShare];
  for (const std::size_t part : {std::size_t{0}, std::size_t{1}}) {
    std::swap(p[kFirst + part], p[kSecond + part]);
    const bool atBound = minimum.atBound[kFirst + part];
    minimum.atBound[kFirst + part] = minimum.atBound[kSecond + part];
    minimum.atBound[kSecond + part] = atBound;
  }
}

/// The problem with the larger alpha in the first place, a boundary between both put where `p` has its middle, or at
/// the one that is held. Nothing where the ranges do not allow that.
std::optional<Problem> Divided(Problem problem, const std::vector<double>& p) {
  FreeOrHeld& first = problem.parameters[kFirst];
  FreeOrHeld& second = problem.parameters[kSecond];
  double middle = std::sqrt(p[kFirst] * p[kSecond]);
  if (!second.held) middle = std::max(middle, second.lower);
  if (!first.held) middle = std::min(middle, first.upper);
  if (first.held) middle = p[kFirst];
  if (second.held) middle = p[kSecond];
  first.lower = std::max(first.lower, middle);
  second.upper = std::min(second.upper, middle);
  const bool empty = (!first.held && first.lower >= first.upper) || (!second.held && second.lower >= second.upper);
  return empty ? std::nullopt : std::optional(std::move(problem));
}

/// The coarse pores, those of the larger alpha, come first. Where names are fixed the systems must not change places on
/// the way: each start keeps to its side of a boundary, which then follows the best of them.
Minimum MinimiseInOrder(const Problem& problem, const std::vector<std::vector<double>>& starts, bool fixed) {
  Minimum free = MinimiseValleys(problem, starts, kFollowedStarts);
  if (free.parameters[kFirst] >= free.parameters[kSecond]) return free;
  if (!fixed) {
    Swap(free);
    return free;
  }
  Minimum best;
  const auto follow = [&](const std::vector<double>& start) {
    const auto divided = Divided(problem, start);
    if (!divided) return;
    Minimum found = MinimiseValleys(*divided, {start}, 1);
    if (found.objective < best.objective) best = std::move(found);
  };
  for (const auto& start : starts) follow(start);
  constexpr int kFollowings = 3;
  for (int i = 0; i < kFollowings && !best.parameters.empty(); ++i) follow(std::vector<double>(best.parameters));
  return best.parameters.empty() ? free : best;
}

RetentionLaw MakeLaw() {
  RetentionLaw law = RetentionLawOf<DualLaw, DualFunction>();
  law.minimise = MinimiseInOrder;
  law.ordered = {"w", "alpha1", "n1", "alpha2", "n2"};
  return law;
}

const RetentionLaw kDualLaw = MakeLaw();

}  // namespace

const Model kVanGenuchtenDual = RetentionModelOf<kDualLaw>(RetentionInfo(
    "van-genuchten-dual", "van Genuchten, two systems of pores",
    "theta = theta_r + (theta_s - theta_r) (w S1 + (1 - w) S2), Si = (1 + (alphai psi)^ni)^(1/ni - 1)", "Durner 1994"));

}  // namespace Xem::Fit
