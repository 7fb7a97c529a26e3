#pragma once

#include <array>
#include <boost/make_shared.hpp>
#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "fit/model.h"
#include "fit/models/dual.h"
#include "fit/models/mualem.h"
#include "soil/retention_test_function.h"

/// What all models of water retention share. Inside, suctions are in kPa; results are in the unit of the data.
namespace Xem::Fit {

/// theta = theta_r + (theta_s - theta_r) Se as the family sees it, with theta_r = 0 in a law without one.
struct RetentionLaw {
  /// In the order of results, units "kPa", "1/kPa", "m3/m3" or none.
  std::vector<ParameterInfo> parameters;
  std::size_t saturated = 0;
  std::optional<std::size_t> residual;
  /// Se; 1 at and below suction 0.
  double (*saturation)(std::span<const double> parameters, MaterialUtil::Suction suction);
  /// The points and the law, in percent as the core counts.
  MaterialUtil::TestFunctionList::value_type (*function)(std::span<const _T_FUNT_BASE> points);
  /// From where valleys are sought, for the fitted points of all curves. `given` has held values and starts of the
  /// caller, else NaN.
  std::vector<std::vector<double>> (*starts)(const Problem& problem, std::span<const _T_FUNT_BASE> points,
                                             const std::vector<double>& given);
  /// K/Ks after Mualem; null where there is no closed form.
  double (*conductivity)(std::span<const double> parameters, MaterialUtil::Suction suction) = nullptr;
  const char* conductivityFormula = "";
  /// Parameters that keep a value unless somebody names them.
  std::map<std::string, double> usual = {};
  /// What the exported function calls it, where it knows it.
  std::optional<MaterialUtil::RetentionModel> plain = {};
  /// The minimum with interchangeable parts in their order; null where a law has none. `fixed`: one of `ordered`, the
  /// parameters that could change places, is held or bounded, so that they may not.
  Minimum (*minimise)(const Problem& problem, const std::vector<std::vector<double>>& starts, bool fixed) = nullptr;
  std::vector<std::string> ordered = {};

  double Content(std::span<const double> values, MaterialUtil::Suction suction) const;
};

/// So many of the best starts are followed to a minimum.
inline constexpr std::size_t kFollowedStarts = 6;

/// The entry of the catalogue but for fit and evaluation, which are those of the family.
ModelInfo RetentionInfo(const char* name, const char* title, const char* formula, const char* source);

boost::shared_ptr<ModelFit> MakeRetentionFit(const RetentionLaw& law, const Tests& tests);
Evaluator RestoreRetention(const RetentionLaw& law, const Result& stored);
/// Parameters as the catalogue tells them.
std::vector<ParameterInfo> RetentionParameters(const RetentionLaw& law);

/// The entry of the catalogue; `law` lives as long as it.
template <const RetentionLaw& law>
Model RetentionModelOf(ModelInfo info) {
  info.conductivity = law.conductivityFormula;
  return {.info = std::move(info),
          .parameters = [](int) { return RetentionParameters(law); },
          .fit = [](const Tests& tests, int) { return MakeRetentionFit(law, tests); },
          .restore = [](const Result& stored) { return RestoreRetention(law, stored); },
          .retention = &law};
}

// What a law needs that only the fit layer knows: a struct with
//
//   kCount, kSaturated, kResidual        the number of parameters, and where the contents stand
//   kPlaces                              how many suctions Shapes gets
//   Parameters()                         what the catalogue says of them
//   Saturation(p, suction)               Se above suction 0, a template over the type of numbers unless the law has a
//                                        test function of its own
//   Reach(p, suction)                    F(Se)/F(1) of mualem.h above suction 0
//   kConductivity                        the formula of K/Ks, for people
//   Shapes(places)                       groups of starting values at suctions in kPa, spread over those of the data;
//                                        whatever stands for the contents, which follow from the others

inline ParameterInfo SaturatedContent() { return {"theta_s", "m3/m3", 1e-3, 1.0, "saturated water content", true}; }
inline ParameterInfo SuctionParameter(const char* name, const char* meaning) {
  return {name, "kPa", 1e-3, 1e6, meaning};
}
inline ParameterInfo ResidualContent() {
  return {"theta_r", "m3/m3", 0.0, 1.0, "residual water content, up to 0.95 of the largest measured one", true};
}

/// Starting values by the valleys that they may lie in.
using ShapeGroups = std::vector<std::vector<std::vector<double>>>;

/// So many suctions, equally spaced in their logarithm, from the smallest to the largest positive one of the points.
std::vector<double> PlacesOf(std::span<const _T_FUNT_BASE> points, int count);

/// Of each group the shape that fits best with the contents at `contents` solved for, the best groups first, and the
/// caller's start before all.
std::vector<std::vector<double>> StartsFromShapes(const Problem& problem, const ShapeGroups& groups,
                                                  const std::array<std::size_t, 2>& contents,
                                                  const std::vector<double>& given);

/// Points and a law that is differentiated exactly.
template <class Law>
class DifferentiatedRetention final : public MaterialUtil::BlockTestFunction {
 public:
  explicit DifferentiatedRetention(std::span<const _T_FUNT_BASE> points) {
    SetTestData(points);
    for (double& content : compared_) content *= kPercent;
    for (const double suction : Stretch()) suctions_.emplace_back(suction);
  }

  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MaterialUtil::MatrixView derivatives) const override {
    using Number = Dual<Law::kCount>;
    std::array<double, Law::kCount> values;
    std::array<Number, Law::kCount> variables;
    for (std::size_t k = 0; k < Law::kCount; ++k) {
      values[k] = parameters[k];
      variables[k] = Number::Variable(parameters[k], k);
    }
    MaterialUtil::EvaluateByPoint<Law::kCount>(
        first, model, derivatives, [&](std::int32_t point) { return kPercent * Content(values, point); },
        [&](std::int32_t point, std::span<double> gradient) {
          const Number content = Content(variables, point);
          for (std::size_t k = 0; k < Law::kCount; ++k) gradient[k] = kPercent * content.slopes[k];
          return kPercent * content.value;
        });
  }

