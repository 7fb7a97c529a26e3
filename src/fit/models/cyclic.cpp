#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <numeric>
#include <utility>

#include "dynamic/dynamic_fit.h"
#include "dynamic/ghe_fit.h"
#include "fit/assemble.h"
#include "fit/linear_model.h"
#include "fit/models/cyclic_functions.h"
#include "fit/models/darendeli.h"
#include "fit/models/models.h"
#include "fit/screening.h"
#include "fit/search.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;
using namespace CyclicIndex;

constexpr const char* kStiffness = "stiffness";
constexpr const char* kDamping = "damping";
constexpr const char* kSmallStrainDamping = "h_min";

/// Reference strains of soils lie well inside.
constexpr double kUsualReferenceStrains[] = {1e-6, 2e-2};

constexpr double kSmallestHmax = 1e-3;
constexpr double kLargestHmax = 0.63;  // below 2 / pi, where the exponent is infinite

struct ScreenedSoil {
  Curve stiffness;
  Curve damping;
  std::vector<DroppedPoint> dropped;
  std::vector<std::string> notes;

  std::vector<Curve> Curves() const {
    std::vector<Curve> curves;
    if (!stiffness.Empty()) curves.push_back(stiffness);
    if (!damping.Empty()) curves.push_back(damping);
    return curves;
  }
};

/// Why a point cannot be compared in a form, or an empty text.
std::string ObjectToForm(CyclicCurve curve, CyclicForm form, double ordinate, double heldHmax) {
  if (form != CyclicForm::Strain && form != CyclicForm::LogStrain) return {};
  if (curve == CyclicCurve::Stiffness) {
    return ordinate < 1.0 ? "" : "stiffness ratio " + Text(ordinate) + " is not below 1, where the model has no strain";
  }
  if (ordinate < heldHmax) return {};
  return "damping " + Text(ordinate) + " is not below hmax = " + Text(heldHmax) + ", where the model has no strain";
}

Curve ScreenCurve(Curve curve, CyclicCurve kind, CyclicForm form, double heldHmax, const Curve& stiffness,
                  ScreenedSoil& screened) {
  const bool isStiffness = kind == CyclicCurve::Stiffness;
  const std::string ordinate = isStiffness ? "stiffness ratio" : "damping";
  curve.name = isStiffness ? kStiffness : kDamping;
  RequirePlausible("cyclic", curve);
  const auto [lowest, highest] = std::minmax_element(stiffness.x.begin(), stiffness.x.end());
  const auto objection = [&, lowest = lowest, highest = highest](double x, double y) -> std::string {
    if (!(x > 0.0)) return "strain " + Text(x) + " is not above 0";
    if (y < 0.0) return ordinate + " " + Text(y) + " is negative";
    if (!isStiffness && form == CyclicForm::Stress && (x < *lowest || x > *highest)) {
      return "strain " + Text(x) + " lies outside the stiffness curve, which gives the stress";
    }
    return ObjectToForm(kind, form, y, heldHmax);
  };
  Curve kept = Screen(curve, ordinate, objection, 1, screened.dropped);
  NoteOddities("cyclic", kept, screened.notes);
  return kept;
}

ScreenedSoil ScreenCyclic(const CyclicData& data, CyclicForm form, const Options& options) {
  if (data.stiffness.Empty() && data.damping.Empty()) throw Error(ErrorKind::BadData, "there is no test curve to fit");
  if (form == CyclicForm::Stress && data.stiffness.Empty()) {
    throw Error(ErrorKind::BadInput, "the stress form needs the stiffness curve for the damping curve");
  }
  const auto held = options.held.find("hmax");
  const double heldHmax = held == options.held.end() ? 1.0 : held->second;
  ScreenedSoil screened;
  if (!data.stiffness.Empty()) {
    screened.stiffness = ScreenCurve(data.stiffness, CyclicCurve::Stiffness, form, heldHmax, {}, screened);
  }
  if (!data.damping.Empty()) {
    screened.damping = ScreenCurve(data.damping, CyclicCurve::Damping, form, heldHmax, screened.stiffness, screened);
  }
  return screened;
}

