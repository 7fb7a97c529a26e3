#include "boundary/frame.h"
#include "hyperelastic/linear_fit.h"
#include "hyperelastic/refinement.h"
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

  const TestDataList testData = LoadTestData(curves, switches);
  const XemMaterialCurveFittingPolynomial model(testData, order);
  Vector solution(PolynomialTermCount(order));
  SolveLinear(model, FixedTermMask(solution.Size()), solution.Span(), method, conditionLimit);
  CopyOut(solution.Span(), coefficients);

  const TestFunctionList functions = LoadTestFunctions(curves, switches, ModelType::Polynomial);
  if (RefineLinearSolution(functions, order, method, solution.Span()).replaced) {
    CopyOut(solution.Span(), coefficients);
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
  WriteStresses(ComputeStresses(model, parameters.Span()).Span(), out);
  return 0;
}
