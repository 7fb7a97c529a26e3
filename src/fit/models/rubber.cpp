#include "fit/models/rubber.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <functional>
#include <iterator>
#include <limits>
#include <utility>

#include "fit/assemble.h"
#include "fit/models/stability_interval.h"
#include "fit/models/stable_search.h"
#include "fit/no_number.h"
#include "stability/volumetric_energy.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

bool IsVolumetricName(const std::string& name) {
  return name.size() > 1 && name[0] == 'D' && std::isdigit(static_cast<unsigned char>(name[1]));
}

/// Moves what is named after volumetric coefficients.
template <class Value>
void Move(std::map<std::string, Value>& from, std::map<std::string, Value>& to) {
  for (auto entry = from.begin(); entry != from.end();) {
    if (IsVolumetricName(entry->first)) {
      to.insert(*entry);
      entry = from.erase(entry);
    } else {
      ++entry;
    }
  }
}

using SquareMatrix = std::vector<std::vector<double>>;

/// The two fits share no data, so their parameters are neither correlated nor do they vary together.
void AppendIndependent(const SquareMatrix& more, SquareMatrix& matrix) {
  const std::size_t own = matrix.size();
  const auto cross = [](const SquareMatrix& part, std::size_t i) { return std::isnan(part[i][i]) ? kNaN : 0.0; };
  for (std::size_t i = 0; i < own; ++i) {
    for (std::size_t j = 0; j < more.size(); ++j) matrix[i].push_back(cross(matrix, i) + cross(more, j));
  }
  for (std::size_t j = 0; j < more.size(); ++j) {
    std::vector<double> row;
    for (std::size_t i = 0; i < own; ++i) row.push_back(matrix[i][own + j]);
    row.insert(row.end(), more[j].begin(), more[j].end());
    matrix.push_back(std::move(row));
  }
}

template <class T>
void Append(const std::vector<T>& more, std::vector<T>& list) {
  list.insert(list.end(), more.begin(), more.end());
}

/// Fits the volumetric data and makes them part of the result; measures in all stay those of the stress curves. Returns
/// the coefficients.
std::vector<double> AddVolumetric(const HyperelasticData& data, const Options& options, Result& result) {
  const Result volumetric = FitVolumetric({data.volumetric, data.stressUnit}, data.volumetricTerms, options);
  std::vector<double> coefficients;
  for (const Parameter& parameter : volumetric.parameters) coefficients.push_back(parameter.value);
  AppendIndependent(volumetric.correlation, result.correlation);
  AppendIndependent(volumetric.covariance, result.covariance);
  Append(volumetric.parameters, result.parameters);
  Append(volumetric.curves, result.curves);
  Append(volumetric.dropped, result.dropped);
  Append(volumetric.notes, result.notes);
  result.evaluate = [stress = result.evaluate, pressure = volumetric.evaluate](const std::string& curve, double x) {
    return curve == "volumetric" ? pressure(curve, x) : stress(curve, x);
  };
  return coefficients;
}

double OrNaN(double limit) { return limit == 0.0 ? kNaN : limit; }

Stability ToStability(const std::function<StabilityReport()>& report) {
  StabilityReport found;
  try {
    found = report();
  } catch (int) {
    throw Error(ErrorKind::NotConverged, "the stability check fails: the coefficients give no finite stiffness");
  }
  Stability stability;
  stability.uniaxialTension = OrNaN(found.limits.uniaxialTension);
  stability.uniaxialCompression = OrNaN(found.limits.uniaxialCompression);
  stability.equibiaxialTension = OrNaN(found.limits.equibiaxialTension);
  stability.equibiaxialCompression = OrNaN(found.limits.equibiaxialCompression);
  stability.pureShearTension = OrNaN(found.limits.pureShearTension);
  stability.pureShearCompression = OrNaN(found.limits.pureShearCompression);
  for (const wchar_t letter : found.text) stability.text += static_cast<char>(letter);  // ASCII throughout
  return stability;
}

double PoissonRatio(double bulk, double shear) { return (3.0 * bulk - 2.0 * shear) / (6.0 * bulk + 2.0 * shear); }

}  // namespace

std::vector<double> VolumetricOrDefault(const std::vector<double>& volumetric, double shearModulus) {
  if (!volumetric.empty()) return volumetric;
  const Vector assumed = DefaultVolumetricCoefficients(1, shearModulus);
  return {assumed.begin(), assumed.end()};
}

std::vector<CurveInfo> RubberCurves(const std::string& companion) {
  std::vector<CurveInfo> curves;
  for (const char* mode : {"uniaxial", "equibiaxial", "pure_shear"}) {
    curves.push_back({mode, "nominal strain", "", "nominal stress", "stress", companion});
  }
  curves.push_back({"simple_shear", "shear strain", "", "shear stress", "stress", ""});
  return curves;
}

