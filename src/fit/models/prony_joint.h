#pragma once

#include <string>
#include <vector>

#include "fit/model.h"
#include "fit/models/maxwell_curves.h"

/// One Prony series for several curves, over time and over frequency.
namespace Xem::Fit {

/// A name for each curve that has none: of its quantity, with a number where several have it.
void NameCurves(std::vector<ModulusCurve>& curves);

boost::shared_ptr<ModelFit> MakeJointPronyFit(const DynamicData& data, int terms);

/// From stored parameters, over time and frequency. A curve that was not fitted is over time or angular frequency.
Evaluator RestoreProny(const Result& stored);

}  // namespace Xem::Fit
