#include <cmath>
#include <cstddef>
#include <span>

#include "fit/assemble.h"
#include "fit/hyperelastic_curves.h"
#include "fit/hyperelastic_result.h"
#include "fit/linear_model.h"
#include "hyperelastic/linear_fit.h"
#include "hyperelastic/models.h"
#include "hyperelastic/refinement.h"
#include "testdata/strain_energy.h"
#include "xem/fit/hyperelastic.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

constexpr int kHighestOrder = 10;

void RequireOrder(int order) {
  if (order < 1 || order > kHighestOrder) {
    throw Error(ErrorKind::BadInput,
                "polynomial order " + std::to_string(order) + " is not between 1 and " + std::to_string(kHighestOrder));
  }
}

std::vector<FreeOrHeld> PolynomialParameters(int order, const std::string& unit) {
  std::vector<FreeOrHeld> parameters;
  ForEachTerm(order, [&](std::int32_t i, std::int32_t j) {
    FreeOrHeld parameter;
    parameter.name = "C" + std::to_string(i) + (order > 9 ? "_" : "") + std::to_string(j);
    parameter.unit = unit;
    parameters.push_back(parameter);
  });
  return parameters;
}

/// What the plain export returns for the same curves.
Minimum RunExport(const Problem& problem, const HyperelasticCurves& screened, int order, const Options& options) {
  RequirePlainOptions(options, screened.curves);
  const TestDataList testData = MakeHyperelasticData(screened);
  const XemMaterialCurveFittingPolynomial model(testData, order);
  const std::int32_t method = options.residual == Residual::Absolute ? 1 : 0;
  Vector solution(PolynomialTermCount(order));
  Minimum minimum;
  try {
    SolveLinear(model, FixedTermMask(solution.Size()), solution.Span(), method, options.conditionLimit);
    minimum.converged = RefineLinearSolution(problem.functions, order, method, solution.Span()).solverStatus == 0;
  } catch (int info) {
    throw Error(ErrorKind::NotConverged, "the export fails on these curves: LAPACK reports " + std::to_string(info) +
                                             "; a positive condition limit may help");
  }
  minimum.parameters.assign(solution.Span().begin(), solution.Span().end());
  minimum.objective = Objective(problem, minimum.parameters);
  minimum.atBound.assign(problem.parameters.size(), false);
  return minimum;
}

void RequireCoefficients(int order, const std::vector<double>& coefficients) {
  RequireOrder(order);
  if (static_cast<std::int32_t>(coefficients.size()) != PolynomialTermCount(order)) {
    throw Error(ErrorKind::BadInput, "a polynomial of order " + std::to_string(order) + " has " +
                                         std::to_string(PolynomialTermCount(order)) + " coefficients, not " +
                                         std::to_string(coefficients.size()));
  }
}

double StressOf(const std::string& mode, int order, const std::vector<double>& coefficients, double strain,
                Engine engine) {
  const ModeKinematics& kinematics = Kinematics(ModeFromName(mode));
  return StressAtStrain(kinematics, strain, engine, [&](double stretch) {
    return MaterialUtil::PolynomialStress(kinematics, order, coefficients, stretch);
  });
}

}  // namespace

Result FitPolynomial(const HyperelasticData& data, int order, const Options& options) {
  RequireOrder(order);
  const SplitOptions split = SplitByModel(data, options);
  HyperelasticCurves screened = ScreenHyperelastic(data);
  Problem problem = MakeHyperelasticProblem(screened, ModelType::Polynomial, order, options);
  problem.parameters = PolynomialParameters(order, data.stressUnit);
  std::vector<double> start(problem.parameters.size(), 0.0);
  ApplyOptions(split.model, problem, start);

  const Minimum minimum = options.engine == Engine::Export ? RunExport(problem, screened, order, split.model)
                                                           : MinimiseLinear(problem, std::move(start));
  const std::vector<double> coefficients = minimum.parameters;
  Result result = Assemble(problem, minimum, screened.curves, std::move(screened.dropped),
                           [order, coefficients, engine = options.engine](const std::string& mode, double strain) {
                             return StressOf(mode, order, coefficients, strain, engine);
                           });
  result.model = "polynomial";
  result.terms = order;
  const auto check = [&](std::span<const double> volumetric) {
    return ReportPolynomialStability(order, coefficients, volumetric, kLowestStrain, kHighestStrain);
  };
  CompleteIncompressible(data, screened, split.volumetric, PolynomialShearModulus(coefficients), check, result);
  return result;
}

double PolynomialStress(const std::string& mode, int order, const std::vector<double>& coefficients, double strain) {
  RequireCoefficients(order, coefficients);
  return StressOf(mode, order, coefficients, strain, Engine::Best);
}

Stability CheckPolynomial(int order, const std::vector<double>& coefficients, const std::vector<double>& volumetric,
                          double lower, double upper) {
  RequireCoefficients(order, coefficients);
  const std::vector<double> bulk = VolumetricOrDefault(volumetric, PolynomialShearModulus(coefficients));
  const ScanRange range = MakeScanRange(lower, upper);
  return ToStability([&] { return ReportPolynomialStability(order, coefficients, bulk, range.lower, range.upper); });
}

}  // namespace Xem::Fit
