#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <map>
#include <utility>

#include "fit/assemble.h"
#include "fit/hyperelastic_curves.h"
#include "fit/hyperelastic_result.h"
#include "fit/linear_model.h"
#include "hyperelastic/linear_fit.h"
#include "hyperelastic/models.h"
#include "hyperelastic/refinement.h"
#include "xem/fit/hyperelastic.h"

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

/// What the plain export returns: measured lateral strains if every curve has them, else the fixed exponents.
Minimum RunExport(const Problem& problem, const HyperelasticCurves& screened, const Options& options) {
  RequirePlainOptions(options, screened.curves);
  const TestDataList testData = MakeHyperelasticData(screened);
  const XemMaterialCurveFittingBlatzKo model(testData);
  const std::int32_t method = options.residual == Residual::Absolute ? 1 : 0;
  Vector modulus(1);
  Minimum minimum;
  try {
    SolveLinear(model, FixedTermMask(1), modulus.Span(), method, options.conditionLimit);
    minimum.converged = RefineLinearSolution(problem.functions, 1, method, modulus.Span()).solverStatus == 0;
  } catch (int info) {
    throw Error(ErrorKind::NotConverged, "the export fails on these curves: LAPACK reports " + std::to_string(info));
  }
  minimum.parameters.assign(1, modulus[0]);
  minimum.objective = Objective(problem, minimum.parameters);
  minimum.atBound.assign(1, false);
  return minimum;
}

}  // namespace

Result FitBlatzKo(const HyperelasticData& data, const Options& options) {
  HyperelasticCurves screened = ScreenHyperelastic(data);
  RequireLateralStrains(screened);
  const bool plain = options.engine == Engine::Export;
  const bool measured = std::all_of(screened.curves.begin(), screened.curves.end(),
                                    [](const Curve& curve) { return !curve.lateral.empty(); });
  std::array<LateralExponent, kModeCount> exponents{LateralExponent(0.0), LateralExponent(0.0), LateralExponent(0.0),
                                                    LateralExponent(0.0)};
  for (std::size_t m = 0; m < kModeCount; ++m) {
    exponents[m] = LateralExponent(plain ? Kinematics(kAllModes[m]).lateralExponent : FreeExponent(kAllModes[m]));
  }
  for (std::size_t i = 0; i < screened.curves.size(); ++i) {
    Curve& curve = screened.curves[i];
    if (plain && !measured) curve.lateral.clear();
    const auto m = static_cast<std::size_t>(screened.modes[i]);
    if (!curve.lateral.empty()) exponents[m] = LateralExponent(curve, exponents[m].At(0.0));
  }
  FillLateralStrains(exponents, screened);

  Problem problem = MakeHyperelasticProblem(screened, ModelType::BlatzKo, 1, options);
  problem.parameters.push_back({.name = "mu", .unit = data.stressUnit});
  std::vector<double> start(1, 0.0);
  ApplyOptions(SplitByModel(data, options).model, problem, start);
  const Minimum minimum = plain ? RunExport(problem, screened, options) : MinimiseLinear(problem, std::move(start));
  const double modulus = minimum.parameters.front();

  Result result = Assemble(problem, minimum, screened.curves, std::move(screened.dropped),
                           [modulus, exponents, engine = options.engine](const std::string& name, double strain) {
                             const DeformationMode mode = ModeFromName(name);
                             return modulus * UnitStress(Kinematics(mode), exponents[static_cast<std::size_t>(mode)],
                                                         strain, engine);
                           });
  result.model = "blatz-ko";
  result.notes.insert(result.notes.end(), screened.notes.begin(), screened.notes.end());
  if (!measured) {
    result.notes.push_back(plain ? "without lateral strains the export takes those of a constant volume"
                                 : "curves without lateral strains take those of a lateral face free of stress");
  }
  if (!data.volumetric.Empty()) {
    result.notes.push_back("the Blatz-Ko model has a bulk modulus of its own; the volumetric data are not used");
  }
  result.derived["shear_modulus"] = modulus;
  result.derived["bulk_modulus"] = 5.0 / 3.0 * modulus;
  result.derived["poisson_ratio"] = 0.25;
  result.stability = CheckBlatzKo(modulus);
  return result;
}

double BlatzKoStress(const std::string& mode, double modulus, double strain) {
  const DeformationMode known = ModeFromName(mode);
  return modulus * UnitStress(Kinematics(known), LateralExponent(FreeExponent(known)), strain, Engine::Best);
}

Stability CheckBlatzKo(double modulus, double lower, double upper) {
  const ScanRange range = MakeScanRange(lower, upper);
  return ToStability([&] { return ReportBlatzKoStability(modulus, range.lower, range.upper); });
}

}  // namespace Xem::Fit
