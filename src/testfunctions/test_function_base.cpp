#include "testfunctions/test_function_base.h"

#include <algorithm>
#include <cstddef>

namespace Xem::MaterialUtil {

void XemMaterialTestFunctionBase::SetParameters(std::span<const double>, std::span<const std::int32_t>) {}

bool XemMaterialTestFunctionBase::EnforceParameterConstraints(std::int32_t, std::span<double>) const { return false; }

void XemMaterialTestFunctionBase::SetTestData3(const Point3Array& points) { SetTestData3(Points(points)); }

void XemMaterialTestFunctionBase::SetTestData(const PointArray& points) { SetTestData(Points(points)); }

void XemMaterialTestFunctionBase::SetTestData(std::span<const _T_FUNT_BASE>, std::span<const _T_FUNT_BASE>) {}

void XemMaterialTestFunctionBase::SetTestData3(std::span<const _T_FUNT_BASE3> points) {
  curve_.Load(points, KeepMeasured(), AsItStands);
}

void XemMaterialTestFunctionBase::SetTestData(std::span<const _T_FUNT_BASE> points) {
  curve_.Load(points, KeepMeasured(), AsItStands);
}

void XemMaterialTestFunctionBase::LinearDesignRows(std::span<const double>, MatrixView) const {}

void XemMaterialTestFunctionBase::Output(std::span<const double>, std::span<double>, std::span<_T_FUNT_BASE>) const {}

void XemMaterialTestFunctionBase::EvaluateBlock(std::int32_t termCount, std::span<const double> parameters,
                                                std::int32_t first, std::span<double> measured,
                                                std::span<double> model) const {
  if (blocks_ != nullptr && blocks_->ValuesOfBlock(termCount, parameters, first, measured, model)) return;
  for (std::size_t i = 0; i < measured.size(); ++i) {
    EvaluatePoint(termCount, parameters, first + static_cast<std::int32_t>(i), measured[i], model[i]);
  }
}

void XemMaterialTestFunctionBase::GradientBlock(std::int32_t termCount, std::span<const double> parameters,
                                                std::int32_t first, std::span<double> measured, std::span<double> model,
                                                std::span<double> gradients) const {
  if (blocks_ != nullptr) {
    blocks_->GradientsOfBlock(termCount, parameters, first, measured, model, gradients);
    return;
  }
  std::fill(gradients.begin(), gradients.end(), 0.0);
  for (std::size_t i = 0; i < measured.size(); ++i) {
    ParameterGradient(termCount, parameters, first + static_cast<std::int32_t>(i),
                      gradients.subspan(i * parameters.size(), parameters.size()));
  }
  EvaluateBlock(termCount, parameters, first, measured, model);
}

}  // namespace Xem::MaterialUtil
