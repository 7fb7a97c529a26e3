#include "testfunctions/test_function_base.h"

namespace Xem::MaterialUtil {

void XemMaterialTestFunctionBase::SetParameters(std::span<const double>, std::span<const std::int32_t>) {}

bool XemMaterialTestFunctionBase::EnforceParameterConstraints(std::int32_t, std::span<double>) const { return false; }

void XemMaterialTestFunctionBase::SetTestData3(const Point3Array& points) { SetTestData3(Points(points)); }

void XemMaterialTestFunctionBase::SetTestData(const PointArray& points) { SetTestData(Points(points)); }

void XemMaterialTestFunctionBase::SetTestData(std::span<const _T_FUNT_BASE>, std::span<const _T_FUNT_BASE>) {}

void XemMaterialTestFunctionBase::SetTestData3(std::span<const _T_FUNT_BASE3> points) {
  Load(points, KeepMeasured(), AsItStands);
}

void XemMaterialTestFunctionBase::SetTestData(std::span<const _T_FUNT_BASE> points) {
  Load(points, KeepMeasured(), AsItStands);
}

void XemMaterialTestFunctionBase::ParameterGradient(std::int32_t termCount, std::span<const double> parameters,
                                                    std::int32_t point, std::span<double> gradient) const {
  double model = 0.0;
  const MatrixView row{gradient.data(), 1, static_cast<std::int32_t>(gradient.size()), 1};
  EvaluateBlock(termCount, parameters, point, {&model, 1}, row);
}

void XemMaterialTestFunctionBase::EvaluatePoint(std::int32_t termCount, std::span<const double> parameters,
                                                std::int32_t point, double& measured, double& model) const {
  measured = compared_[point];
  EvaluateBlock(termCount, parameters, point, {&model, 1});
}

void XemMaterialTestFunctionBase::LinearDesignRows(std::span<const double>, MatrixView) const {}

void XemMaterialTestFunctionBase::Output(std::span<const double>, std::span<double>, std::span<_T_FUNT_BASE>) const {}

}  // namespace Xem::MaterialUtil
