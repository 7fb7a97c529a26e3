#include <cmath>
#include <cstddef>
#include <span>

#include "fit/assemble.h"
#include "fit/hyperelastic_curves.h"
#include "fit/screening.h"
#include "hyperelastic/linear_fit.h"
#include "hyperelastic/models.h"
#include "hyperelastic/refinement.h"
#include "solver/linalg/least_squares.h"
#include "testdata/strain_energy.h"
#include "xem/fit/hyperelastic.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

constexpr int kHighestOrder = 10;

/// Directions of the column-scaled design matrix beyond this condition are left at their smallest values.
constexpr double kConditionLimit = 1e12;

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

/// The model is linear in its coefficients, so the weighted problem has its minimum in closed form. `parameters` brings
/// the held values.
Minimum SolveClosedForm(const Problem& problem, std::vector<double> parameters) {
  const std::size_t points = static_cast<std::size_t>(problem.PointCount());
  const std::vector<double> columns = Jacobian(problem, parameters);
  std::vector<double> target = WeightedMeasured(problem);
  std::vector<std::size_t> free;
  for (std::size_t k = 0; k < parameters.size(); ++k) {
    if (!problem.parameters[k].held) {
      free.push_back(k);
      continue;
    }
    for (std::size_t i = 0; i < points; ++i) target[i] -= columns[k * points + i] * parameters[k];
  }

  Matrix design(static_cast<std::int32_t>(points), static_cast<std::int32_t>(free.size()));
  std::vector<double> norms(free.size(), 1.0);
  for (std::size_t j = 0; j < free.size(); ++j) {
    const double* column = columns.data() + free[j] * points;
    double square = 0.0;
    for (std::size_t i = 0; i < points; ++i) square += column[i] * column[i];
    if (square > 0.0) norms[j] = std::sqrt(square);
    const auto scaled = design.Column(static_cast<std::int64_t>(j));
    for (std::size_t i = 0; i < points; ++i) scaled[i] = column[i] / norms[j];
  }
  const Vector solution = SolveTruncated(std::move(design), target, kConditionLimit);

  Minimum minimum;
  for (std::size_t j = 0; j < free.size(); ++j) {
    parameters[free[j]] = solution[static_cast<std::int64_t>(j)] / norms[j];
  }
  minimum.parameters = std::move(parameters);
  minimum.objective = Objective(problem, minimum.parameters);
  minimum.converged = std::isfinite(minimum.objective);
  minimum.atBound.assign(problem.parameters.size(), false);
  return minimum;
}

/// What the plain export returns for the same curves.
Minimum RunExport(const Problem& problem, const HyperelasticCurves& screened, int order, const Options& options) {
  RequirePlainOptions(options, screened.curves);
  TestDataList testData;
  for (std::size_t i = 0; i < screened.curves.size(); ++i) {
    const auto data = MakeTestData(screened.modes[i]);
    data->SetTestData(std::span<const _T_FUNT_BASE>(CorePoints(screened.curves[i])));
    testData.push_back(data);
  }
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

}  // namespace

Result FitPolynomial(const HyperelasticData& data, int order, const Options& options) {
  RequireOrder(order);
  HyperelasticCurves screened = ScreenHyperelastic(data);
  Problem problem = MakeHyperelasticProblem(screened, ModelType::Polynomial, order, options.residual);
  problem.parameters = PolynomialParameters(order, data.stressUnit);
  std::vector<double> start(problem.parameters.size(), 0.0);
  ApplyOptions(options, problem, start);

  const Minimum minimum =
      options.engine == Engine::Export ? RunExport(problem, screened, order, options) : SolveClosedForm(problem, start);
  const std::vector<double> coefficients = minimum.parameters;
  Result result = Assemble(problem, minimum, screened.curves, std::move(screened.dropped),
                           [order, coefficients](const std::string& mode, double strain) {
                             return PolynomialStress(mode, order, coefficients, strain);
                           });
  result.model = "polynomial";
  result.terms = order;
  result.notes.insert(result.notes.end(), screened.notes.begin(), screened.notes.end());
  return result;
}

double PolynomialStress(const std::string& mode, int order, const std::vector<double>& coefficients, double strain) {
  RequireOrder(order);
  if (static_cast<std::int32_t>(coefficients.size()) != PolynomialTermCount(order)) {
    throw Error(ErrorKind::BadInput, "a polynomial of order " + std::to_string(order) + " has " +
                                         std::to_string(PolynomialTermCount(order)) + " coefficients, not " +
                                         std::to_string(coefficients.size()));
  }
  const ModeKinematics& kinematics = Kinematics(ModeFromName(mode));
  return MaterialUtil::PolynomialStress(kinematics, order, coefficients, kinematics.stretchFromStrain(strain));
}

}  // namespace Xem::Fit
