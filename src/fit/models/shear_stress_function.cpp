#include "fit/models/shear_stress_function.h"

#include <boost/make_shared.hpp>
#include <cstddef>
#include <span>

namespace Xem::Fit {
namespace {

using namespace MaterialUtil;

class ShearStressFunction final : public XemMaterialTestFunctionBase, public BlockOperations {
 public:
  explicit ShearStressFunction(const boost::shared_ptr<XemMaterialTestFunctionBase>& inner)
      : XemMaterialTestFunctionBase(this), inner_(inner) {
    curve_.stretch = inner->Stretch();
    curve_.stress = inner->Stress();
  }

  bool EnforceParameterConstraints(std::int32_t termCount, std::span<double> parameters) const override {
    return inner_->EnforceParameterConstraints(termCount, parameters);
  }
  void ParameterGradient(std::int32_t termCount, std::span<const double> parameters, std::int32_t point,
                         std::span<double> gradient) const override {
    inner_->ParameterGradient(termCount, parameters, point, gradient);
    for (double& entry : gradient) entry *= Factor(point);
  }
  void EvaluatePoint(std::int32_t termCount, std::span<const double> parameters, std::int32_t point, double& measured,
                     double& model) const override {
    inner_->EvaluatePoint(termCount, parameters, point, measured, model);
    model *= Factor(point);
  }
  void LinearDesignRows(std::span<const double> exponents, MatrixView rows) const override {
    inner_->LinearDesignRows(exponents, rows);
    for (std::int32_t column = 0; column < rows.columns; ++column) {
      for (std::int32_t point = 0; point < rows.rows; ++point) rows(point, column) *= Factor(point);
    }
  }

  bool ValuesOfBlock(std::int32_t termCount, std::span<const double> parameters, std::int32_t first,
                     std::span<double> measured, std::span<double> model) const override {
    inner_->EvaluateBlock(termCount, parameters, first, measured, model);
    for (std::size_t i = 0; i < model.size(); ++i) model[i] *= Factor(first + static_cast<std::int32_t>(i));
    return true;
  }
  void GradientsOfBlock(std::int32_t termCount, std::span<const double> parameters, std::int32_t first,
                        std::span<double> measured, std::span<double> model,
                        std::span<double> gradients) const override {
    inner_->GradientBlock(termCount, parameters, first, measured, model, gradients);
    for (std::size_t i = 0; i < model.size(); ++i) {
      const double factor = Factor(first + static_cast<std::int32_t>(i));
      model[i] *= factor;
      for (double& entry : gradients.subspan(i * parameters.size(), parameters.size())) entry *= factor;
    }
  }

 private:
  double Factor(std::int32_t point) const { return ShearStressFactor(curve_.stretch[point]); }

  boost::shared_ptr<XemMaterialTestFunctionBase> inner_;
};

}  // namespace

double ShearStressFactor(double stretch) { return stretch * stretch / (stretch * stretch + 1.0); }

boost::shared_ptr<XemMaterialTestFunctionBase> MakeShearStressFunction(
    const boost::shared_ptr<XemMaterialTestFunctionBase>& inner) {
  return boost::make_shared<ShearStressFunction>(inner);
}

}  // namespace Xem::Fit