void RequireForm(CyclicFamily family, CyclicForm form, Engine engine) {
  const bool known = form == CyclicForm::Ordinate || family == CyclicFamily::Power ||
                     (engine == Engine::Export && family == CyclicFamily::Hyperbolic && form != CyclicForm::Stress) ||
                     (engine == Engine::Export && family == CyclicFamily::Ghe && form == CyclicForm::Stress);
  if (known) return;
  throw Error(ErrorKind::BadInput, "family " + CyclicFamilyNames()[static_cast<std::size_t>(family)] +
                                       " does not have this form; use ordinate");
}

double LargestOrdinate(const Curve& curve) {
  return curve.Empty() ? 0.0 : *std::max_element(curve.y.begin(), curve.y.end());
}

template <CyclicFamily family>
std::vector<ParameterInfo> ParametersOf(int) {
  std::vector<ParameterInfo> parameters{{"gamma_r", "", 1e-9, 10.0, "reference strain"}};
  const char* const largest = "largest damping ratio";
  if (family == CyclicFamily::Power) parameters.push_back({"hmax", "", kSmallestHmax, kLargestHmax, largest});
  if (family == CyclicFamily::Ghe) {
    for (const char* name : {"C1_0", "C1_inf", "C2_0", "C2_inf", "alpha", "beta"}) {
      parameters.push_back({name, "", 1e-3, 1e3, "coefficient of the generalised hyperbola"});
    }
    parameters.push_back({"hmax", "", 1e-4, 1.0, largest});
    parameters.push_back({"kappa", "", 0.01, 10.0, "exponent of the damping"});
  }
  if (family == CyclicFamily::Darendeli) {
    parameters.push_back({"s", "", 0.05, 5.0, "exponent of the strain"});
    parameters.push_back(
        {.name = "b", .lower = 0.0, .meaning = "share of the damping of Masing loops", .zeroIsUsual = true});
  }
  const bool own = family == CyclicFamily::Darendeli;
  parameters.push_back({kSmallStrainDamping, "", 0.0, 1.0,
                        own ? "damping at small strain" : "damping at small strain, 0 unless it is named", true});
  return parameters;
}

/// How many parameters a result has without damping data, and without a small-strain damping.
std::size_t StiffnessCount(CyclicFamily family) {
  if (family == CyclicFamily::Ghe) return kGheLargestDamping;
  return family == CyclicFamily::Darendeli ? kDarendeliScale : SmallStrainDamping(family);
}

/// Laws without a small-strain damping of their own get one when somebody names it. One that is held counts in curves
/// that are evaluated, too.
bool HasSmallStrainDamping(CyclicFamily family, const Options& options, bool damping) {
  if (!damping && StiffnessCount(family) < SmallStrainDamping(family)) return false;
  if (family == CyclicFamily::Darendeli || options.held.count(kSmallStrainDamping) > 0) return true;
  return damping && options.start.count(kSmallStrainDamping) + options.bounds.count(kSmallStrainDamping) > 0;
}

/// Those that the curves bear on. The reference strain of the generalised equation only scales its coefficients.
std::vector<FreeOrHeld> CyclicModelParameters(CyclicFamily family, CyclicForm form, const ScreenedSoil& screened,
                                              const Options& options) {
  std::vector<FreeOrHeld> parameters =
      Describe(ModelParameters(CyclicFamilyNames()[static_cast<std::size_t>(family)]), "");
  if (family == CyclicFamily::Power) {
    const bool strains = form == CyclicForm::Strain || form == CyclicForm::LogStrain;
    // In these forms a measured damping at or above hmax has no strain to compare with: hmax stays above all of them.
    const double lowest = strains ? LargestOrdinate(screened.damping) * (1.0 + 1e-6) : 0.0;
    parameters[kLargestDamping].lower = std::max(kSmallestHmax, lowest);
  }
  if (family == CyclicFamily::Ghe) {
    parameters[kReferenceStrain].held = true;
  }
  const bool damping = !screened.damping.Empty();
  if (!HasSmallStrainDamping(family, options, damping)) parameters.pop_back();
  if (!damping && parameters.size() == SmallStrainDamping(family)) parameters.resize(StiffnessCount(family));
  return parameters;
}

