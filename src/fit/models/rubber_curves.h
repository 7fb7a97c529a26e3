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
  std::vector<Curve> curves;  ///< named after their modes, further tests numbered
  std::vector<DroppedPoint> dropped;
  std::vector<std::string> notes;

  /// True when all modes are shear modes: these deform along one path and leave questions about others open.
  bool OnlyShear() const;
};
HyperelasticCurves ScreenHyperelastic(const HyperelasticData& data);

/// What results call a further test: "uniaxial_2".
std::string ReplicateName(const HyperelasticData& data, std::size_t replicate);

/// A problem over those curves for a model; the parameters are still to be filled in. In simple shear the ordinate is
/// the shear stress for every model, and negative shear has negative stress. The export's engine takes the curves as
/// the exports do instead.
Problem MakeHyperelasticProblem(const HyperelasticCurves& screened, MaterialUtil::ModelType model,
                                std::int32_t termCount, const Options& options);

/// The same curves as test data of the exports.
MaterialUtil::TestDataList MakeHyperelasticData(const HyperelasticCurves& screened);

/// Stress at a strain from `stressAtStretch` of the core, which does not know the sign of a shear strain; `engine` as
/// above.
template <class StressAtStretch>
double StressAtStrain(const MaterialUtil::ModeKinematics& mode, double strain, Engine engine,
                      StressAtStretch&& stressAtStretch) {
  const bool mirrored = engine == Engine::Best && &mode == &MaterialUtil::kSimpleShear && strain < 0.0;
  const double stress = stressAtStretch(mode.stretchFromStrain(mirrored ? -strain : strain));
  return mirrored ? -stress : stress;
}

/// The mode of a curve name, which may be a numbered one. Throws Error (BadInput) for any other name.
MaterialUtil::DeformationMode ModeFromName(const std::string& name);

}  // namespace Xem::Fit
