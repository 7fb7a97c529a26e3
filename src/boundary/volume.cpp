#include <array>

#include "boundary/frame.h"
#include "hyperelastic/linear_fit.h"
#include "solver/linalg/numbers.h"
#include "xem/hyperelastic.h"

using namespace Xem::MaterialUtil;

std::int32_t CurveFitting4Volume(const Xem::PointArray& curve, std::int32_t terms, std::int32_t method,
                                 double conditionLimit, Xem::DoubleArray& coefficients, Xem::PointArray& curveOut,
                                 double lower, double upper) {
  const TestDataList testData = LoadVolumetric(curve);
  const XemMaterialCurveFittingPolynomial model(testData, terms);
  Vector solution(CheckedParameterCount(terms));
  SolveLinear(model, FixedTermMask(solution.Size()), solution, method, conditionLimit);
  CopyOut(solution, coefficients);
  return ComputeStress4Volume(curve, terms, coefficients, curveOut, lower, upper);
}

std::int32_t ComputeStress4Volume(const Xem::PointArray& curve, std::int32_t terms,
                                  const Xem::DoubleArray& coefficients, Xem::PointArray& curveOut, double lower,
                                  double upper) {
  const Vector parameters = CopyIn(coefficients, CheckedParameterCount(terms));
  // Deliberate: the bounds change places and become reciprocals of 1 + bound; the grid still starts at zero.
  if (curve.IsEmpty()) FillDefaultGrid(curveOut, 1.0 / (upper + 1.0), 1.0 / (lower + 1.0));
  const TestDataList testData = LoadVolumetric(curve.IsEmpty() ? curveOut : curve);
  const XemMaterialCurveFittingPolynomial model(testData, terms);
  WriteStresses(ComputeStresses(model, parameters), std::array{&curveOut});
  return 0;
}