/// Reference strains to start from: around the strain at half stiffness, or spread over the strains of the damping.
std::vector<double> StartingStrains(const ScreenedSoil& screened) {
  if (!screened.stiffness.Empty()) {
    const double half = HalfStiffnessStrain(CorePoints(screened.stiffness));
    return {half, 0.3 * half, 3.0 * half};
  }
  const auto [lowest, highest] = std::minmax_element(screened.damping.x.begin(), screened.damping.x.end());
  std::vector<double> strains;
  for (const double share : {0.5, 0.25, 0.75, 1.0}) {
    strains.push_back(*lowest * std::pow(*highest / *lowest, share));
  }
  return strains;
}

/// The default, a curve that falls off like one of clay, and one near the hyperbola.
constexpr GheParameters kGheStarts[] = {
    kGheDefaults, {1.0, 0.55, 0.85, 1.35, 1.7, 0.56}, {1.0, 0.9, 0.9, 1.1, 1.0, 1.0}};

/// How many starts of the grid descend further, and how many of all are followed to a minimum.
constexpr std::size_t kGheGridStarts = 12;
constexpr std::size_t kGheFollowed = 4;

/// The strains over that at half stiffness, here `half` over the reference strain, where C1 and C2 pass from one end
/// to the other: what tells the valleys apart.
std::vector<GridAxis> GheValleys(double half) {
  std::vector<GridAxis> grid{{kGheFirst + 4, {0.004, 0.02, 0.08, 0.3, 1.5, 8.0}},
                             {kGheFirst + 5, {0.003, 0.01, 0.05, 0.3, 1.5, 8.0}}};
  for (GridAxis& axis : grid) {
    for (double& value : axis.values) value *= half;
  }
  return grid;
}

std::vector<std::vector<double>> AutomaticStarts(CyclicFamily family, const ScreenedSoil& screened,
                                                 const Options& options) {
  std::vector<std::vector<double>> starts;
  if (family == CyclicFamily::Ghe) {
    const auto stiffness = CorePoints(screened.stiffness);
    std::vector<double> damping;
    if (!screened.damping.Empty()) {
      const std::array<std::int32_t, 2> mask{0, 0};
      XemGHEModelDampingTestFunction function;
      function.SetParameters({}, mask);
      function.SetTestData(CorePoints(screened.damping), stiffness);
      damping = StartGheDamping(std::array{0.0, 0.0}, mask, function);
    }
    // The starts are meant for strains over that at half stiffness; over another strain they are rescaled. The plain
    // export takes them as they are.
    const double half = HalfStiffnessStrain(stiffness);
    const auto held = options.held.find("gamma_r");
    const bool asTheyAre = held == options.held.end() || options.engine == Engine::Export;
    const double scale = asTheyAre ? 1.0 : half / held->second;
    for (GheParameters six : kGheStarts) {
      for (const std::size_t k : {2U, 3U, 4U, 5U}) six[k] *= scale;
      starts.push_back({half});
      starts.back().insert(starts.back().end(), six.begin(), six.end());
      starts.back().insert(starts.back().end(), damping.begin(), damping.end());
    }
    return starts;
  }
  for (const double strain : StartingStrains(screened)) {
    if (family == CyclicFamily::Hyperbolic) {
      starts.push_back({strain});
      continue;
    }
    if (family == CyclicFamily::Darendeli) {
      for (const double exponent : {0.9, 0.6, 1.4}) starts.push_back({strain, exponent});
      continue;
    }
    for (const double hmax : {0.2, 0.1, 0.35}) starts.push_back({strain, hmax});
  }
  return starts;
}

void RequireRanges(const Options& options, const Problem& problem) {
  for (const auto& [name, value] : options.held) {
    const auto parameter = std::find_if(problem.parameters.begin(), problem.parameters.end(),
                                        [&name = name](const FreeOrHeld& p) { return p.name == name; });
    if (value >= parameter->lower && value <= parameter->upper) continue;
    throw Error(ErrorKind::BadInput, "parameter " + name + " cannot be held at " + Text(value) + ": its range is " +
                                         Text(parameter->lower) + " to " + Text(parameter->upper));
  }
}

