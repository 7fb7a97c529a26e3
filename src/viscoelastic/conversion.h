#pragma once

#include <span>
#include <vector>

#include "hyperelastic/models.h"
#include "testdata/deformation_mode.h"
#include "xem/records.h"

/// A hyperelastic model under a strain history, as a relaxation curve.
namespace Xem::MaterialUtil {

/// Test data of a mode over the strains of a record (time, strain), in its order and without losing a point.
boost::shared_ptr<XemMaterialTestDataHyperelastic> LoadStrains(DeformationMode mode,
                                                               std::span<const _T_FUNT_BASE> record);
/// The same with a measured lateral strain of 0 at every point.
boost::shared_ptr<XemMaterialTestDataHyperelastic> LoadStrainsWithoutLateral(DeformationMode mode,
                                                                             std::span<const _T_FUNT_BASE> record);

/// (time, reference / stress) for every point of the record, 0 where the stress is negligible or not a number; the
/// stresses are those of the model's first test data.
std::vector<_T_FUNT_BASE> ConvertToRelaxation(const XemMaterialCurvefittingModelBase& model,
                                              std::span<const double> parameters, std::span<const _T_FUNT_BASE> record,
                                              double reference);

}  // namespace Xem::MaterialUtil
