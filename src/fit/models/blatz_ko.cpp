#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <map>
#include <utility>

#include "fit/assemble.h"
#include "fit/linear_model.h"
#include "fit/models/models.h"
#include "fit/models/rubber.h"
#include "hyperelastic/export_fits.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

/// Exponent of the lateral stretch of the model where the lateral face is free of stress.
double FreeExponent(DeformationMode mode) {
  switch (mode) {
    case DeformationMode::Uniaxial:
      return -1.0 / 4.0;
    case DeformationMode::Equibiaxial:
      return -2.0 / 3.0;
    case DeformationMode::PureShear:
      return -1.0 / 3.0;
    case DeformationMode::SimpleShear:
      return 0.0;  // its stress does not depend on it
  }
  return 0.0;
}

/// Lateral exponent ln l / ln lambda over strain: measured points, or one exponent throughout.
class LateralExponent {
 public:
  explicit LateralExponent(double exponent) : exponents_{{0.0, exponent}} {}
  LateralExponent(const Curve& curve, double otherwise) {
    for (std::size_t i = 0; i < curve.x.size(); ++i) {
      const double exponent = std::log1p(curve.lateral[i]) / std::log1p(curve.x[i]);
      if (std::isfinite(exponent)) exponents_.emplace(curve.x[i], exponent);
    }
    if (exponents_.empty()) exponents_.emplace(0.0, otherwise);
  }

  /// Linear between the measured strains, constant beyond them.
  double At(double strain) const {
    const auto above = exponents_.lower_bound(strain);
    if (above == exponents_.end()) return exponents_.rbegin()->second;
    if (above->first == strain || above == exponents_.begin()) return above->second;
    const auto below = std::prev(above);
    const double share = (strain - below->first) / (above->first - below->first);
    return below->second + share * (above->second - below->second);
  }

 private:
  std::map<double, double> exponents_;  // of equal strains the first one counts
};

/// Puts lateral strains into curves that have none.
void FillLateralStrains(const std::array<LateralExponent, kModeCount>& exponents, HyperelasticCurves& screened) {
  for (std::size_t i = 0; i < screened.curves.size(); ++i) {
    Curve& curve = screened.curves[i];
    if (!curve.lateral.empty() || screened.modes[i] == DeformationMode::SimpleShear) continue;
    const double exponent = exponents[static_cast<std::size_t>(screened.modes[i])].At(0.0);
    for (const double strain : curve.x) curve.lateral.push_back(std::expm1(exponent * std::log1p(strain)));
  }
}

void RequireLateralStrains(const HyperelasticCurves& screened) {
  for (const Curve& curve : screened.curves) {
    for (std::size_t i = 0; i < curve.lateral.size(); ++i) {
      if (curve.lateral[i] > -1.0) continue;
      throw Error(ErrorKind::BadData, "curve " + curve.name + ", row " + std::to_string(curve.Row(i)) +
                                          ": lateral strain " + Text(curve.lateral[i]) + " is not above -1");
    }
  }
}

double UnitStress(const ModeKinematics& kinematics, const LateralExponent& exponent, double strain, Engine engine) {
  return StressAtStrain(kinematics, strain, engine, [&](double stretch) {
    return kinematics.blatzKo(stretch, std::pow(stretch, exponent.At(strain)));
  });
}

std::vector<ParameterInfo> BlatzKoParameters(int) {
  return {{.name = "mu", .unit = "stress", .meaning = "initial shear modulus"}};
}

using LateralExponents = std::array<LateralExponent, kModeCount>;

/// One exponent per mode: that of a lateral face free of stress, or the fixed one of the plain export.
LateralExponents UnmeasuredExponents(Engine engine) {
  LateralExponents exponents{LateralExponent(0.0), LateralExponent(0.0), LateralExponent(0.0), LateralExponent(0.0)};
  for (std::size_t m = 0; m < kModeCount; ++m) {
    const bool plain = engine == Engine::Export;
    exponents[m] = LateralExponent(plain ? Kinematics(kAllModes[m]).lateralExponent : FreeExponent(kAllModes[m]));
  }
  return exponents;
}

Evaluator MakeBlatzKoEvaluator(double modulus, const LateralExponents& exponents, Engine engine) {
  return [modulus, exponents, engine](const std::string& curve, double strain) {
    const DeformationMode mode = ModeFromName(curve);
    return modulus * UnitStress(Kinematics(mode), exponents[static_cast<std::size_t>(mode)], strain, engine);
  };
}

void RequireModulus(std::span<const double> parameters) {
  if (parameters.size() == 1) return;
  throw Error(ErrorKind::BadInput, "blatz-ko has 1 parameter, not " + std::to_string(parameters.size()));
}

class BlatzKoFit final : public RubberFit {
 public:
  explicit BlatzKoFit(const HyperelasticData& data);
  void Screen() override;
  Minimum Minimise() override { return MinimiseLinear(problem, given); }
  Minimum RunExport() override;
  Evaluator MakeEvaluator(const std::vector<double>& parameters) const override {
    return MakeBlatzKoEvaluator(parameters.front(), exponents_, options.engine);
  }
  void Complete(const Minimum& minimum, Result& result) override;

 private:
  bool measured_ = false;  // every curve has lateral strains
  LateralExponents exponents_;
};

}  // namespace