double InverseDeviation(const Curve& curve) {
  const auto count = static_cast<double>(curve.y.size());
  const double mean = std::accumulate(curve.y.begin(), curve.y.end(), 0.0) / count;
  double squares = 0.0;
  for (const double y : curve.y) squares += (y - mean) * (y - mean);
  return squares > 0.0 ? std::sqrt(count / squares) : 1.0;
}

TestFunctionList::value_type MakeFunction(CyclicFamily family, CyclicCurve kind, CyclicForm form,
                                          std::span<const _T_FUNT_BASE> points,
                                          std::span<const _T_FUNT_BASE> stiffness) {
  if (family == CyclicFamily::Ghe) return MakeGheFunction(kind, points);
  if (family == CyclicFamily::Darendeli) return MakeDarendeliFunction(kind, points);
  return MakeCyclicFunction(family, kind, form, points, stiffness);
}

Problem MakeProblem(CyclicFamily family, CyclicForm form, const ScreenedSoil& screened, const CyclicData& data,
                    const Options& options, std::vector<std::string>& notes) {
  Problem problem;
  problem.residual = options.residual;
  problem.parameters = CyclicModelParameters(family, form, screened, options);
  const bool smallStrain = family != CyclicFamily::Darendeli && problem.parameters.back().name == kSmallStrainDamping;
  const auto stiffness = CorePoints(screened.stiffness);
  const auto add = [&](const Curve& curve, CyclicCurve kind) {
    if (curve.Empty()) return;
    const auto points = CorePoints(curve);
    auto function = MakeFunction(family, kind, form, points, stiffness);
    problem.functions.push_back(smallStrain ? WithSmallStrainDamping(std::move(function), kind) : std::move(function));
    problem.weights.push_back(curve.weight);
  };
  add(screened.stiffness, CyclicCurve::Stiffness);
  add(screened.damping, CyclicCurve::Damping);
  problem.termCount = static_cast<std::int32_t>(problem.parameters.size());
  const bool ordinates = form == CyclicForm::Ordinate || form == CyclicForm::Stress;
  if (problem.functions.size() == 2 && data.balance && ordinates && options.residual == Residual::Absolute &&
      options.engine == Engine::Best) {
    // R spans 1 and h a tenth of it. Unweighted, the damping, ten times smaller, would have a hundredth of the say.
    problem.weights[0] *= InverseDeviation(screened.stiffness);
    problem.weights[1] *= InverseDeviation(screened.damping);
    notes.push_back("curves weighted by the inverse variance of their ordinates: stiffness " +
                    Text(problem.weights[0] * problem.weights[0]) + ", damping " +
                    Text(problem.weights[1] * problem.weights[1]));
  }
  return problem;
}

/// Only held values can say what the damping curve alone does not.
void RequireDetermined(CyclicFamily family, const ScreenedSoil& screened, const Problem& problem) {
  if (family == CyclicFamily::Ghe && screened.stiffness.Empty()) {
    for (std::size_t k = kGheFirst; k < kGheLargestDamping; ++k) {
      if (problem.parameters[k].held) continue;
      throw Error(ErrorKind::BadData,
                  "curve damping: it does not determine the stiffness of family ghe; give the stiffness curve too, or "
                  "hold gamma_r, C1_0, C1_inf, C2_0, C2_inf, alpha and beta");
    }
  }
  if (problem.PointCount() < problem.FreeCount()) {
    throw Error(ErrorKind::BadData, std::to_string(problem.PointCount()) + " usable points cannot determine " +
                                        std::to_string(problem.FreeCount()) +
                                        " parameters; hold some or choose a smaller family");
  }
}

std::vector<double> FreeFlags(const Problem& problem) {
  std::vector<double> flags;
  for (const FreeOrHeld& parameter : problem.parameters) flags.push_back(parameter.held ? 1.0 : 0.0);
  return flags;
}

