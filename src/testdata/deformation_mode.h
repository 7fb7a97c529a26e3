#pragma once

#include <array>
#include <boost/shared_ptr.hpp>
#include <cstddef>

#include "testdata/hyperelastic_test_data.h"
#include "testdata/kinematics.h"

namespace Xem::MaterialUtil {

enum class DeformationMode { Uniaxial, Equibiaxial, PureShear, SimpleShear };

/// All modes in the fixed order of every call.
inline constexpr std::array kAllModes{DeformationMode::Uniaxial, DeformationMode::Equibiaxial,
                                      DeformationMode::PureShear, DeformationMode::SimpleShear};
inline constexpr std::size_t kModeCount = kAllModes.size();

const ModeKinematics& Kinematics(DeformationMode mode);

/// Empty test data of a mode.
boost::shared_ptr<XemMaterialTestDataHyperelastic> MakeTestData(DeformationMode mode);

}  // namespace Xem::MaterialUtil
