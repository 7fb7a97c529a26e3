#include <algorithm>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include "fit/assemble.h"
#include "fit/linear_model.h"
#include "fit/models/models.h"
#include "fit/screening.h"
#include "hyperelastic/linear_fit.h"
#include "hyperelastic/models.h"
#include "testdata/volumetric_test_data.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

constexpr int kMostVolumetricTerms = 6;

void RequireVolumetricTerms(int terms) {
  if (terms < 1 || terms > kMostVolumetricTerms) {
    throw Error(ErrorKind::BadInput, std::to_string(terms) + " volumetric terms are not between 1 and " +
                                         std::to_string(kMostVolumetricTerms));
  }
}

/// The volumetric curve as something to minimise over: rows of the core's test data, model = row . coefficients.
class VolumetricFunction final : public BlockTestFunction {
 public:
  VolumetricFunction(const XemMaterialTestDataVolumetric& data, std::int32_t terms) : rows_(data.PointCount(), terms) {
    curve_.abscissa = data.Stretch();
    curve_.measured = data.Stress();
    compared_ = curve_.measured;
    data.AssemblePolynomialRows(terms, 0, FixedTermMask(terms), rows_.View());
  }
  void Evaluate(std::int32_t, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override {
    std::ranges::fill(model, 0.0);
    for (std::size_t k = 0; k < parameters.size(); ++k) {
      const auto column = rows_.Column(k).subspan(first, model.size());
      for (std::size_t i = 0; i < model.size(); ++i) model[i] += parameters[k] * column[i];
      if (!derivatives.Empty()) std::ranges::copy(column, derivatives.Column(k).begin());
    }
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

std::vector<ParameterInfo> VolumetricParameters(int terms) {
  std::vector<ParameterInfo> parameters;
  for (int k = 1; k <= terms; ++k) {
    parameters.push_back({.name = "D" + std::to_string(k),
                          .unit = "stress",
                          .meaning = k == 1 ? "half the initial bulk modulus" : "coefficient of a higher power",
                          .zeroIsUsual = true});
  }
  return parameters;
}

class VolumetricFit final : public ModelFit {
 public:
  VolumetricFit(const VolumetricData& data, int count) : data_(data) { terms = count; }

  void Screen() override {
    Curve named = data_.curve;
    named.name = "volumetric";
    if (named.Empty()) throw Error(ErrorKind::BadData, "there is no volumetric curve to fit");
    curves = {Fit::Screen(named, "pressure", ObjectToStretch, 1, dropped)};
    NoteOddities("rubber", curves.front(), notes);
    NoteSuspicions(curves.front(), notes);
  }

  void Describe() override {
    core_ = boost::make_shared<XemMaterialTestDataVolumetric>();
    core_->SetTestData(std::span<const _T_FUNT_BASE>(CorePoints(curves.front())));
    problem.residual = options.residual;
    problem.termCount = terms;
    problem.functions.push_back(boost::make_shared<VolumetricFunction>(*core_, terms));
    problem.weights.push_back(curves.front().weight);
    problem.parameters = Fit::Describe(VolumetricParameters(terms), data_.pressureUnit);
    given.assign(problem.parameters.size(), std::numeric_limits<double>::quiet_NaN());
  }

  Minimum Minimise() override { return MinimiseLinear(problem, given); }

  Minimum RunExport() override {
    const TestDataList testData{core_};
    const XemMaterialCurveFittingPolynomial model(testData, terms);
    Vector solution(terms);
    SolveLinear(model, FixedTermMask(terms), solution, MethodCode(options.residual), options.conditionLimit);
    Minimum minimum;
    minimum.parameters.assign(solution.begin(), solution.end());
    minimum.converged = std::isfinite(Objective(problem, minimum.parameters));
    return minimum;
  }

  Evaluator MakeEvaluator(const std::vector<double>& parameters) const override {
    return [count = terms, parameters](const std::string&, double stretch) {
      return VolumetricPressure(count, parameters, stretch);
    };
  }

  void Complete(const Minimum& minimum, Result& result) override {
    result.derived["bulk_modulus"] = 2.0 * minimum.parameters.front();
    result.derivedUnits["bulk_modulus"] = data_.pressureUnit;
    result.measures.unit = data_.pressureUnit;
    if (!(minimum.parameters.front() > 0.0)) {
      result.notes.push_back("the bulk modulus 2 D1 is not positive; pressures must be positive in compression");
    }
  }

 private:
  VolumetricData data_;
  boost::shared_ptr<XemMaterialTestDataVolumetric> core_;
};

}  // namespace

const Model kVolumetric{.info = {.name = "volumetric",
                                 .title = "Volumetric energy",
                                 .family = "rubber",
                                 .fewestTerms = 1,
                                 .mostTerms = kMostVolumetricTerms,
                                 .curves = {{"volumetric", "linear stretch", "", "pressure", "stress"}},
                                 .formula = "U = sum D_k (J - 1)^(2k), k = 1 ... M; p = -dU/dJ",
                                 .source = "Ogden 1984",
                                 .plainExport = "CurveFitting4Volume",
                                 .page = "theory/polynomial.md"},
                        .parameters = VolumetricParameters,
                        .fit = [](const Tests& tests, int terms) -> boost::shared_ptr<ModelFit> {
                          RequireVolumetricTerms(terms);
                          return boost::make_shared<VolumetricFit>(TestsOf<VolumetricData>(tests, "volumetric"), terms);
                        },
                        .restore = [](const Result& stored) -> Evaluator {
                          return [terms = stored.terms, values = ParameterValues(stored)](const std::string&,
                                                                                          double stretch) {
                            return VolumetricPressure(terms, values, stretch);
                          };
                        }};

Result FitVolumetric(const VolumetricData& data, int terms, const Options& options) {
  return Fit({"volumetric", terms}, data, options);
}

double VolumetricPressure(int terms, const std::vector<double>& coefficients, double stretch) {
  RequireVolumetricTerms(terms);
  if (static_cast<int>(coefficients.size()) != terms) {
    throw Error(ErrorKind::BadInput, "a volumetric energy of " + std::to_string(terms) +
                                         " terms has as many coefficients, not " + std::to_string(coefficients.size()));
  }
  return XemMaterialTestDataVolumetric().PolynomialStress(terms, coefficients, stretch, 0.0);
}

}  // namespace Xem::Fit
