#include "hyperelastic/models.h"

#include <cmath>
#include <cstddef>

#include "testdata/strain_energy.h"

namespace Xem::MaterialUtil {

void XemMaterialCurvefittingModelBase::AssembleDesignRows(const XemMaterialTestDataBase&, std::int32_t,
                                                          const FixedTermMask&, std::span<const double>,
                                                          MatrixView) const {}

double XemMaterialCurvefittingModelBase::ComputeStress(const XemMaterialTestDataBase&, std::span<const double>, double,
                                                       double) const {
  return 0.0;
}

double XemMaterialCurvefittingModelBase::FixedTermsStress(const XemMaterialTestDataBase&, const FixedTermMask&,
                                                          std::span<const double>, double, double) const {
  return 0.0;
}

void XemMaterialCurvefittingModelBase::FitCreep(XemMaterialTestDataBase&, std::span<double>, const Vector&,
                                                const Vector&, double*) const {}

void XemMaterialCurvefittingModelBase::FitNonlinear(std::span<double>) const {}

void XemMaterialCurvefittingModelBase::ComputeStresses(const XemMaterialTestDataBase& testData,
                                                       std::span<const double> parameters,
                                                       std::span<double> stresses) const {
  for (std::size_t i = 0; i < stresses.size(); ++i) {
    stresses[i] = ComputeStress(testData, parameters, testData.Stretch()[i], testData.LateralStretch()[i]);
  }
}

void XemMaterialCurveFittingPolynomial::AssembleDesignRows(const XemMaterialTestDataBase& testData, std::int32_t first,
                                                           const FixedTermMask& mask, std::span<const double>,
                                                           MatrixView rows) const {
  testData.AssemblePolynomialRows(order_, first, mask, rows);
}

double XemMaterialCurveFittingPolynomial::ComputeStress(const XemMaterialTestDataBase& testData,
                                                        std::span<const double> parameters, double stretch,
                                                        double lateralStretch) const {
  return testData.PolynomialStress(order_, parameters, stretch, lateralStretch);
}

double XemMaterialCurveFittingPolynomial::FixedTermsStress(const XemMaterialTestDataBase& testData,
                                                           const FixedTermMask& mask,
                                                           std::span<const double> parameters, double stretch,
                                                           double lateralStretch) const {
  Vector held{parameters};
  for (std::int32_t k = 0; k < mask.Size(); ++k) {
    if (mask[k] == 0) held[k] = 0.0;
  }
  return testData.PolynomialStress(order_, held, stretch, lateralStretch);
}

void XemMaterialCurveFittingPolynomial::ComputeStresses(const XemMaterialTestDataBase& testData,
                                                        std::span<const double> parameters,
                                                        std::span<double> stresses) const {
  testData.PolynomialStresses(order_, parameters, stresses);
}

void XemMaterialCurveFittingOgden::AssembleDesignRows(const XemMaterialTestDataBase& testData, std::int32_t first,
                                                      const FixedTermMask& mask, std::span<const double> parameters,
                                                      MatrixView rows) const {
  for (std::int32_t row = 0; row < rows.rows; ++row) {
    const double stretch = testData.Stretch()[first + row];
    const double logStretch = std::log(stretch);
    std::int32_t column = 0;
    for (std::int32_t k = 0; k < terms_; ++k) {
      if (mask[k] != 0) continue;
      const double alpha = parameters[2 * k + 1];
      rows(row, column++) = EvaluateOgdenTerm(testData.LateralStretchExponent(), alpha, stretch, logStretch).value;
    }
  }
}

double XemMaterialCurveFittingOgden::ComputeStress(const XemMaterialTestDataBase& testData,
                                                   std::span<const double> parameters, double stretch, double) const {
  return OgdenStress(testData.LateralStretchExponent(), parameters.first(2 * static_cast<std::size_t>(terms_)), stretch,
                     std::log(stretch));
}

void XemMaterialCurveFittingBlatzKo::AssembleDesignRows(const XemMaterialTestDataBase& testData, std::int32_t first,
                                                        const FixedTermMask& mask, std::span<const double>,
                                                        MatrixView rows) const {
  if (mask[0] == 0) testData.AssembleBlatzKoRows(first, rows);
}

double XemMaterialCurveFittingBlatzKo::ComputeStress(const XemMaterialTestDataBase& testData,
                                                     std::span<const double> parameters, double stretch,
                                                     double lateralStretch) const {
  return testData.BlatzKoStress(parameters[0], stretch, lateralStretch);
}

Vector ComputeOgdenStresses(const TestDataList& testData, std::span<const double> pairs) {
  Vector stresses(PointCount(testData));
  std::span<double> rest = stresses.Span();
  for (const auto& data : testData) {
    const auto count = static_cast<std::size_t>(data->PointCount());
    OgdenPoints(data->Stretch()).Stresses(data->LateralStretchExponent(), pairs, 0, rest.first(count));
    rest = rest.subspan(count);
  }
  return stresses;
}

Vector ComputeStresses(const XemMaterialCurvefittingModelBase& model, std::span<const double> parameters) {
  Vector stresses(PointCount(model.TestData()));
  std::span<double> rest = stresses.Span();
  for (const auto& data : model.TestData()) {
    const auto count = static_cast<std::size_t>(data->PointCount());
    model.ComputeStresses(*data, parameters, rest.first(count));
    rest = rest.subspan(count);
  }
  return stresses;
}

}  // namespace Xem::MaterialUtil
