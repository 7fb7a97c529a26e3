#include "hyperelastic/linear_fit.h"

#include <algorithm>
#include <cstddef>
#include <functional>

#include "solver/linalg/least_squares.h"

namespace Xem::MaterialUtil {
namespace {

constexpr std::int32_t kRelative = 0;
constexpr std::int32_t kAbsolute = 1;

/// Measured stresses of some points less those of the held terms.
void SubtractHeldTerms(const XemMaterialCurvefittingModelBase& model, const XemMaterialTestDataBase& data,
                       std::int32_t first, const FixedTermMask& mask, std::span<const double> parameters,
                       std::span<double> targets) {
  const bool anyHeld = FreeCount(mask) < mask.Size();
  for (std::size_t i = 0; i < targets.size(); ++i) {
    const auto point = first + static_cast<std::int32_t>(i);
    const double held =
        anyHeld ? model.FixedTermsStress(data, mask, parameters, data.Stretch()[point], data.LateralStretch()[point])
                : 0.0;
    targets[i] = data.Stress()[point] - held;
  }
}

/// Measures every equation relative to its own target.
void DivideByTargets(const MatrixView& design, std::span<double> targets) {
  for (double& target : targets) target = 1.0 / target;
  for (std::int32_t column = 0; column < design.columns; ++column) {
    std::ranges::transform(design.Column(column), targets, design.Column(column).begin(), std::multiplies());
  }
  std::ranges::fill(targets, 1.0);
}

}  // namespace

void SolveLinear(const XemMaterialCurvefittingModelBase& model, const FixedTermMask& mask, std::span<double> parameters,
                 std::int32_t method, double conditionLimit) {
  if (method != kAbsolute && method != kRelative) return;
  const std::int32_t unknowns = FreeCount(mask);
  LeastSquares system(PointCount(model.TestData()), unknowns);
  for (const auto& data : model.TestData()) {
    ForEachBlockOfRows(data->PointCount(), [&](std::int32_t first, std::int32_t count) {
      const MatrixView rows = system.Append(count);
      const MatrixView design = rows.FirstColumns(unknowns);
      const std::span<double> targets = rows.Column(unknowns);
      model.AssembleDesignRows(*data, first, mask, parameters, design);
      SubtractHeldTerms(model, *data, first, mask, parameters, targets);
      if (method == kRelative) DivideByTargets(design, targets);
    });
  }
  const Vector solution = system.Solve(conditionLimit);
  std::int32_t next = 0;
  for (std::int32_t k = 0; k < mask.Size(); ++k) {
    if (mask[k] == 0) parameters[k] = solution[next++];
  }
}

}  // namespace Xem::MaterialUtil
