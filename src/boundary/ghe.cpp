#include <boost/make_shared.hpp>
#include <vector>

#include "boundary/frame.h"
#include "dynamic/ghe_fit.h"
#include "dynamic/stiffness_damping_law.h"
#include "solver/linalg/numbers.h"
#include "xem/dynamic.h"

using namespace Xem::MaterialUtil;

namespace {

constexpr std::int32_t kGheOptionCount = 3;
constexpr std::int32_t kDampingParameterCount = 2;
constexpr std::int32_t kAlwaysFromCurve = 1;
constexpr std::int32_t kFromModel = 1;

std::vector<std::int32_t> ReadMask(const Xem::DoubleArray& flags, std::int32_t count) {
  std::vector<std::int32_t> mask;
  for (std::int32_t k = 0; k < count; ++k) mask.push_back(flags[k] == 0.0 ? 0 : 1);
  return mask;
}

/// The strains to evaluate at: the logarithmic grid for two points and more, else those of the data.
std::vector<_T_FUNT_BASE> ChooseStrains(const Xem::PointArray& curveOut, std::span<const _T_FUNT_BASE> kept) {
  if (curveOut.GetSize() < 2) return {kept.begin(), kept.end()};
  std::vector<_T_FUNT_BASE> grid(static_cast<std::size_t>(curveOut.GetSize()));
  FillStrainGrid(grid);
  return grid;
}

}  // namespace

std::int32_t CurveFitting4GHEModel6Parameters(const Xem::DoubleArray& options, const Xem::DoubleArray& parameters,
                                              const Xem::DoubleArray& flags, const Xem::PointArray& stiffness,
                                              double referenceStrain, Xem::DoubleArray& fitted,
                                              Xem::PointArray& curveOut, Xem::DoubleArray& measures) {
  if (options.GetSize() < kGheOptionCount) return 0;
  const auto mask = ReadMask(flags, kGheParameterCount);
  GheParameters solution = StartGhe(CopyIn(parameters, kGheParameterCount), mask);

  const auto kept = KeptPoints(Points(stiffness));
  const bool fromCurve = TruncateToInt(options[0]) == kAlwaysFromCurve || !(referenceStrain > 0.0);
  const GheRequest request{.referenceStrain = fromCurve ? HalfStiffnessStrain(kept) : referenceStrain,
                           .form = GheFormFromCode(TruncateToInt(options[1])),
                           .residual = ResidualFromCode(TruncateToInt(options[2])),
                           .mask = mask};
  auto curve = ChooseStrains(curveOut, kept);
  const GheMeasures result = FitGhe(request, kept, solution, curve);

  CopyOut(solution, fitted);
  CopyOut(curve, curveOut);
  CopyOut(std::array{request.referenceStrain, result.tolerance, result.determination, result.sumOfSquares}, measures);
  return result.status;
}

std::int32_t CurveFitting4GHEModelDamping(const Xem::DoubleArray& options, const Xem::DoubleArray& parameters,
                                          const Xem::DoubleArray& flags, const Xem::PointArray& damping,
                                          const Xem::PointArray& stiffness, Xem::DoubleArray& fitted,
                                          Xem::PointArray& curveOut) {
  if (options.GetSize() < kGheOptionCount) return 0;
  const auto mask = ReadMask(flags, kDampingParameterCount);
  const bool fromModel = TruncateToInt(options[0]) == kFromModel;
  const std::int32_t modelCount = fromModel ? 1 + static_cast<std::int32_t>(kGheParameterCount) : 0;
  const Vector given = CopyIn(parameters, kDampingParameterCount + modelCount);

  const auto function = boost::make_shared<XemGHEModelDampingTestFunction>();
  function->SetParameters(given.Span().subspan(kDampingParameterCount), mask);
  function->SetTestData(Points(damping), Points(stiffness));
  auto solution = StartGheDamping(given, mask, *function);
  const GheMeasures result = FitGheDamping(ResidualFromCode(TruncateToInt(options[2])), mask, function, solution);

  auto curve = ChooseStrains(curveOut, KeptPoints(Points(damping)));
  Vector values(kDampingParameterCount);
  function->Output(solution, values, curve);
  CopyOut(values, fitted);
  CopyOut(curve, curveOut);
  return result.status;
}
