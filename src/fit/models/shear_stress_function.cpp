#include "fit/models/shear_stress_function.h"

#include <boost/make_shared.hpp>

#include "testfunctions/scaled_test_function.h"

namespace Xem::Fit {

using namespace MaterialUtil;

namespace {

class ShearStressFunction final : public ScaledTestFunction {
 public:
  using ScaledTestFunction::ScaledTestFunction;
};

}  // namespace

double ShearStressFactor(double stretch) { return stretch * stretch / (stretch * stretch + 1.0); }

boost::shared_ptr<XemMaterialTestFunctionBase> MakeShearStressFunction(
    const boost::shared_ptr<XemMaterialTestFunctionBase>& inner) {
  Vector factors = inner->Stretch();
  for (double& factor : factors) factor = ShearStressFactor(factor);
  return boost::make_shared<ShearStressFunction>(inner, factors, inner->Compared());
}

}  // namespace Xem::Fit
