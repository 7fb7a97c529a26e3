#pragma once

#include <string>
#include <vector>

#include "fit/problem.h"
#include "testdata/deformation_mode.h"
#include "testfunctions/hyperelastic_test_function.h"
#include "xem/fit/hyperelastic.h"

namespace Xem::Fit {

/// The curves of one material that take part in a fit, screened, with their modes.
struct HyperelasticCurves {
  std::vector<MaterialUtil::DeformationMode> modes;
  std::vector<Curve> curves;  ///< named after their modes
  std::vector<DroppedPoint> dropped;
  std::vector<std::string> notes;
};
HyperelasticCurves ScreenHyperelastic(const HyperelasticData& data);

/// A problem over those curves for a model; the parameters are still to be filled in.
Problem MakeHyperelasticProblem(const HyperelasticCurves& screened, MaterialUtil::ModelType model,
                                std::int32_t termCount, Residual residual);

/// The mode of a curve name. Throws Error (BadInput) for any other name.
MaterialUtil::DeformationMode ModeFromName(const std::string& name);

/// Throws Error (BadInput) when options are set that the plain export does not know.
void RequirePlainOptions(const Options& options, const std::vector<Curve>& curves);

}  // namespace Xem::Fit
