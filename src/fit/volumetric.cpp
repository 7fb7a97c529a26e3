#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <utility>

#include "fit/assemble.h"
#include "fit/hyperelastic_curves.h"
#include "fit/linear_model.h"
#include "fit/problem.h"
#include "fit/screening.h"
#include "hyperelastic/linear_fit.h"
#include "hyperelastic/models.h"
#include "testdata/volumetric_test_data.h"
#include "xem/fit/hyperelastic.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

constexpr int kMostTerms = 6;

void RequireTerms(int terms) {
  if (terms < 1 || terms > kMostTerms) {
    throw Error(ErrorKind::BadInput,
                std::to_string(terms) + " volumetric terms are not between 1 and " + std::to_string(kMostTerms));
  }
}

/// The volumetric curve as something to minimise over: rows of the core's test data, model = row . coefficients.
class VolumetricFunction final : public XemMaterialTestFunctionBase {
 public:
  VolumetricFunction(const XemMaterialTestDataVolumetric& data, std::int32_t terms) : rows_(data.PointCount(), terms) {
    curve_.stretch = data.Stretch();
    curve_.stress = data.Stress();
    data.AssemblePolynomialRows(terms, FixedTermMask(terms), rows_.View());
  }
  void ParameterGradient(std::int32_t, std::span<const double> parameters, std::int32_t point,
                         std::span<double> gradient) const override {
    for (std::size_t k = 0; k < parameters.size(); ++k) gradient[k] = rows_(point, static_cast<std::int64_t>(k));
  }
  void EvaluatePoint(std::int32_t, std::span<const double> parameters, std::int32_t point, double& measured,
                     double& model) const override {
    measured = curve_.stress[point];
    model = 0.0;
    for (std::size_t k = 0; k < parameters.size(); ++k)
      model += parameters[k] * rows_(point, static_cast<std::int64_t>(k));
  }

 private:
  Matrix rows_;
};

std::string ObjectToStretch(double stretch, double) {
  if (stretch > 0.0) return {};
  return "linear stretch " + Text(stretch) + " is not positive";
}

void NoteSuspicions(const Curve& curve, std::vector<std::string>& notes) {
  const auto [lowest, highest] = std::minmax_element(curve.x.begin(), curve.x.end());
  if (*highest < 0.5 || *lowest > 2.0) {
    notes.push_back("curve volumetric: linear stretches " + Text(*lowest) + " ... " + Text(*highest) +
                    " are far from 1; a linear stretch is the cube root of the volume ratio");
  }
}

/// What the plain export returns for the same curve.
Minimum RunExport(const Problem& problem, const boost::shared_ptr<XemMaterialTestDataVolumetric>& data, int terms,
                  const Options& options) {
  const TestDataList testData{data};
  const XemMaterialCurveFittingPolynomial model(testData, terms);
  Vector solution(terms);
  Minimum minimum;
  try {
    SolveLinear(model, FixedTermMask(terms), solution.Span(), options.residual == Residual::Absolute ? 1 : 0,
                options.conditionLimit);
  } catch (int info) {
    throw Error(ErrorKind::NotConverged, "the export fails on this curve: LAPACK reports " + std::to_string(info));
  }
  minimum.parameters.assign(solution.Span().begin(), solution.Span().end());
  minimum.objective = Objective(problem, minimum.parameters);
  minimum.converged = std::isfinite(minimum.objective);
  minimum.atBound.assign(problem.parameters.size(), false);
  return minimum;
}

}  // namespace

Result FitVolumetric(const VolumetricData& data, int terms, const Options& options) {
  RequireTerms(terms);
  std::vector<DroppedPoint> dropped;
  std::vector<std::string> notes;
  Curve named = data.curve;
  named.name = "volumetric";
  if (named.Empty()) throw Error(ErrorKind::BadData, "there is no volumetric curve to fit");
  const Curve kept = Screen(named, "pressure", ObjectToStretch, 1, dropped);
  NoteOddities(kept, notes);
  NoteSuspicions(kept, notes);

  const auto core = boost::make_shared<XemMaterialTestDataVolumetric>();
  core->SetTestData(std::span<const _T_FUNT_BASE>(CorePoints(kept)));
  Problem problem;
  problem.residual = options.residual;
  problem.termCount = terms;
  problem.functions.push_back(boost::make_shared<VolumetricFunction>(*core, terms));
  problem.weights.push_back(kept.weight);
  for (int k = 1; k <= terms; ++k) {
    problem.parameters.push_back({.name = "D" + std::to_string(k), .unit = data.pressureUnit});
  }
  std::vector<double> start(problem.parameters.size(), 0.0);
  ApplyOptions(options, problem, start);
  if (options.engine == Engine::Export) RequirePlainOptions(options, {kept});

  const Minimum minimum = options.engine == Engine::Export ? RunExport(problem, core, terms, options)
                                                           : MinimiseLinear(problem, std::move(start));
  Result result = Assemble(problem, minimum, {kept}, std::move(dropped),
                           [terms, coefficients = minimum.parameters](const std::string&, double stretch) {
                             return VolumetricPressure(terms, coefficients, stretch);
                           });
  result.model = "volumetric";
  result.terms = terms;
  result.derived["bulk_modulus"] = 2.0 * minimum.parameters.front();
  if (!(minimum.parameters.front() > 0.0)) {
    notes.push_back("the bulk modulus 2 D1 is not positive; pressures must be positive in compression");
  }
  result.notes.insert(result.notes.end(), notes.begin(), notes.end());
  return result;
}

double VolumetricPressure(int terms, const std::vector<double>& coefficients, double stretch) {
  RequireTerms(terms);
  if (static_cast<int>(coefficients.size()) != terms) {
    throw Error(ErrorKind::BadInput, "a volumetric energy of " + std::to_string(terms) +
                                         " terms has as many coefficients, not " + std::to_string(coefficients.size()));
  }
  return XemMaterialTestDataVolumetric().PolynomialStress(terms, coefficients, stretch, 0.0);
}

}  // namespace Xem::Fit
