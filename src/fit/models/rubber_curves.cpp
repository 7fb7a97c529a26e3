#include "fit/models/rubber_curves.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "fit/assemble.h"
#include "fit/models/shear_stress_function.h"
#include "fit/screening.h"

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

std::string ObjectToStrain(DeformationMode mode, double strain) {
  if (mode == DeformationMode::SimpleShear || strain > -1.0) return {};
  return "strain " + Text(strain) + " is not above -1";
}

/// The core recovers shear strains without their sign; mirrored points have the same residuals.
void MirrorNegativeShear(std::vector<_T_FUNT_BASE3>& points) {
  for (_T_FUNT_BASE3& point : points) {
    if (point.first < 0.0) point = _T_FUNT_BASE3(-point.first, point.second, -point.third);
  }
}

}  // namespace

HyperelasticCurves ScreenHyperelastic(const HyperelasticData& data) {
  const std::array<const Curve*, kModeCount> given{&data.uniaxial, &data.equibiaxial, &data.pureShear,
                                                   &data.simpleShear};
  HyperelasticCurves screened;
  const auto add = [&](DeformationMode mode, Curve named) {
    RequirePlausible("rubber", named);
    Curve kept = Screen(
        named, "stress", [mode](double strain, double) { return ObjectToStrain(mode, strain); }, 2, screened.dropped);
    NoteOddities("rubber", kept, screened.notes);
    screened.modes.push_back(mode);
    screened.curves.push_back(std::move(kept));
  };
  for (std::size_t m = 0; m < kModeCount; ++m) {
    const DeformationMode mode = kAllModes[m];
    const auto named = [](Curve curve, const std::string& name) {
      curve.name = name;
      return curve;
    };
    if (!given[m]->Empty()) add(mode, named(*given[m], Kinematics(mode).name));
    for (std::size_t i = 0; i < data.replicates.size(); ++i) {
      const auto& [own, curve] = data.replicates[i];
      if (ModeFromName(own) == mode && !curve.Empty()) add(mode, named(curve, ReplicateName(data, i)));
    }
  }
  if (screened.curves.empty()) throw Error(ErrorKind::BadData, "there is no test curve to fit");
  return screened;
}

std::string ReplicateName(const HyperelasticData& data, std::size_t replicate) {
  const std::string& mode = data.replicates[replicate].mode;
  std::size_t number = 2;
  for (std::size_t i = 0; i < replicate; ++i) number += data.replicates[i].mode == mode ? 1 : 0;
  return mode + "_" + std::to_string(number);
}

bool HyperelasticCurves::OnlyShear() const {
  return std::all_of(modes.begin(), modes.end(), [](DeformationMode mode) {
    return mode == DeformationMode::PureShear || mode == DeformationMode::SimpleShear;
  });
}

Problem MakeHyperelasticProblem(const HyperelasticCurves& screened, ModelType model, std::int32_t termCount,
                                const Options& options) {
  Problem problem;
  problem.residual = options.residual;
  problem.termCount = termCount;
  for (std::size_t i = 0; i < screened.curves.size(); ++i) {
    const bool shear = options.engine == Engine::Best && screened.modes[i] == DeformationMode::SimpleShear;
    std::vector<_T_FUNT_BASE3> points = CorePoints3(screened.curves[i]);
    if (shear) MirrorNegativeShear(points);
    const auto function = MakeTestFunction(screened.modes[i], model);
    function->SetTestData3(std::span<const _T_FUNT_BASE3>(points));
    if (shear && model == ModelType::Ogden) {
      problem.functions.push_back(MakeShearStressFunction(function));
    } else {
      problem.functions.push_back(function);
    }
    problem.weights.push_back(screened.curves[i].weight);
  }
  return problem;
}

TestDataList MakeHyperelasticData(const HyperelasticCurves& screened) {
  TestDataList list;
  for (std::size_t i = 0; i < screened.curves.size(); ++i) {
    const auto data = MakeTestData(screened.modes[i]);
    data->SetTestData3(std::span<const _T_FUNT_BASE3>(CorePoints3(screened.curves[i])));
    list.push_back(data);
  }
  return list;
}

DeformationMode ModeFromName(const std::string& name) {
  const std::string plain = WithoutNumber(name);
  for (const DeformationMode mode : kAllModes) {
    if (plain == Kinematics(mode).name) return mode;
  }
  throw Error(ErrorKind::BadInput,
              "unknown deformation mode " + name + ": use uniaxial, equibiaxial, pure_shear or simple_shear");
}

}  // namespace Xem::Fit