/// The two exported families from `parameters`; returns the status. A free reference strain starts from the stiffness
/// curve, always for two curves and where none was given for one.
std::int32_t RunDynamicExport(CyclicFamily family, CyclicForm form, const Problem& problem,
                              const ScreenedSoil& screened, bool strainGiven, std::vector<double>& parameters) {
  const bool power = family == CyclicFamily::Power;
  const int usual = power ? 2 : 0;
  const int code = form == CyclicForm::Ordinate ? usual : static_cast<int>(form) - 1;
  const double variant = problem.residual == Residual::Absolute ? 1.0 : 0.0;
  const auto stiffness = CorePoints(screened.stiffness);
  const auto damping = CorePoints(screened.damping);
  const bool both = !stiffness.empty() && !damping.empty();
  if (!problem.parameters[kReferenceStrain].held && (both || !strainGiven)) {
    parameters[kReferenceStrain] = InitialReferenceStrain(static_cast<ResidualForm>(code), stiffness);
  }
  const DynamicFitRequest request = PrepareDynamicFit(std::array{power ? 0.0 : 1.0, static_cast<double>(code), variant},
                                                      parameters, FreeFlags(problem));
  if (both) {
    const double factor = power ? DampingWeightFactor(damping, parameters[kLargestDamping]) : 1.0;
    const JointDynamicFit fit =
        FitJointly(request, {stiffness, damping, screened.stiffness.weight, screened.damping.weight * factor});
    fit.stiffness->Output(fit.parameters, parameters, {});
    return fit.status;
  }
  const auto function =
      stiffness.empty() ? LoadDamping(request, 1.0, damping, {}) : LoadStiffness(request, 1.0, stiffness);
  Vector solution = request.start;
  const std::int32_t status = SolveDynamicFit(request, {&function, 1}, solution);
  function->Output(solution, parameters, {});
  return status;
}

/// The generalised equation, then its damping over the measured stiffness, or over the held one where none was
/// measured; returns the first status that is not 0.
std::int32_t RunGheExport(CyclicForm form, const Problem& problem, const ScreenedSoil& screened,
                          const std::vector<double>& given, std::vector<double>& parameters) {
  const ResidualKind residual = KindOf(problem.residual);
  std::vector<std::int32_t> mask;
  for (const FreeOrHeld& parameter : problem.parameters) mask.push_back(parameter.held ? 1 : 0);
  const auto stiffness = CorePoints(screened.stiffness);
  const std::span<double> all(parameters);
  std::int32_t status = 0;
  if (!stiffness.empty()) {
    const GheRequest request{.referenceStrain = parameters[kReferenceStrain],
                             .form = form == CyclicForm::Stress ? GheForm::Stress : GheForm::Stiffness,
                             .residual = residual,
                             .mask = std::span(mask).subspan(kGheFirst, kGheParameterCount)};
    status = FitGhe(request, stiffness, all.subspan(kGheFirst, kGheParameterCount), {}).status;
  }
  if (screened.damping.Empty()) return status;
  const auto function = boost::make_shared<XemGHEModelDampingTestFunction>();
  const auto dampingMask = std::span<const std::int32_t>(mask).subspan(kGheLargestDamping);
  const std::span<double> fitted = all.subspan(kGheLargestDamping);
  function->SetParameters(stiffness.empty() ? all.first(kGheLargestDamping) : std::span<double>(), dampingMask);
  function->SetTestData(CorePoints(screened.damping), stiffness);
  if (stiffness.empty()) {
    std::vector<double> asked(given.begin() + kGheLargestDamping, given.end());
    std::replace_if(
        asked.begin(), asked.end(), [](double value) { return std::isnan(value); }, 0.0);
    const std::vector<double> start = StartGheDamping(asked, dampingMask, *function);
    std::copy(start.begin(), start.end(), fitted.begin());
  }
  const std::int32_t dampingStatus = FitGheDamping(residual, dampingMask, function, fitted).status;
  return status != 0 ? status : dampingStatus;
}

void NoteUnusual(const Result& result, std::vector<std::string>& notes) {
  const double reference = result.Value("gamma_r");
  if (reference >= kUsualReferenceStrains[0] && reference <= kUsualReferenceStrains[1]) return;
  notes.push_back("gamma_r = " + Text(reference) + " is unusual for a soil; check whether the strains are " +
                  (reference < kUsualReferenceStrains[0] ? "fractions already, not percent"
                                                         : "percent, such as shear_strain_percent"));
}

