#include "boundary/frame.h"
#include "hyperelastic/export_fits.h"
#include "solver/linalg/lapack.h"
#include "testdata/strain_energy.h"
#include "xem/hyperelastic.h"

using namespace Xem::MaterialUtil;

std::int32_t CurveFitting4Polynominal(const Xem::PointArray& uniaxial, const Xem::PointArray& equibiaxial,
                                      const Xem::PointArray& pureShear, const Xem::PointArray& simpleShear,
                                      std::int32_t useUniaxial, std::int32_t useEquibiaxial, std::int32_t usePureShear,
                                      std::int32_t useSimpleShear, std::int32_t order, std::int32_t method,
                                      double conditionLimit, Xem::DoubleArray& coefficients,
                                      Xem::PointArray& uniaxialOut, Xem::PointArray& equibiaxialOut,
                                      Xem::PointArray& pureShearOut, Xem::PointArray& simpleShearOut, double lower,
                                      double upper) {
  UseOneBlasThread();
  const InputCurves curves{&uniaxial, &equibiaxial, &pureShear, &simpleShear};
  const ModeSwitches switches{useUniaxial, useEquibiaxial, usePureShear, useSimpleShear};
  RequireMode(switches);

  {
    // The stresses are computed from the caller's curves, once there is room for them again.
    const TestDataList testData = LoadTestData(curves, switches);
    const TestFunctionList functions = LoadTestFunctions(curves, switches, ModelType::Polynomial);
    Vector solution(PolynomialTermCount(order));
    FitLinearModel(XemMaterialCurveFittingPolynomial(testData, order), functions, order, method, conditionLimit,
                   solution, [&](std::span<const double> found) { CopyOut(found, coefficients); });
  }
  return ComputeStress4Polynominal(uniaxial, equibiaxial, pureShear, simpleShear, order, coefficients, uniaxialOut,
                                   equibiaxialOut, pureShearOut, simpleShearOut, lower, upper);
}

std::int32_t ComputeStress4Polynominal(const Xem::PointArray& uniaxial, const Xem::PointArray& equibiaxial,
                                       const Xem::PointArray& pureShear, const Xem::PointArray& simpleShear,
                                       std::int32_t order, const Xem::DoubleArray& coefficients,
                                       Xem::PointArray& uniaxialOut, Xem::PointArray& equibiaxialOut,
                                       Xem::PointArray& pureShearOut, Xem::PointArray& simpleShearOut, double lower,
                                       double upper) {
  UseOneBlasThread();
  const Vector parameters = CopyIn(coefficients, PolynomialTermCount(order));
  const OutputCurves out{&uniaxialOut, &equibiaxialOut, &pureShearOut, &simpleShearOut};
  const TestDataList testData =
      LoadForEvaluation(InputCurves{&uniaxial, &equibiaxial, &pureShear, &simpleShear}, out, lower, upper);
  const XemMaterialCurveFittingPolynomial model(testData, order);
  WriteStresses(ComputeStresses(model, parameters), out);
  return 0;
}
