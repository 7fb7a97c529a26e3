#ifndef XEM_FIT_FIT_H
#define XEM_FIT_FIT_H

#include <variant>

#include "xem/fit/cyclic.h"
#include "xem/fit/hyperelastic.h"
#include "xem/fit/model.h"
#include "xem/fit/result.h"
#include "xem/fit/sheet_metal.h"
#include "xem/fit/soil.h"
#include "xem/fit/superposition.h"
#include "xem/fit/viscoelastic.h"

namespace Xem::Fit {

/// What was measured on one specimen, by the family of models that explains it.
using Tests = std::variant<HyperelasticData, VolumetricData, RelaxationData, CreepData, CyclicData, TensileData,
                           RetentionData, DynamicData, ShiftFactorData>;

/// Fits any model of the catalogue. The functions named after a model, such as FitOgden, do the same and say what is
/// particular to it. Throws Error: BadInput for a model that is not there, that cannot be fitted, or whose family the
/// tests are not of; else as those functions.
XEM_FIT_EXPORT Result Fit(const ModelChoice& model, const Tests& tests, const Options& options = {});

}  // namespace Xem::Fit

#endif
