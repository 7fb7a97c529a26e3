#include "xem/viscoelastic.h"

#include <algorithm>
#include <boost/make_shared.hpp>
#include <cstddef>
#include <initializer_list>
#include <vector>

#include "boundary/frame.h"
#include "testdata/strain_energy.h"
#include "viscoelastic/conversion.h"
#include "viscoelastic/creep.h"
#include "viscoelastic/relaxation.h"

using namespace Xem::MaterialUtil;

namespace {

void RequirePointers(std::initializer_list<const void*> pointers) {
  if (std::find(pointers.begin(), pointers.end(), nullptr) != pointers.end()) {
    throw CInvalidArgException("a pointer is null");
  }
}

/// Deliberate: the first enabled mode decides, whatever else is enabled.
DeformationMode FirstMode(const ModeSwitches& switches) {
  RequireMode(switches);
  const auto first = std::find_if(switches.begin(), switches.end(), [](std::int32_t use) { return use != 0; });
  return kAllModes[static_cast<std::size_t>(first - switches.begin())];
}

void WriteRelaxation(const std::vector<_T_FUNT_BASE>& curve, Xem::PointArray& result) {
  result.SetSize(static_cast<std::int64_t>(curve.size()));
  for (std::size_t i = 0; i < curve.size(); ++i) result[static_cast<std::int64_t>(i)] = curve[i];
}

}  // namespace

std::int32_t CurveFitting4Relaxation(const Xem::PointArray& curve, std::int32_t terms, std::int32_t variant,
                                     Xem::DoubleArray& result) {
  const std::int32_t parameterCount = CheckedParameterCount(2 * std::int64_t{terms});
  const auto function = boost::make_shared<XemHyperViscoElasticRelaxation>();
  function->SetTestData(curve);
  Vector parameters(parameterCount);
  result.SetSize(parameterCount);
  const std::int32_t status = FitRelaxation(function, ResidualFromCode(variant), parameters);
  CopyOut(parameters, result);
  return status;
}

std::int32_t CurveFitting4Creep(const Xem::PointArray& curve, const std::int32_t* creepType, const double* stress,
                                const double* primaryExponent, const double* secondaryExponent,
                                Xem::DoubleArray& constants, double* determination) {
  RequirePointers({creepType, stress, primaryExponent, secondaryExponent, determination});
  const auto data = boost::make_shared<XemMaterialTestDataCreep>(
      CreepTestSettings{static_cast<CreepType>(*creepType), *stress, *primaryExponent, *secondaryExponent});
  data->SetTestData(curve);
  const TestDataList testData{data};
  const XemMaterialCurveFittingCreep model(testData);
  Vector fit(3);
  model.FitCreep(*data, fit, data->Stress(), data->Stretch(), determination);

  constants.SetSize(kCreepConstants);
  // Deliberate: C7 is whatever the resize leaves there, an old value in an array that was long enough.
  const auto fitted = data->Constants(fit);
  for (std::size_t k = 0; k < fitted.size(); ++k) constants[static_cast<std::int64_t>(k)] = fitted[k];
  return 0;
}

std::int32_t CurveFitting4CreepLMMethod(const Xem::PointArray& curve, std::int32_t unused, double stress,
                                        Xem::DoubleArray& constants, double* determination) {
  RequirePointers({determination});
  const std::int32_t count = CheckedParameterCount(constants.GetSize());
  if (count < kCreepConstants) throw CInvalidArgException("the creep law has seven constants");
  const auto function = boost::make_shared<XemMaterialCreepType300>();
  function->SetTestData(curve);
  function->SetParameters({&stress, 1}, {&unused, 1});

  Vector fitted(count);
  const std::int32_t status = FitCreepConstants(function, fitted, *determination);
  CopyOut(fitted, constants);
  return status;
}

std::int32_t CurveFitting4PolyConvertRelaxation(const Xem::PointArray& curve, double reference,
                                                std::int32_t includeUniaxial, std::int32_t includeEquibiaxial,
                                                std::int32_t includePureShear, std::int32_t includeSimpleShear,
                                                std::int32_t order, const Xem::DoubleArray& coefficients,
                                                Xem::PointArray& result) {
  const DeformationMode mode = FirstMode({includeUniaxial, includeEquibiaxial, includePureShear, includeSimpleShear});
  const Vector parameters = CopyIn(coefficients, PolynomialTermCount(order));
  const TestDataList testData{LoadStrains(mode, Points(curve))};
  const XemMaterialCurveFittingPolynomial model(testData, order);
  WriteRelaxation(ConvertToRelaxation(model, parameters, Points(curve), reference), result);
  return 0;
}

std::int32_t CurveFitting4OgdenConvertRelaxation(const Xem::PointArray& curve, double reference,
                                                 std::int32_t includeUniaxial, std::int32_t includeEquibiaxial,
                                                 std::int32_t includePureShear, std::int32_t includeSimpleShear,
                                                 std::int32_t terms, const Xem::DoubleArray& coefficients,
                                                 Xem::PointArray& result) {
  const DeformationMode mode = FirstMode({includeUniaxial, includeEquibiaxial, includePureShear, includeSimpleShear});
  const Vector parameters = CopyIn(coefficients, CheckedParameterCount(2 * std::int64_t{terms}));
  const TestDataList testData{LoadStrains(mode, Points(curve))};
  const XemMaterialCurveFittingOgden model(testData, terms);
  WriteRelaxation(ConvertToRelaxation(model, parameters, Points(curve), reference), result);
  return 0;
}

std::int32_t CurveFitting4BlatzKoConvertRelaxation(const Xem::PointArray& curve, double lateralValue, double reference,
                                                   std::int32_t includeUniaxial, std::int32_t includeEquibiaxial,
                                                   std::int32_t includePureShear, std::int32_t includeSimpleShear,
                                                   const Xem::DoubleArray& coefficient, Xem::PointArray& result) {
  const DeformationMode mode = FirstMode({includeUniaxial, includeEquibiaxial, includePureShear, includeSimpleShear});
  const Vector modulus = CopyIn(coefficient, 1);
  const auto data = LoadStrainsWithoutLateral(mode, Points(curve));
  if (IsMeasured(lateralValue)) data->ComputeLateralStretches();
  const TestDataList testData{data};
  const XemMaterialCurveFittingBlatzKo model(testData);
  WriteRelaxation(ConvertToRelaxation(model, modulus, Points(curve), reference), result);
  return 0;
}