const RubberLaw kBlatzKoLaw{
    .parameters = BlatzKoParameters,
    .stress =
        [](const ModeKinematics& mode, std::span<const double> modulus, double stretch, Engine) {
          for (const DeformationMode known : kAllModes) {
            if (&Kinematics(known) != &mode) continue;
            return modulus[0] * mode.blatzKo(stretch, std::pow(stretch, FreeExponent(known)));
          }
          return std::nan("");
        },
    .shearModulus = [](std::span<const double> modulus) { return modulus[0]; },
    .scan = [](std::span<const double>) -> boost::shared_ptr<XemMaterialStabilityBase> {
      return boost::make_shared<XemMaterialStabilityBlatzKo>();
    },
    .expand =
        [](int, std::span<const double> shown) {
          RequireModulus(shown);
          return std::vector<double>(shown.begin(), shown.end());
        }};

const Model kBlatzKo{.info = {.name = "blatz-ko",
                              .title = "Blatz-Ko",
                              .family = "rubber",
                              .curves = RubberCurves("lateral strain"),
                              .formula = "W = mu/2 (I2/I3 + 2 sqrt(I3) - 5)",
                              .source = "Blatz and Ko 1962",
                              .plainExport = "CurveFitting4BlatzKo",
                              .page = "theory/blatz_ko.md"},
                     .parameters = BlatzKoParameters,
                     .fit = [](const Tests& tests, int) -> boost::shared_ptr<ModelFit> {
                       return boost::make_shared<BlatzKoFit>(TestsOf<HyperelasticData>(tests, "blatz-ko"));
                     },
                     .restore =
                         [](const Result& stored) {
                           const std::vector<double> modulus = ParameterValues(stored);
                           RequireModulus(modulus);
                           LateralExponents exponents = UnmeasuredExponents(stored.options.engine);
                           for (const CurveResult& curve : stored.curves) {
                             if (curve.companion.empty() || curve.companion.size() != curve.x.size()) continue;
                             const auto m = static_cast<std::size_t>(ModeFromName(curve.name));
                             exponents[m] =
                                 LateralExponent({.x = curve.x, .lateral = curve.companion}, exponents[m].At(0.0));
                           }
                           return MakeBlatzKoEvaluator(modulus.front(), exponents, stored.options.engine);
                         },
                     .rubber = &kBlatzKoLaw};

namespace {

BlatzKoFit::BlatzKoFit(const HyperelasticData& data)
    : RubberFit(data, 1, kBlatzKoLaw, ModelType::BlatzKo), exponents_(UnmeasuredExponents(Engine::Best)) {}

/// The plain export takes measured lateral strains if every curve has them, else the fixed exponents for all.
void BlatzKoFit::Screen() {
  screened_ = ScreenHyperelastic(data_);
  RequireLateralStrains(screened_);
  measured_ = std::all_of(screened_.curves.begin(), screened_.curves.end(),
                          [](const Curve& curve) { return !curve.lateral.empty(); });
  exponents_ = UnmeasuredExponents(options.engine);
  for (std::size_t i = 0; i < screened_.curves.size(); ++i) {
    Curve& curve = screened_.curves[i];
    if (Plain() && !measured_) curve.lateral.clear();
    const auto m = static_cast<std::size_t>(screened_.modes[i]);
    if (!curve.lateral.empty()) exponents_[m] = LateralExponent(curve, exponents_[m].At(0.0));
  }
  curves = screened_.curves;  // with the lateral strains that were measured, and no others
  FillLateralStrains(exponents_, screened_);
  dropped = std::move(screened_.dropped);
  notes = std::move(screened_.notes);
}

Minimum BlatzKoFit::RunExport() {
  const TestDataList testData = MakeHyperelasticData(screened_);
  Minimum minimum;
  minimum.parameters.resize(1);
  minimum.converged = FitLinearModel(XemMaterialCurveFittingBlatzKo(testData), problem.functions, 1,
                                     MethodCode(options.residual), options.conditionLimit, minimum.parameters) == 0;
  return minimum;
}

void BlatzKoFit::Complete(const Minimum& minimum, Result& result) {
  const double modulus = minimum.parameters.front();
  if (!measured_) {
    result.notes.push_back(Plain() ? "without lateral strains the export takes those of a constant volume"
                                   : "curves without lateral strains take those of a lateral face free of stress");
  }
  if (!data_.volumetric.Empty()) {
    result.notes.push_back("the Blatz-Ko model has a bulk modulus of its own; the volumetric data are not used");
  }
  result.derived["shear_modulus"] = modulus;
  result.derived["bulk_modulus"] = 5.0 / 3.0 * modulus;
  result.derived["poisson_ratio"] = 0.25;
  for (const char* name : {"shear_modulus", "bulk_modulus"}) result.derivedUnits[name] = data_.stressUnit;
  result.measures.unit = data_.stressUnit;
  result.stability = CheckBlatzKo(modulus);
}

}  // namespace

Result FitBlatzKo(const HyperelasticData& data, const Options& options) { return Fit({"blatz-ko", 0}, data, options); }

double BlatzKoStress(const std::string& mode, double modulus, double strain) {
  return MakeBlatzKoEvaluator(modulus, UnmeasuredExponents(Engine::Best), Engine::Best)(mode, strain);
}

Stability CheckBlatzKo(double modulus, double lower, double upper) {
  return CheckLaw(kBlatzKoLaw, {&modulus, 1}, {}, lower, upper);
}

}  // namespace Xem::Fit
