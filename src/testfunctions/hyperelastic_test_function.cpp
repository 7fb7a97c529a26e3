#include "testfunctions/hyperelastic_test_function.h"

#include <algorithm>
#include <array>
#include <boost/make_shared.hpp>
#include <cmath>
#include <cstddef>

#include "testdata/strain_energy.h"
#include "xem/array.h"

namespace Xem::MaterialUtil {

bool ConstrainPolynomial(std::int32_t count, std::span<double> coefficients) {
  // Deliberate: the count is the order, so order 1 first looks at C10 alone although C01 follows it.
  if (count == 1 && !coefficients.empty() && coefficients[0] < 0.0) {
    coefficients[0] = -coefficients[0];
    return true;
  }
  if (coefficients.size() < 2) return false;
  double& p0 = coefficients[0];
  double& p1 = coefficients[1];
  if (p0 + p1 >= 0.0) return false;
  const double factor = 0.75 * std::abs(std::max(p0, p1) / std::min(p0, p1));
  if (p0 * p1 <= 0.0) {
    (p0 >= 0.0 ? p1 : p0) *= factor;
    return true;
  }
  if (p0 < 0.0 && p1 < 0.0) {
    p0 = -p0;
    p1 = -p1;
    return true;
  }
  return false;
}

bool ConstrainOgden(std::int32_t terms, std::span<double> pairs) {
  bool changed = false;
  for (;;) {
    double positive = 0.0;
    double negative = 0.0;
    bool anyNegative = false;
    for (std::int32_t k = 0; k < terms; ++k) {
      const auto i = static_cast<std::size_t>(2 * k);
      const double product = pairs[i] * pairs[i + 1];
      (product < 0.0 ? negative : positive) += product;
      anyNegative = anyNegative || product < 0.0;
    }
    // Without a negative product nothing can move any more: stop, whatever the sum is.
    if (positive + negative > 0.0 || !anyNegative) return changed;
    changed = true;
    const double factor = 0.75 * std::abs(positive / negative);
    bool moved = false;
    for (std::int32_t k = 0; k < terms; ++k) {
      const auto i = static_cast<std::size_t>(2 * k);
      if (!(pairs[i] * pairs[i + 1] < 0.0)) continue;
      double& shrunk = pairs[i] >= 0.0 ? pairs[i + 1] : pairs[i];
      const double before = shrunk;
      shrunk *= factor;
      moved = moved || shrunk != before;
    }
    if (!moved) return changed;  // the smallest number of all times 0.75 is rounded to itself
  }
}

bool ConstrainBlatzKo(std::span<double> modulus) {
  if (!(modulus[0] < 0.0)) return false;
  modulus[0] = -modulus[0];
  return true;
}

namespace {

boost::shared_ptr<XemHyperElasticTestFunction> MakeUnset(DeformationMode mode) {
  switch (mode) {
    case DeformationMode::Uniaxial:
      return boost::make_shared<XemHyperElasticUniaxial>();
    case DeformationMode::Equibiaxial:
      return boost::make_shared<XemHyperElasticEquibiaxial>();
    case DeformationMode::PureShear:
      return boost::make_shared<XemHyperElasticPureShear>();
    case DeformationMode::SimpleShear:
      return boost::make_shared<XemHyperElasticSimpleShear>();
  }
  throw CInvalidArgException("an unknown deformation mode");
}

}  // namespace

boost::shared_ptr<XemHyperElasticTestFunction> MakeTestFunction(DeformationMode mode, ModelType model) {
  const auto function = MakeUnset(mode);
  function->SetModel({}, model);
  return function;
}

void XemHyperElasticTestFunction::SetModel(std::span<const double>, ModelType modelType) {
  modelType_ = modelType;
  PreparePoints();
}

void XemHyperElasticTestFunction::PreparePoints() {
  const bool ogden = modelType_ == ModelType::Ogden;
  const bool polynomial = modelType_ == ModelType::Polynomial;
  ogdenPoints_ = ogden ? OgdenPoints(curve_.abscissa) : OgdenPoints();
  polynomialPoints_ = polynomial ? PolynomialPoints(mode_, curve_.abscissa) : PolynomialPoints();
  unitStresses_.ResizeToOverwrite(modelType_ == ModelType::BlatzKo ? PointCount() : 0);
  for (std::int32_t i = 0; i < unitStresses_.Size(); ++i) unitStresses_[i] = BlatzKoStressAt(1.0, i);
}

void XemHyperElasticTestFunction::SetParameters(std::span<const double> settings,
                                                std::span<const std::int32_t> options) {
  if (options.empty()) throw CInvalidArgException("a hyperelastic model type is missing");
  SetModel(settings, static_cast<ModelType>(options[0]));
}

bool XemHyperElasticTestFunction::EnforceParameterConstraints(std::int32_t termCount,
                                                              std::span<double> parameters) const {
  switch (modelType_) {
    case ModelType::Polynomial:
      return ConstrainPolynomial(termCount, parameters);
    case ModelType::Ogden:
      return ConstrainOgden(termCount, parameters);
    case ModelType::BlatzKo:
      return ConstrainBlatzKo(parameters);
  }
  return false;
}

void XemHyperElasticTestFunction::SetTestData3(std::span<const _T_FUNT_BASE3> points) {
  Load(points, KeepMeasured(), mode_.stretchFromStrain);
  PreparePoints();
}

void XemHyperElasticTestFunction::SetTestData(std::span<const _T_FUNT_BASE> points) {
  Load(points, KeepMeasured(), mode_.stretchFromStrain);
  PreparePoints();
}

void XemHyperElasticTestFunction::LinearDesignRows(std::span<const double> exponents, MatrixView rows) const {
  const bool prepared = modelType_ == ModelType::Ogden;
  const OgdenPoints others = prepared ? OgdenPoints() : OgdenPoints(curve_.abscissa);
  const OgdenPoints& points = prepared ? ogdenPoints_ : others;
  for (std::size_t k = 0; k < exponents.size(); ++k) {
    const std::array unit{1.0, exponents[k]};
    points.Stresses(LateralStretchExponent(), unit, 0, rows.Column(k));
  }
}

void XemHyperElasticTestFunction::PolynomialRowAt(std::int32_t order, std::int32_t point, std::span<double> row) const {
  std::size_t k = 0;
  ForEachTermStress(mode_, order, curve_.abscissa[point], [&](double term) { row[k++] = term; });
}

double XemHyperElasticTestFunction::PolynomialStressAt(std::int32_t order, std::span<const double> parameters,
                                                       std::int32_t point) const {
  return PolynomialStress(mode_, order, parameters, curve_.abscissa[point]);
}

void XemHyperElasticTestFunction::BlatzKoRowAt(std::int32_t point, std::span<double> row) const {
  row[0] = BlatzKoStressAt(1.0, point);
}

double XemHyperElasticTestFunction::BlatzKoStressAt(double modulus, std::int32_t point) const {
  return modulus * mode_.blatzKo(curve_.abscissa[point], curve_.companion[point]);
}

void XemHyperElasticTestFunction::ComputeLateralStretches() {
  curve_.DeriveCompanion(LateralStretchExponent());
  PreparePoints();
}

void XemHyperElasticTestFunction::Evaluate(std::int32_t termCount, std::span<const double> parameters,
                                           std::int32_t first, std::span<double> model, MatrixView derivatives) const {
  const auto point = static_cast<std::size_t>(first);
  switch (modelType_) {
    case ModelType::Polynomial:
      if (derivatives.columns > PolynomialTermCount(termCount)) derivatives.Fill(0.0);  // further columns: no effect
      return polynomialPoints_.Stresses(termCount, parameters, point, model, derivatives);
    case ModelType::Ogden: {
      const auto pairs = parameters.first(2 * static_cast<std::size_t>(termCount));
      if (derivatives.columns > std::ssize(pairs)) derivatives.Fill(0.0);
      return ogdenPoints_.Stresses(LateralStretchExponent(), pairs, point, model, derivatives);
    }
    case ModelType::BlatzKo:
      derivatives.Fill(0.0);
      return EvaluateBlatzKo(parameters[0], first, model, derivatives);
  }
  std::ranges::fill(model, 0.0);
  derivatives.Fill(0.0);
}

void XemHyperElasticTestFunction::EvaluateBlatzKo(double modulus, std::int32_t first, std::span<double> model,
                                                  MatrixView derivatives) const {
  const auto units = unitStresses_.Span().subspan(first, model.size());
  std::ranges::transform(units, model.begin(), [modulus](double unit) { return modulus * unit; });
  if (!derivatives.Empty()) std::ranges::copy(units, derivatives.Column(0).begin());
}

}  // namespace Xem::MaterialUtil