/// The generalised equation says what it makes of zero strain.
void NoteIntercept(CyclicFamily family, const Result& result, std::vector<std::string>& notes) {
  constexpr double kVisible = 0.01;
  if (family != CyclicFamily::Ghe || std::abs(result.Value("C1_0") - 1.0) < kVisible) return;
  notes.push_back("the fitted stiffness ratio at zero strain is C1_0 = " + Text(result.Value("C1_0")) +
                  "; hold C1_0 = 1 for a curve that begins at 1");
}

/// Masing loops damp by 2/pi at most, where they are rectangles.
void NoteLargestDamping(CyclicFamily family, const std::vector<double>& parameters, std::vector<std::string>& notes) {
  if (family != CyclicFamily::Ghe || parameters.size() <= kGheLargestDamping) return;
  if (parameters[kGheLargestDamping] <= 2.0 / std::numbers::pi) return;
  notes.push_back("hmax = " + Text(parameters[kGheLargestDamping]) +
                  " is beyond 2/pi, the damping of a perfectly plastic material; damping at larger strains than the "
                  "measured ones has no meaning");
}

double EvaluateCurve(CyclicFamily family, const std::vector<double>& parameters, const std::string& curve,
                     double strain) {
  if (curve == kStiffness) return CyclicOrdinate(family, CyclicCurve::Stiffness, parameters, strain);
  const bool split = StiffnessCount(family) < SmallStrainDamping(family);
  const bool known = !split || parameters.size() > StiffnessCount(family);
  if (curve == kDamping && known) return CyclicOrdinate(family, CyclicCurve::Damping, parameters, strain);
  throw Error(ErrorKind::BadInput, "the fitted model has no curve " + curve);
}

class CyclicFit final : public ModelFit {
 public:
  CyclicFit(const CyclicData& data, CyclicFamily family) : data_(data), family_(family) {}

  void Screen() override {
    RequireForm(family_, data_.form, options.engine);
    RequireSmallStrainForm();
    screened_ = ScreenCyclic(data_, FormOfData(), options);
    curves = screened_.Curves();
    dropped = std::move(screened_.dropped);
    notes = std::move(screened_.notes);
  }

  void Describe() override {
    problem = MakeProblem(family_, FormOfData(), screened_, data_, options, notes);
    given.assign(problem.parameters.size(), std::nan(""));
  }

  void RequireDetermined() const override {
    RequireRanges(options, problem);
    Fit::RequireDetermined(family_, screened_, problem);
  }

  Minimum Minimise() override {
    return family_ == CyclicFamily::Ghe ? MinimiseGhe() : Fit::Minimise(problem, Starts());
  }

  /// The exports know held values and starts, and weights of two curves fitted together in a family that ties them.
  void RequirePlainOptions() const override {
    if (problem.parameters.back().name == kSmallStrainDamping && family_ != CyclicFamily::Darendeli) {
      throw Error(ErrorKind::BadInput, "the export engine knows no small-strain damping");
    }
    if (Weighted() && (curves.size() < 2 || family_ == CyclicFamily::Ghe)) {
      throw Error(ErrorKind::BadInput, "the export of this fit knows no weights");
    }
  }
  Minimum RunExport() override {
    if (family_ == CyclicFamily::Darendeli) return ModelFit::RunExport();
    const auto starts = Starts();
    Minimum minimum;
    minimum.parameters = options.start.empty() ? starts.front() : starts.back();
    const std::int32_t status = family_ == CyclicFamily::Ghe
                                    ? RunGheExport(data_.form, problem, screened_, given, minimum.parameters)
                                    : RunDynamicExport(family_, data_.form, problem, screened_,
                                                       options.start.count("gamma_r") > 0, minimum.parameters);
    minimum.converged = status == 0;
    return minimum;
  }
  std::string ExportRemedy() const override { return "points with ratio 1 or damping above hmax may be the reason"; }

