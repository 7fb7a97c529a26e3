#include "testdata/deformation_mode.h"

#include <boost/make_shared.hpp>

#include "xem/array.h"

namespace Xem::MaterialUtil {

const ModeKinematics& Kinematics(DeformationMode mode) {
  switch (mode) {
    case DeformationMode::Uniaxial:
      return kUniaxial;
    case DeformationMode::Equibiaxial:
      return kEquibiaxial;
    case DeformationMode::PureShear:
      return kPureShear;
    case DeformationMode::SimpleShear:
      return kSimpleShear;
  }
  throw CInvalidArgException("an unknown deformation mode");
}

boost::shared_ptr<XemMaterialTestDataHyperelastic> MakeTestData(DeformationMode mode) {
  switch (mode) {
    case DeformationMode::Uniaxial:
      return boost::make_shared<XemMaterialTestDataUniaxial>();
    case DeformationMode::Equibiaxial:
      return boost::make_shared<XemMaterialTestDataEquibiaxial>();
    case DeformationMode::PureShear:
      return boost::make_shared<XemMaterialTestDataPureShear>();
    case DeformationMode::SimpleShear:
      return boost::make_shared<XemMaterialTestDataSimpleShear>();
  }
  throw CInvalidArgException("an unknown deformation mode");
}

}  // namespace Xem::MaterialUtil