 private:
  static constexpr double kPercent = MaterialUtil::XemUnsaturatedSoilTestFunction::kPercent;

  template <class T>
  T Content(const std::array<T, Law::kCount>& p, std::int32_t point) const {
    const MaterialUtil::Suction suction = suctions_[static_cast<std::size_t>(point)];
    if (suction.value <= 0.0) return p[Law::kSaturated];
    return p[Law::kResidual] + (p[Law::kSaturated] - p[Law::kResidual]) * Law::template Saturation<T>(p, suction);
  }

  std::vector<MaterialUtil::Suction> suctions_;
};

/// As the family sees a law.
template <class Law, class Function = DifferentiatedRetention<Law>>
RetentionLaw RetentionLawOf() {
  RetentionLaw law;
  law.parameters = Law::Parameters();
  law.saturated = Law::kSaturated;
  law.residual = Law::kResidual;
  law.saturation = [](std::span<const double> parameters, MaterialUtil::Suction suction) {
    std::array<double, Law::kCount> values;
    for (std::size_t k = 0; k < Law::kCount; ++k) values[k] = parameters[k];
    return suction.value <= 0.0 ? 1.0 : Law::template Saturation<double>(values, suction);
  };
  law.conductivity = [](std::span<const double> parameters, MaterialUtil::Suction suction) {
    if (suction.value <= 0.0) return 1.0;
    std::array<double, Law::kCount> values;
    for (std::size_t k = 0; k < Law::kCount; ++k) values[k] = parameters[k];
    return MualemConductivity(Law::template Saturation<double>(values, suction), Law::Reach(values, suction));
  };
  law.conductivityFormula = Law::kConductivity;
  law.function = [](std::span<const _T_FUNT_BASE> points) -> MaterialUtil::TestFunctionList::value_type {
    return boost::make_shared<Function>(points);
  };
  law.starts = [](const Problem& problem, std::span<const _T_FUNT_BASE> points, const std::vector<double>& given) {
    return StartsFromShapes(problem, Law::Shapes(PlacesOf(points, Law::kPlaces)), {Law::kResidual, Law::kSaturated},
                            given);
  };
  return law;
}

}  // namespace Xem::Fit
