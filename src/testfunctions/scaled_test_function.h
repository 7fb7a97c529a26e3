#pragma once

#include <boost/shared_ptr.hpp>

#include "testfunctions/test_function_base.h"

namespace Xem::MaterialUtil {

/// A test function with model values and derivatives multiplied by a factor per point, and with values of its own to
/// compare them with: a weight, relative residuals, another measure of stress.
class ScaledTestFunction : public BlockTestFunction {
 public:
  /// One factor and one compared value per point of `inner`.
  ScaledTestFunction(boost::shared_ptr<XemMaterialTestFunctionBase> inner, Vector factors, Vector compared);

  bool EnforceParameterConstraints(std::int32_t termCount, std::span<double> parameters) const override;
  void LinearDesignRows(std::span<const double> nonlinear, MatrixView rows) const override;
  void Evaluate(std::int32_t termCount, std::span<const double> parameters, std::int32_t first, std::span<double> model,
                MatrixView derivatives) const override;
  bool IsLinear() const override { return inner_->IsLinearModel(); }

 protected:
  ~ScaledTestFunction() = default;

 private:
  boost::shared_ptr<XemMaterialTestFunctionBase> inner_;
  Vector factors_;
  bool plain_;  // every factor is 1
};

}  // namespace Xem::MaterialUtil
