#include "boundary/frame.h"
#include "hyperelastic/export_fits.h"
#include "xem/hyperelastic.h"

using namespace Xem::MaterialUtil;

std::int32_t CurveFitting4BlatzKo(const Xem::Point3Array& uniaxial, const Xem::Point3Array& equibiaxial,
                                  const Xem::Point3Array& pureShear, const Xem::Point3Array& simpleShear,
                                  std::int32_t useUniaxial, std::int32_t useEquibiaxial, std::int32_t usePureShear,
                                  std::int32_t useSimpleShear, double lateralValue, std::int32_t method,
                                  double conditionLimit, Xem::DoubleArray& coefficient, Xem::PointArray& uniaxialOut,
                                  Xem::PointArray& equibiaxialOut, Xem::PointArray& pureShearOut,
                                  Xem::PointArray& simpleShearOut, double lower, double upper) {
  const InputCurves3 curves{&uniaxial, &equibiaxial, &pureShear, &simpleShear};
  const ModeSwitches switches{useUniaxial, useEquibiaxial, usePureShear, useSimpleShear};
  const LateralStretches lateral = LateralFromValue(lateralValue);
  RequireMode(switches);

  const TestDataList testData = LoadTestData(curves, switches, lateral);
  const TestFunctionList functions = LoadTestFunctions(curves, switches, ModelType::BlatzKo, lateral);
  Vector modulus(1);
  const std::int32_t status =
      FitLinearModel(XemMaterialCurveFittingBlatzKo(testData), functions, 1, method, conditionLimit, modulus,
                     [&](std::span<const double> found) { CopyOut(found, coefficient); });
  ComputeStress4BlatzKo(uniaxial, equibiaxial, pureShear, simpleShear, lateralValue, coefficient, uniaxialOut,
                        equibiaxialOut, pureShearOut, simpleShearOut, lower, upper);
  return status;
}

std::int32_t ComputeStress4BlatzKo(const Xem::Point3Array& uniaxial, const Xem::Point3Array& equibiaxial,
                                   const Xem::Point3Array& pureShear, const Xem::Point3Array& simpleShear,
                                   double lateralValue, const Xem::DoubleArray& coefficient,
                                   Xem::PointArray& uniaxialOut, Xem::PointArray& equibiaxialOut,
                                   Xem::PointArray& pureShearOut, Xem::PointArray& simpleShearOut, double lower,
                                   double upper) {
  const Vector modulus = CopyIn(coefficient, 1);
  const OutputCurves out{&uniaxialOut, &equibiaxialOut, &pureShearOut, &simpleShearOut};
  const TestDataList testData = LoadForEvaluation(InputCurves3{&uniaxial, &equibiaxial, &pureShear, &simpleShear}, out,
                                                  LateralFromValue(lateralValue), lower, upper);
  const XemMaterialCurveFittingBlatzKo model(testData);
  WriteStresses(ComputeStresses(model, modulus), out);
  return 0;
}
