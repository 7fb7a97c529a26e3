#include "hyperelastic/linear_fit.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "solver/linalg/least_squares.h"

namespace Xem::MaterialUtil {
namespace {

constexpr std::int32_t kRelative = 0;
constexpr std::int32_t kAbsolute = 1;

Matrix AssembleDesignMatrix(const XemMaterialCurvefittingModelBase& model, const FixedTermMask& mask,
                            std::span<const double> parameters) {
  Matrix design(PointCount(model.TestData()), FreeCount(mask));
  std::int32_t first = 0;
  for (const auto& data : model.TestData()) {
    model.AssembleDesignRows(*data, mask, parameters, design.View().Rows(first, data->PointCount()));
    first += data->PointCount();
  }
  return design;
}

/// Measured stresses less those of the held terms.
Vector Targets(const XemMaterialCurvefittingModelBase& model, const FixedTermMask& mask,
               std::span<const double> parameters) {
  const bool anyHeld = FreeCount(mask) < mask.Size();
  Vector targets(PointCount(model.TestData()));
  std::int32_t next = 0;
  for (const auto& data : model.TestData()) {
    for (std::int32_t i = 0; i < data->PointCount(); ++i) {
      const double held =
          anyHeld ? model.FixedTermsStress(*data, mask, parameters, data->Stretch()[i], data->LateralStretch()[i])
                  : 0.0;
      targets[next++] = data->Stress()[i] - held;
    }
  }
  return targets;
}

/// Measures every equation relative to its own target.
void DivideByTargets(Matrix& design, Vector& targets) {
  for (double& target : targets) target = 1.0 / target;
  for (std::int32_t column = 0; column < design.Columns(); ++column) {
    const std::span<double> entries = design.Column(column);
    for (std::size_t row = 0; row < entries.size(); ++row) entries[row] *= targets[row];
  }
  std::fill(targets.begin(), targets.end(), 1.0);
}

}  // namespace

void SolveLinear(const XemMaterialCurvefittingModelBase& model, const FixedTermMask& mask, std::span<double> parameters,
                 std::int32_t method, double conditionLimit) {
  if (method != kAbsolute && method != kRelative) return;
  Matrix design = AssembleDesignMatrix(model, mask, parameters);
  Vector targets = Targets(model, mask, parameters);
  if (method == kRelative) DivideByTargets(design, targets);
  const Vector solution = SolveTruncated(std::move(design), targets, conditionLimit);
  std::int32_t next = 0;
  for (std::int32_t k = 0; k < mask.Size(); ++k) {
    if (mask[k] == 0) parameters[k] = solution[next++];
  }
}

}  // namespace Xem::MaterialUtil
