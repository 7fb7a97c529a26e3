#pragma once

#include <boost/shared_ptr.hpp>

#include "testfunctions/test_function_base.h"

namespace Xem::Fit {

/// The factor that leads from the Ogden stress of simple shear, nominal in the direction of greatest stretch, to the
/// shear stress: 1 / (1 + lambda^-2) at the principal stretch.
double ShearStressFactor(double stretch);

/// An Ogden test function of simple shear whose curve holds shear stresses: the model value is converted to them.
boost::shared_ptr<MaterialUtil::XemMaterialTestFunctionBase> MakeShearStressFunction(
    const boost::shared_ptr<MaterialUtil::XemMaterialTestFunctionBase>& inner);

}  // namespace Xem::Fit
