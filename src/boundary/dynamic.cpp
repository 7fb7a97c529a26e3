#include "xem/dynamic.h"

#include "boundary/frame.h"
#include "dynamic/dynamic_fit.h"
#include "solver/linalg/numbers.h"

using namespace Xem::MaterialUtil;

namespace {

constexpr std::int32_t kOptionCount = 3;

DynamicFitRequest ReadRequest(const Xem::DoubleArray& options, const Xem::DoubleArray& parameters,
                              const Xem::DoubleArray& flags) {
  return PrepareDynamicFit(Values(options), Values(parameters), Values(flags));
}

/// Fits one loaded curve; the output curve comes back empty.
std::int32_t FitOneCurve(const DynamicFitRequest& request,
                         const boost::shared_ptr<XemMaterialTestFunctionBase>& function, Xem::DoubleArray& fitted,
                         Xem::PointArray& curveOut) {
  Vector parameters = request.start;
  const std::int32_t status = SolveDynamicFit(request, {&function, 1}, parameters);
  Vector values(parameters.Size());
  function->Output(parameters, values, {});
  CopyOut(values, fitted);
  // Deliberate: only the joint fit draws curves.
  curveOut.RemoveAll();
  return status;
}

}  // namespace

std::int32_t InitialDynamicMatParameters(const Xem::DoubleArray& options, Xem::DoubleArray& parameters,
                                         const Xem::DoubleArray& flags, const Xem::PointArray& stiffness) {
  const auto form = static_cast<ResidualForm>(TruncateToInt(options[1]));
  if (TruncateToInt(flags[0]) == 0) parameters[0] = InitialReferenceStrain(form, Points(stiffness));
  return 0;
}

std::int32_t ModifyDynamicMatParameters(const Xem::DoubleArray& fitted, Xem::DoubleArray& target,
                                        const Xem::DoubleArray& flags) {
  for (std::int64_t i = 0; i < fitted.GetSize(); ++i) {
    if (flags[i] == 0.0) target[i] = fitted[i];
  }
  return 0;
}

std::int32_t CurveFitting4DynamicMatShearStiff(const Xem::DoubleArray& options, const Xem::DoubleArray& parameters,
                                               const Xem::DoubleArray& flags, const Xem::PointArray& stiffness,
                                               Xem::DoubleArray& fitted, Xem::PointArray& curveOut) {
  if (options.GetSize() < kOptionCount) return 0;
  const DynamicFitRequest request = ReadRequest(options, parameters, flags);
  return FitOneCurve(request, LoadStiffness(request, 1.0, Points(stiffness)), fitted, curveOut);
}

std::int32_t CurveFitting4DynamicMatDamping(const Xem::DoubleArray& options, const Xem::DoubleArray& parameters,
                                            const Xem::DoubleArray& flags, const Xem::PointArray& damping,
                                            const Xem::PointArray& stiffness, Xem::DoubleArray& fitted,
                                            Xem::PointArray& curveOut) {
  if (options.GetSize() < kOptionCount) return 0;
  const DynamicFitRequest request = ReadRequest(options, parameters, flags);
  return FitOneCurve(request, LoadDamping(request, 1.0, Points(damping), Points(stiffness)), fitted, curveOut);
}

std::int32_t CurveFitting4DynamicMatParameters(const Xem::DoubleArray& options, Xem::DoubleArray& parameters,
                                               const Xem::DoubleArray& flags, Xem::DoubleArray& weights,
                                               const Xem::PointArray& stiffness, const Xem::PointArray& damping,
                                               Xem::DoubleArray& fitted, Xem::PointArray& stiffnessOut,
                                               Xem::PointArray& dampingOut) {
  // Deliberate: unlike the fits of one curve, which return 0.
  if (options.GetSize() < kOptionCount) throw CInvalidArgException("too few options of a joint dynamic fit");
  InitialDynamicMatParameters(options, parameters, flags, stiffness);

  const auto stiffnessGrid = OutputPoints(stiffnessOut);
  if (dampingOut.GetSize() < stiffnessOut.GetSize()) {
    throw CInvalidArgException("the damping out-curve holds fewer points than the stiffness out-curve");
  }
  const auto dampingGrid = OutputPoints(dampingOut).first(stiffnessGrid.size());
  FillStrainGrid(stiffnessGrid);
  FillStrainGrid(dampingGrid);

  const DynamicFitRequest request = ReadRequest(options, parameters, flags);
  if (request.Family() == DynamicFamily::PowerLaw && weights.GetSize() == 2 && parameters.GetSize() == 2) {
    weights[1] *= DampingWeightFactor(Points(damping), parameters[1]);
  }

  const JointDynamicFit fit = FitJointly(request, {Points(stiffness), Points(damping), weights[0], weights[1]});
  Vector values(fit.parameters.Size());
  fit.stiffness->Output(fit.parameters, values, stiffnessGrid);
  fit.damping->Output(fit.parameters, values, dampingGrid);
  CopyOut(values, fitted);
  return fit.status;
}