  Evaluator MakeEvaluator(const std::vector<double>& parameters) const override {
    return [family = family_, parameters](const std::string& curve, double strain) {
      return EvaluateCurve(family, parameters, curve, strain);
    };
  }

  void Complete(const Minimum& minimum, Result& result) override {
    if (family_ == CyclicFamily::Power) {
      result.derived["exponent"] = ExponentOfLargestDamping(minimum.parameters[kLargestDamping]);
    }
    NoteUnusual(result, result.notes);
    NoteIntercept(family_, result, result.notes);
    NoteLargestDamping(family_, minimum.parameters, result.notes);
  }

 private:
  /// The misfit of the generalised equation has many valleys. The lowest one of curves that begin at 1 is among the
  /// starts, so that this model, which people try by holding C1_0, is never better than the one around it.
  Minimum MinimiseGhe() const {
    std::vector<std::vector<double>> starts = Starts();
    const double half = HalfStiffnessStrain(CorePoints(screened_.stiffness)) / starts.front()[kReferenceStrain];
    const auto spread = GridStarts(problem, starts.back(), GheValleys(half), kGheGridStarts);
    starts.insert(starts.end(), spread.begin(), spread.end());
    if (!problem.parameters[kGheFirst].held) {
      Problem fromOne = problem;
      fromOne.parameters[kGheFirst].held = true;
      std::vector<std::vector<double>> nested = starts;
      for (auto& start : nested) start[kGheFirst] = 1.0;
      starts.push_back(MinimiseValleys(fromOne, nested, kGheFollowed).parameters);
    }
    return MinimiseValleys(problem, starts, kGheFollowed);
  }

  /// The plain exports make their own forms of the points.
  CyclicForm FormOfData() const { return Plain() ? CyclicForm::Ordinate : data_.form; }
  std::vector<std::vector<double>> Starts() const {
    auto starts = AutomaticStarts(family_, screened_, options);
    AddLinear(starts);
    return WithGiven(starts, starts.front(), Proposed::Last);
  }

  /// What a law is linear in follows from the rest of a start: b and h_min.
  void AddLinear(std::vector<std::vector<double>>& starts) const {
    const std::size_t known = starts.front().size();
    std::vector<std::size_t> linear;
    for (std::size_t k = known; k < problem.parameters.size(); ++k) linear.push_back(k);
    if (linear.empty()) return;
    for (auto& start : starts) start.resize(problem.parameters.size(), 0.0);
    PutHeld(starts);
    for (auto& start : starts) {
      SolveCoefficients(problem, linear, start);
      for (const std::size_t k : linear) {
        const FreeOrHeld& parameter = problem.parameters[k];
        if (!parameter.held) start[k] = std::clamp(start[k], parameter.lower, parameter.upper);
      }
    }
  }

  void RequireSmallStrainForm() const {
    const bool strains = data_.form == CyclicForm::Strain || data_.form == CyclicForm::LogStrain;
    if (!strains || !HasSmallStrainDamping(family_, options, !data_.damping.Empty())) return;
    throw Error(ErrorKind::BadInput,
                "a small-strain damping is compared in ordinates; use the form ordinate or stress");
  }

  CyclicData data_;
  CyclicFamily family_;
  ScreenedSoil screened_;
};

template <CyclicFamily family>
boost::shared_ptr<ModelFit> MakeFit(const Tests& tests, int) {
  return boost::make_shared<CyclicFit>(TestsOf<CyclicData>(tests, "cyclic"), family);
}

template <CyclicFamily family>
Evaluator RestoreCyclic(const Result& stored) {
  const std::vector<double> values = ParameterValues(stored);
  // Fits of stiffness alone may end before the parameters of damping, others before the small-strain damping.
  const std::size_t all = ParametersOf<family>(0).size();
  const bool mayEnd = family != CyclicFamily::Darendeli && values.size() + 1 == all;
  if (values.size() != all && !mayEnd && values.size() != StiffnessCount(family)) {
    throw Error(ErrorKind::BadInput, "model " + stored.model + " has " + std::to_string(all) + " parameters, not " +
                                         std::to_string(values.size()));
  }
  return [values](const std::string& curve, double strain) { return EvaluateCurve(family, values, curve, strain); };
}

