#include "boundary/frame.h"
#include "hyperelastic/export_fits.h"
#include "solver/linalg/lapack.h"
#include "solver/linalg/numbers.h"
#include "xem/hyperelastic.h"

using namespace Xem::MaterialUtil;

namespace {

std::int32_t PairEntries(std::int32_t terms) { return CheckedParameterCount(2 * std::int64_t{terms}); }

}  // namespace

std::int32_t CurveFitting4Ogden(const Xem::PointArray& uniaxial, const Xem::PointArray& equibiaxial,
                                const Xem::PointArray& pureShear, const Xem::PointArray& simpleShear,
                                std::int32_t useUniaxial, std::int32_t useEquibiaxial, std::int32_t usePureShear,
                                std::int32_t useSimpleShear, std::int32_t terms, std::int32_t method,
                                Xem::DoubleArray& coefficients, Xem::PointArray& uniaxialOut,
                                Xem::PointArray& equibiaxialOut, Xem::PointArray& pureShearOut,
                                Xem::PointArray& simpleShearOut, double lower, double upper) {
  UseOneBlasThread();
  Vector solution(PairEntries(terms));
  const TestFunctionList functions =
      LoadTestFunctions(InputCurves{&uniaxial, &equibiaxial, &pureShear, &simpleShear},
                        {useUniaxial, useEquibiaxial, usePureShear, useSimpleShear}, ModelType::Ogden);
  const std::int32_t status = FitOgdenSeries(functions, ResidualFromCode(method), solution).solverStatus;
  CopyOut(solution, coefficients);
  ComputeStress4Ogden(uniaxial, equibiaxial, pureShear, simpleShear, terms, coefficients, uniaxialOut, equibiaxialOut,
                      pureShearOut, simpleShearOut, lower, upper);
  return status;
}

std::int32_t ComputeStress4Ogden(const Xem::PointArray& uniaxial, const Xem::PointArray& equibiaxial,
                                 const Xem::PointArray& pureShear, const Xem::PointArray& simpleShear,
                                 std::int32_t terms, const Xem::DoubleArray& coefficients, Xem::PointArray& uniaxialOut,
                                 Xem::PointArray& equibiaxialOut, Xem::PointArray& pureShearOut,
                                 Xem::PointArray& simpleShearOut, double lower, double upper) {
  UseOneBlasThread();
  const Vector parameters = CopyIn(coefficients, PairEntries(terms));
  const OutputCurves out{&uniaxialOut, &equibiaxialOut, &pureShearOut, &simpleShearOut};
  const TestDataList testData =
      LoadForEvaluation(InputCurves{&uniaxial, &equibiaxial, &pureShear, &simpleShear}, out, lower, upper);
  WriteStresses(ComputeOgdenStresses(testData, parameters), out);
  return 0;
}
