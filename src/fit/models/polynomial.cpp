#include "fit/models/polynomial.h"

#include <boost/make_shared.hpp>
#include <cstddef>
#include <span>

#include "fit/linear_model.h"
#include "fit/models/models.h"
#include "hyperelastic/export_fits.h"
#include "testdata/strain_energy.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

void RequireOrder(int order) {
  if (order < 1 || order > kHighestOrder) {
    throw Error(ErrorKind::BadInput,
                "polynomial order " + std::to_string(order) + " is not between 1 and " + std::to_string(kHighestOrder));
  }
}

std::vector<ParameterInfo> PolynomialParameters(int order) {
  std::vector<ParameterInfo> parameters;
  ForEachTerm(order, [&](std::int32_t i, std::int32_t j) {
    ParameterInfo parameter;
    parameter.name = CoefficientName(order, i, j);
    parameter.unit = "stress";
    parameter.zeroIsUsual = true;
    parameter.meaning = "coefficient of (I1 - 3)^" + std::to_string(i) + " (I2 - 3)^" + std::to_string(j);
    parameters.push_back(parameter);
  });
  return parameters;
}

/// The order of a vector of coefficients, N (N + 3) / 2 of them.
std::int32_t OrderOf(std::span<const double> coefficients) {
  std::int32_t order = 0;
  while (PolynomialTermCount(order) < static_cast<std::int32_t>(coefficients.size())) ++order;
  return order;
}

void RequireCoefficients(int order, std::span<const double> coefficients) {
  RequireOrder(order);
  if (static_cast<std::int32_t>(coefficients.size()) != PolynomialTermCount(order)) {
    throw Error(ErrorKind::BadInput, "a polynomial of order " + std::to_string(order) + " has " +
                                         std::to_string(PolynomialTermCount(order)) + " coefficients, not " +
                                         std::to_string(coefficients.size()));
  }
}

class WholePolynomialFit final : public PolynomialFit {
 public:
  WholePolynomialFit(const HyperelasticData& data, int order) : PolynomialFit(data, order, kPolynomialLaw) {
    terms = order;
  }
};

}  // namespace

std::string CoefficientName(int order, int i, int j) {
  return "C" + std::to_string(i) + (order > 9 ? "_" : "") + std::to_string(j);
}

constinit const RubberLaw kPolynomialLaw{
    .parameters = PolynomialParameters,
    .stress = [](const ModeKinematics& mode, std::span<const double> coefficients, double stretch,
                 Engine) { return MaterialUtil::PolynomialStress(mode, OrderOf(coefficients), coefficients, stretch); },
    .shearModulus = PolynomialShearModulus,
    .scan = [](std::span<const double> coefficients) -> boost::shared_ptr<XemMaterialStabilityBase> {
      return boost::make_shared<XemMaterialStabilityPolynomial>(OrderOf(coefficients));
    },
    .expand =
        [](int order, std::span<const double> shown) {
          RequireCoefficients(order, shown);
          return std::vector<double>(shown.begin(), shown.end());
        }};

const Model kPolynomial{.info = {.name = "polynomial",
                                 .title = "Polynomial",
                                 .family = "rubber",
                                 .fewestTerms = 1,
                                 .mostTerms = kHighestOrder,
                                 .curves = RubberCurves(),
                                 .formula = "W = sum Cij (I1 - 3)^i (I2 - 3)^j, 1 <= i + j <= N",
                                 .source = "Rivlin 1948",
                                 .plainExport = "CurveFitting4Polynominal",
                                 .page = "theory/polynomial.md"},
                        .parameters = PolynomialParameters,
                        .fit = [](const Tests& tests, int order) -> boost::shared_ptr<ModelFit> {
                          RequireOrder(order);
                          return boost::make_shared<WholePolynomialFit>(TestsOf<HyperelasticData>(tests, "polynomial"),
                                                                        order);
                        },
                        .restore = [](const Result& stored) { return RestoreRubber(kPolynomialLaw, stored); },
                        .rubber = &kPolynomialLaw};

Minimum PolynomialFit::Minimise() { return MinimiseLinear(problem, given); }

Minimum PolynomialFit::RunExport() {
  const TestDataList testData = MakeHyperelasticData(screened_);
  Minimum minimum;
  minimum.parameters.resize(problem.parameters.size());
  minimum.converged = FitLinearModel(XemMaterialCurveFittingPolynomial(testData, count_), problem.functions, count_,
                                     MethodCode(options.residual), options.conditionLimit, minimum.parameters) == 0;
  return minimum;
}

Result FitPolynomial(const HyperelasticData& data, int order, const Options& options) {
  return Fit({"polynomial", order}, data, options);
}

double PolynomialStress(const std::string& mode, int order, const std::vector<double>& coefficients, double strain) {
  RequireCoefficients(order, coefficients);
  return StressOf(kPolynomialLaw, mode, coefficients, strain, Engine::Best);
}

Stability CheckPolynomial(int order, const std::vector<double>& coefficients, const std::vector<double>& volumetric,
                          double lower, double upper) {
  RequireCoefficients(order, coefficients);
  return CheckLaw(kPolynomialLaw, coefficients, volumetric, lower, upper);
}

}  // namespace Xem::Fit