void RubberFit::Screen() {
  if (options.engine == Engine::Export && !data_.replicates.empty()) {
    throw Error(ErrorKind::BadInput, "the export engine takes one test of each mode");
  }
  screened_ = ScreenHyperelastic(data_);
  curves = screened_.curves;
  dropped = std::move(screened_.dropped);
  notes = std::move(screened_.notes);
}

void RubberFit::Describe() {
  problem = MakeHyperelasticProblem(screened_, core_, count_, options);
  problem.parameters = Fit::Describe(law_.parameters(count_), data_.stressUnit);
  given.assign(problem.parameters.size(), kNaN);
  if (data_.volumetric.Empty()) return;
  volumetricOptions_ = options;
  volumetricOptions_.held.clear();
  volumetricOptions_.start.clear();
  volumetricOptions_.bounds.clear();
  volumetricOptions_.ranges.clear();
  volumetricOptions_.band = false;
  volumetricOptions_.stable = false;
  Move(options.held, volumetricOptions_.held);
  Move(options.start, volumetricOptions_.start);
  Move(options.bounds, volumetricOptions_.bounds);
}

Evaluator RubberFit::MakeEvaluator(const std::vector<double>& parameters) const {
  return [&law = law_, parameters, engine = options.engine](const std::string& curve, double strain) {
    return StressOf(law, curve, parameters, strain, engine);
  };
}

/// The unrestricted minimum, and the best of the others, those that are stable before those that are not.
std::vector<std::vector<double>> RubberFit::BestStarts(const StableSearch& search,
                                                       std::vector<std::vector<double>> others,
                                                       const std::vector<double>& minimum) const {
  constexpr std::size_t kFollowed = 5;
  std::vector<std::pair<std::pair<bool, double>, std::vector<double>>> ranked;
  for (std::vector<double>& start : others) {
    const double objective = Objective(problem, start);
    if (std::isfinite(objective)) ranked.push_back({{!search.IsStable(start), objective}, std::move(start)});
  }
  std::sort(ranked.begin(), ranked.end());
  std::vector<std::vector<double>> starts{minimum};
  for (std::size_t i = 0; i < std::min(ranked.size(), kFollowed); ++i) starts.push_back(std::move(ranked[i].second));
  return starts;
}

Minimum RubberFit::Stabilised(const Minimum& minimum) {
  // The undeformed state is one of them.
  double lower = 0.0;
  double upper = 0.0;
  for (std::size_t i = 0; i < curves.size(); ++i) {
    for (const double x : curves[i].x) {
      const bool shear = screened_.modes[i] == DeformationMode::SimpleShear;
      const double strain = shear ? Kinematics(screened_.modes[i]).stretchFromStrain(std::abs(x)) - 1.0 : x;
      lower = std::min(lower, strain);
      upper = std::max(upper, strain);
    }
  }
  std::vector<double> volumetric;
  if (!data_.volumetric.Empty()) {
    volumetric =
        ParameterValues(FitVolumetric({data_.volumetric, data_.stressUnit}, data_.volumetricTerms, volumetricOptions_));
  }
  const StableSearch search(law_, volumetric, lower, upper);
  if (search.IsStable(minimum.parameters)) return minimum;

  const double largest = std::max(kEquibiaxial.invariants(1.0 + upper).i1, kEquibiaxial.invariants(1.0 + lower).i1);
  const double shearModulus = std::abs(law_.shearModulus(minimum.parameters));
  const double scale = shearModulus > 0.0 ? shearModulus : 1.0;
  const auto starts = BestStarts(search, StableStarts(largest), minimum.parameters);
  Minimum best;
  Problem within;
  for (const auto& start : starts) {
    Problem kept = StableProblem(start, largest);
    const auto found = search.Follow(kept, start, scale);
    if (!found || !(found->objective < best.objective)) continue;
    best = *found;
    within = std::move(kept);
  }
  const std::string strains = Text(lower) + " and " + Text(upper);
  if (best.parameters.empty()) {
    throw Error(ErrorKind::NotConverged,
                "no parameters of this model were found whose material is stable in all modes "
                "between nominal strains of " +
                    strains + "; choose another model, or fit without the restriction");
  }
  Order(best);
  problem = within;
  constexpr double kMuchWorse = 4.0;
  const double factor = best.objective / minimum.objective;
  notes.push_back("restricted to parameters that are stable in all modes between nominal strains of " + strains +
                  ": the sum of squares is " + Text(factor) + " times that of the best fit, which is unstable there" +
                  (factor > kMuchWorse ? "; that is much worse, so another model may suit these data better" : "") +
                  "; standard errors do not know of the restriction");
  return best;
}

void RubberFit::Complete(const Minimum& minimum, Result& result) { CompleteBulk(minimum.parameters, result); }

