#include "xem/stability.h"

#include "boundary/frame.h"
#include "solver/linalg/numbers.h"
#include "stability/report.h"
#include "stability/volumetric_energy.h"
#include "testdata/strain_energy.h"

using namespace Xem::MaterialUtil;

namespace {

Vector VolumetricCoefficients(const Xem::DoubleArray& volumetric, std::int32_t terms, double shearModulus) {
  return volumetric.IsEmpty() ? DefaultVolumetricCoefficients(terms, shearModulus)
                              : CopyIn(volumetric, CheckedParameterCount(terms));
}

}  // namespace

void CheckMaterialStability4Polynomial(const Xem::DoubleArray& coefficients, const Xem::DoubleArray& volumetric,
                                       std::int32_t order, std::int32_t volumetricTerms, double lower, double upper,
                                       double, double, CString& report) {
  const Vector model = CopyIn(coefficients, PolynomialTermCount(order));
  const Vector bulk = VolumetricCoefficients(volumetric, volumetricTerms, PolynomialShearModulus(model));
  report += ReportPolynomialStability(order, model, bulk, lower, upper).text.c_str();
}

void CheckMaterialStability4Ogden(const Xem::DoubleArray& coefficients, const Xem::DoubleArray& volumetric,
                                  std::int32_t terms, std::int32_t volumetricTerms, double lower, double upper, double,
                                  double, CString& report) {
  const Vector model = CopyIn(coefficients, CheckedParameterCount(2 * std::int64_t{terms}));
  const Vector bulk = VolumetricCoefficients(volumetric, volumetricTerms, OgdenShearModulus(model));
  report += ReportOgdenStability(terms, model, bulk, lower, upper).text.c_str();
}