std::vector<CurveInfo> CyclicCurves() {
  return {{kStiffness, "shear strain", "", "G/Gmax", "", "", true},
          {kDamping, "shear strain", "", "damping ratio", "", "", true}};
}

}  // namespace

const Model kPower{.info = {.name = "power",
                            .title = "Power law",
                            .family = "cyclic",
                            .curves = CyclicCurves(),
                            .formula = "R = 1/(1 + (2 R g/gamma_r)^a), h = hmax (1 - R), hmax = 2 a/(pi (a + 2))",
                            .source = "Ramberg and Osgood 1943",
                            .plainExport = "CurveFitting4DynamicMatParameters",
                            .page = "theory/cyclic.md"},
                   .parameters = ParametersOf<CyclicFamily::Power>,
                   .fit = MakeFit<CyclicFamily::Power>,
                   .restore = RestoreCyclic<CyclicFamily::Power>};

const Model kHyperbolic{.info = {.name = "hyperbolic",
                                 .title = "Hyperbola",
                                 .family = "cyclic",
                                 .curves = CyclicCurves(),
                                 .formula = "R = 1/(1 + g/gamma_r), h of its Masing loops",
                                 .source = "Hardin and Drnevich 1972",
                                 .plainExport = "CurveFitting4DynamicMatParameters",
                                 .page = "theory/cyclic.md"},
                        .parameters = ParametersOf<CyclicFamily::Hyperbolic>,
                        .fit = MakeFit<CyclicFamily::Hyperbolic>,
                        .restore = RestoreCyclic<CyclicFamily::Hyperbolic>};

const Model kGhe{.info = {.name = "ghe",
                          .title = "Generalised hyperbolic equation",
                          .family = "cyclic",
                          .curves = CyclicCurves(),
                          .formula = "R = 1/(1/C1 + g/(gamma_r C2)), h = hmax (1 - R)^kappa",
                          .source = "Tatsuoka and Shibuya 1992",
                          .plainExport = "CurveFitting4GHEModel6Parameters, CurveFitting4GHEModelDamping",
                          .page = "theory/cyclic.md"},
                 .parameters = ParametersOf<CyclicFamily::Ghe>,
                 .fit = MakeFit<CyclicFamily::Ghe>,
                 .restore = RestoreCyclic<CyclicFamily::Ghe>};

const Model kDarendeli{.info = {.name = "darendeli",
                                .title = "Darendeli",
                                .family = "cyclic",
                                .curves = CyclicCurves(),
                                .formula = "R = 1/(1 + (g/gamma_r)^s), h = h_min + b R^0.1 h of Masing loops",
                                .source = "Darendeli 2001",
                                .page = "theory/cyclic.md"},
                       .parameters = ParametersOf<CyclicFamily::Darendeli>,
                       .fit = MakeFit<CyclicFamily::Darendeli>,
                       .restore = RestoreCyclic<CyclicFamily::Darendeli>};

Result FitCyclic(const CyclicData& data, CyclicFamily family, const Options& options, CyclicForm form) {
  CyclicData tests = data;
  if (form != CyclicForm::Ordinate) tests.form = form;
  return Fit({CyclicFamilyNames()[static_cast<std::size_t>(family)], 0}, tests, options);
}

const std::vector<std::string>& CyclicFamilyNames() {
  static const std::vector<std::string> names{"power", "hyperbolic", "ghe", "darendeli"};
  return names;
}

CyclicFamily CyclicFamilyCalled(const std::string& name) {
  const auto& names = CyclicFamilyNames();
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) {
    throw Error(ErrorKind::BadInput, "unknown family " + name + ": use power, hyperbolic, ghe or darendeli");
  }
  return static_cast<CyclicFamily>(found - names.begin());
}

const std::vector<double>& CyclicTableStrains() {
  static const std::vector<double> strains{1e-6, 3e-6, 1e-5, 3e-5, 1e-4, 3e-4, 1e-3, 3e-3, 1e-2, 3e-2, 1e-1};
  return strains;
}

}  // namespace Xem::Fit