/// Fits the volumetric data, if any, else assumes a Poisson ratio of 0.495.
void RubberFit::CompleteBulk(std::span<const double> parameters, Result& result) {
  const double shearModulus = law_.shearModulus(parameters);
  std::vector<double> bulk;
  if (data_.volumetric.Empty()) {
    bulk = VolumetricOrDefault({}, shearModulus);
    result.notes.push_back("without volumetric data the bulk modulus assumes a Poisson ratio of 0.495");
  } else {
    bulk = AddVolumetric(data_, volumetricOptions_, result);
    result.options.held.insert(volumetricOptions_.held.begin(), volumetricOptions_.held.end());
    result.options.start.insert(volumetricOptions_.start.begin(), volumetricOptions_.start.end());
    result.options.bounds.insert(volumetricOptions_.bounds.begin(), volumetricOptions_.bounds.end());
  }
  const double bulkModulus = 2.0 * bulk.front();
  result.derived["shear_modulus"] = shearModulus;
  result.derived["bulk_modulus"] = bulkModulus;
  result.derived["poisson_ratio"] = PoissonRatio(bulkModulus, shearModulus);
  for (const char* modulus : {"shear_modulus", "bulk_modulus"}) result.derivedUnits[modulus] = data_.stressUnit;
  result.measures.unit = data_.stressUnit;
  if (!(shearModulus > 0.0)) {
    result.notes.push_back("the initial shear modulus is not positive: the model fails before it is strained");
  }
  const auto stabilityOf = [&](std::span<const double> own, const std::vector<double>& volumetric) {
    return ToStability(
        [&] { return ReportStability(*law_.scan(own), own, volumetric, kLowestStrain, kHighestStrain); });
  };
  result.stability = stabilityOf(parameters, bulk);
  const std::vector<ParameterInfo> names = law_.parameters(count_);
  AddStabilityIntervals(
      [&](const std::vector<double>& values) {
        std::vector<double> own(parameters.begin(), parameters.end());
        std::vector<double> volumetric;
        for (std::size_t k = 0; k < values.size(); ++k) {
          const std::string& name = result.parameters[k].name;
          const auto at = std::find_if(names.begin(), names.end(), [&](const auto& info) { return info.name == name; });
          if (at != names.end()) {
            own[static_cast<std::size_t>(at - names.begin())] = values[k];
          } else {
            volumetric.push_back(values[k]);
          }
        }
        return stabilityOf(own, VolumetricOrDefault(volumetric, law_.shearModulus(own)));
      },
      result);
}

double StressOf(const RubberLaw& law, const std::string& curve, std::span<const double> parameters, double strain,
                Engine engine) {
  const ModeKinematics& mode = Kinematics(ModeFromName(curve));
  return StressAtStrain(mode, strain, engine,
                        [&](double stretch) { return law.stress(mode, parameters, stretch, engine); });
}

Evaluator RestoreRubber(const RubberLaw& law, const Result& stored) {
  const StoredRubber values = SplitStored(stored);
  const std::vector<double> parameters = law.expand ? law.expand(stored.terms, values.model) : values.model;
  return [&law, parameters, volumetric = values.volumetric, engine = stored.options.engine](const std::string& curve,
                                                                                            double x) {
    if (curve == "volumetric" && !volumetric.empty()) {
      return VolumetricPressure(static_cast<int>(volumetric.size()), volumetric, x);
    }
    return StressOf(law, curve, parameters, x, engine);
  };
}

Stability CheckLaw(const RubberLaw& law, std::span<const double> parameters, const std::vector<double>& volumetric,
                   double lower, double upper) {
  constexpr double kLessThanAStep = 1e-3;
  if (!(lower <= 0.0) || !(upper >= 0.0)) {
    throw Error(ErrorKind::BadInput,
                "the strains " + Text(lower) + " ... " + Text(upper) + " of a stability check do not lie around 0");
  }
  // A limit of 0 asks for none of that side, which the scan takes for the widest range.
  const double from = lower == 0.0 ? -kLessThanAStep : lower;
  const double to = upper == 0.0 ? kLessThanAStep : upper;
  const std::vector<double> bulk = VolumetricOrDefault(volumetric, law.shearModulus(parameters));
  return ToStability([&] { return ReportStability(*law.scan(parameters), parameters, bulk, from, to); });
}

StoredRubber SplitStored(const Result& stored) {
  StoredRubber values;
  for (const Parameter& parameter : stored.parameters) {
    (IsVolumetricName(parameter.name) ? values.volumetric : values.model).push_back(parameter.value);
  }
  return values;
}

Stability CheckStability(const Result& stored, double lower, double upper) {
  const Model& model = ModelCalled(stored.model);
  if (model.rubber == nullptr) throw Error(ErrorKind::BadInput, "model " + stored.model + " has no stability report");
  const StoredRubber values = SplitStored(stored);
  const std::vector<double> parameters =
      model.rubber->expand ? model.rubber->expand(stored.terms, values.model) : values.model;
  return CheckLaw(*model.rubber, parameters, values.volumetric, lower, upper);
}

}  // namespace Xem::Fit
