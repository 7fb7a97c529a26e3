#ifndef XEM_FIT_HYPERELASTIC_H
#define XEM_FIT_HYPERELASTIC_H

#include <string>
#include <vector>

#include "xem/fit/result.h"

/// Hyperelastic models from test curves.
namespace Xem::Fit {

/// Test curves of one material: nominal strain (shear strain for simple shear) against nominal stress, one unit of
/// stress for all. Empty curves take no part. Their names are "uniaxial", "equibiaxial", "pure_shear", "simple_shear".
struct HyperelasticData {
  Curve uniaxial;
  Curve equibiaxial;
  Curve pureShear;
  Curve simpleShear;
  std::string stressUnit;
};

/// Fits W = sum C_ij (I1 - 3)^i (I2 - 3)^j, 1 <= i + j <= order (Rivlin 1948), in closed form.
///
/// Parameters are C10, C01, C20, C11, ... in the stress unit. With pure shear or simple shear alone I1 = I2 and only
/// sums of coefficients are determined: these are then reported as not identifiable, and the smallest solution is
/// returned. Throws Error: BadInput for an order outside 1 ... 10 or an unknown parameter name, BadData for curves with
/// too few usable points.
XEM_FIT_EXPORT Result FitPolynomial(const HyperelasticData& data, int order, const Options& options = {});

/// Nominal stress of a polynomial model at a nominal strain. `mode` is a curve name of HyperelasticData; `coefficients`
/// are in the order of FitPolynomial. Throws Error (BadInput) for a wrong name or count.
XEM_FIT_EXPORT double PolynomialStress(const std::string& mode, int order, const std::vector<double>& coefficients,
                                       double strain);

}  // namespace Xem::Fit

#endif
